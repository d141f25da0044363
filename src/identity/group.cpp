#include "identity/group.h"

#include "identity/account_lookup.h"
#include "identity/identity_keys.h"
#include "identity/user_groups.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::Sid;

namespace {

constexpr wchar_t noInformation[] = L"Unable to obtain user information from Active Directory";

// Whether the text is a plain host name, so that a request cannot inject a port or an entry into a binding's
// path.
bool isHostName(std::wstring_view text) {
    constexpr std::size_t longestName = 255;
    if (text.size() > longestName) return false;
    const auto path = platform::parseDirectoryPath(ldapBinding(text));
    return path && !path->server.empty() && !path->port && path->dn.empty() &&
           CORE::toWide(path->server) == text;
}

// By the logon name in the domain that the principal name ends with.
FoundSid searchByParts(DomainBindings& bindings, const MappedDomains& domains, std::wstring_view upn) {
    const auto at = upn.find(L'@');
    if (at == std::wstring_view::npos) return std::nullopt;
    const std::wstring_view user = upn.substr(0, at);
    std::wstring domain(upn.substr(at + 1));
    if (domains.names.contains(domain)) domain = domains.dnsName(domain);
    if (user.empty() || !isHostName(domain)) return std::nullopt;
    const std::wstring binding = L"LDAP://" + domain;
    logDebug(L"Will search for %s\\%s with a bind location of %s", domain, user, binding);
    return searchSidBySamAccountName(bindings, binding, user, domain);
}

Result<Sid> required(const Result<FoundSid>& search, std::wstring sentence) {
    if (!search) return fail(search.error());
    if (!*search) return fail(std::move(sentence));
    return **search;
}

struct UserWithGroups {
    UserInformation user;
    std::vector<Sid> groups;
};

Result<UserWithGroups> readUserWithGroups(DomainBindings& bindings, const FoundSid& sid) {
    auto user = sid ? readUser(bindings, *sid) : std::nullopt;
    auto groups = user ? userGroups(bindings, *user) : fail(noInformation);
    if (!groups) return fail(noInformation);
    return UserWithGroups{std::move(*user), std::move(groups->sids)};
}

}  // namespace

Group::Group(ServiceContext& service, const Request& request)
    : Worker(service, request), accounts_(accountsOf(domains())) {}

Result<void> Group::usernameToSID() {
    const auto sid = usernameToSid(domains(), *accounts_, request().text(key::username));
    result().set(L"sid", std::string_view(sid ? sid->text() : std::string()));
    return {};
}

Result<void> Group::upnToSid() {
    const std::wstring upn = request().text(key::upn).str();
    if (upn.empty()) return fail(L"No UPN specified");
    const auto& known = domains().domains();
    if (!known) return fail(L"Could not determine SID for UPN - no domains identified");
    FoundSid sid = searchByParts(domains(), *known, upn);
    if (!sid) {
        auto likely = sidForUpnMostLikelyDomain(domains(), request().texts(key::upn));
        if (!likely) return fail(likely.error());
        sid = std::move(*likely);
    }
    if (!sid) return fail(L"Failed to obtain sid for user with specified upn (upn=" + upn + L")");
    result().set(L"SID", std::string_view(sid->text()));
    return {};
}

Result<void> Group::getUserInformation() {
    const std::wstring dn = request().text(key::userDn).str(), given = request().text(key::userSid).str();
    const FoundSid sid =
        given.empty() ? sidForUserDn(domains(), CORE::toUtf8(dn)) : Sid::parse(std::wstring_view(given));
    if (given.empty() && !sid) return fail(L"Failed to obtain sid for user with dn=" + dn);
    const auto found = readUserWithGroups(domains(), sid);
    if (!found) return fail(found.error());
    result() = renderUserInformation(found->user, *service().platform().clock);
    result().addBag(L"group-list", groupList(found->groups, true));
    result().set(L"sid", std::string_view(sid->text()));
    return {};
}

Result<std::unique_ptr<platform::Token>> Group::untrustedLogon(const std::wstring& upn) {
    auto logon = accounts_->logOn(upn, "ws_admin::group");
    if (logon) {
        logDebug(L"%s: LSA logon succeeded", L"Group::untrustedLogon");
        return std::move(*logon);
    }
    const std::wstring& why = logon.error().cause.text;
    switch (logon.error().step) {
        case platform::LogonStep::connect:
            logError(L"LsaConnectUntrusted failed - %s", why);
            break;
        case platform::LogonStep::package:
            logError(L"LsaLookupAuthenticationPackage failed - %s", why);
            break;
        case platform::LogonStep::logon:
            logError(L"LsaLogonUser failed %s", why);
            break;
    }
    return fail(L"Failed to get login token");
}

