// The service's life: what it starts with, who keeps it alive, what happens when it goes; the operations that
// it answers itself, and what the dispatcher does around them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <limits>
#include <new>

#include "framework/ws_admin_operation.h"
#include "framework/ws_admin_service.h"
#include "ldap/configuration_folder.h"
#include "platform/platform.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/scripted_directory_services.h"

namespace {

// Allocations of that size fail on the thread that sets it; 0: none.
thread_local std::size_t failingSize = 0;
thread_local int failures = 0;

}  // namespace

void* operator new(std::size_t size) {
    const bool refuse = failingSize != 0 && size == failingSize;
    if (refuse) ++failures;
    void* const block = refuse ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size > 0 ? size : 1);
}
// Not inline, because the compiler warns where it sees free() beside a call of new.
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace wsadmin {
namespace {

using wstest::LogCapture;
using wstest::LogLine;

// Folders that are there only when a test says so.
struct StandInFolders : platform::Folders {
    std::map<platform::Folder, std::wstring> known{{platform::Folder::commonAppData, L"C:\\ProgramData"}};
    bool broken = false;

    Result<std::wstring> get(platform::Folder folder) const override {
        if (broken) throw std::runtime_error("folders are broken");
        const auto found = known.find(folder);
        return found != known.end() ? Result<std::wstring>(found->second) : fail(2, L"no such folder");
    }
    Result<std::wstring> windowsDirectory() const override { return std::wstring(); }
};

class Service : public testing::Test {
  protected:
    Service() {
        machine->folders = folders;
        machine->clock = std::make_shared<wstest::ManualClock>();
        machine->directoryServices = std::make_shared<wstest::ScriptedDirectoryServices>();
        service = makeService();
    }

    CORE::refptr<ws_admin_service> makeService() {
        CORE::PropertyBag parameters;
        parameters.setBool(L"InitiateDomainChecks", false);
        return CORE::refptr<ws_admin_service>::adopt(new ws_admin_service(parameters, machine, threads));
    }
    CORE::PropertyBag dispatch(const wchar_t* operation, const CORE::PropertyBag& request = {}) {
        CORE::PropertyBag response;
        const auto item = CORE::refptr<ws_admin_operation>::adopt(new ws_admin_operation(service));
        EXPECT_TRUE(item->MessageHandler(operation, request, response));
        return response;
    }

    std::shared_ptr<platform::Platform> machine = std::make_shared<platform::Platform>();
    std::shared_ptr<StandInFolders> folders = std::make_shared<StandInFolders>();
    CORE::ThreadGroup threads{L"test"};
    CORE::refptr<ws_admin_service> service;
};

// An agent that answers nothing until its channel is closed.
struct SilentAgent : CORE::MessageChannel,
                     platform::AgentChannels,
                     std::enable_shared_from_this<SilentAgent> {
    std::promise<void> asked;
    CORE::coreevent closed;
    CORE::RespType send(std::wstring_view, std::wstring_view, const CORE::PropertyBag&,
                        CORE::PropertyBag& response, const CORE::SendOptions&) override {
        asked.set_value();
        closed.wait();
        response.setError(1, L"closed");
        return CORE::RespType::cancelled;
    }
    void close() noexcept override { closed.set(); }
    std::shared_ptr<CORE::MessageChannel> open(std::wstring_view, std::wstring_view,
                                               const CORE::coreevent&) override {
        return shared_from_this();
    }
};

TEST_F(Service, ARequestStopsWaitingWhenItIsCancelledAndWhenTheServiceStops) {
    for (const bool stops : {false, true}) {
        const auto agent = std::make_shared<SilentAgent>();
        machine->agents = agent;
        const auto item = CORE::refptr<ws_admin_operation>::adopt(new ws_admin_operation(service));
        CORE::PropertyBag response;
        auto answered =
            std::async(std::launch::async, [&] { item->MessageHandler(L"getAgentVersion", {}, response); });
        agent->asked.get_future().wait();
        EXPECT_FALSE(agent->closed.isSet());
        stops ? service->shutDown() : item->AbortHandler();
        answered.wait();
        EXPECT_EQ(response.getErrorText(), L"closed");
        EXPECT_EQ(service->stopping().isSet(), stops);
    }
}

TEST_F(Service, MakesPoolAndMapInOrderAndLetsGoOfThemTheOtherWay) {
    const LogCapture log;
    const auto built = makeService();
    service.reset();
    std::vector<std::wstring> kinds;
    for (const LogLine& line : log.lines()) kinds.push_back(line.text.substr(0, line.text.find(L" at 0x")));
    EXPECT_EQ(kinds,
              (std::vector<std::wstring>{L"Creating connection manager", L"Created a domain instance",
                                         L"Destroyed a domain instance", L"Removing connection manager"}));
}

TEST_F(Service, APartWithoutMemoryIsNullAndTheRequestsThatNeedItFail) {
    using Name = const wchar_t*;
    const std::tuple<std::size_t, bool, bool, Name, Name, Name, Name> rows[] = {
        {sizeof(ConnectionMgr), false, true, L"getUserInformation", L"dn", L"cn=u,dc=x",
         L"Failed to obtain sid for user with dn=cn=u,dc=x"},
        {sizeof(Domain), true, false, L"upnToSid", L"upn", L"u@x",
         L"Could not determine SID for UPN - no domains identified"},
        {sizeof(Domain), true, false, L"getDomainHealth", L"forceReload", L"true", L"There is no domain map"},
        {sizeof(IPsecRulesManager), true, true, L"monitorIPsecRules", L"", L"",
         L"There is no monitor of the IPsec rules"},
    };
    for (const auto& [size, pool, map, operation, key, value, error] : rows) {
        failingSize = size;
        service = makeService();
        failingSize = 0;
        EXPECT_EQ(std::exchange(failures, 0), 1) << operation;
        EXPECT_EQ(static_cast<bool>(service->connections()), pool);
        EXPECT_EQ(static_cast<bool>(service->domain()), map);
        CORE::PropertyBag request;
        request.set(key, std::wstring_view(value));
        EXPECT_EQ(dispatch(operation, request).getErrorText(), error);
        service->setMinimumDomainCheckInterval(60);
        service->shutDown();
    }
}

TEST_F(Service, ItsLastUserDestroysItAndThatSaves) {
    machine->save = []() -> Result<void> { return fail(28, L"machine.toml: no space left"); };
    const LogCapture log(CORE::logError);
    {
        const ws_admin_operation running(service);
        service.reset();
        EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {CORE::logError, L"Failed to save changes - machine.toml: no space left (28)"}}));
}

