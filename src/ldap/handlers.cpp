#include "ldap/handlers.h"

#include "ldap/domain.h"
#include "ldap/domain_config.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;

PropertyBag getDomainHealth(ServiceContext& service, const PropertyBag& request) {
    PropertyBag result;
    const auto domain = service.domain();
    if (!domain) {
        result.setError(L"There is no domain map");
        return result;
    }
    const PropertyBag map = domain->getDomainMap(request.getBool(L"forceReload", false));
    result = map.getBag(L"domainHealth");
    if (map.getError()) result.setError(map.getError(), map.getErrorText());
    return result;
}

PropertyBag getDomainType(ServiceContext& service, const PropertyBag&) {
    PropertyBag result;
    const auto domain = service.domain();
    result.setBool(L"isMixedMode", !domain || domain->isMixedMode());
    return result;
}

PropertyBag getNetBiosName(ServiceContext& service, const PropertyBag&) {
    PropertyBag result;
    if (const auto name = service.platform().names->netBios())
        result.set(L"netBiosName", std::wstring_view(*name));
    else
        logWarning(L"Could not obtain netbios computer name (%s)", name.error().text);
    return result;
}

PropertyBag loadDomainConfig(ServiceContext& service, const PropertyBag& request) {
    return answer<DomainConfig, &DomainConfig::load>(service, request);
}

PropertyBag saveDomainConfig(ServiceContext& service, const PropertyBag& request) {
    return answer<DomainConfig, &DomainConfig::save>(service, request);
}

}  // namespace wsadmin
