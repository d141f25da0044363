#include "platform/lab/directory_server.h"

#include <algorithm>

namespace wsadmin::platform::lab {

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

int DirectoryServer::replicationCode(std::string_view operation, std::string_view namingContext) {
    return reachable() ? ordered(operation, namingContext) : serverUnavailable;
}

int DirectoryServer::pendingOperations() {
    const std::lock_guard lock(ordersMutex_);
    return faults_.pendingOperations > 0 ? faults_.pendingOperations-- : 0;
}

std::optional<std::string> DirectoryServer::nextRoleTaker() {
    const std::lock_guard lock(ordersMutex_);
    if (faults_.roleTakers.empty()) return std::nullopt;
    std::string taker = std::move(faults_.roleTakers.front());
    faults_.roleTakers.erase(faults_.roleTakers.begin());
    return taker;
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

}  // namespace wsadmin::platform::lab
