#include "platform/lab/directory_server.h"

#include <algorithm>

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

}  // namespace

DirectoryServer::DirectoryServer(std::unique_ptr<Directory> directory, std::vector<Account> accounts,
                                 Faults faults, std::shared_ptr<Clock> clock)
    : clock_(std::move(clock)),
      directory_(std::move(directory)),
      accounts_(std::move(accounts)),
      faults_(std::move(faults)) {}

void DirectoryServer::setFaults(Faults faults) {
    faults_ = std::move(faults);
    operations_ = pages_ = 0;
    dead_ = false;
}

Result<void> DirectoryServer::arrive(std::string_view operation, std::string_view dn) {
    if (!reachable()) return fail(ldapFailure(ldapServerDown));
    if (faults_.dieAfterOperations && operation != "bind" && operations_++ >= *faults_.dieAfterOperations)
        return die();
    if (auto waited = wait(faults_.slow); !waited) return waited;
    if (const int code = ordered(operation, dn); code != ldapSuccess) return fail(ldapFailure(code));
    return {};
}

Result<void> DirectoryServer::wait(std::chrono::milliseconds time) const {
    if (time.count() > 0 && clock_->wait(time, &stopped_))
        return fail(ldapUserCancelled, L"The service is stopping");
    return {};
}

Result<void> DirectoryServer::die() {
    dead_ = true;
    return fail(ldapFailure(ldapServerDown));
}

int DirectoryServer::ordered(std::string_view operation, std::string_view dn) {
    const std::lock_guard lock(ordersMutex_);
    for (auto& order : faults_.fail) {
        if (order.operation != operation || (!order.dn.empty() && !sameDn(order.dn, dn))) continue;
        if (order.skip > 0) {
            --order.skip;
            continue;
        }
        if (order.times && (*order.times)-- <= 0) {
            order.times = 0;
            continue;
        }
        return order.code;
    }
    return ldapSuccess;
}

Result<void> DirectoryServer::pageArrives() {
    if (faults_.dieAfterPages && pages_++ >= *faults_.dieAfterPages) return die();
    return {};
}

bool DirectoryServer::admits(const LdapCredentials& credentials) const {
    if (faults_.refuseBinds) return false;
    if (credentials.user.empty()) return true;  // the process itself is always known
    if (const auto own = directory_->admits(credentials)) return *own;
    if (accounts_.empty()) return true;
    const auto given = foldText(credentials.user);
    const auto domain = foldText(credentials.domain);
    return std::any_of(accounts_.begin(), accounts_.end(), [&](const Account& account) {
        const auto name = foldText(account.name), netBios = foldText(account.domain),
                   dns = foldText(account.dnsDomain);
        const bool sameDomain = domain.empty() || domain == netBios || domain == dns;
        const bool named = (given == name && sameDomain) ||
                           (!netBios.empty() && given == netBios + '\\' + name) ||
                           (!dns.empty() && given == name + '@' + dns);
        return named && account.password.view() == credentials.password.view();
    });
}

std::optional<std::string> LabNetwork::listen(Address address, std::shared_ptr<DirectoryServer> server) {
    const std::lock_guard lock(mutex_);
    for (const auto& [other, unused] : servers_)
        if (auto both = common(address, other)) return both;
    servers_.emplace_back(std::move(address), std::move(server));
    return std::nullopt;
}

void LabNetwork::leave(const DirectoryServer& server) {
    const std::lock_guard lock(mutex_);
    std::erase_if(servers_, [&](const auto& known) { return known.second.get() == &server; });
}

void LabNetwork::stop() {
    const std::lock_guard lock(mutex_);
    for (const auto& [address, server] : servers_) server->stop();
}

DirectoryServer* LabNetwork::named(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [address, server] : servers_)
        if (server->directory().settings().name == name) return server.get();
    return nullptr;
}

Result<std::unique_ptr<LdapSession>> LabNetwork::open(const LdapEndpoint& endpoint) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(servers_.begin(), servers_.end(), [&](const auto& server) {
        const Address& address = server.first;
        const auto& ports = endpoint.tls ? address.tlsPorts : address.ports;
        const bool host = std::any_of(address.hosts.begin(), address.hosts.end(), [&](const auto& name) {
            return equalFolded(endpoint.host, foldText(name));
        });
        return host && std::find(ports.begin(), ports.end(), endpoint.port) != ports.end();
    });
    // As with any LDAP client, that nobody is there shows only at the bind.
    return std::make_unique<LabSession>(found == servers_.end() ? nullptr : found->second, endpoint);
}

}  // namespace wsadmin::platform::lab
