#include "identity/user_search.h"

#include <algorithm>
#include <vector>

#include "identity/domain_bindings.h"
#include "ldap/connection_mgr.h"
#include "ldap/directory_rows.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using CORE::toUtf8;
using CORE::toWide;
using platform::Sid;

namespace {

constexpr wchar_t noDomains[] = L"Could not determine SID for UPN - no domains identified";

// The SID of the first entry that the filter finds on a binding. Failures are logged.
Result<FoundSid> searchBinding(ConnectionMgr& pool, const std::string& binding, const std::string& filter,
                               int scope = ConnectionMgr::subtree) {
    const auto failed = [&binding](std::wstring_view format) {
        logWarning(format, binding);
        return fail(CORE::formatText(format, binding));
    };
    const PooledSearch search(pool, pool.getConnection(binding, scope));
    if (!search) return failed(L"Bind to %s failed");
    const auto rows = readRows(*search, filter, {"objectSid"}, 1);
    if (!rows) return failed(L"Search failed on binding %s");
    if (rows->empty()) return FoundSid();
    return Sid::fromBytes(rows->front().text("objectSid"));
}

FoundSid searchDomains(ServiceContext& service, const PropertyBag& domains, const std::string& filter) {
    logDebug(L"Domain list used for search is %s", domains.flattenForDisplay());
    const auto pool = service.connections();
    FoundSid sid;
    for (const CORE::BagProperty& domain : domains.props()) {
        if (!pool) break;
        logDebug(L"Checking domain %s using bind address=%s search=%s", domain.name, domain.value, filter);
        sid = searchBinding(*pool, std::string(domain.value), filter).value_or(std::nullopt);
        if (!sid) continue;
        logDebug(L"Found the user sid %s with the binding %s", sid->text(), domain.value);
        break;
    }
    logDebug(L"Returned sid is %s", sid ? sid->text() : std::string());
    return sid;
}

std::string reversedDn(std::vector<std::string> components) {
    std::reverse(components.begin(), components.end());
    std::string text;
    for (const std::string& component : components) text += (text.empty() ? "" : ",") + component;
    return text;
}

}  // namespace

FoundSid searchSidBySamAccountName(ServiceContext& service, std::wstring_view binding,
                                   std::wstring_view account, std::wstring_view domain) {
    return searchDomains(
        service, oneDomain(domain, binding),
        "(&(objectClass=user)(|" + platform::filterTerm("sAMAccountName", toUtf8(account)) + "))");
}

FoundSid searchSidByUpn(ServiceContext& service, const PropertyBag& domains,
                        const std::vector<std::wstring>& upns) {
    std::string filter = "(&(objectClass=user)(|";
    for (const std::wstring& upn : upns)
        if (!upn.empty()) filter += platform::filterTerm("userPrincipalName", toUtf8(upn));
    return searchDomains(service, domains, filter + "))");
}

FoundSid searchSidByAltSecurityIdentity(ServiceContext& service, const PropertyBag& domains,
                                        std::wstring_view identity) {
    return searchDomains(
        service, domains,
        "(&(objectClass=user)" + platform::filterTerm("altSecurityIdentities", toUtf8(identity)) + ")");
}

Result<FoundSid> sidForUpnMostLikelyDomain(ServiceContext& service, const std::vector<std::wstring>& upns) {
    const auto domains = DomainBindings::of(service);
    if (!domains) return fail(noDomains);
    const std::wstring& upn = upns.front();
    const auto at = upn.find(L'@');
    const std::wstring likely = at == std::wstring::npos ? std::wstring() : upn.substr(at + 1);
    logDebug(L"The most likely domain for the search is %s", likely);
    if (const CORE::wstr binding = domains->all.get(likely); !binding.empty()) {
        logDebug(L"The most likely domain has a bind location of %s", binding);
        if (FoundSid sid = searchSidByUpn(service, oneDomain(likely, binding), upns)) {
            logDebug(L"A match was found using the domain extracted from the UPN");
            return sid;
        }
    } else {
        logDebug(L"The most likely domain did not match any known domains");
    }
    FoundSid sid = searchSidByUpn(service, domains->primary, upns);
    return sid ? sid : searchSidByUpn(service, domains->trusted, upns);
}

std::optional<std::string> certificateIdentity(std::string_view subjectDn, std::string_view issuerDn) {
    const auto subject = platform::explodeDn(subjectDn), issuer = platform::explodeDn(issuerDn);
    if (!subject || !issuer || (subject->empty() && issuer->empty())) return std::nullopt;
    std::string identity = "X509:";
    if (!issuer->empty()) identity += "<I>" + reversedDn(*issuer);
    if (!subject->empty()) identity += "<S>" + reversedDn(*subject);
    return identity;
}

Result<FoundSid> sidForCertificate(ServiceContext& service, std::string_view subject,
                                   std::string_view issuer) {
    const auto domains = DomainBindings::of(service);
    if (!domains) return fail(noDomains);
    const auto exact = certificateIdentity(subject, issuer), bySubject = certificateIdentity(subject, {});
    for (const auto& identity : {exact, bySubject == exact ? std::nullopt : bySubject}) {
        if (!identity) continue;
        for (const PropertyBag& list : {domains->primary, domains->trusted})
            if (const FoundSid sid = searchSidByAltSecurityIdentity(service, list, toWide(*identity)))
                return sid;
    }
    return FoundSid();
}

// The name comes with the request, and its domain components would choose the host that the service connects
// to: it is read in a domain of the map only, or by the forest's catalogue.
FoundSid sidForUserDn(ServiceContext& service, std::string_view dn) {
    const auto pool = service.connections();
    FoundSid sid;
    if (const auto name = platform::parseDn(dn); pool && name && !name->empty()) {
        const auto domains = DomainBindings::of(service);
        const bool known = domains && domains->all.contains(toWide(platform::dnsDomainOf(dn)));
        const auto found =
            known ? searchBinding(*pool, platform::directoryPathText({.dn = std::string(dn)}),
                                  "(objectClass=user)", ConnectionMgr::base)
                  : searchBinding(
                        *pool,
                        "GC:", "(&(objectClass=user)" + platform::filterTerm("distinguishedName", dn) + ")");
        sid = found.value_or(std::nullopt);
    }
    if (!sid) logWarning(L"User dn %s not found in Active Directory", dn);
    return sid;
}

}  // namespace wsadmin
