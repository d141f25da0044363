// The replication interface of the directory service.
#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"
// After the platform's base headers:
#include <ntdsapi.h>

namespace wsadmin::platform::windows {

namespace {

struct Unbinder {
    void operator()(void* binding) const noexcept { DsUnBindW(&binding); }
};
using UniqueBinding = std::unique_ptr<void, Unbinder>;

struct PendingFreer {
    void operator()(DS_REPL_PENDING_OPSW* pending) const noexcept {
        DsReplicaFreeInfo(DS_REPL_INFO_PENDING_OPS, pending);
    }
};

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

  private:
    UniqueBinding binding_;
};

class RealReplication final : public Replication {
  public:
    Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server) override {
        HANDLE binding = nullptr;
        const DWORD code = DsBindWithCredW(server.c_str(), nullptr, nullptr, &binding);
        if (code != ERROR_SUCCESS) return fail(systemFailure(code));
        return std::make_unique<RealBinding>(UniqueBinding(binding));
    }
};

}  // namespace

std::shared_ptr<Replication> makeReplication() {
    return std::make_shared<RealReplication>();
}

}  // namespace wsadmin::platform::windows
