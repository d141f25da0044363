#include "federation/consistency.h"

#include <array>

#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pending_operations.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::InstanceGuid;
using platform::ReplicationBinding;

constexpr char localHost[] = "localhost";
constexpr std::chrono::milliseconds beforeRetry{5000};
constexpr int mostSyncs = 200;
constexpr wchar_t noWait[] = L"Unable to wait for pending ops to clear";

// A failure of that sentence.
template <class T>
T orSay(T result, std::wstring_view sentence) {
    if (result) return result;
    return T(fail(result.error().code, std::wstring(sentence)));
}

std::wstring about(std::wstring_view format, const std::wstring& namingContext) {
    return CORE::formatText(format, namingContext);
}

// --- what the instances say of themselves

using Contexts = std::array<std::wstring, 3>;

Result<Contexts> namingContexts(platform::Platform& platform) {
    const auto root = instancePath(localHost, rootEntry);
    const auto configuration = orSay(readText(platform, root, attribute::configurationContext),
                                     L"Unable to lookup configuration naming context");
    if (!configuration) return fail(configuration.error());
    const auto schema =
        orSay(readText(platform, root, attribute::schemaContext), L"Unable to lookup schema naming context");
    if (!schema) return fail(schema.error());
    return Contexts{*configuration, *schema, CORE::toWide(layout::globalNamingContext)};
}

// A GUID is bytes to the directory; whoever has it as a text has their digits.
std::string digitsOf(const platform::DirectoryValue& value) {
    const auto* guid = std::get_if<platform::DirectoryBytes>(&value);
    if (!guid) return platform::directoryText(value);
    std::string digits;
    for (const char c : guid->bytes)
        digits +=
            CORE::toUtf8(CORE::formatText(L"%02x", static_cast<unsigned>(static_cast<unsigned char>(c))));
    return digits;
}

Result<InstanceGuid> guidOf(const std::string& digits) {
    const auto guid = platform::instanceGuid(digits);
    if (guid) return *guid;
    if (digits.size() == InstanceGuid::digits)
        logError(L"Unable to convert GUID string to UUID: %s", digits);
    else
        logError(L"Expected a 32-char hex string: %s", digits);
    return fail(0, L"The GUID cannot be read");
}

// One side of the replication.
struct Instance {
    std::string host;
    std::wstring_view word;     // "local" or "remote"
    std::wstring dsa, address;  // its settings' DN, and where the other side reaches it
    InstanceGuid guid{};
    std::unique_ptr<ReplicationBinding> binding{};
};

Result<platform::DirectoryValue> readOf(platform::Platform& platform, const Instance& instance,
                                        const SourceAccount& account, std::string_view dn, const char* name) {
    const auto credentials = credentialsOf(account);
    if (!credentials) return fail(credentials.error());
    return readValue(platform, instancePath(instance.host, dn), name, *credentials);
}

Result<void> readNames(platform::Platform& platform, Instance& instance, const SourceAccount& account) {
    const auto dsa = readOf(platform, instance, account, rootEntry, attribute::serviceName);
    const auto name = dsa ? readOf(platform, instance, account, rootEntry, attribute::hostName) : dsa;
    if (!name)
        return fail(name.error().code,
                    CORE::formatText(L"Unable to lookup %s dsServiceName or dnsHostName", instance.word));
    instance.dsa = CORE::toWide(platform::directoryText(*dsa));
    instance.address = instanceAddress(CORE::toWide(platform::directoryText(*name)));
    return {};
}

Result<void> readGuid(platform::Platform& platform, Instance& instance, const SourceAccount& account) {
    const auto value = readOf(platform, instance, account, CORE::toUtf8(instance.dsa), attribute::objectGuid);
    const auto guid = value ? guidOf(digitsOf(*value)) : Result<InstanceGuid>(fail(value.error()));
    if (!guid)
        return fail(guid.error().code, CORE::formatText(L"Unable to lookup %s server UUID", instance.word));
    instance.guid = *guid;
    return {};
}

// --- binding

