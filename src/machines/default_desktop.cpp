#include "machines/default_desktop.h"

#include "identity/account_lookup.h"
#include "identity/principals.h"
#include "ldap/layout.h"
#include "ldap/name_value.h"
#include "ldap/search.h"
#include "machines/machine_keys.h"
#include "platform/ldap/ldap_text.h"
#include "platform/ldap/lost_connection.h"
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

// Whether the mark is gone after a modification with that result: the entry may be gone, or another request
// may have removed the mark meanwhile.
bool isUnmarked(int code) {
    return code == platform::ldapSuccess || code == platform::ldapNoSuchObject ||
           code == platform::ldapNoSuchAttribute || code == platform::ldapAttributeOrValueExists;
}

// Fails with the first refusal, after it has tried the other assignments.
Result<void> clearDefaults(LdapSession& session, const std::vector<LdapEntry>& assignments) {
    int refused = platform::ldapSuccess;
    for (const LdapEntry& assignment : assignments) {
        const int code =
            setNameValue(session, assignment, attribute::nameValuePair, defaultPair, "false").code;
        if (!refused && !isUnmarked(code)) refused = code;
        if (platform::isConnectionLost(code)) break;
    }
    if (!refused) return {};
    return fail(L"Failed to remove default desktop setting - " + platform::ldapErrorText(refused));
}

Result<std::string> findDesktop(LdapSession& session, const CORE::wstr& name) {
    const std::string filter = "(&(objectclass=zre-DesktopApplication)" +
                               platform::filterTerm(attribute::cn, CORE::toUtf8(name)) + ")";
    const auto found =
        searchSubtree(session, layout::under(layout::container::desktops), filter, {attribute::cn});
    if (!found) return fail(L"Failed to search - " + platform::ldapErrorText(found.error().code));
    if (found->empty()) return fail(L"Desktop entry for \"" + name.str() + L"\" not found.");
    if (found->front().dn.empty()) return fail(L"Failed to get information for \"" + name.str());
    return found->front().dn;
}

Result<void> assign(LdapSession& session, platform::Guids& guids, const Sid& user,
                    const std::string& desktopDn) {
    const auto found = assignments(session, user, desktopDn);
    // Without knowing the assignments, adding one could leave two for the same desktop.
    if (!found) return fail(L"Failed to search - " + found.error().text);
    if (!found->empty()) {
        const int code =
            setNameValue(session, found->front(), attribute::nameValuePair, defaultPair, "true").code;
        if (code == platform::ldapSuccess || code == platform::ldapAttributeOrValueExists) return {};
        return fail(L"Failed to set default desktop - " + platform::ldapErrorText(code));
    }
    const auto guid = guids.next();
    if (!guid) return fail(L"Failed to set default desktop - " + guid.error().text);
    const std::string dn = "CN=" + CORE::toUtf8(*guid) + ",OU=Properties," + layout::namingContext;
    const auto added = session.add(
        {dn,
         {{attribute::objectClasses, {"zre-Prop", "zre-DesktopApplication-a", "zre-NameValuePairs"}},
          {attribute::member, {memberValue(user)}},
          {attribute::origin, {principalDn(user)}},
          {attribute::target, {desktopDn}},
          {attribute::nameValuePair, {std::string(defaultPair) + "=true"}}}});
    if (added) return {};
    logError(L"Failed to add entry %s - %s (%d).", dn, added.error().text, added.error().code);
    return fail(L"Failed to add entry " + CORE::toWide(dn) + L" - " + added.error().text);
}

}  // namespace

Result<void> DefaultDesktop::setDefaultDesktop() {
    const CORE::wstr username = request().text(key::desktopUser), name = request().text(key::defaultDesktop);
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto user = userOf(domains(), username);
    if (!user) return fail(L"Account details for user \"" + username.str() + L"\" not found.");
    return name.empty() ? removeDefault(**session, *user) : setDefault(**session, *user, name);
}

Result<void> DefaultDesktop::removeDefault(LdapSession& session, const Sid& user) {
    const auto found = assignments(session, user);
    if (!found || found->empty()) return fail(L"Default desktop setting not found.");
    auto cleared = clearDefaults(session, *found);
    if (cleared) result().set(L"textmessage", L"Default desktop setting successfully removed.");
    return cleared;
}

// A former default that stays would be a second one: nothing is set then.
Result<void> DefaultDesktop::setDefault(LdapSession& session, const Sid& user, const CORE::wstr& desktop) {
    const auto dn = findDesktop(session, desktop);
    if (!dn) return fail(dn.error());
    const auto former = assignments(session, user);
    if (!former) return fail(L"Failed to search - " + former.error().text);
    if (auto cleared = clearDefaults(session, *former); !cleared) return cleared;
    auto assigned = assign(session, *service().platform().guids, user, *dn);
    if (assigned) result().set(L"textmessage", L"Default desktop set successfully.");
    return assigned;
}

}  // namespace wsadmin
