#include "identity/user_search.h"

#include <algorithm>
#include <vector>

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
Result<FoundSid> searchBinding(DomainBindings& bindings, const std::string& binding,
                               const std::string& filter, int scope = ConnectionMgr::subtree) {
    const auto failed = [&binding](std::wstring_view format) {
        logWarning(format, binding);
        return fail(CORE::formatText(format, binding));
    };
    const DomainSearch search(bindings, binding, scope);
    if (!search) return failed(L"Bind to %s failed");
    const auto rows = readRows(*search, filter, {"objectSid"}, 1, OnRefusal::logsDebug);
    if (!rows) return failed(L"Search failed on binding %s");
    if (rows->empty()) return FoundSid();
    return Sid::fromBytes(rows->front().text("objectSid"));
}

FoundSid searchDomains(DomainBindings& bindings, const PropertyBag& domains, const std::string& filter) {
    logDebug(L"Domain list used for search is %s", domains.flattenForDisplay());
    FoundSid sid;
    for (const CORE::BagProperty& domain : domains.props()) {
        logDebug(L"Checking domain %s using bind address=%s search=%s", domain.name, domain.value, filter);
        sid = searchBinding(bindings, std::string(domain.value), filter).value_or(std::nullopt);
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

FoundSid searchSidBySamAccountName(DomainBindings& bindings, std::wstring_view binding,
                                   std::wstring_view account, std::wstring_view domain) {
    return searchDomains(
        bindings, oneDomain(domain, binding),
        "(&(objectClass=user)(|" + platform::filterTerm("sAMAccountName", toUtf8(account)) + "))");
}

FoundSid searchSidByUpn(DomainBindings& bindings, const PropertyBag& domains,
                        const std::vector<std::wstring>& upns) {
    std::string filter = "(&(objectClass=user)(|";
    for (const std::wstring& upn : upns)
        if (!upn.empty()) filter += platform::filterTerm("userPrincipalName", toUtf8(upn));
    return searchDomains(bindings, domains, filter + "))");
}

FoundSid searchSidByAltSecurityIdentity(DomainBindings& bindings, const PropertyBag& domains,
                                        std::wstring_view identity) {
    return searchDomains(
        bindings, domains,
        "(&(objectClass=user)" + platform::filterTerm("altSecurityIdentities", toUtf8(identity)) + ")");
}

Result<FoundSid> sidForUpnMostLikelyDomain(DomainBindings& bindings, const std::vector<std::wstring>& upns) {
    const auto& domains = bindings.domains();
    if (!domains) return fail(noDomains);
    const std::wstring& upn = upns.front();
    const auto at = upn.find(L'@');
    const std::wstring likely = at == std::wstring::npos ? std::wstring() : upn.substr(at + 1);
    logDebug(L"The most likely domain for the search is %s", likely);
    if (const CORE::wstr binding = domains->all.get(likely); !binding.empty()) {
        logDebug(L"The most likely domain has a bind location of %s", binding);
        if (FoundSid sid = searchSidByUpn(bindings, oneDomain(likely, binding), upns)) {
            logDebug(L"A match was found using the domain extracted from the UPN");
            return sid;
        }
    } else {
        logDebug(L"The most likely domain did not match any known domains");
    }
    FoundSid sid = searchSidByUpn(bindings, domains->primary, upns);
    return sid ? sid : searchSidByUpn(bindings, domains->trusted, upns);
}

std::optional<std::string> certificateIdentity(std::string_view subjectDn, std::string_view issuerDn) {
    const auto subject = platform::explodeDn(subjectDn), issuer = platform::explodeDn(issuerDn);
    if (!subject || !issuer || (subject->empty() && issuer->empty())) return std::nullopt;
    std::string identity = "X509:";
    if (!issuer->empty()) identity += "<I>" + reversedDn(*issuer);
    if (!subject->empty()) identity += "<S>" + reversedDn(*subject);
    return identity;
}

Result<FoundSid> sidForCertificate(DomainBindings& bindings, std::string_view subject,
                                   std::string_view issuer) {
    const auto& domains = bindings.domains();
    if (!domains) return fail(noDomains);
    const auto exact = certificateIdentity(subject, issuer), bySubject = certificateIdentity(subject, {});
    for (const auto& identity : {exact, bySubject == exact ? std::nullopt : bySubject}) {
        if (!identity) continue;
        for (const PropertyBag& list : {domains->primary, domains->trusted})
            if (const FoundSid sid = searchSidByAltSecurityIdentity(bindings, list, toWide(*identity)))
                return sid;
    }
    return FoundSid();
}

// The name comes with the request, and its domain components would choose the host that the service connects
// to: it is read in a domain of the map only, or by the forest's catalogue.
FoundSid sidForUserDn(DomainBindings& bindings, std::string_view dn) {
    FoundSid sid;
    if (const auto name = platform::parseDn(dn); name && !name->empty()) {
        const auto& domains = bindings.domains();
        const bool known = domains && domains->all.contains(toWide(platform::dnsDomainOf(dn)));
        const auto found =
            known ? searchBinding(bindings, platform::directoryPathText({.dn = std::string(dn)}),
                                  "(objectClass=user)", ConnectionMgr::base)
                  : searchBinding(
                        bindings,
                        "GC:", "(&(objectClass=user)" + platform::filterTerm("distinguishedName", dn) + ")");
        sid = found.value_or(std::nullopt);
    }
    if (!sid) logWarning(L"User dn %s not found in Active Directory", dn);
    return sid;
}

}  // namespace wsadmin
