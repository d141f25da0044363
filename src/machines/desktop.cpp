#include "machines/desktop.h"

#include "identity/accounts.h"
#include "identity/principals.h"
#include "ldap/layout.h"
#include "ldap/name_value.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::LdapEntry;
using platform::LdapSession;
using platform::Sid;

namespace {

namespace attribute = layout::attribute;

constexpr char defaultPair[] = "useForThinClient";
constexpr wchar_t defaultSet[] = L"Default desktop set successfully.";

std::string memberValue(const Sid& user) {
    return "<SID=" + user.text() + ">";
}

}  // namespace

void Desktop::setDefaultDesktop() {
    const CORE::wstr username = request().get(L"username"), name = request().get(L"desktopname");
    const auto user = userOf(service(), username);
    if (!user) return fail(L"Account details for user \"" + username.str() + L"\" not found.");
    LdapSession* session = directory();
    if (!session) return;
    if (name.empty()) {
        if (!clearDefaults(*session, *user)) return fail(L"Default desktop setting not found.");
        return result().set(L"textmessage", L"Default desktop setting successfully removed.");
    }
    const std::string desktop = desktopDn(*session, name);
    if (desktop.empty()) return;
    clearDefaults(*session, *user);
    assign(*session, *user, desktop);
}

Result<Desktop::Assignments> Desktop::assignments(LdapSession& session, const Sid& user,
                                                  const std::string& desktopDn) {
    const std::string target =
        desktopDn.empty() ? std::string() : platform::filterTerm(attribute::target, desktopDn);
    const std::string filter = "(&(objectclass=zre-DesktopApplication-a)" + target +
                               platform::filterTerm(attribute::member, memberValue(user)) + ")";
    auto found = session.search({.base = layout::under(layout::container::properties),
                                 .filter = filter,
                                 .attributes = {attribute::nameValuePair}});
    if (found) return std::move(found->entries);
    logError(L"Failed to search - %s %s (%d).", filter, found.error().text, found.error().code);
    return wsadmin::fail(found.error());
}

bool Desktop::clearDefaults(LdapSession& session, const Sid& user) {
    const auto found = assignments(session, user);
    if (!found) return false;
    for (const LdapEntry& assignment : *found)
        setNameValue(session, assignment, attribute::nameValuePair, defaultPair, "false");
    return !found->empty();
}

std::string Desktop::desktopDn(LdapSession& session, const CORE::wstr& name) {
    const std::string filter = "(&(objectclass=zre-DesktopApplication)" +
                               platform::filterTerm(attribute::cn, CORE::toUtf8(name)) + ")";
    const auto found = session.search({.base = layout::under(layout::container::desktops),
                                       .filter = filter,
                                       .attributes = {attribute::cn}});
    if (!found)
        fail(L"Failed to search - " + found.error().text);
    else if (found->entries.empty())
        fail(L"Desktop entry for \"" + name.str() + L"\" not found.");
    else if (found->entries.front().dn.empty())
        fail(L"Failed to get information for \"" + name.str());
    else
        return found->entries.front().dn;
    return {};
}

void Desktop::assign(LdapSession& session, const Sid& user, const std::string& desktopDn) {
    const auto found = assignments(session, user, desktopDn);
    // A second assignment beside one that could not be seen would stay for ever.
    if (!found) return fail(L"Failed to search - " + found.error().text);
    if (!found->empty()) {
        setNameValue(session, found->front(), attribute::nameValuePair, defaultPair, "true");
        return result().set(L"textmessage", defaultSet);
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
    result().set(L"textmessage", defaultSet);
}

}  // namespace wsadmin
