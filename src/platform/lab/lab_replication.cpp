#include "platform/lab/lab_replication.h"

#include <algorithm>

#include "framework/core/corestring.h"
#include "platform/lab/syntax.h"

namespace wsadmin::platform::lab {

namespace {

using CORE::toUtf8;
using CORE::toWide;

// As the system numbers them.
constexpr int logonFailure = 1326, badNamingContext = 8440, noReplica = 8452, contactError = 0,
              replicationError = 1;

Failure replicationFailure(int code) {
    return {code, L"The replication ends with " + std::to_wstring(code)};
}

struct LabReplicationCredentials final : ReplicationCredentials {
    explicit LabReplicationCredentials(LdapCredentials given) : account(std::move(given)) {}
    LdapCredentials account;
};

std::vector<LdapEntry> found(const Directory& directory, const LdapSearch& search) {
    const auto ids = directory.find(search, false, false);
    std::size_t at = 0;
    auto entries = ids ? directory.show(*ids, at, ids->size(), search, false)
                       : Result<std::vector<LdapEntry>>(fail(ids.error()));
    return entries ? std::move(*entries) : std::vector<LdapEntry>();
}

// The settings of the servers of a directory's federation, its own among them.
std::vector<LdapEntry> serverSettings(const Directory& directory) {
    const LdapSearch search{.base = configurationContextOf(directory.settings()),
                            .scope = LdapScope::subtree,
                            .filter = "(objectClass=nTDSDSA)",
                            .attributes = {"objectGUID"}};
    return found(directory, search);
}

std::string ownGuid(const Directory& directory) {
    return valueIn(directory, valueIn(directory, "", "dsServiceName"), "objectGUID");
}

std::string bytesOf(const InstanceGuid& guid) {
    return {guid.bytes.begin(), guid.bytes.end()};
}

class LabBinding final : public ReplicationBinding {
  public:
    LabBinding(std::shared_ptr<LabNetwork> network, std::shared_ptr<DirectoryServer> server)
        : network_(std::move(network)), server_(std::move(server)) {}

    Result<std::optional<std::uint32_t>> pendingOperations() override {
        if (auto arrived = arrive("pending", ""); !arrived) return fail(arrived.error());
        return std::optional(static_cast<std::uint32_t>(server_->pendingOperations()));
    }
    Result<void> updateTopology() override { return arrive("topology", ""); }

    Result<void> addReference(const std::wstring& namingContext, const std::wstring& destination,
                              const InstanceGuid& destinationGuid) override {
        const std::string context = toUtf8(namingContext);
        if (auto arrived = arriveFor("reference", context); !arrived) return arrived;
        if (!serverOf(bytesOf(destinationGuid))) return fail(replicationFailure(noReplica));
        return note(context, repsToAttribute, destination, replicationReferenceExists);
    }
    Result<void> addLink(const std::wstring& namingContext, const std::wstring&,
                         const std::wstring& source) override {
        const std::string context = toUtf8(namingContext);
        if (auto arrived = arriveFor("link", context); !arrived) return arrived;
        const auto from = network_->at(toUtf8(source));
        if (!from || !from->reachable()) return fail(replicationFailure(serverUnavailable));
        if (auto noted = note(context, repsFromAttribute, source, replicationLinkExists); !noted)
            return noted;
        network_->pull(*server_, *from, context);
        return {};
    }
    Result<void> synchronise(const std::wstring& namingContext, const InstanceGuid& sourceGuid) override {
        const std::string context = toUtf8(namingContext);
        if (auto arrived = arriveFor("sync", context); !arrived) return arrived;
        const auto from = serverOf(bytesOf(sourceGuid));
        if (!from) return fail(replicationFailure(noReplica));
        if (!from->reachable()) return fail(replicationFailure(serverUnavailable));
        network_->pull(*server_, *from, context);
        return {};
    }
    Result<void> synchroniseAll(const std::wstring& namingContext, SyncDirection direction,
                                const SyncProgress& progress) override {
        const std::string context = toUtf8(namingContext);
        if (auto arrived = arriveFor("sync-all", context); !arrived) return arrived;
        const std::string self = ownGuid(server_->directory());
        for (const LdapEntry& other : serverSettings(server_->directory()))
            if (const auto guid = other.first("objectGUID"); guid != self)
                synchroniseWith(other.dn, serverOf(guid), context, direction, progress);
        progress(SyncEvent{.kind = SyncEvent::finished});
        return {};
    }

