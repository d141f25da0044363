#include "identity/admin_permission.h"

#include <algorithm>
#include <iterator>

#include "identity/accounts.h"
#include "identity/principals.h"
#include "identity/user_groups.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::AccountAuthority;
using platform::DirectoryThread;
using platform::Sid;
using platform::TokenStep;

namespace {

bool isLocalSystem(const Sid& sid) {
    return sid.text() == platform::localSystemSid;
}

bool namesLocalSystem(const CORE::PropertyBag& request) {
    CORE::wstr value;
    for (std::size_t position = 0; request.getNext(L"sid", value, position);) {
        const auto sid = Sid::parse(std::wstring_view(value));
        if (sid && isLocalSystem(*sid)) return true;
    }
    return false;
}

std::vector<std::string> permissionsOf(const CORE::PropertyBag& request) {
    std::vector<std::string> permissions;
    CORE::wstr value;
    for (std::size_t position = 0; request.getNext(L"permission", value, position);)
        permissions.push_back(CORE::toUtf8(value.str()));
    return permissions;
}

// The thread's own token where it has one. Where it has one that cannot be had, the process's would say more
// than the thread may.
Result<std::unique_ptr<platform::Token>> openToken(AccountAuthority& accounts) {
    auto token = accounts.threadToken();
    if (!token && token.error().code == platform::accountNoToken) return accounts.processToken();
    return token;
}

}  // namespace

void AdminPermission::check() {
    if (namesLocalSystem(request())) return permit();
    if (!directory()) return;
    const DirectoryThread thread(*service().platform().directoryServices);
    const auto sids = principals();
    if (!sids) return;
    if (std::ranges::any_of(*sids, isLocalSystem)) return permit();
    searchRoles(*sids);
}

std::optional<SidList> AdminPermission::principals() {
    if (request().contains(L"sid")) {
        auto sids = sidList(request());
        if (sids) return std::move(*sids);
        logError(L"%s", sids.error().text);
        fail(L"Failed to construct LDAP filter");
        return std::nullopt;
    }
    const auto accounts = accountsOf(service());
    SidList sids = bindAccount(*accounts);
    if (!sids.empty()) return sids;
    return callingToken(*accounts);
}

// Without groups where these cannot be read, which is logged: fewer roles are found then, never more.
SidList AdminPermission::bindAccount(AccountAuthority& accounts) {
    const std::wstring& name = service().platform().directoryAccount;
    const auto sid = name.empty() ? std::nullopt : usernameToSid(service(), accounts, name);
    if (!sid) return {};
    SidList sids = {*sid};
    const auto user = readUser(service(), *sid);
    if (!user) {
        logWarning(L"Unable to obtain user information from Active Directory");
        return sids;
    }
    if (const auto groups = userTokenGroupsFromDirectory(service(), CORE::toUtf8(user->dn)))
        std::ranges::copy(*groups, std::back_inserter(sids));
    return sids;
}

std::optional<SidList> AdminPermission::callingToken(AccountAuthority& accounts) {
    const auto token = openToken(accounts);
    if (!token) {
        logError(L"Failed to determine current process token (%s)", token.error().text);
        fail(L"Failed to determine current process token");
        return std::nullopt;
    }
    const auto user = (*token)->user();
    if (!known(user, L"Failed to determine token user")) return std::nullopt;
    const auto groups = (*token)->groups();
    if (!known(groups, L"Failed to determine token groups")) return std::nullopt;
    SidList sids = {*user};
    std::ranges::copy(*groups, std::back_inserter(sids));
    return sids;
}

template <class T>
bool AdminPermission::known(const platform::TokenResult<T>& asked, std::wstring_view sentence) {
    if (asked) return true;
    logError(L"%s (%s)", sentence, asked.error().cause.text);
    fail(asked.error().step == TokenStep::memory ? L"Out of memory" : sentence);
    return false;
}

void AdminPermission::searchRoles(const SidList& sids) {
    const std::string filter = adminPermissionFilter(sids, permissionsOf(request()));
    logDebug(L"Filter is %s", filter);
    const std::string path = configurationPath(layout::under(layout::container::roles));
    const auto unopened = [&] { fail(L"Failed to open LDAP entry " + CORE::toWide(path)); };
    const auto base = openQuery(*service().platform().directoryServices, path);
    if (!base) return unopened();
    const auto roles = queryRows(**base, QueryScope::oneLevel, filter,
                                 {layout::attribute::cn, layout::attribute::displayName}, 1);
    if (!roles) return unopened();
    if (roles->empty()) return fail(L"Permission Denied");
    permit();
}

}  // namespace wsadmin
