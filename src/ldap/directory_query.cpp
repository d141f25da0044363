#include "ldap/directory_query.h"

#include "platform/module/module_log.h"

namespace wsadmin {

using platform::DirectorySearch;
using platform::SearchPreference;

namespace {

Result<std::vector<DirectoryRow>> readAll(DirectorySearch& base, QueryScope scope, const std::string& filter,
                                          const std::vector<std::string>& attributes, std::size_t most) {
    if (auto set = base.setPreference(SearchPreference::scope, static_cast<int>(scope)); !set)
        return fail(set.error());
    if (auto set = base.setPreference(SearchPreference::pageSize, queryPageSize); !set)
        return fail(set.error());
    return readRows(base, filter, attributes, most);
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
    auto rows = readAll(base, scope, filter, attributes, most);
    if (!rows) logError(L"Failed to search for %s (%s)", filter, rows.error().text);
    return rows;
}

}  // namespace wsadmin
