#include "maintenance/common.h"

#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"

namespace wsadmin {

using CORE::toWide;

void Common::setClusterName() {
    const CORE::mstr clusterName = request().get(L"clustername").to_mstr();
    platform::LdapSession* session = directory();
    if (!session) return;

    const std::string base = layout::under(layout::container::globalSettings);
    const auto found = readEntry(*session, base);
    if (!found) {
        if (found.error().code == platform::ldapNoSuchObject)
            return fail(L"Common global properties not found in LDAP");
        return fail(L"Failed to search for common global properies entry \"" + toWide(base) + L"\" - " +
                    found.error().text);
    }
    if (found->empty()) return fail(L"Entry for \"" + toWide(base) + L"\" not found.");
    const std::string& dn = found->front().dn;
    if (dn.empty()) return fail(L"Failed to get DN for entry \"" + toWide(base));

    const auto written = addThenReplace(*session, dn, layout::attribute::clusterName, clusterName.str());
    if (!written) return fail(L"Failed to set cluster name - " + written.error().text);
    result().set(L"textmessage", L"The specified cluster name has been set for this cluster.");
}

void Common::checkLdapConnectivity() {
    const auto session = tryDirectory();
    if (!session) return;
    const std::string base = layout::under(layout::container::foreignPrincipals);
    const auto found = readEntry(**session, base, "objectclass=container");
    result().set(L"result", found ? L"ok" : L"failed");
    if (found) return;
    result().set(L"searchbase", toWide(base));
    result().setInt(L"ldaperr", found.error().code);
}

}  // namespace wsadmin