Result<void> Group::getUserTokenGroups() {
    constexpr wchar_t here[] = L"Group::getUserTokenGroups";
    const std::wstring upn = request().text(key::upn).str();
    const auto failed = [&](const wchar_t* sentence, const std::wstring& why) {
        logError(L"%s: %s%s%s", here, sentence, why.empty() ? L"" : L" - ", why);
        return fail(sentence);
    };
    if (upn.empty()) return failed(L"Failed to obtain UPN for user", {});
    const auto token = untrustedLogon(upn);
    if (!token) return fail(token.error());
    const auto groups = (*token)->groups();
    if (!groups) {
        const bool data = groups.error().step == platform::TokenStep::data;
        return failed(data ? L"Failed to get lookup token groups" : L"Failed to get token groups size",
                      groups.error().cause.text);
    }
    for (const Sid& group : *groups) {
        logDebug(L"%s: Found user token group: %s", here, group.text());
        result().add(L"groupSID", std::string_view(group.text()));
    }
    if (request().boolean(key::tokenUserSid)) addOwnSid(**token);
    return {};
}

void Group::addOwnSid(platform::Token& token) {
    const auto user = token.user();
    const std::string own = user ? user->text() : std::string(request().utf8(key::fallbackUserSid));
    if (own.empty())
        logWarning(L"%s: Unable to determine user's SID", L"Group::getUserTokenGroups");
    else
        result().add(L"groupSID", std::string_view(own));
}

Result<Sid> Group::requestedUser() {
    const std::wstring subject = request().text(key::contextSubject).str(),
                       dn = request().text(key::contextDn).str();
    std::vector<std::wstring> upns = request().texts(key::contextUpns);
    std::erase(upns, std::wstring());
    if (!upns.empty())
        return required(
            sidForUpnMostLikelyDomain(domains(), upns),
            L"Failed to obtain sid for user with specified upns (first upn=" + upns.front() + L")");
    if (!subject.empty())
        return required(sidForCertificate(domains(), request().utf8(key::contextSubject),
                                          request().utf8(key::contextIssuer)),
                        L"Failed to obtain sid for user with subject=" + subject + L" issuer=" +
                            request().text(key::contextIssuer).str());
    if (!dn.empty())
        return required(sidForUserDn(domains(), CORE::toUtf8(dn)),
                        L"Failed to obtain sid for user with dn=" + dn);
    return required(Sid::parse(std::wstring_view(request().text(key::contextSid))),
                    L"Failed to obtain sid for user - sid not available");
}

PropertyBag Group::groupList(const std::vector<Sid>& groups, bool listNames) {
    std::vector<std::optional<platform::AccountName>> names(groups.size());
    if (listNames) {
        auto known = accounts_->namesOf(groups);
        if (known)
            names = std::move(*known);
        else
            logWarning(L"The names of groups cannot be looked up: %s", known.error().text);
    }
    PropertyBag list;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        PropertyBag group;
        if (names[i]) {
            group.set(L"name", std::wstring_view(displayName(*names[i])));
        } else if (listNames) {
            logWarning(L"Failed to look up SID");
            logDebug(L"No account is known to have the SID %s", groups[i].text());
        }
        group.set(L"sid", std::string_view(groups[i].text()));
        list.addBag(L"group", std::move(group));
    }
    return list;
}

Result<void> Group::answerContext(bool withInformation) {
    const auto sid = requestedUser();
    if (!sid) return fail(sid.error());
    logDebug(L"Locating user with sid %s", sid->text());
    auto found = readUserWithGroups(domains(), *sid);
    if (!found) {
        logError(noInformation);
        return fail(found.error());
    }
    if (withInformation) {
        PropertyBag information = renderUserInformation(found->user, *service().platform().clock);
        information.set(L"sid", std::string_view(sid->text()));
        result().addBag(L"user-info", std::move(information));
    }
    if (request().boolean(key::contextUserSid)) found->groups.push_back(*sid);
    result().addBag(L"group-list", groupList(found->groups, request().boolean(key::listGroupNames)));
    logDebug(L"User found, result property bag=%s", result().flattenForDisplay());
    return {};
}

}  // namespace wsadmin
