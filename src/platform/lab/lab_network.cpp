#include "platform/lab/lab_network.h"

#include <algorithm>
#include <charconv>

#include "framework/core/corestring.h"
#include "platform/lab/lab_session.h"

namespace wsadmin::platform::lab {

namespace {

// Where both are reached.
std::optional<std::string> common(const LabNetwork::Address& one, const LabNetwork::Address& other) {
    const auto portsOf = [](const LabNetwork::Address& address) {
        auto all = address.ports;
        all.insert(all.end(), address.tlsPorts.begin(), address.tlsPorts.end());
        return all;
    };
    const auto taken = portsOf(other);
    for (const auto& host : one.hosts)
        for (const auto& otherHost : other.hosts)
            for (const auto port : portsOf(one))
                if (equalFolded(host, foldText(otherHost)) &&
                    std::find(taken.begin(), taken.end(), port) != taken.end())
                    return (host.empty() ? "this machine" : host) + ", port " + std::to_string(port);
    return std::nullopt;
}

bool isAmong(std::string_view host, const std::vector<std::string>& names) {
    return std::ranges::any_of(names, [&](const std::string& name) { return CORE::equalFolded(host, name); });
}

bool isLoopback(std::string_view host) {
    return isAmong(host, {"", "localhost", "127.0.0.1", "::1"});
}

LdapModification linkChange(LdapModify operation, const std::string& source) {
    return {operation, repsFromAttribute, {source}};
}

}  // namespace

std::optional<std::string> LabNetwork::listen(Address address, std::shared_ptr<DirectoryServer> server) {
    const std::lock_guard lock(shared_->mutex);
    for (const auto& [other, unused] : shared_->servers)
        if (auto both = common(address, other)) return both;
    shared_->servers.emplace_back(std::move(address), std::move(server));
    return std::nullopt;
}

void LabNetwork::leave(const DirectoryServer& server) {
    const std::lock_guard lock(shared_->mutex);
    struct Partner {
        DirectoryServer* server;
        ReplicationLink link;
    };
    std::vector<Partner> partners;
    for (const auto& [address, one] : shared_->servers)
        for (ReplicationLink& link : one->directory().links())
            if (reached(link.source).get() == &server) partners.push_back({one.get(), std::move(link)});
    for (const Partner& one : partners) {
        Directory& directory = one.server->directory();
        static_cast<void>(
            directory.modify(one.link.context, {linkChange(LdapModify::remove, one.link.source)}));
        for (const Partner& other : partners)
            if (other.server != one.server && other.link.context == one.link.context)
                static_cast<void>(directory.modify(one.link.context,
                                                   {linkChange(LdapModify::add, addressOf(*other.server))}));
    }
    std::erase_if(shared_->servers, [&](const Listener& known) { return known.second.get() == &server; });
    std::erase_if(shared_->taken, [&](const auto& known) {
        return std::get<0>(known.first) == &server || std::get<1>(known.first) == &server;
    });
}

void LabNetwork::addHost(std::string name) {
    const std::lock_guard lock(shared_->mutex);
    shared_->hosts.push_back(std::move(name));
}

void LabNetwork::addUnreachable(std::string name, ProbeOutcome outcome) {
    const std::lock_guard lock(shared_->mutex);
    unreachable_.emplace_back(std::move(name), outcome);
}

void LabNetwork::stop() {
    const std::lock_guard lock(shared_->mutex);
    for (const auto& [address, server] : shared_->servers) server->stop();
}

DirectoryServer* LabNetwork::named(std::string_view name) const {
    const std::lock_guard lock(shared_->mutex);
    for (const auto& [address, server] : shared_->servers)
        if (server->directory().settings().name == name) return server.get();
    return nullptr;
}

Result<std::unique_ptr<LdapSession>> LabNetwork::open(const LdapEndpoint& endpoint) {
    settle();
    const std::lock_guard lock(shared_->mutex);
    const Listener* found = listener(endpoint.host, endpoint.port, endpoint.tls);
    // As with any LDAP client, that nobody is there shows only at the bind.
    return std::make_unique<LabSession>(found ? found->second : nullptr, endpoint);
}

ProbeOutcome LabNetwork::probe(const std::wstring& host, std::uint16_t port, const CORE::coreevent* stop) {
    if (stop && stop->isSet()) return ProbeOutcome::otherFailure;
    const std::string name = CORE::toUtf8(host);
    const std::lock_guard lock(shared_->mutex);
    for (const auto& [unreachable, outcome] : unreachable_)
        if (CORE::equalFolded(name, unreachable)) return outcome;
    const Listener* found = listener(name, port, false);
    if (!found) found = listener(name, port, true);
    if (found) return found->second->reachable() ? ProbeOutcome::connected : ProbeOutcome::refused;
    const bool exists =
        isAmong(name, shared_->hosts) || std::ranges::any_of(shared_->servers, [&](const Listener& one) {
            return isAmong(name, one.first.hosts);
        });
    return exists && !name.empty() ? ProbeOutcome::refused : ProbeOutcome::nameNotResolved;
}

const LabNetwork::Listener* LabNetwork::listener(std::string_view host, std::uint16_t port, bool tls) const {
    if (!machine_.empty() && isLoopback(host)) host = machine_;
    for (const auto& [unreachable, outcome] : unreachable_)
        if (CORE::equalFolded(host, unreachable)) return nullptr;
    for (const Listener& one : shared_->servers) {
        const auto& ports = tls ? one.first.tlsPorts : one.first.ports;
        if (isAmong(host, one.first.hosts) && std::ranges::find(ports, port) != ports.end()) return &one;
    }
    return nullptr;
}

std::shared_ptr<DirectoryServer> LabNetwork::reached(std::string_view address) const {
    const auto colon = address.rfind(':');
    if (colon == address.npos) return nullptr;
    const std::string_view port = address.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error != std::errc{} || end != port.data() + port.size()) return nullptr;
    const Listener* found = listener(address.substr(0, colon), number, false);
    return found ? found->second : nullptr;
}