Result<platform::Replication*> replicationOf(const platform::Platform& platform) {
    constexpr int notSupported = 50;
    if (platform.replication) return platform.replication.get();
    return fail(notSupported, L"This machine has no replication of directories");
}

Result<std::unique_ptr<ReplicationBinding>> bindInstance(
    const platform::Platform& platform, const std::string& host,
    const platform::ReplicationCredentials* credentials) {
    const auto replication = replicationOf(platform);
    if (!replication) return fail(replication.error());
    return (*replication)->bind(instanceAddress(CORE::toWide(host)), credentials);
}

// Null without a user.
Result<std::unique_ptr<platform::ReplicationCredentials>> bindCredentials(const platform::Platform& platform,
                                                                          const SourceAccount& account) {
    if (account.user.empty()) return nullptr;
    logVerbose(L"Using supplied credentials for bind");
    const auto backslash = account.user.find(L'\\');
    const std::wstring domain = account.user.substr(0, backslash);
    const std::wstring user = backslash == account.user.npos ? L"" : account.user.substr(backslash + 1);
    if (domain.empty() || user.empty() || user.find(L'\\') != user.npos)
        return fail(0, L"Username expected in DOMAIN\\user format");
    const auto made = [&]() -> Result<std::unique_ptr<platform::ReplicationCredentials>> {
        const auto replication = replicationOf(platform);
        if (!replication) return fail(replication.error());
        const auto plain = credentialsOf(account);
        if (!plain) return fail(plain.error());
        return (*replication)->makeCredentials(domain, user, plain->password);
    };
    return orSay(made(), L"Unable to make password credentials");
}

// --- forcing

class Forcing {
  public:
    Forcing(ServiceContext& service, const std::string& server, Flow flow, const SourceAccount& account)
        : service_(service), platform_(service.platform()), account_(account), flow_(flow) {
        local_.host = localHost;
        local_.word = L"local";
        remote_.host = server;
        remote_.word = L"remote";
    }

    Result<void> run() {
        const auto contexts = namingContexts(platform_);
        if (!contexts) return fail(contexts.error());
        auto done = readNames(platform_, local_, {});
        if (done) done = readNames(platform_, remote_, account_);
        if (done) done = readGuid(platform_, local_, {});
        if (done) done = readGuid(platform_, remote_, account_);
        if (done) done = bindBoth();
        if (done) done = updateTopology();
        for (const std::wstring& one : *contexts)
            if (done) done = replicate(one);
        return done;
    }

  private:
    Result<void> bindBoth() {
        auto local = bindInstance(platform_, local_.host, nullptr);
        if (!local) return fail(local.error().code, L"Unable to bind to local instance");
        local_.binding = std::move(*local);
        auto credentials = bindCredentials(platform_, account_);
        if (!credentials) return fail(credentials.error());
        credentials_ = std::move(*credentials);
        auto remote = bindInstance(platform_, remote_.host, credentials_.get());
        if (!remote) return fail(remote.error().code, L"Unable to bind to remote instance");
        remote_.binding = std::move(*remote);
        return {};
    }

    Result<void> waitForBoth() {
        auto waited = waitForPendingOps(service_, *local_.binding);
        if (waited) waited = waitForPendingOps(service_, *remote_.binding);
        return orSay(std::move(waited), noWait);
    }

    Result<void> updateTopology() {
        for (const Instance* one : {&local_, &remote_}) {
            if (auto waited = waitForBoth(); !waited) return waited;
            logVerbose(L"Calling update topology on %s instance", one->word);
            if (auto updated = one->binding->updateTopology(); !updated)
                return fail(updated.error().code,
                            CORE::formatText(L"Unable to update topology on %s instance", one->word));
        }
        logVerbose(L"Calling delay checks for all operations to complete");
        return waitForBoth();
    }

    Result<void> replicate(const std::wstring& namingContext) {
        auto done = addReference(namingContext);
        if (done) done = addLink(namingContext);
        if (done) done = synchronise(namingContext);
        return done;
    }

