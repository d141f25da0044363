#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/policy_record.h"
#include "machines/unentitled.h"
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
    return CORE::compareFolded(container.type, std::string_view("OU")) == 0 &&
           CORE::compareFolded(container.value, std::string_view("Applications")) == 0;
}

// The first component of the link's name that is a principal's.
std::optional<Sid> principalOf(const platform::Dn& link) {
    for (const auto& rdn : link)
        if (auto sid = Sid::parse(rdn.front().value)) return sid;
    return std::nullopt;
}

PropertyBag policyBag(platform::LdapSession& session, const std::string& dn) {
    PropertyBag bag;
    const auto found = readEntry(session, dn, "(objectclass=zre-PolicyObject)", policyAttributes());
    if (found && !found->empty()) return renderPolicy(found->front());
    logError(found ? L"Failed to obtain information on policy" : L"Failed to search for policy");
    logError(L"Failed to obtain information on policy, Policy DN = %s", dn);
    bag.setError(L"Failed to obtain policy information");
    return bag;
}

}  // namespace

void Unentitled::policies() {
    platform::LdapSession* session = directory();
    if (!session) return;
    Desktops desktops(*session);
    PagedSearch pages(*session, layout::under(layout::container::policies),
                      "(objectclass=zre-policyLinkObject)", {layout::attribute::linkTarget});
    for (std::vector<LdapEntry> page;;) {
        const auto more = pages.next(page);
        if (!more) return fail(more.error().text);
        if (!*more) break;
        examineLinks(page, desktops);
    }
    logDebug(byUser() ? L"All link objects processed, preparing output (list by user)"
                      : L"All link objects processed, preparing output (list by desktop)");
    readReportedUsers();
    result() = writeReport(
        findings_, byUser(),
        {.report = L"unentitled-policy-report",
         .itemList = L"policy-list",
         .item = L"policy",
         .user = [this](const Sid& sid) { return userBag(sid); },
         .desktop = [this, session](const std::string& dn) { return desktopBag(*session, dn); },
         .render = [this, session](std::size_t item) { return policyBag(*session, policies_[item]); }});
}

// The users of a page are read together.
void Unentitled::examineLinks(const std::vector<LdapEntry>& page, Desktops& desktops) {
    std::vector<UserPolicy> policies;
    std::vector<Sid> users;
    for (const LdapEntry& link : page) {
        auto policy = userPolicyOf(link);
        if (!policy) continue;
        users.push_back(policy->user);
        policies.push_back(std::move(*policy));
    }
    check_.learn(users);
    for (UserPolicy& policy : policies) examine(std::move(policy), desktops);
}

std::optional<Unentitled::UserPolicy> Unentitled::userPolicyOf(const LdapEntry& link) {
    std::string target(link.first(layout::attribute::linkTarget));
    logDebug(L"Found policy link object (points to dn=%s)", target);
    if (!isDesktop(target)) return std::nullopt;
    const auto name = platform::parseDn(link.dn);
    if (!name) {
        logWarning(L"Failed to expand DN");
        return std::nullopt;
    }
    const auto user = principalOf(*name);
    if (!user) {
        logWarning(L"Could not determine a SID for fsp=%s", link.dn);
        return std::nullopt;
    }
    return UserPolicy{*user, std::move(target), platform::parentDn(link.dn).value_or(std::string())};
}

void Unentitled::examine(UserPolicy policy, Desktops& desktops) {
    const auto& [user, target, dn] = policy;
    if (!determineUser(user)) return logWarning(L"Could not determine a DN for SID=%s", user.text());
    const DesktopEntry* const desktop = desktops.at(target);
    if (!desktop) return logWarning(L"Failed to determine desktop for %s", target);
    if (!isUnentitled(user, *desktop)) return;
    findings_.push_back({user, desktop->dn, policies_.size()});
    policies_.push_back(std::move(policy.dn));
}

// The users were read already, all of a page in one search; the lines are those of a search for each.
bool Unentitled::determineUser(const Sid& sid) const {
    const std::string* const dn = check_.dnOf(sid);
    if (dn)
        logDebug(L"Determining DN for sid=%s, using bind=%s, filter=%s", sid.text(),
                 "LDAP://" + platform::dnsDomainOf(*dn),
                 "(&(objectClass=user)(objectSid=" + sid.text() + "))");
    else
        logWarning(L"Error: Not found in Active Directory");
    return dn != nullptr;
}

}  // namespace wsadmin
