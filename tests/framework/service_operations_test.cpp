// The operations that the service itself answers, and what the dispatcher does around them.
#include "framework/service_operations.h"
#include "ldap/configuration_folder.h"

#include <limits>

#include "frame_fixture.h"

namespace wsadmin {
namespace {

using OperationsOfTheService = FrameTest;

TEST_F(OperationsOfTheService, ADomainCheckIntervalTakesEffectUnlessItIsRefused) {
    constexpr int unchanged = 1234;
    EXPECT_EQ(service->domain()->minimumCheckInterval(), 900);
    const std::pair<std::wstring, int> cases[] = {{L"15", 900},
                                                  {L"60", 3600},
                                                  {L"14", unchanged},
                                                  {L"99999999999", unchanged},
                                                  {L"2000000000", std::numeric_limits<int>::max()}};
    for (const auto& [minutes, seconds] : cases) {
        service->setMinimumDomainCheckInterval(unchanged);
        CORE::PropertyBag request;
        request.set(L"forestCheckInterval", minutes);
        dispatch(L"setServiceConfiguration", request);
        EXPECT_EQ(service->domain()->minimumCheckInterval(), seconds) << CORE::toUtf8(minutes);
    }
}

TEST_F(OperationsOfTheService, TheDiagnosisIsTheHealthOfTheDomainsWithItsError) {
    const Outcome outcome = dispatch(L"Diag");
    EXPECT_TRUE(outcome.handled);
    EXPECT_EQ(outcome.response.getError(), 0);
    EXPECT_EQ(outcome.response.getBag(L"DOMAINHEALTH").getErrorText(),
              L"Failed to issue request to ws_admin service");
}

TEST_F(OperationsOfTheService, WithoutDirectoryServicesThereIsNoDomainMap) {
    machine->directoryServices.reset();
    service = makeService({});
    EXPECT_NE(dispatch(L"getDomainHealth").response.getError(), 0);
    EXPECT_EQ(dispatch(L"getDomainType").response.get(L"isMixedMode"), L"true");
    EXPECT_EQ(dispatch(L"setServiceConfiguration").response.getError(), 0);
}

TEST_F(OperationsOfTheService, TheConfigurationFolderFallsBackStepByStep) {
    using enum DataOwner;
    using platform::Folder;
    const std::map<char, std::pair<Folder, std::wstring>> known{
        {'c', {Folder::commonAppData, L"C:\\ProgramData"}},
        {'l', {Folder::localAppData, L"C:\\Users\\Admin\\AppData\\Local"}},
        {'p', {Folder::programFiles, L"E:\\Program Files"}}};
    const struct {
        DataOwner owner;
        std::string_view there;
        std::optional<std::wstring> windows;
        std::wstring expected;
        bool logged = false;
    } cases[] = {
        {user, "clp", L"D:\\Windows", L"C:\\Users\\Admin\\AppData\\Local\\Talvex\\HDQ"},
        {user, "cp", L"D:\\Windows", L"C:\\ProgramData\\Talvex\\HDQ"},
        {machine, "clp", L"D:\\Windows", L"C:\\ProgramData\\Talvex\\HDQ"},
        {machine, "lp", L"D:\\Windows", L"E:\\Program Files\\Talvex\\Talvex Vorn"},
        {machine, "l", L"D:\\Windows", L"D:\\Program Files\\Talvex\\Talvex Vorn", true},
        {machine, "l", L"", L"C:\\Program Files\\Talvex\\Talvex Vorn", true},
        {machine, "l", std::nullopt, L"C:\\Program Files\\Talvex\\Talvex Vorn", true},
    };
    for (const auto& [owner, there, windows, expected, logged] : cases) {
        StandInFolders stand;
        stand.known.clear();
        for (const char folder : there) stand.known.insert(known.at(folder));
        stand.windows = windows;
        const wstest::LogCapture log;
        EXPECT_EQ(configurationFolder(stand, owner), expected);
        EXPECT_EQ(log.lines(),
                  std::vector(logged, wstest::LogLine{CORE::logError, L"SHGetSpecialFolderPath FAILED"}));
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

TEST_F(OperationsOfTheService, HooksSeeTheRequestAndTheFinishedResponseIntoWhichTheResultIsMerged) {
    HookedOperation item(service);
    CORE::PropertyBag request, response;
    response.set(L"kept", L"1");
    response.add(L"APPDATALOCATION", L"old");
    EXPECT_TRUE(item.MessageHandler(L"getAppdataLocation", request, response));
    EXPECT_EQ(response.flattenForDisplay(), L"kept=1, appdataLocation=C:\\ProgramData\\Talvex\\HDQ");
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

}  // namespace
}  // namespace wsadmin
