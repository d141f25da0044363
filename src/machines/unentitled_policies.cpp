#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/machine_keys.h"
#include "machines/policy_record.h"
#include "machines/unentitled_reports.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::LdapEntry;
using platform::Sid;

namespace {

bool isDesktop(std::string_view dn) {
    const auto name = platform::parseDn(dn);
    if (!name || name->size() < 2) return false;
    const auto& container = (*name)[1].front();
    return CORE::equalFolded(container.type, std::string_view("OU")) &&
           CORE::equalFolded(container.value, std::string_view("Applications"));
}

// The first component of the link's name that is a principal's.
std::optional<Sid> principalOf(const platform::Dn& link) {
    for (const auto& rdn : link)
        if (auto sid = Sid::parse(rdn.front().value)) return sid;
    return std::nullopt;
}

Result<PropertyBag> policyBag(platform::LdapSession& session, const std::string& dn) {
    const auto found = readEntry(session, dn, "(objectclass=zre-PolicyObject)", policyAttributes());
    if (found && !found->empty()) return renderPolicy(found->front());
    logError(found ? L"Failed to obtain information on policy" : L"Failed to search for policy");
    logError(L"Failed to obtain information on policy, Policy DN = %s", dn);
    return fail(L"Failed to obtain policy information");
}

// Where a user was found, or all the places where it was looked for.
std::string bindingsOf(const std::string* dn, const Result<MappedDomains>& domains) {
    if (dn) return "LDAP://" + platform::dnsDomainOf(*dn);
    std::string bindings;
    if (!domains) return bindings;
    for (const CORE::BagProperty& domain : domains->primary.props())
        bindings += "LDAP://" + std::string(domain.name);
    for (const CORE::BagProperty& domain : domains->trusted.props())
        bindings += " " + std::string(domain.value);
    return bindings;
}

// Users are loaded in batches; the log has the lines of one search for each user all the same.
void logUserSearch(const Sid& sid, const std::string* dn, const Result<MappedDomains>& domains) {
    logDebug(L"Determining DN for sid=%s, using bind=%s, filter=%s", sid.text(), bindingsOf(dn, domains),
             "(&(objectClass=user)(objectSid=" + sid.text() + "))");
    if (!dn) logWarning(L"Error: Not found in Active Directory");
}

}  // namespace

Result<void> Unentitled::getUnentitledPolicies() {
    const auto session = directory();
    if (!session) return fail(session.error());
    DesktopCache desktops(**session);
    PagedSearch pages(**session, layout::under(layout::container::policies),
                      "(objectclass=zre-policyLinkObject)", {layout::attribute::linkTarget});
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error());
        if (!*more) break;
        if (auto examined = examineLinks(page, desktops); !examined) return examined;
    }
    logDebug(request().boolean(key::listByUser)
                 ? L"All link objects processed, preparing output (list by user)"
                 : L"All link objects processed, preparing output (list by desktop)");
    return write(**session,
                 {.report = L"unentitled-policy-report", .itemList = L"policy-list", .item = L"policy"},
                 [this, &session](std::size_t item) { return policyBag(**session, policies_[item]); });
}

Result<void> Unentitled::examineLinks(const std::vector<LdapEntry>& page, DesktopCache& desktops) {
    std::vector<UserPolicy> policies;
    std::vector<Sid> users;
    for (const LdapEntry& link : page) {
        auto policy = userPolicyOf(link);
        if (!policy) logWarning(L"%s", policy.error().text);
        if (!policy || !*policy) continue;
        users.push_back((*policy)->user);
        policies.push_back(std::move(**policy));
    }
    check_.load(users);
    for (UserPolicy& policy : policies)
        if (auto examined = examine(std::move(policy), desktops); !examined) return examined;
    return {};
}

Result<std::optional<Unentitled::UserPolicy>> Unentitled::userPolicyOf(const LdapEntry& link) {
    std::string target(link.first(layout::attribute::linkTarget));
    logDebug(L"Found policy link object (points to dn=%s)", target);
    if (!isDesktop(target)) return std::nullopt;
    const auto name = platform::parseDn(link.dn);
    if (!name) return fail(L"Failed to expand DN");
    const auto user = principalOf(*name);
    if (!user) return fail(L"Could not determine a SID for fsp=" + CORE::toWide(link.dn));
    return UserPolicy{*user, std::move(target), platform::parentDn(link.dn).value_or(std::string())};
}

Result<void> Unentitled::examine(UserPolicy policy, DesktopCache& desktops) {
    const auto& [user, target, dn] = policy;
    const std::string* const userDn = check_.dnOf(user);
    logUserSearch(user, userDn, domains().domains());
    if (!userDn) {
        logWarning(L"Could not determine a DN for SID=%s", user.text());
        return {};
    }
    const auto desktop = desktops.byDn(target);
    if (!desktop) return fail(L"Failed to perform search");
    if (!*desktop) {
        logWarning(L"Failed to determine desktop for %s", target);
        return {};
    }
    if (!isUnentitled(user, **desktop)) return {};
    findings_.push_back({user, (*desktop)->dn, policies_.size()});
    policies_.push_back(std::move(policy.dn));
    return {};
}

}  // namespace wsadmin
