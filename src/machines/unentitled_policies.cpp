#include <algorithm>

#include "identity/accounts.h"
#include "identity/domain_bindings.h"
#include "ldap/connection_mgr.h"
#include "ldap/layout.h"
#include "ldap/search.h"
#include "machines/policy_record.h"
#include "machines/unentitled.h"
#include "platform/ldap_text.h"
#include "platform/module_log.h"

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
std::optional<std::string> principalOf(const platform::Dn& link) {
    for (const auto& rdn : link)
        if (Sid::parse(rdn.front().value)) return rdn.front().value;
    return std::nullopt;
}

PropertyBag policyBag(platform::LdapSession& session, const std::string& dn) {
    PropertyBag bag;
    const auto found = readEntry(session, dn, "(objectclass=zre-PolicyObject)", policyAttributes());
    if (found && !found->empty()) return renderPolicy(found->front());
    logError(L"Failed to obtain information on policy, Policy DN = %s", dn);
    bag.setError(found ? L"Failed to obtain information on policy" : L"Failed to search for policy");
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
        for (const LdapEntry& link : page) examineLink(link, desktops);
    }
    logDebug(byUser() ? L"All link objects processed, preparing output (list by user)"
                      : L"All link objects processed, preparing output (list by desktop)");
    result() = writeReport(
        findings_, byUser(),
        {.report = L"unentitled-policy-report",
         .itemList = L"policy-list",
         .item = L"policy",
         .user = [this](const Sid& sid) { return userBag(sid); },
         .desktop = [&desktops](const std::string& dn) { return desktopBag(desktops, dn); },
         .render = [this, session](std::size_t item) { return policyBag(*session, policies_[item]); }});
}

void Unentitled::examineLink(const LdapEntry& link, Desktops& desktops) {
    const std::string target(link.first(layout::attribute::linkTarget));
    logDebug(L"Found policy link object (points to dn=%s)", target);
    if (!isDesktop(target)) return;
    const auto name = platform::parseDn(link.dn);
    if (!name) return logWarning(L"Failed to expand DN");
    const auto principal = principalOf(*name);
    if (!principal) return logWarning(L"Could not determine a SID for fsp=%s", link.dn);
    const Sid user = Sid::parse(*principal).value();
    if (!determineUser(user)) return logWarning(L"Could not determine a DN for SID=%s", user.text());
    const DesktopEntry* const desktop = desktops.at(target);
    if (!desktop) return logWarning(L"Failed to determine desktop for %s", target);
    check_.learn({user});
    if (check_.check(user, *desktop) != Entitled::no) return;
    findings_.push_back({user, desktop->dn, policies_.size()});
    policies_.push_back(platform::parentDn(link.dn).value_or(std::string()));
}

bool Unentitled::determineUser(const Sid& sid) {
    const auto [known, isNew] = determined_.try_emplace(sid, false);
    if (!isNew) return known->second;
    check_.learn({sid});
    return known->second = check_.user(sid) != nullptr;
}

}  // namespace wsadmin
