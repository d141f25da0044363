// The replication interface, which Wine does not have: its four functions are the test's.
#include <windows.h>
// After windows.h:
#include <gtest/gtest.h>
#include <ntdsapi.h>

#include <string>
#include <utility>

#include "platform/windows/windows_machine.h"
#include "windows/stand_ins/hidden_function.h"

namespace wsadmin::platform::windows {
namespace {

struct ReplicationStandIn {
    std::wstring boundTo;
    DWORD failure = ERROR_SUCCESS;
    bool answersNothing = false;
    DS_REPL_PENDING_OPSW pending{};
    int bindings = 0, results = 0;  // that are not given back
} replicationStandIn;

DWORD WINAPI bindDirectory(LPCWSTR server, LPCWSTR, RPC_AUTH_IDENTITY_HANDLE, HANDLE* binding) {
    replicationStandIn.boundTo = server;
    if (replicationStandIn.failure) return replicationStandIn.failure;
    *binding = &replicationStandIn;
    ++replicationStandIn.bindings;
    return ERROR_SUCCESS;
}
DWORD WINAPI unbindDirectory(HANDLE* binding) {
    EXPECT_EQ(*binding, &replicationStandIn);
    --replicationStandIn.bindings;
    return ERROR_SUCCESS;
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

}  // namespace

WS_STANDS_IN(DsBindWithCredW, bindDirectory);
WS_STANDS_IN(DsUnBindW, unbindDirectory);
WS_STANDS_IN(DsReplicaGetInfoW, replicaInfo);
WS_STANDS_IN(DsReplicaFreeInfo, freeReplicaInfo);

namespace {

TEST(Replication, TellsWhatIsPendingAndGivesEverythingBack) {
    replicationStandIn = {};
    {
        const auto bound = makeReplication()->bind(L"localhost:22389");
        ASSERT_TRUE(bound);
        EXPECT_EQ(replicationStandIn.boundTo, L"localhost:22389");
        replicationStandIn.pending.cNumPendingOps = 7;
        EXPECT_EQ((*bound)->pendingOperations().value(), 7u);
        replicationStandIn.answersNothing = true;
        EXPECT_EQ((*bound)->pendingOperations().value(), std::nullopt);
        replicationStandIn.failure = ERROR_DS_DRA_ACCESS_DENIED;
        EXPECT_EQ((*bound)->pendingOperations().error().code, ERROR_DS_DRA_ACCESS_DENIED);
        EXPECT_EQ(makeReplication()->bind(L"x").error().code, ERROR_DS_DRA_ACCESS_DENIED);
    }
    EXPECT_EQ(replicationStandIn.bindings, 0);
    EXPECT_EQ(replicationStandIn.results, 0);
}

}  // namespace
}  // namespace wsadmin::platform::windows
