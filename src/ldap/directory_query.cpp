#include "ldap/directory_query.h"

#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectorySearch;
using platform::SearchPreference;

namespace {

Result<void> setPreferences(DirectorySearch& base, QueryScope scope) {
    auto set = base.setPreference(SearchPreference::scope, static_cast<int>(scope));
    if (set) set = base.setPreference(SearchPreference::pageSize, queryPageSize);
    if (!set) logError(L"Failed to prepare a search (%s)", set.error().text);
    return set;
}

}  // namespace

std::string configurationPath(const std::string& dn) {
    return "LDAP://127.0.0.1/" + dn;
}

std::string federationPath(const std::string& dn) {
    return "LDAP://127.0.0.1:22389/" + dn;
}

Result<std::shared_ptr<DirectorySearch>> openQuery(platform::DirectoryServices& services,
                                                   const std::string& path) {
    auto opened = services.openSearch(path, {}, platform::adsSecureAuthentication | platform::adsServerBind);
    if (!opened) logError(L"Failed to open %s (%s)", path, opened.error().text);
    return opened;
}

Result<std::vector<DirectoryRow>> queryRows(DirectorySearch& base, QueryScope scope,
                                            const std::string& filter,
                                            const std::vector<std::string>& attributes, std::size_t most) {
    if (auto set = setPreferences(base, scope); !set) return fail(set.error());
    return readRows(base, filter, attributes, most);
}

}  // namespace wsadmin
