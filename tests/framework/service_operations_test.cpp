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
    for (const auto& [minutes, seconds] : {std::pair(L"15", 900),
                                           {L"60", 3600},
                                           {L"14", unchanged},
                                           {L"99999999999", unchanged},
                                           {L"2000000000", std::numeric_limits<int>::max()}}) {
        service->setMinimumDomainCheckInterval(unchanged);
        CORE::PropertyBag request;
        request.set(L"forestCheckInterval", std::wstring_view(minutes));
        dispatch(L"setServiceConfiguration", request);
        EXPECT_EQ(service->domain()->minimumCheckInterval(), seconds) << CORE::toUtf8(minutes);
    }
}

TEST_F(OperationsOfTheService, WithoutDirectoryServicesThereIsNoDomainMap) {
    EXPECT_EQ(dispatch(L"Diag").response.getBag(L"DOMAINHEALTH").getErrorText(),
              L"Failed to issue request to ws_admin service");
    machine->directoryServices.reset();
    service = makeService();
    EXPECT_NE(dispatch(L"getDomainHealth").response.getError(), 0);
    EXPECT_EQ(dispatch(L"getDomainType").response.get(L"isMixedMode"), L"true");
    EXPECT_EQ(dispatch(L"setServiceConfiguration").response.getError(), 0);
}

TEST_F(OperationsOfTheService, TheConfigurationFolderOfAUserFallsBackToTheMachines) {
    EXPECT_EQ(configurationFolder(*folders, DataOwner::user), L"C:\\ProgramData\\Talvex\\HDQ");
    folders->known[platform::Folder::localAppData] = L"E:\\Local";
    EXPECT_EQ(configurationFolder(*folders, DataOwner::user), L"E:\\Local\\Talvex\\HDQ");
    EXPECT_EQ(configurationFolder(*folders), L"C:\\ProgramData\\Talvex\\HDQ");
    folders->known.clear();
    EXPECT_EQ(configurationFolder(*folders), L"C:\\Program Files\\Talvex\\Talvex Vorn")
        << "Windows has no name";
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