    Result<void> addReference(const std::wstring& namingContext) {
        if (auto waited = waitForBoth(); !waited) return waited;
        logVerbose(L"Calling update refs with add for %s", namingContext);
        auto added = source().binding->addReference(namingContext, destination().address, destination().guid);
        if (!added && added.error().code == platform::replicationReferenceExists) {
            logVerbose(L"No need for update refs with add for %s", namingContext);
            return {};
        }
        return orSay(std::move(added), about(L"Unable to update refs with add for %s", namingContext));
    }

    // Busy is no failure, however long it lasts; only a stop of the service ends the wait for it.
    Result<void> addLink(const std::wstring& namingContext) {
        if (auto waited = waitForBoth(); !waited) return waited;
        logVerbose(L"Calling setup of explicit replication link for %s", namingContext);
        for (;;) {
            const auto added = destination().binding->addLink(namingContext, source().dsa, source().address);
            if (added) return {};
            switch (added.error().code) {
                case platform::replicationBusy:
                    break;
                case platform::replicationLinkExists:
                    logVerbose(L"Replication link already exists for %s", namingContext);
                    return {};
                case platform::replicationSchemaMismatch:
                    warnOfMismatch(namingContext);
                    logWarning(L"Skipping explicit replication link for %s", namingContext);
                    return {};
                default:
                    return fail(added.error().code,
                                about(L"Unable to setup explicit replication link for %s", namingContext));
            }
            logVerbose(L"Too busy to complete the replication operation for %s, will retry", namingContext);
            if (platform_.clock->wait(beforeRetry, &service_.stopping()))
                return fail(
                    added.error().code,
                    about(L"Interrupted during setup of explicit replication link for %s", namingContext));
            if (auto waited = waitForBoth(); !waited) return waited;
        }
    }

    Result<void> synchronise(const std::wstring& namingContext) {
        if (auto waited = waitForBoth(); !waited) return waited;
        logVerbose(L"Calling manual replication with add for %s", namingContext);
        auto done = destination().binding->synchronise(namingContext, source().guid);
        if (!done && done.error().code == platform::replicationSchemaMismatch) {
            warnOfMismatch(namingContext);
            return {};
        }
        return orSay(std::move(done),
                     about(L"Unable to perform initial manual replication with add for %s", namingContext));
    }

    static void warnOfMismatch(const std::wstring& namingContext) {
        logWarning(L"Schema mismatch detected during replication for %s", namingContext);
    }
    const Instance& source() const { return flow_ == Flow::incoming ? remote_ : local_; }
    const Instance& destination() const { return flow_ == Flow::incoming ? local_ : remote_; }

    ServiceContext& service_;
    platform::Platform& platform_;
    const SourceAccount& account_;
    Flow flow_;
    std::unique_ptr<platform::ReplicationCredentials> credentials_;  // outlives the bindings
    Instance local_, remote_;
};

// --- synchronising all

// Logs the progress of a synchronisation. Whether an error was among the events.
class SyncLog {
  public:
    void operator()(const std::optional<platform::SyncEvent>& event) {
        using platform::SyncEvent;
        if (!event) {
            logVerbose(L"%s: no update content", name);
            return;
        }
        switch (event->kind) {
            case SyncEvent::error:
                failed_ = true;
                logFailure(event->details);
                break;
            case SyncEvent::started:
                logServers(L"sync started", event->details);
                break;
            case SyncEvent::completed:
                logServers(L"sync completed", event->details);
                break;
            case SyncEvent::finished:
                logVerbose(L"%s: sync finished", name);
                break;
            default:
                logVerbose(L"%s: unknown event value: %d", name, event->kind);
        }
    }
    bool failed() const noexcept { return failed_; }

  private:
    using Details = std::optional<platform::SyncEvent::Details>;
    static constexpr wchar_t name[] = L"DsReplicaSyncAllCallback";

