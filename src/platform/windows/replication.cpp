// The replication interface of the directory service.
#include <cstring>
#include <exception>

#include "platform/windows/system_failure.h"
#include "platform/windows/wide_secret.h"
#include "platform/windows/windows_machine.h"
// After the platform's base headers:
#include <ntdsapi.h>

namespace wsadmin::platform::windows {

namespace {

static_assert(replicationBusy == ERROR_DS_DRA_BUSY && replicationLinkExists == ERROR_DS_DRA_DN_EXISTS &&
              replicationSchemaMismatch == ERROR_DS_DRA_SCHEMA_MISMATCH &&
              replicationReferenceExists == ERROR_DS_DRA_REF_ALREADY_EXISTS);
static_assert(int{SyncEvent::error} == int{DS_REPSYNCALL_EVENT_ERROR} &&
              int{SyncEvent::started} == int{DS_REPSYNCALL_EVENT_SYNC_STARTED} &&
              int{SyncEvent::completed} == int{DS_REPSYNCALL_EVENT_SYNC_COMPLETED} &&
              int{SyncEvent::finished} == int{DS_REPSYNCALL_EVENT_FINISHED});

struct Unbinder {
    void operator()(void* binding) const noexcept { DsUnBindW(&binding); }
};
using UniqueBinding = std::unique_ptr<void, Unbinder>;
using UniqueIdentity = std::unique_ptr<void, Freer<DsFreePasswordCredentials>>;

struct PendingFreer {
    void operator()(DS_REPL_PENDING_OPSW* pending) const noexcept {
        DsReplicaFreeInfo(DS_REPL_INFO_PENDING_OPS, pending);
    }
};

struct RealCredentials final : ReplicationCredentials {
    explicit RealCredentials(UniqueIdentity made) : identity(std::move(made)) {}
    UniqueIdentity identity;
};

Result<void> outcome(DWORD code) {
    if (code != ERROR_SUCCESS) return fail(systemFailure(code));
    return {};
}

// The directory's byte order of a GUID is that of the structure in memory.
UUID uuidOf(const InstanceGuid& guid) {
    UUID uuid{};
    static_assert(sizeof uuid == sizeof guid.bytes);
    std::memcpy(&uuid, guid.bytes.data(), sizeof uuid);
    return uuid;
}

std::wstring nameOrNothing(const wchar_t* text) {
    return text ? text : L"";
}

// Both texts of the platform may be missing.
std::optional<SyncEvent> eventOf(const DS_REPSYNCALL_UPDATEW* update) {
    if (!update) return std::nullopt;
    SyncEvent event{.kind = update->event};
    if (const auto* error = update->pErrInfo; error && event.kind == SyncEvent::error)
        event.details = SyncEvent::Details{nameOrNothing(error->pszSrcId), nameOrNothing(error->pszSvrId),
                                           error->error, error->dwWin32Err};
    else if (const auto* sync = update->pSync; sync && event.kind != SyncEvent::error)
        event.details = SyncEvent::Details{.source = nameOrNothing(sync->pszSrcId),
                                           .destination = nameOrNothing(sync->pszDstId)};
    return event;
}

struct Progress {
    const SyncProgress& tell;
    std::exception_ptr thrown;
};

// An exception waits until the platform has returned: there are frames of it in between.
BOOL WINAPI tellProgress(void* data, DS_REPSYNCALL_UPDATEW* update) {
    auto& progress = *static_cast<Progress*>(data);
    try {
        if (!progress.thrown) progress.tell(eventOf(update));
    } catch (...) {
        progress.thrown = std::current_exception();
    }
    return TRUE;
}

class RealBinding final : public ReplicationBinding {
  public:
    explicit RealBinding(UniqueBinding binding) : binding_(std::move(binding)) {}

    Result<std::optional<std::uint32_t>> pendingOperations() override {
        void* found = nullptr;
        const DWORD code =
            DsReplicaGetInfoW(binding_.get(), DS_REPL_INFO_PENDING_OPS, nullptr, nullptr, &found);
        if (code != ERROR_SUCCESS) return fail(systemFailure(code));
        const std::unique_ptr<DS_REPL_PENDING_OPSW, PendingFreer> pending(
            static_cast<DS_REPL_PENDING_OPSW*>(found));
        return pending ? std::optional<std::uint32_t>(pending->cNumPendingOps) : std::nullopt;
    }
    Result<void> updateTopology() override {
        return outcome(DsReplicaConsistencyCheck(binding_.get(), DS_KCC_TASKID_UPDATE_TOPOLOGY, 0));
    }
    Result<void> addReference(const std::wstring& namingContext, const std::wstring& destination,
                              const InstanceGuid& destinationGuid) override {
        const UUID uuid = uuidOf(destinationGuid);
        return outcome(DsReplicaUpdateRefsW(binding_.get(), namingContext.c_str(), destination.c_str(), &uuid,
                                            DS_REPUPD_ADD_REFERENCE | DS_REPUPD_WRITEABLE));
    }
    Result<void> addLink(const std::wstring& namingContext, const std::wstring& sourceDsa,
                         const std::wstring& source) override {
        return outcome(DsReplicaAddW(binding_.get(), namingContext.c_str(), sourceDsa.c_str(), nullptr,
                                     source.c_str(), nullptr, DS_REPADD_WRITEABLE | DS_REPADD_PERIODIC));
    }
    Result<void> synchronise(const std::wstring& namingContext, const InstanceGuid& sourceGuid) override {
        const UUID uuid = uuidOf(sourceGuid);
        return outcome(DsReplicaSyncW(binding_.get(), namingContext.c_str(), &uuid,
                                      DS_REPSYNC_WRITEABLE | DS_REPSYNC_ADD_REFERENCE));
    }
    Result<void> synchroniseAll(const std::wstring& namingContext, SyncDirection direction,
                                const SyncProgress& tell) override {
        const ULONG push = direction == SyncDirection::push ? DS_REPSYNCALL_PUSH_CHANGES_OUTWARD : 0;
        Progress progress{tell, nullptr};
        const DWORD code =
            DsReplicaSyncAllW(binding_.get(), namingContext.c_str(),
                              push | DS_REPSYNCALL_CROSS_SITE_BOUNDARIES, tellProgress, &progress, nullptr);
        if (progress.thrown) std::rethrow_exception(progress.thrown);
        return outcome(code);
    }

  private:
    UniqueBinding binding_;
};

class RealReplication final : public Replication {
  public:
    Result<std::unique_ptr<ReplicationCredentials>> makeCredentials(
        const std::wstring& domain, const std::wstring& user, const CORE::secretstring& password) override {
        const WideSecret wide(password.view());
        RPC_AUTH_IDENTITY_HANDLE identity = nullptr;
        const DWORD code =
            DsMakePasswordCredentialsW(user.c_str(), domain.c_str(), wide.text().c_str(), &identity);
        if (code != ERROR_SUCCESS) return fail(systemFailure(code));
        return std::make_unique<RealCredentials>(UniqueIdentity(identity));
    }
    Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server,
                                                     const ReplicationCredentials* credentials) override {
        const auto* made = static_cast<const RealCredentials*>(credentials);
        HANDLE binding = nullptr;
        const DWORD code =
            DsBindWithCredW(server.c_str(), nullptr, made ? made->identity.get() : nullptr, &binding);
        if (code != ERROR_SUCCESS) return fail(systemFailure(code));
        return std::make_unique<RealBinding>(UniqueBinding(binding));
    }
};

}  // namespace

std::shared_ptr<Replication> makeReplication() {
    return std::make_shared<RealReplication>();
}

}  // namespace wsadmin::platform::windows