TEST_F(Service, AThreadHoldsTheServiceUntilItEnds) {
    std::promise<void> go;
    std::promise<long> references;
    ws_admin_service* object = service.get();
    ASSERT_TRUE(service->startThread(L"worker", [&, object] {
        go.get_future().wait();
        references.set_value(object->RefCount());
    }));
    service.reset();
    go.set_value();
    EXPECT_EQ(references.get_future().get(), 1);
    threads.waitForAll();
}

TEST_F(Service, ADomainCheckIntervalTakesEffectUnlessItIsRefused) {
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

TEST_F(Service, WithoutDirectoryServicesThereIsNoDomainMap) {
    EXPECT_EQ(dispatch(L"Diag").getBag(L"DOMAINHEALTH").getErrorText(),
              L"Failed to issue request to ws_admin service");
    machine->directoryServices.reset();
    service = makeService();
    EXPECT_NE(dispatch(L"getDomainHealth").getError(), 0);
    EXPECT_EQ(dispatch(L"getDomainType").get(L"isMixedMode"), L"true");
    EXPECT_EQ(dispatch(L"setServiceConfiguration").getError(), 0);
}

TEST_F(Service, TheConfigurationFolderOfAUserFallsBackToTheMachines) {
    EXPECT_EQ(configurationFolder(*folders, DataOwner::user), L"C:\\ProgramData\\Talvex\\HDQ");
    folders->known[platform::Folder::localAppData] = L"E:\\Local";
    EXPECT_EQ(configurationFolder(*folders, DataOwner::user), L"E:\\Local\\Talvex\\HDQ");
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

TEST_F(Service, HooksSeeTheRequestAndTheFinishedResponseIntoWhichTheResultIsMerged) {
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
