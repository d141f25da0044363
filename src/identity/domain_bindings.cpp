#include "identity/domain_bindings.h"

#include <utility>

#include "ldap/domain.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;

Result<DomainBindings> DomainBindings::of(ServiceContext& service) {
    const auto domain = service.domain();
    const PropertyBag map = domain ? domain->getDomainMap(false) : PropertyBag();
    for (const wchar_t* part : {L"primaryDomain", L"trustedDomains", L"allDomains", L"dnsBag"})
        if (!map.isBag(part)) {
            auto missing = CORE::formatText(L"The domain map has no part %s", part);
            logError(L"%s", missing);
            return fail(std::move(missing));
        }
    return DomainBindings{.primary = map.getBag(L"primaryDomain"),
                          .trusted = map.getBag(L"trustedDomains"),
                          .all = map.getBag(L"allDomains"),
                          .names = map.getBag(L"dnsBag")};
}

DirectorySearchPtr DomainBindings::open(ConnectionMgr& pool, const std::string& binding) {
    if (unreachable.contains(binding)) return nullptr;
    auto search = pool.getConnection(binding);
    if (!search) unreachable.insert(binding);
    return search;
}

std::wstring DomainBindings::dnsName(std::wstring_view shortName) const {
    return names.get(shortName).str();
}

std::wstring DomainBindings::shortName(std::wstring_view dnsName) const {
    if (dnsName.empty()) return {};  // a domain without a DNS name is mapped to an empty one
    for (const CORE::BagProperty& name : names.props())
        if (CORE::equalFolded(name.value, CORE::toUtf8(dnsName))) return CORE::toWide(name.name);
    return {};
}

std::string ldapBinding(std::wstring_view name) {
    return "LDAP://" + CORE::toUtf8(name);
}

PropertyBag oneDomain(std::wstring_view name, std::wstring_view binding) {
    PropertyBag domains;
    domains.add(name, binding);
    return domains;
}

}  // namespace wsadmin
