// The replication interface, which Wine does not have: its functions are the test's.
#include <windows.h>
// After windows.h:
#include <gtest/gtest.h>
#include <ntdsapi.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/windows/windows_machine.h"
#include "windows/stand_ins/hidden_function.h"

namespace wsadmin::platform::windows {
namespace {

using Words = std::vector<std::wstring>;

struct ReplicationStandIn {
    Words calls;  // with what they were given
    DWORD failure = ERROR_SUCCESS;
    bool answersNothing = false;
    DS_REPL_PENDING_OPSW pending{};
    std::vector<DS_REPSYNCALL_UPDATEW*> updates;  // told by a synchronisation; null: an event without content
    int bindings = 0, results = 0, identities = 0;  // that are not given back
    int identity = 0;                               // its address stands for one
} replicationStandIn;

std::wstring hexOf(DWORD number) {
    wchar_t text[16];
    swprintf(text, 16, L"%lx", number);
    return text;
}

std::wstring guidText(const UUID* uuid) {
    BYTE bytes[sizeof *uuid];
    std::memcpy(bytes, uuid, sizeof bytes);
    std::wstring text;
    for (const BYTE byte : bytes) text += hexOf(byte >> 4) + hexOf(byte & 15);
    return text;
}

DWORD noteCall(const Words& words) {
    std::wstring line;
    for (const std::wstring& word : words) line += (line.empty() ? L"" : L" ") + word;
    replicationStandIn.calls.push_back(line);
    return replicationStandIn.failure;
}

DWORD WINAPI bindDirectory(LPCWSTR server, LPCWSTR domain, RPC_AUTH_IDENTITY_HANDLE identity,
                           HANDLE* binding) {
    EXPECT_EQ(domain, nullptr);
    const bool known = identity == &replicationStandIn.identity;
    EXPECT_TRUE(known || !identity);
    if (const DWORD code = noteCall({L"bind", server, known ? L"as" : L""})) return code;
    *binding = &replicationStandIn;
    ++replicationStandIn.bindings;
    return ERROR_SUCCESS;
}
DWORD WINAPI unbindDirectory(HANDLE* binding) {
    EXPECT_EQ(*binding, &replicationStandIn);
    --replicationStandIn.bindings;
    return ERROR_SUCCESS;
}
DWORD WINAPI makeIdentity(LPCWSTR user, LPCWSTR domain, LPCWSTR password,
                          RPC_AUTH_IDENTITY_HANDLE* identity) {
    if (const DWORD code = noteCall({L"identity", domain, user, password})) return code;
    *identity = &replicationStandIn.identity;
    ++replicationStandIn.identities;
    return ERROR_SUCCESS;
}
VOID WINAPI freeIdentity(RPC_AUTH_IDENTITY_HANDLE identity) {
    EXPECT_EQ(identity, &replicationStandIn.identity);
    --replicationStandIn.identities;
}
DWORD WINAPI replicaInfo(HANDLE binding, DS_REPL_INFO_TYPE type, LPCWSTR object, UUID* source, VOID** info) {
    EXPECT_EQ(binding, &replicationStandIn);
    EXPECT_TRUE(type == DS_REPL_INFO_PENDING_OPS && !object && !source);
    if (replicationStandIn.failure || replicationStandIn.answersNothing) return replicationStandIn.failure;
    *info = &replicationStandIn.pending;
    ++replicationStandIn.results;
    return ERROR_SUCCESS;
}
void WINAPI freeReplicaInfo(DS_REPL_INFO_TYPE type, VOID* info) {
    EXPECT_TRUE(type == DS_REPL_INFO_PENDING_OPS && info == &replicationStandIn.pending);
    --replicationStandIn.results;
}
DWORD WINAPI checkConsistency(HANDLE binding, DS_KCC_TASKID task, DWORD flags) {
    EXPECT_EQ(binding, &replicationStandIn);
    return noteCall({L"consistency", hexOf(task), hexOf(flags)});
}
DWORD WINAPI updateRefs(HANDLE binding, LPCWSTR context, LPCWSTR destination, const UUID* uuid,
                        ULONG options) {
    EXPECT_EQ(binding, &replicationStandIn);
    return noteCall({L"refs", context, destination, guidText(uuid), hexOf(options)});
}
DWORD WINAPI addReplica(HANDLE binding, LPCWSTR context, LPCWSTR dsa, LPCWSTR transport, LPCWSTR source,
                        const PSCHEDULE schedule, DWORD options) {
    EXPECT_TRUE(binding == &replicationStandIn && !transport && !schedule);
    return noteCall({L"add", context, dsa, source, hexOf(options)});
}
DWORD WINAPI syncReplica(HANDLE binding, LPCWSTR context, const UUID* uuid, ULONG options) {
    EXPECT_EQ(binding, &replicationStandIn);
    return noteCall({L"sync", context, guidText(uuid), hexOf(options)});
}
DWORD WINAPI syncAllReplicas(HANDLE binding, LPCWSTR context, ULONG flags,
                             BOOL(WINAPI* tell)(LPVOID, PDS_REPSYNCALL_UPDATEW), LPVOID data,
                             PDS_REPSYNCALL_ERRINFOW** errors) {
    EXPECT_TRUE(binding == &replicationStandIn && !errors);
    for (DS_REPSYNCALL_UPDATEW* update : replicationStandIn.updates) EXPECT_TRUE(tell(data, update));
    return noteCall({L"sync-all", context, hexOf(flags)});
}

}  // namespace

WS_STANDS_IN(DsBindWithCredW, bindDirectory);
WS_STANDS_IN(DsUnBindW, unbindDirectory);
WS_STANDS_IN(DsMakePasswordCredentialsW, makeIdentity);
WS_STANDS_IN(DsFreePasswordCredentials, freeIdentity);
WS_STANDS_IN(DsReplicaGetInfoW, replicaInfo);
WS_STANDS_IN(DsReplicaFreeInfo, freeReplicaInfo);
WS_STANDS_IN(DsReplicaConsistencyCheck, checkConsistency);
WS_STANDS_IN(DsReplicaUpdateRefsW, updateRefs);
WS_STANDS_IN(DsReplicaAddW, addReplica);
WS_STANDS_IN(DsReplicaSyncW, syncReplica);
WS_STANDS_IN(DsReplicaSyncAllW, syncAllReplicas);

namespace {

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
