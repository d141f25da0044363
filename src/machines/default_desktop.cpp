#include "machines/default_desktop.h"

#include "identity/account_lookup.h"
#include "identity/principals.h"
#include "ldap/layout.h"
#include "ldap/name_value.h"
#include "machines/machine_keys.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapSession;
using platform::Sid;

namespace {

namespace attribute = layout::attribute;

constexpr char defaultPair[] = "useForThinClient";

std::string memberValue(const Sid& user) {
    return "<SID=" + user.text() + ">";
}

// The user's assignments, all or those to one desktop. A failure is logged.
Result<std::vector<LdapEntry>> assignments(LdapSession& session, const Sid& user,
                                           const std::string& desktopDn = {}) {
    const std::string target =
        desktopDn.empty() ? std::string() : platform::filterTerm(attribute::target, desktopDn);
    const std::string filter = "(&(objectclass=zre-DesktopApplication-a)" + target +
                               platform::filterTerm(attribute::member, memberValue(user)) + ")";
    auto found = session.search({.base = layout::under(layout::container::properties),
                                 .filter = filter,
                                 .attributes = {attribute::nameValuePair}});
    if (found) return std::move(found->entries);
    logError(L"Failed to search - %s %s (%d).", filter, found.error().text, found.error().code);
    return fail(found.error());
}

// Whether the user has any assignment.
Result<bool> clearDefaults(LdapSession& session, const Sid& user) {
    const auto found = assignments(session, user);
    if (!found) return fail(found.error());
    for (const LdapEntry& assignment : *found)
        setNameValue(session, assignment, attribute::nameValuePair, defaultPair, "false");
    return !found->empty();
}

Result<std::string> findDesktop(LdapSession& session, const CORE::wstr& name) {
    const std::string filter = "(&(objectclass=zre-DesktopApplication)" +
                               platform::filterTerm(attribute::cn, CORE::toUtf8(name)) + ")";
    const auto found = session.search({.base = layout::under(layout::container::desktops),
                                       .filter = filter,
                                       .attributes = {attribute::cn}});
    if (!found) return fail(L"Failed to search - " + found.error().text);
    if (found->entries.empty()) return fail(L"Desktop entry for \"" + name.str() + L"\" not found.");
    if (found->entries.front().dn.empty()) return fail(L"Failed to get information for \"" + name.str());
    return found->entries.front().dn;
}

Result<void> assign(LdapSession& session, const Sid& user, const std::string& desktopDn) {
    const auto found = assignments(session, user, desktopDn);
    // Without knowing the assignments, adding one could leave two for the same desktop.
    if (!found) return fail(L"Failed to search - " + found.error().text);
    if (!found->empty()) {
        setNameValue(session, found->front(), attribute::nameValuePair, defaultPair, "true");
        return {};
    }
    const std::string dn =
        "CN=" + CORE::toUtf8(CORE::wstr::newGuid()) + ",OU=Properties," + layout::namingContext;
    const auto added = session.add(
        {dn,
         {{attribute::objectClasses, {"zre-Prop", "zre-DesktopApplication-a", "zre-NameValuePairs"}},
          {attribute::member, {memberValue(user)}},
          {attribute::origin, {principalDn(user)}},
          {attribute::target, {desktopDn}},
          {attribute::nameValuePair, {std::string(defaultPair) + "=true"}}}});
    if (!added) return fail(L"Failed to add entry " + CORE::toWide(dn) + L" - " + added.error().text);
    return {};
}

}  // namespace

Result<void> DefaultDesktop::setDefaultDesktop() {
    const CORE::wstr username = request().text(key::desktopUser), name = request().text(key::defaultDesktop);
    const auto user = userOf(service(), username);
    if (!user) return fail(L"Account details for user \"" + username.str() + L"\" not found.");
    const auto session = directory();
    if (!session) return fail(session.error());
    if (name.empty()) {
        const auto cleared = clearDefaults(**session, *user);
        if (!cleared || !*cleared) return fail(L"Default desktop setting not found.");
        result().set(L"textmessage", L"Default desktop setting successfully removed.");
        return {};
    }
    const auto desktop = findDesktop(**session, name);
    if (!desktop) return fail(desktop.error());
    static_cast<void>(clearDefaults(**session, *user));  // the log alone tells of a failure
    const auto assigned = assign(**session, *user, *desktop);
    if (assigned) result().set(L"textmessage", L"Default desktop set successfully.");
    return assigned;
}

}  // namespace wsadmin