  private:
    Result<void> arrive(std::string_view operation, const std::string& context) {
        const int code = server_->replicationCode(operation, context);
        if (code != 0) return fail(replicationFailure(code));
        return {};
    }
    Result<void> arriveFor(std::string_view operation, const std::string& context) {
        if (auto arrived = arrive(operation, context); !arrived) return arrived;
        if (!server_->directory().holds(context)) return fail(replicationFailure(badNamingContext));
        return {};
    }
    Result<void> note(const std::string& context, const char* attribute, const std::wstring& address,
                      int exists) {
        const auto noted =
            server_->directory().modify(context, {{LdapModify::add, attribute, {toUtf8(address)}}});
        if (!noted) return fail(replicationFailure(exists));
        return {};
    }
    // Of the network; null where no server has that GUID.
    std::shared_ptr<DirectoryServer> serverOf(std::string_view guid) const {
        for (auto& one : network_->servers())
            if (ownGuid(one->directory()) == guid) return one;
        return nullptr;
    }
    // The other server's name is that of its entry, as long as nobody answers there.
    void synchroniseWith(const std::string& settings, const std::shared_ptr<DirectoryServer>& other,
                         const std::string& context, SyncDirection direction, const SyncProgress& progress) {
        const Directory& own = server_->directory();
        const std::wstring here = toWide(own.settings().dnsHostName),
                           there =
                               toWide(valueIn(own, settings.substr(settings.find(',') + 1), "dNSHostName"));
        const bool push = direction == SyncDirection::push;
        SyncEvent::Details details{.source = push ? here : there, .destination = push ? there : here};
        const int code = other ? other->replicationCode("sync-event", context) : serverUnavailable;
        if (code != 0) {
            details.errorType = code == serverUnavailable ? contactError : replicationError;
            details.code = static_cast<std::uint32_t>(code);
            return progress(SyncEvent{.kind = SyncEvent::error, .details = std::move(details)});
        }
        progress(SyncEvent{.kind = SyncEvent::started, .details = details});
        network_->pull(push ? *other : *server_, push ? *server_ : *other, context);
        progress(SyncEvent{.kind = SyncEvent::completed, .details = std::move(details)});
    }

    std::shared_ptr<LabNetwork> network_;
    std::shared_ptr<DirectoryServer> server_;
};

class LabReplication final : public Replication {
  public:
    explicit LabReplication(std::shared_ptr<LabNetwork> network) : network_(std::move(network)) {}

    Result<std::unique_ptr<ReplicationCredentials>> makeCredentials(
        const std::wstring& domain, const std::wstring& user, const CORE::secretstring& password) override {
        LdapCredentials account;
        account.user = toUtf8(user);
        account.domain = toUtf8(domain);
        account.password = password;
        return std::make_unique<LabReplicationCredentials>(std::move(account));
    }
    Result<std::unique_ptr<ReplicationBinding>> bind(const std::wstring& server,
                                                     const ReplicationCredentials* credentials) override {
        network_->settle();
        auto found = network_->at(toUtf8(server));
        const int code = found ? found->replicationCode("replica-bind", "") : serverUnavailable;
        if (code != 0) return fail(replicationFailure(code));
        const auto* given = static_cast<const LabReplicationCredentials*>(credentials);
        if (!found->admits(given ? given->account : LdapCredentials{}))
            return fail(replicationFailure(logonFailure));
        return std::make_unique<LabBinding>(network_, std::move(found));
    }

  private:
    std::shared_ptr<LabNetwork> network_;
};

}  // namespace

std::string valueIn(const Directory& directory, const std::string& dn, const std::string& attribute) {
    const LdapSearch search{
        .base = dn, .scope = LdapScope::base, .filter = "(objectClass=*)", .attributes = {attribute}};
    const auto entries = found(directory, search);
    return entries.empty() ? std::string() : std::string(entries.front().first(attribute));
}

std::shared_ptr<Replication> makeLabReplication(std::shared_ptr<LabNetwork> network) {
    return std::make_shared<LabReplication>(std::move(network));
}

}  // namespace wsadmin::platform::lab
