#include "ldap/domain_queries.h"

#include "ldap/domain.h"
#include "ldap/domain_keys.h"
#include "platform/module/module_log.h"

namespace wsadmin {

Result<void> DomainQueries::getDomainHealth() {
    const auto domain = service().domain();
    if (!domain) return fail(L"There is no domain map");
    const CORE::PropertyBag map = domain->getDomainMap(request().boolean(key::forceReload));
    result() = map.getBag(L"domainHealth");
    if (map.getError()) return fail(map.getErrorText().str());
    return {};
}

Result<void> DomainQueries::getDomainType() {
    const auto domain = service().domain();
    result().setBool(L"isMixedMode", !domain || domain->isMixedMode());
    return {};
}

Result<void> DomainQueries::getNetBiosName() {
    if (const auto name = service().platform().names->netBios())
        result().set(L"netBiosName", std::wstring_view(*name));
    else
        logWarning(L"Could not obtain netbios computer name (%s)", name.error().text);
    return {};
}

}  // namespace wsadmin