// As links name it.
std::string LabNetwork::addressOf(const DirectoryServer& server) const {
    for (const auto& [address, one] : shared_->servers)
        if (one.get() == &server && !address.ports.empty())
            return one->directory().settings().dnsHostName + ":" + std::to_string(address.ports.front());
    return {};
}

// --- replication

std::shared_ptr<DirectoryServer> LabNetwork::at(std::string_view address) const {
    const std::lock_guard lock(shared_->mutex);
    return reached(address);
}

std::vector<std::shared_ptr<DirectoryServer>> LabNetwork::servers() const {
    const std::lock_guard lock(shared_->mutex);
    std::vector<std::shared_ptr<DirectoryServer>> all;
    for (const auto& [address, server] : shared_->servers) all.push_back(server);
    return all;
}

void LabNetwork::pull(DirectoryServer& destination, DirectoryServer& source,
                      const std::string& namingContext) {
    const std::lock_guard lock(shared_->mutex);
    take(destination, source, namingContext);
}

// Whether the destination has changed.
bool LabNetwork::take(DirectoryServer& destination, DirectoryServer& source,
                      const std::string& namingContext) {
    std::uint64_t& taken = shared_->taken[{&destination, &source, foldText(namingContext)}];
    Directory& to = destination.directory();
    const ReplicatedChanges changes = source.directory().changesAfter(namingContext, taken);
    const auto before = to.lastUsn();
    to.takeOver(changes, taken == 0 ? Meeting::first : Meeting::later);
    taken = changes.usn;
    return to.lastUsn() != before;
}

bool LabNetwork::settleOnce(std::set<Refusal>& refused) {
    bool changed = false;
    for (const auto& [address, destination] : shared_->servers)
        for (const auto& [context, from] : destination->directory().links()) {
            const auto source = reached(from);
            if (!source || source == destination || !source->reachable()) continue;
            const auto taken = shared_->taken.find({destination.get(), source.get(), foldText(context)});
            if (taken != shared_->taken.end() && taken->second == source->directory().lastUsn()) continue;
            const Refusal refusal{destination.get(), context};
            if (refused.contains(refusal)) continue;
            if (destination->replicationCode("replicate", context) != 0)
                refused.insert(refusal);
            else if (take(*destination, *source, context))
                changed = true;
        }
    return changed;
}

void LabNetwork::settle() {
    const std::lock_guard lock(shared_->mutex);
    std::set<Refusal> refused;
    // A change passes at least one further server in each round.
    for (std::size_t round = 0; round <= shared_->servers.size() && settleOnce(refused);) ++round;
}

}  // namespace wsadmin::platform::lab
