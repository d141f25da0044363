// The service's life: what it starts with, who keeps it alive, what happens when it goes.
#include <future>

#include "failing_allocation.h"
#include "frame_fixture.h"
#include "support/framework_worker.h"

namespace wsadmin {
namespace {

using wstest::LogCapture;
using wstest::LogLine;
using Service = FrameTest;

// An agent that answers nothing until its channel is closed.
struct SilentAgents : platform::AgentChannels {
    struct Channel : CORE::MessageChannel {
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
    };
    std::shared_ptr<Channel> channel = std::make_shared<Channel>();
    std::shared_ptr<CORE::MessageChannel> open(std::wstring_view, std::wstring_view,
                                               const CORE::coreevent&) override {
        return channel;
    }
};

TEST_F(Service, ARequestStopsWaitingWhenItIsCancelledAndWhenTheServiceStops) {
    for (const bool stops : {false, true}) {
        const auto agents = std::make_shared<SilentAgents>();
        machine->agents = agents;
        const auto item = CORE::refptr<ws_admin_operation>::adopt(new ws_admin_operation(service));
        CORE::PropertyBag response;
        auto answered =
            std::async(std::launch::async, [&] { item->MessageHandler(L"getAgentVersion", {}, response); });
        agents->channel->asked.get_future().wait();
        EXPECT_FALSE(agents->channel->closed.isSet());
        stops ? service->shutDown() : item->AbortHandler();
        answered.wait();
        EXPECT_EQ(response.getErrorText(), L"closed");
        EXPECT_EQ(service->stopping().isSet(), stops);
    }
}

TEST_F(Service, TheConfigurationIsTheParametersAsTheyStood) {
    CORE::PropertyBag parameters;
    parameters.set(L"InitiateDomainChecks", L"false");
    const auto built = makeService(parameters);
    parameters.set(L"InitiateDomainChecks", L"true");
    EXPECT_EQ(built->configuration().get(L"InitiateDomainChecks"), L"false");
    EXPECT_EQ(built->domain()->minimumCheckInterval(), 900);
    EXPECT_FALSE(built->stopping().isSet());
    built->shutDown();
    EXPECT_TRUE(built->stopping().isSet());
}

TEST_F(Service, MakesPoolAndMapInOrderAndLetsGoOfThemTheOtherWay) {
    const LogCapture log;
    const auto built = makeService({});
    service.reset();
    std::vector<std::wstring> kinds;
    for (const LogLine& line : log.lines()) kinds.push_back(line.text.substr(0, line.text.find(L" at 0x")));
    EXPECT_EQ(kinds,
              (std::vector<std::wstring>{L"Creating connection manager", L"Created a domain instance",
                                         L"Destroyed a domain instance", L"Removing connection manager"}));
}

TEST_F(Service, APartWithoutMemoryIsNullAndTheRequestsThatNeedItFail) {
    const struct {
        std::size_t size;
        bool pool, map;
        const wchar_t *operation, *key, *value, *error;
    } rows[] = {
        {sizeof(ConnectionMgr), false, true, L"getUserInformation", L"dn", L"cn=u,dc=x",
         L"Failed to obtain sid for user with dn=cn=u,dc=x"},
        {sizeof(Domain), true, false, L"upnToSid", L"upn", L"u@x",
         L"Could not determine SID for UPN - no domains identified"},
        {sizeof(Domain), true, false, L"getDomainHealth", L"forceReload", L"true", L"There is no domain map"},
        {sizeof(IPsecRulesManager), true, true, L"monitorIPsecRules", L"", L"",
         L"There is no monitor of the IPsec rules"},
    };
    for (const auto& row : rows) {
        {
            const wstest::FailingAllocation none(row.size);
            service = makeService({});
            EXPECT_EQ(none.failures(), 1) << row.operation;
        }
        EXPECT_EQ(static_cast<bool>(service->connections()), row.pool);
        EXPECT_EQ(static_cast<bool>(service->domain()), row.map);
        CORE::PropertyBag request;
        request.set(row.key, std::wstring_view(row.value));
        const Outcome outcome = dispatch(row.operation, request);
        EXPECT_TRUE(outcome.handled);
        EXPECT_EQ(outcome.response.getErrorText(), row.error);
        service->setMinimumDomainCheckInterval(60);
        service->shutDown();
    }
}

TEST_F(Service, ChecksTheDomainsUnlessItIsToldNotTo) {
    CORE::PropertyBag parameters;
    parameters.set(L"InitiateDomainChecks", L"true");
    std::promise<std::string> contacted;  // by the first check, which comes after a second
    directories->onOpenObject = [&](const std::string& path) {
        if (directories->objectOpens == 1) contacted.set_value(path);
    };
    const wstest::FrameworkWorker<0> winauth(
        L"winauth", [](std::wstring_view, const CORE::PropertyBag&, CORE::PropertyBag&) { return true; });
    const auto checking = makeService(parameters);
    EXPECT_EQ(contacted.get_future().get(), "LDAP://rootDSE");
    checking->shutDown();
    threads.waitForAll();
}

TEST_F(Service, ItsLastUserDestroysItAndThatSaves) {
    int saves = 0;
    machine->save = [&]() -> Result<void> {
        ++saves;
        return fail(28, L"machine.toml: no space left");
    };
    const LogCapture log(CORE::logError);
    {
        const ws_admin_operation running(service);
        service.reset();
        EXPECT_EQ(saves, 0);
    }
    EXPECT_EQ(saves, 1);
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

TEST_F(Service, TheCurrentServiceIsHeldAndGivenBack) {
    EXPECT_FALSE(ws_admin_service::current());
    ws_admin_service::setCurrent(service);
    EXPECT_EQ(ws_admin_service::current().get(), service.get());
    EXPECT_EQ(service->RefCount(), 2);
    ws_admin_service::setCurrent({});
    EXPECT_FALSE(ws_admin_service::current());
    EXPECT_EQ(service->RefCount(), 1);
}

}  // namespace
}  // namespace wsadmin
