#include "identity/group.h"

#include "identity/accounts.h"
#include "identity/domain_bindings.h"
#include "identity/user_groups.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;
using platform::Sid;

namespace {

constexpr wchar_t noInformation[] = L"Unable to obtain user information from Active Directory";

// What a caller names in a path must be a name, not a path of its own.
bool isHostName(std::wstring_view text) {
    constexpr std::size_t longestName = 255;
    if (text.size() > longestName) return false;
    const auto path = platform::parseDirectoryPath(ldapBinding(text));
    return path && !path->server.empty() && !path->port && path->dn.empty() &&
           CORE::toWide(path->server) == text;
}

// By the logon name in the domain that the principal name ends with.
FoundSid searchByParts(ServiceContext& service, const DomainBindings& domains, std::wstring_view upn) {
    const auto at = upn.find(L'@');
    if (at == std::wstring_view::npos) return std::nullopt;
    const std::wstring_view user = upn.substr(0, at);
    std::wstring domain(upn.substr(at + 1));
    if (domains.names.contains(domain)) domain = domains.dnsName(domain);
    if (user.empty() || !isHostName(domain)) return std::nullopt;
    const std::wstring binding = L"LDAP://" + domain;
    logDebug(L"Will search for %s\\%s with a bind location of %s", domain, user, binding);
    return searchSidBySamAccountName(service, binding, user, domain);
}

}  // namespace

Group::Group(ServiceContext& service, const PropertyBag& request)
    : Worker(service, request),
      thread_(*service.platform().directoryServices),
      accounts_(accountsOf(service)) {}

void Group::usernameToSID() {
    const auto sid = usernameToSid(service(), *accounts_, request().get(L"username"));
    result().set(L"sid", std::string_view(sid ? sid->text() : std::string()));
}

void Group::upnToSid() {
    const std::wstring upn = request().get(L"upn").str();
    if (upn.empty()) return fail(L"No UPN specified");
    const auto domains = DomainBindings::of(service());
    if (!domains) return fail(L"Could not determine SID for UPN - no domains identified");
    FoundSid sid = searchByParts(service(), *domains, upn);
    if (!sid) {
        auto likely = sidForUpnMostLikelyDomain(service(), request());
        if (!likely) return fail(likely.error().text);
        sid = std::move(*likely);
    }
    if (!sid) return fail(L"Failed to obtain sid for user with specified upn (upn=" + upn + L")");
    result().set(L"SID", std::string_view(sid->text()));
}

void Group::getUserInformation() {
    const std::wstring dn = request().get(L"dn").str(), given = request().get(L"SID").str();
    FoundSid sid;
    if (given.empty()) {
        sid = sidForUserDn(service(), CORE::toUtf8(dn));
        if (!sid) return fail(L"Failed to obtain sid for user with dn=" + dn);
    } else {
        sid = Sid::parse(std::wstring_view(given));
    }
    const auto user = sid ? readUser(service(), *sid) : std::nullopt;
    const auto groups = user ? userGroups(service(), *user) : wsadmin::fail(1, noInformation);
    if (!groups) return fail(noInformation);
    result() = renderUserInformation(*user, *service().platform().clock);
    result().addBag(L"group-list", groupList(*groups, true));
    result().set(L"sid", std::string_view(sid->text()));
}

std::unique_ptr<platform::Token> Group::untrustedLogon(const std::wstring& upn) {
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
    return nullptr;
}

void Group::getUserTokenGroups() {
    constexpr wchar_t here[] = L"Group::getUserTokenGroups";
    const std::wstring upn = request().get(L"upn").str();
    const auto failed = [&](const wchar_t* sentence, const std::wstring& why) {
        logError(L"%s: %s%s%s", here, sentence, why.empty() ? L"" : L" - ", why);
        fail(sentence);
    };
    if (upn.empty()) return failed(L"Failed to obtain UPN for user", {});
    const auto token = untrustedLogon(upn);
    if (!token) return fail(L"Failed to get login token");
    const auto groups = token->groups();
    if (!groups) {
        const bool data = groups.error().step == platform::TokenStep::data;
        return failed(data ? L"Failed to get lookup token groups" : L"Failed to get token groups size",
                      groups.error().cause.text);
    }
    for (const Sid& group : *groups) {
        logDebug(L"%s: Found user token group: %s", here, group.text());
        result().add(L"groupSID", std::string_view(group.text()));
    }
    if (request().getBool(L"includeUserSID", false)) addOwnSid(*token);
}

void Group::addOwnSid(platform::Token& token) {
    const auto user = token.user();
    const std::string own = user ? user->text() : std::string(request().utf8(L"SID"));
    if (own.empty())
        logWarning(L"%s: Unable to determine user's SID", L"Group::getUserTokenGroups");
    else
        result().add(L"groupSID", std::string_view(own));
}

FoundSid Group::found(const Result<FoundSid>& search, std::wstring_view sentence) {
    if (!search || !*search) fail(search ? sentence : std::wstring_view(search.error().text));
    return search.value_or(std::nullopt);
}

FoundSid Group::requestedUser() {
    const std::wstring upn = request().get(L"upn").str(), subject = request().get(L"subjectDN").str(),
                       dn = request().get(L"dn").str();
    if (!upn.empty())
        return found(sidForUpnMostLikelyDomain(service(), request()),
                     L"Failed to obtain sid for user with specified upns (first upn=" + upn + L")");
    if (!subject.empty())
        return found(sidForCertificate(service(), request()), L"Failed to obtain sid for user with subject=" +
                                                                  subject + L" issuer=" +
                                                                  request().get(L"issuerDN").str());
    if (!dn.empty())
        return found(sidForUserDn(service(), CORE::toUtf8(dn)),
                     L"Failed to obtain sid for user with dn=" + dn);
    return found(Sid::parse(std::wstring_view(request().get(L"SID"))),
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

void Group::answerContext(bool withInformation) {
    const bool includeUserSid = request().getBool(L"includeUserSID", false);
    const bool listNames = request().getBool(L"listNames", false);
    const FoundSid sid = requestedUser();
    if (!sid) return;
    logDebug(L"Locating user with sid %s", sid->text());
    const auto user = readUser(service(), *sid);
    auto groups = user ? userGroups(service(), *user) : wsadmin::fail(1, noInformation);
    if (!groups) {
        logError(noInformation);
        return fail(noInformation);
    }
    if (withInformation) {
        PropertyBag information = renderUserInformation(*user, *service().platform().clock);
        information.set(L"sid", std::string_view(sid->text()));
        result().addBag(L"user-info", std::move(information));
    }
    if (includeUserSid) groups->push_back(*sid);
    result().addBag(L"group-list", groupList(*groups, listNames));
    logDebug(L"User found, result property bag=%s", result().flattenForDisplay());
}

}  // namespace wsadmin
