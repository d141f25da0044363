#include "windows/stand_ins/replication.h"

#include <gtest/gtest.h>

#include <cstring>

#include "windows/stand_ins/hidden_function.h"

namespace test {

ReplicationStandIn replicationStandIn;

namespace {

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
}  // namespace test

WS_STANDS_IN(DsBindWithCredW, test::bindDirectory);
WS_STANDS_IN(DsUnBindW, test::unbindDirectory);
WS_STANDS_IN(DsMakePasswordCredentialsW, test::makeIdentity);
WS_STANDS_IN(DsFreePasswordCredentials, test::freeIdentity);
WS_STANDS_IN(DsReplicaGetInfoW, test::replicaInfo);
WS_STANDS_IN(DsReplicaFreeInfo, test::freeReplicaInfo);
WS_STANDS_IN(DsReplicaConsistencyCheck, test::checkConsistency);
WS_STANDS_IN(DsReplicaUpdateRefsW, test::updateRefs);
WS_STANDS_IN(DsReplicaAddW, test::addReplica);
WS_STANDS_IN(DsReplicaSyncW, test::syncReplica);
WS_STANDS_IN(DsReplicaSyncAllW, test::syncAllReplicas);
