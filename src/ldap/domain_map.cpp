#include "ldap/domain_map.h"

#include "framework/core/corestring.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::equalFolded;
using CORE::PropertyBag;
using CORE::toWide;

namespace {

constexpr std::wstring_view globalCatalog = L"GC:";

PropertyBag health(const DomainFacts& domain, std::wstring_view contactable, std::wstring_view trust) {
    PropertyBag bag;
    bag.set(L"name", std::wstring_view(domain.netBios));
    bag.set(L"dns", std::wstring_view(domain.dns));
    bag.setBool(L"isNT4", domain.dns.empty());
    bag.set(L"contactable", contactable);
    bag.set(L"trustType", trust);
    return bag;
}

}  // namespace

std::wstring dnsNameOf(std::string_view namingContext) {
    const auto dn = platform::parseDn(namingContext);
    if (!dn || dn->empty()) return toWide(namingContext);
    std::string name;
    for (const auto& rdn : *dn) {
        if (!CORE::equalFolded(rdn.front().type, std::string_view("dc"))) return toWide(namingContext);
        name += (name.empty() ? "" : ".") + rdn.front().value;
    }
    return toWide(name);
}

bool sameForest(std::string_view rootA, std::string_view rootB) {
    const auto convert = [](std::string_view root) {
        std::wstring name = dnsNameOf(root);
        logDebug(L"Converted %s to %s", root, name);
        return name;
    };
    const std::wstring nameA = convert(rootA), nameB = convert(rootB);
    return equalFolded(nameA, nameB);
}

std::wstring trustType(const DomainFacts& domain, const DomainSurvey& survey) {
    if (equalFolded(domain.dns, survey.primaryDns)) return L"PRIMARYDOMAIN";
    if (!domain.statedTrust.empty()) return domain.statedTrust;
    if (domain.rootNamingContext.empty()) return L"UNKNOWN";
    return domain.listsPrimary ? L"TWOWAY" : L"FROMBROKER";
}

PropertyBag renderDomainMap(const DomainSurvey& survey) {
    PropertyBag primary, trusted, all, healths;
    primary.set(survey.primaryDns, globalCatalog);
    for (const DomainFacts& domain : survey.domains) {
        if (domain.dns.empty()) {
            logInfo(
                L"Domain %s has no DNS identity and will not be used for identifying or directly entitling "
                L"users",
                domain.netBios);
            healths.addBag(L"domain", health(domain, L"UNKNOWN", L"UNKNOWN"));
            continue;
        }
        logDebug(
            L"Checking domain %s, primary domain=%s, root naming context for primary=%s, root naming context "
            L"for this "
            L"domain=%s",
            domain.dns, survey.primaryDns, survey.primaryRoot, domain.rootNamingContext);
        const bool reached = !domain.rootNamingContext.empty();
        healths.addBag(L"domain", health(domain, reached ? L"FULLYACCESSIBLE" : L"CANNOTBIND",
                                         trustType(domain, survey)));
        if (reached && !survey.primaryRoot.empty() &&
            sameForest(survey.primaryRoot, domain.rootNamingContext)) {
            logDebug(L"Domain %s is handled by a GC lookup", domain.dns);
            all.set(domain.dns, globalCatalog);
            continue;
        }
        logDebug(L"Domain %s is handled by a direct LDAP lookup", domain.dns);
        trusted.set(domain.dns, std::wstring_view(L"LDAP://" + domain.dns));
        all.set(domain.dns, std::wstring_view(L"LDAP://" + domain.dns));
    }
    PropertyBag map;
    map.addBag(L"primaryDomain", std::move(primary));
    map.addBag(L"trustedDomains", std::move(trusted));
    map.addBag(L"allDomains", std::move(all));
    map.addBag(L"domainHealth", std::move(healths));
    map.addBag(L"dnsBag", survey.dnsBag);
    logVerbose(L"Result from buildDomainMap is %s", map.flattenForDisplay(L"\r\n"));
    return map;
}

}  // namespace wsadmin
