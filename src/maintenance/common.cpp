#include "maintenance/common.h"

#include "ldap/layout.h"
#include "ldap/modify.h"
#include "ldap/search.h"
#include "maintenance/maintenance_keys.h"

namespace wsadmin {

Result<void> Common::setClusterName() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto entry = readRequiredEntry(**session, layout::under(layout::container::globalSettings),
                                         {.absent = L"Common global properties not found in LDAP",
                                          .searched = L"common global properies entry"});
    if (!entry) return fail(entry.error());
    const auto written = addThenReplace(**session, entry->dn, layout::attribute::clusterName,
                                        std::string(request().utf8(key::clusterName)));
    if (!written) return fail(L"Failed to set cluster name - " + written.error().text);
    result().set(L"textmessage", L"The specified cluster name has been set for this cluster.");
    return {};
}

Result<void> Common::checkLdapConnectivity() {
    const auto session = directory();
    if (!session) return {};  // the answer stays empty; the log tells why
    const std::string base = layout::under(layout::container::foreignPrincipals);
    const auto found = readEntry(**session, base, "objectclass=container");
    result().set(L"result", found ? L"ok" : L"failed");
    if (found) return {};
    result().set(L"searchbase", CORE::toWide(base));
    result().setInt(L"ldaperr", found.error().code);
    return {};
}

}  // namespace wsadmin
