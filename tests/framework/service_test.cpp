// The service's life: what it starts with, who keeps it alive, what happens when it goes.
#include <cstdlib>
#include <future>
#include <new>

#include "frame_fixture.h"

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
using Service = FrameTest;

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
        failingSize = row.size;
        service = makeService();
        failingSize = 0;
        EXPECT_EQ(std::exchange(failures, 0), 1) << row.operation;
        EXPECT_EQ(static_cast<bool>(service->connections()), row.pool);
        EXPECT_EQ(static_cast<bool>(service->domain()), row.map);
        CORE::PropertyBag request;
        request.set(row.key, std::wstring_view(row.value));
        EXPECT_EQ(dispatch(row.operation, request).response.getErrorText(), row.error);
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

}  // namespace
}  // namespace wsadmin
