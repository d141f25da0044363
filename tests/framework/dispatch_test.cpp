// The dispatcher: names, order of steps, log lines, hooks, merging.
#include "frame_fixture.h"

namespace wsadmin {
namespace {

using wstest::LogCapture;
using wstest::LogLine;
using Dispatch = FrameTest;

TEST_F(Dispatch, ANameIsKnownInAnyCaseOrAnswersThatNobodyHasIt) {
    const std::pair<std::wstring, bool> cases[] = {{L"getAppdataLocation", true},
                                                   {L"GeTaPpDaTaLoCaTiOn", true},
                                                   {L"", false},
                                                   {L"getAppdataLocations", false}};
    for (const auto& [name, known] : cases) {
        SCOPED_TRACE(testing::PrintToString(name));
        const LogCapture log;
        const Outcome outcome = dispatch(name.c_str());
        EXPECT_EQ(outcome.handled, known);
        EXPECT_EQ(outcome.response.getError(), known ? 0 : 120);
        EXPECT_TRUE(outcome.response.getErrorText().empty());
        EXPECT_EQ(outcome.response.size(), known ? 1u : 0u);
        std::vector<LogLine> expected{{CORE::logDebug, L"ws_admin_operation: " + name}};
        if (!known) expected.push_back({CORE::logDebug, L"Service operation: " + name + L" NOT IMPLEMENTED"});
        EXPECT_EQ(log.lines(), expected);
    }
    for (const Operation& operation : operationTable())  // as one without its worker does
        if (!operation.built()) {
            EXPECT_EQ(dispatch(std::wstring(operation.name).c_str()).response.getError(), 120);
        }
}

// Records the hooks, and refuses when told to.
struct HookedOperation : ws_admin_operation {
    using ws_admin_operation::ws_admin_operation;
    bool proceed = true;
    std::vector<std::wstring> calls;

    bool beforeOperation(const wchar_t* operation, const CORE::PropertyBag& request) override {
        calls.push_back(L"before " + std::wstring(operation) + L" " + request.get(L"asked").str());
        return proceed;
    }
    void afterOperation(const wchar_t* operation, CORE::PropertyBag& response) override {
        calls.push_back(L"after " + std::wstring(operation) + L" " + std::to_wstring(response.getError()));
    }
};

TEST_F(Dispatch, HooksSeeTheRequestAndTheFinishedResponse) {
    HookedOperation item(service);
    CORE::PropertyBag request;
    CORE::PropertyBag response;
    EXPECT_TRUE(item.MessageHandler(L"getAppdataLocation", request, response));
    EXPECT_FALSE(item.MessageHandler(L"nothing", request, response));
    request.set(L"forestCheckInterval", L"14");
    request.set(L"asked", L"yes");
    EXPECT_TRUE(item.MessageHandler(L"setServiceConfiguration", request, response));  // an error is an answer
    const std::wstring text = response.flattenForDisplay().str();

    item.proceed = false;  // refused, with the response as it was
    EXPECT_FALSE(item.MessageHandler(L"getAppdataLocation", {}, response));
    EXPECT_EQ(response.flattenForDisplay(), text);
    item.proceed = true;
    folders->broken = true;  // an exception leaves without the hook
    EXPECT_THROW(item.MessageHandler(L"getAppdataLocation", {}, response), std::runtime_error);
    EXPECT_EQ(item.calls, (std::vector<std::wstring>{
                              L"before getAppdataLocation ", L"after getAppdataLocation 0",
                              L"before nothing ", L"after nothing 120", L"before setServiceConfiguration yes",
                              L"after setServiceConfiguration 1", L"before getAppdataLocation ",
                              L"before getAppdataLocation "}));
}

TEST_F(Dispatch, ResultsAreMergedIntoWhatTheResponseHolds) {
    CORE::PropertyBag response;
    response.set(L"kept", L"1");
    response.add(L"APPDATALOCATION", L"old");
    ws_admin_operation item(service);
    EXPECT_TRUE(item.MessageHandler(L"getAppdataLocation", {}, response));
    EXPECT_EQ(response.size(), 2u);
    EXPECT_EQ(response.get(L"kept"), L"1");
    EXPECT_EQ(response.get(L"appdataLocation"), L"C:\\ProgramData\\Talvex\\HDQ");
}

}  // namespace
}  // namespace wsadmin
