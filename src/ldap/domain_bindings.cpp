#include "ldap/domain_bindings.h"

#include <utility>

#include "ldap/domain.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;

namespace {

Result<MappedDomains> mappedDomains(const ServiceContext& service) {
    const auto domain = service.domain();
    const PropertyBag map = domain ? domain->getDomainMap(false) : PropertyBag();
    for (const wchar_t* part : {L"primaryDomain", L"trustedDomains", L"allDomains", L"dnsBag"})
        if (!map.isBag(part)) {
            auto missing = CORE::formatText(L"The domain map has no part %s", part);
            logError(L"%s", missing);
            return fail(std::move(missing));
        }
    return MappedDomains{.primary = map.getBag(L"primaryDomain"),
                         .trusted = map.getBag(L"trustedDomains"),
                         .all = map.getBag(L"allDomains"),
                         .names = map.getBag(L"dnsBag")};
}

// The domain that a binding leads to, by its DNS name or by a name in it; the catalogue is one of its own.
std::string domainOf(const std::string& binding) {
    const auto path = platform::parseDirectoryPath(binding);
    if (!path || path->globalCatalog) return binding;
    CORE::mstr domain(path->server.empty() ? platform::dnsDomainOf(path->dn) : path->server);
    return domain.toLower().str();
}

// Whether a directory that cannot open an entry has said so itself.
bool isAnswer(int code) {
    return code == platform::adsNoSuchObject || code == platform::adsAccessDenied;
}

}  // namespace

const Result<MappedDomains>& DomainBindings::domains() {
    if (!domains_) domains_ = mappedDomains(service_);
    return *domains_;
}

DomainSearch::DomainSearch(DomainBindings& bindings, const std::string& binding, int scope,
                           const platform::DirectoryCredentials& credentials)
    : bindings_(bindings), domain_(domainOf(binding)), pool_(bindings.service().connections()) {
    auto& unreachable = bindings_.unreachable_;
    if (!pool_ || unreachable.contains(domain_) || unreachable.contains(binding)) return;
    auto opened = pool_->getConnection(binding, scope, credentials);
    if (opened) {
        search_.emplace(*pool_, std::move(*opened));
        return;
    }
    unreachable.insert(binding);
    if (!isAnswer(opened.error().code)) unreachable.insert(domain_);
}

DomainSearch::~DomainSearch() {
    if (search_ && !(*search_)->usable()) bindings_.unreachable_.insert(domain_);
}

std::wstring MappedDomains::dnsName(std::wstring_view shortName) const {
    return names.get(shortName).str();
}

std::wstring MappedDomains::shortName(std::wstring_view dnsName) const {
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