    static void logFailure(const Details& details) {
        if (details)
            logWarning(L"%s: error occurred. type:%d, err:%u, src:'%s', dst:'%s'", name, details->errorType,
                       details->code, details->source, details->destination);
        else
            logVerbose(L"%s: error occurred. no context", name);
    }
    static void logServers(std::wstring_view what, const Details& details) {
        if (details)
            logVerbose(L"%s: %s. src:'%s', dst:'%s'", name, what, details->source, details->destination);
        else
            logVerbose(L"%s: %s. no context", name, what);
    }

    bool failed_ = false;
};

Result<void> synchroniseUntilDone(ServiceContext& service, ReplicationBinding& instance,
                                  const std::wstring& namingContext, platform::SyncDirection direction) {
    const std::wstring_view word = direction == platform::SyncDirection::push ? L"push" : L"pull";
    const auto say = [&](std::wstring_view format) { return CORE::formatText(format, word, namingContext); };
    for (int attempt = 1;; ++attempt) {
        if (attempt > mostSyncs) return fail(0, say(L"Max retries reached during syncall %s for %s"));
        if (attempt > 1 && service.platform().clock->wait(beforeRetry, &service.stopping()))
            return fail(0, say(L"Interrupted during syncall %s for %s"));
        // What it cannot wait for shows in the call itself.
        static_cast<void>(waitForPendingOps(service, instance));
        logVerbose(L"Calling syncall %s for %s. Attempt %d", word, namingContext, attempt);
        SyncLog progress;
        auto done = instance.synchroniseAll(namingContext, direction, std::ref(progress));
        if (!done) return orSay(std::move(done), say(L"Unable to syncall %s for %s"));
        if (!progress.failed()) return {};
    }
}

Result<void> pushEverything(ServiceContext& service) {
    platform::Platform& platform = service.platform();
    const auto bound = bindInstance(platform, localHost, nullptr);
    if (!bound) return fail(bound.error().code, L"Unable to bind to local instance");
    ReplicationBinding& instance = **bound;
    const auto contexts = namingContexts(platform);
    if (!contexts) return fail(contexts.error());
    logVerbose(L"Calling update topology on local instance");
    if (auto updated = instance.updateTopology(); !updated)
        return orSay(std::move(updated), L"Unable to update topology on local instance");
    if (auto waited = waitForPendingOps(service, instance); !waited) return orSay(std::move(waited), noWait);
    logVerbose(L"Calling update topology on local instance again");
    if (auto updated = instance.updateTopology(); !updated)
        return orSay(std::move(updated), L"Unable to update topology on local instance again");
    for (const std::wstring& one : *contexts)
        if (auto done =
                synchroniseAll(service, instance, one, Purpose::removal, platform::SyncDirection::push);
            !done)
            return orSay(std::move(done), about(L"Unable to syncall push for %s", one));
    return {};
}

}  // namespace

Result<void> forceConsistency(ServiceContext& service, const std::string& server, Flow flow,
                              const SourceAccount& account) {
    logInfo(L"Forcing local consistency with server %s%s", server,
            std::wstring_view(flow == Flow::outgoing ? L" (outgoing)" : L""));
    auto done = Forcing(service, server, flow, account).run();
    if (!done)
        logError(L"Could not force consistency for %s: %s (error %u)", server, done.error().text,
                 static_cast<unsigned>(done.error().code));
    return done;
}

Result<void> forceConsistencyBeforeRemoval(ServiceContext& service) {
    logInfo(L"Forcing consistency before removal");
    auto done = pushEverything(service);
    if (!done)
        logError(L"Could not force consistency before removal: %s (error %u)", done.error().text,
                 static_cast<unsigned>(done.error().code));
    return done;
}

Result<void> synchroniseAll(ServiceContext& service, ReplicationBinding& instance,
                            const std::wstring& namingContext, Purpose purpose,
                            platform::SyncDirection direction) {
    auto done = synchroniseUntilDone(service, instance, namingContext, direction);
    if (!done && purpose == Purpose::removal)
        logError(L"Could not force consistency of %s before removal: %s (error %u)", namingContext,
                 done.error().text, static_cast<unsigned>(done.error().code));
    return done;
}

}  // namespace wsadmin::qrv
