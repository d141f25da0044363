// The calls of the replication interface, on a stand-in for it.
#include "windows/stand_ins/replication.h"
// After the platform's headers:
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {
namespace {

using test::replicationStandIn, test::Words;

constexpr wchar_t nc[] = L"DC=g";
constexpr char digits[] = "00112233445566778899aabbccddeeff";

TEST(Replication, TellsWhatIsPendingAndGivesEverythingBack) {
    replicationStandIn = {};
    {
        const auto bound = makeReplication()->bind(L"localhost:22389");
        ASSERT_TRUE(bound);
        EXPECT_EQ(replicationStandIn.calls, Words{L"bind localhost:22389 "});
        replicationStandIn.pending.cNumPendingOps = 7;
        EXPECT_EQ((*bound)->pendingOperations().value(), std::optional<std::uint32_t>(7));
        replicationStandIn.answersNothing = true;
        EXPECT_EQ((*bound)->pendingOperations().value(), std::optional<std::uint32_t>());
        replicationStandIn.failure = ERROR_DS_DRA_ACCESS_DENIED;
        EXPECT_EQ((*bound)->pendingOperations().error().code, ERROR_DS_DRA_ACCESS_DENIED);
        EXPECT_EQ(makeReplication()->bind(L"x").error().code, ERROR_DS_DRA_ACCESS_DENIED);
    }
    EXPECT_EQ(replicationStandIn.bindings, 0);
    EXPECT_EQ(replicationStandIn.results, 0);
}

TEST(Replication, BindsWithAnAccount) {
    replicationStandIn = {};
    {
        const auto replication = makeReplication();
        const auto made = replication->makeCredentials(L"CORP", L"admin", CORE::secretstring("pass\xc3\xbc"));
        ASSERT_TRUE(made && replication->bind(L"there:22389", made->get()));
        EXPECT_EQ(replicationStandIn.calls,
                  (Words{L"identity CORP admin pass\u00fc", L"bind there:22389 as"}));
        replicationStandIn.failure = ERROR_INVALID_PARAMETER;
        EXPECT_EQ(replication->makeCredentials(L"CORP", L"admin", {}).error().code, ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(replicationStandIn.identities, 0);
    EXPECT_EQ(replicationStandIn.bindings, 0);
}

// Every call with its options, and every call's failure.
TEST(Replication, AsksForWritableReplicas) {
    replicationStandIn = {};
    auto bound = makeReplication()->bind(L"x");
    ASSERT_TRUE(bound);
    ReplicationBinding& instance = **bound;
    const InstanceGuid guid = instanceGuid(digits).value();
    const auto callAll = [&] {
        replicationStandIn.calls.clear();
        return std::vector<Result<void>>{instance.updateTopology(),
                                         instance.addReference(nc, L"there:1", guid),
                                         instance.addLink(nc, L"CN=NTDS Settings", L"there:1"),
                                         instance.synchronise(nc, guid),
                                         instance.synchroniseAll(nc, SyncDirection::push, {}),
                                         instance.synchroniseAll(nc, SyncDirection::pull, {})};
    };
    for (const auto& done : callAll()) EXPECT_TRUE(done);
    const std::wstring uuid = L"00112233445566778899aabbccddeeff";
    EXPECT_EQ(replicationStandIn.calls,
              (Words{L"consistency 0 0", L"refs DC=g there:1 " + uuid + L" 6",
                     L"add DC=g CN=NTDS Settings there:1 a", L"sync DC=g " + uuid + L" 202",
                     L"sync-all DC=g 60", L"sync-all DC=g 40"}));
    for (const int code :
         {replicationSchemaMismatch, replicationBusy, replicationLinkExists, replicationReferenceExists}) {
        replicationStandIn.failure = static_cast<DWORD>(code);
        for (const auto& done : callAll()) EXPECT_EQ(done.error().code, code);
    }
}

TEST(Replication, TellsEventsWithAndWithoutDetails) {
    replicationStandIn = {};
    auto bound = makeReplication()->bind(L"x");
    ASSERT_TRUE(bound);
    wchar_t a[] = L"a", b[] = L"b";
    DS_REPSYNCALL_ERRINFOW error{b, DS_REPSYNCALL_SERVER_UNREACHABLE, ERROR_DS_DRA_BUSY, a};
    DS_REPSYNCALL_SYNCW sync{a, b, nullptr, nullptr, nullptr}, nameless{};
    DS_REPSYNCALL_UPDATEW updates[] = {{DS_REPSYNCALL_EVENT_ERROR, &error, nullptr},
                                       {DS_REPSYNCALL_EVENT_ERROR, nullptr, nullptr},
                                       {DS_REPSYNCALL_EVENT_SYNC_STARTED, nullptr, &sync},
                                       {DS_REPSYNCALL_EVENT_SYNC_COMPLETED, nullptr, &nameless},
                                       {DS_REPSYNCALL_EVENT_FINISHED, nullptr, nullptr},
                                       {DS_REPSYNCALL_EVENT_FINISHED, nullptr, nullptr}};
    const int unknown = 9;
    std::memcpy(&updates[5].event, &unknown, sizeof unknown);
    for (auto& update : updates) replicationStandIn.updates.push_back(&update);
    replicationStandIn.updates.push_back(nullptr);
    Words told;
    const auto tell = [&told](const std::optional<SyncEvent>& event) {
        const auto& details = event ? event->details : std::nullopt;
        told.push_back((event ? std::to_wstring(event->kind) : L"none") +
                       (details ? L" " + std::to_wstring(details->errorType) + L" " +
                                      std::to_wstring(details->code) + L" " + details->source + L">" +
                                      details->destination
                                : L""));
    };
    EXPECT_TRUE((*bound)->synchroniseAll(nc, SyncDirection::push, tell));
    EXPECT_EQ(told, (Words{L"0 2 8438 a>b", L"0", L"1 0 0 a>b", L"2 0 0 >", L"3", L"9", L"none"}));
    // It passes the platform's frames only after the call.
    const auto thrower = [](const auto&) { throw std::runtime_error("thrown"); };
    EXPECT_THROW(static_cast<void>((*bound)->synchroniseAll(nc, SyncDirection::push, thrower)),
                 std::runtime_error);
}

}  // namespace
}  // namespace wsadmin::platform::windows
