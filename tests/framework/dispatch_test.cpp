// The dispatcher: names, order of steps, log lines, hooks, merging.
#include "frame_fixture.h"

namespace wsadmin {
namespace {

using wstest::LogCapture;
using wstest::LogLine;
using Dispatch = FrameTest;

TEST_F(Dispatch, NamesAreMatchedWithoutCaseOverTheirWholeLength) {
    struct Case {
        const wchar_t* name;
        bool known;
    };
    const Case cases[] = {
        {L"getAppdataLocation", true},
        {L"GETAPPDATALOCATION", true},
        {L"getappdatalocation", true},
        {L"GeTaPpDaTaLoCaTiOn", true},
        {L"", false},
        {L"getAppdataLocation ", false},
        {L" getAppdataLocation", false},
        {L"getAppdataLocatio", false},
        {L"getAppdataLocations", false},
        {L"noSuchOperation", false},
        {L"getAppdata\u0130ocation", false},
    };
    for (const Case& c : cases) {
        const LogCapture log;
        const Outcome outcome = dispatch(c.name);
        EXPECT_EQ(outcome.handled, c.known) << testing::PrintToString(c.name);
        EXPECT_EQ(outcome.response.getError(), c.known ? 0 : 120) << testing::PrintToString(c.name);
        EXPECT_TRUE(outcome.response.getErrorText().empty());
        EXPECT_EQ(outcome.response.size(), c.known ? 1u : 0u) << testing::PrintToString(c.name);

        std::vector<LogLine> expected{{CORE::logDebug, L"ws_admin_operation: " + std::wstring(c.name)}};
        if (!c.known)
            expected.push_back(
                {CORE::logDebug, L"Service operation: " + std::wstring(c.name) + L" NOT IMPLEMENTED"});
        EXPECT_EQ(log.lines(), expected) << testing::PrintToString(c.name);
    }
}

TEST_F(Dispatch, AnOperationWithoutItsWorkerAnswersAsUnknown) {
    for (const Operation& operation : operationTable()) {
        if (operation.built()) continue;
        const std::wstring name(operation.name);
        const LogCapture log;
        const Outcome outcome = dispatch(name.c_str());
        EXPECT_FALSE(outcome.handled) << testing::PrintToString(name);
        EXPECT_EQ(outcome.response.getError(), 120) << testing::PrintToString(name);
        EXPECT_TRUE(log.contains(CORE::logDebug, L"Service operation: " + name + L" NOT IMPLEMENTED"));
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

TEST_F(Dispatch, TheBeforeHookRefusesWithTheResponseUntouched) {
    HookedOperation item(service);
    item.proceed = false;
    CORE::PropertyBag request;
    request.set(L"asked", L"yes");
    CORE::PropertyBag response;
    response.set(L"kept", L"1");
    const LogCapture log;

    EXPECT_FALSE(item.MessageHandler(L"getAppdataLocation", request, response));

    EXPECT_EQ(item.calls, std::vector<std::wstring>{L"before getAppdataLocation yes"});
    EXPECT_EQ(response.getError(), 0);
    EXPECT_EQ(response.size(), 1u);
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{{CORE::logDebug, L"ws_admin_operation: getAppdataLocation"}}));
}

TEST_F(Dispatch, TheAfterHookSeesTheFinishedResponse) {
    HookedOperation item(service);
    CORE::PropertyBag request;
    CORE::PropertyBag response;
    EXPECT_TRUE(item.MessageHandler(L"getAppdataLocation", request, response));
    EXPECT_FALSE(item.MessageHandler(L"nothing", request, response));
    request.set(L"forestCheckInterval", L"14");
    EXPECT_TRUE(item.MessageHandler(L"setServiceConfiguration", request,
                                    response));  // a handler's error is an answer
    EXPECT_EQ(item.calls, (std::vector<std::wstring>{L"before getAppdataLocation ",
                                                     L"after getAppdataLocation 0", L"before nothing ",
                                                     L"after nothing 120", L"before setServiceConfiguration ",
                                                     L"after setServiceConfiguration 1"}));
}

TEST_F(Dispatch, AnExceptionLeavesWithoutTheAfterHook) {
    HookedOperation item(service);
    folders->broken = true;
    CORE::PropertyBag response;
    EXPECT_THROW(item.MessageHandler(L"getAppdataLocation", {}, response), std::runtime_error);
    EXPECT_EQ(item.calls.size(), 1u);
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
