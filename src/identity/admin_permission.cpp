#include "identity/admin_permission.h"

#include <algorithm>
#include <iterator>

#include "identity/account_lookup.h"
#include "identity/identity_keys.h"
#include "identity/principals.h"
#include "identity/user_groups.h"
#include "ldap/directory_query.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::AccountAuthority;
using platform::Sid;
using platform::TokenStep;

namespace {

bool isLocalSystem(const Sid& sid) {
    return sid.text() == platform::localSystemSid;
}

bool namesLocalSystem(const std::vector<std::wstring>& sids) {
    return std::ranges::any_of(sids, [](const std::wstring& text) {
        const auto sid = Sid::parse(std::wstring_view(text));
        return sid && isLocalSystem(*sid);
    });
}

// The thread's token, or the process's where the thread has none. If the thread's token exists but cannot be
// opened, fail: the process's token may grant more.
Result<std::unique_ptr<platform::Token>> openToken(AccountAuthority& accounts) {
    auto token = accounts.threadToken();
    if (!token && token.error().code == platform::accountNoToken) return accounts.processToken();
    return token;
}

// What was asked of a token; the cause of a failure is logged.
template <class T>
Result<T> fromToken(platform::TokenResult<T> asked, const std::wstring& sentence) {
    if (asked) return std::move(*asked);
    logError(L"%s (%s)", sentence, asked.error().cause.text);
    return fail(asked.error().step == TokenStep::memory ? L"Out of memory" : sentence);
}

Result<SidList> callingToken(AccountAuthority& accounts) {
    const auto token = openToken(accounts);
    if (!token) {
        logError(L"Failed to determine current process token (%s)", token.error().text);
        return fail(L"Failed to determine current process token");
    }
    const auto user = fromToken((*token)->user(), L"Failed to determine token user");
    if (!user) return fail(user.error());
    auto sids = fromToken((*token)->groups(), L"Failed to determine token groups");
    if (sids) sids->insert(sids->begin(), *user);
    return sids;
}

}  // namespace

Result<void> AdminPermission::check() {
    if (namesLocalSystem(request().texts(key::adminSids))) return permit();
    if (const auto session = directory(); !session) return fail(session.error());
    const auto sids = principals();
    if (!sids) return fail(sids.error());
    if (std::ranges::any_of(*sids, isLocalSystem)) return permit();
    return searchRoles(*sids);
}

Result<void> AdminPermission::permit() {
    result().set(L"result", L"OK");
    return {};
}

Result<SidList> AdminPermission::principals() {
    if (request().has(key::adminSids)) {
        auto sids = sidList(request().texts(key::adminSids));
        if (sids) return sids;
        logError(L"%s", sids.error().text);
        return fail(L"Failed to construct LDAP filter");
    }
    const auto accounts = accountsOf(domains());
    SidList sids = bindAccount(*accounts);
    if (!sids.empty()) return sids;
    return callingToken(*accounts);
}

// Without groups where these cannot be read, which is logged: fewer roles are found then, never more.
SidList AdminPermission::bindAccount(AccountAuthority& accounts) {
    const std::wstring& name = service().platform().directoryAccount;
    const auto sid = name.empty() ? std::nullopt : usernameToSid(domains(), accounts, name);
    if (!sid) return {};
    SidList sids = {*sid};
    const auto user = readUser(domains(), *sid);
    if (!user) {
        logWarning(L"Unable to obtain user information from Active Directory");
        return sids;
    }
    if (const auto groups = userTokenGroupsFromDirectory(domains(), CORE::toUtf8(user->dn)))
        std::ranges::copy(*groups, std::back_inserter(sids));
    return sids;
}

Result<void> AdminPermission::searchRoles(const SidList& sids) {
    std::vector<std::string> permissions;
    for (const std::wstring& permission : request().texts(key::adminPermissions))
        permissions.push_back(CORE::toUtf8(permission));
    const std::string filter = adminPermissionFilter(sids, permissions);
    logDebug(L"Filter is %s", filter);
    const std::string path = configurationPath(layout::under(layout::container::roles));
    const auto base = openQuery(*service().platform().directoryServices, path);
    const auto roles = base ? queryRows(**base, QueryScope::oneLevel, filter,
                                        {layout::attribute::cn, layout::attribute::displayName}, 1)
                            : fail(base.error());
    if (!roles) return fail(L"Failed to open LDAP entry " + CORE::toWide(path));
    if (roles->empty()) return fail(L"Permission Denied");
    return permit();
}

}  // namespace wsadmin
