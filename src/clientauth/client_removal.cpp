#include "clientauth/client_removal.h"

#include "identity/account_lookup.h"
#include "identity/principals.h"
#include "platform/ldap/lost_connection.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::Sid;

namespace {

constexpr int mostAttempts = 30;
constexpr std::chrono::milliseconds betweenAttempts{2000};
constexpr wchar_t entryStays[] = L"Failed to delete LDAP entry for user: ";

}  // namespace

std::wstring rightsSentence(std::wstring_view verb) {
    return CORE::formatText(
        L"Failed to %s user in Active Directory due to insufficient rights.  Please make sure the "
        L"administrator user invoking hdqadmin.exe is part of the 'Domain Admins', or 'Administrators' "
        L"group; "
        L"or has the necessary permission to %s Active Directory users.",
        verb, verb);
}

Result<void> ClientRemoval::remove(const ClientAccount& client) {
    if (ended_) return fail(ended_->code, entryStays + ended_->text);
    const auto sid = userOf(domains_, client.qualifiedName());
    if (!sid && !force_) return fail(L"Failed to get SID for domain and username: " + client.qualifiedName());
    if (sid)
        if (auto removed = removeAccount(client, *sid); !removed) return removed;

    const auto entry = deleteEntry(client.dn, L"ClientAuthSettings-a entry",
                                   L"Deletion of ClientAuthSettings-a entry '%s' succeeded.");
    const std::string principal = sid ? principalDn(*sid) : std::string();
    if (!entry) {
        logDebug(L"No attempt to delete FSP entry '%s' as LDAP entry deletion failed.", principal);
        return fail(entry.error().code, entryStays + entry.error().text);
    }
    if (!sid) {
        logDebug(L"No attempt to delete FSP entry for user '%s\\%s' as SID could not be determined.",
                 client.domain, client.clientId);
        return {};
    }
    const auto deleted = deleteEntry(principal, L"FSP entry", L"Deletion of FSP entry '%s' succeeded");
    if (!deleted)
        return fail(deleted.error().code, L"Failed to delete FSP entry for user: " + deleted.error().text);
    return {};
}

Result<void> ClientRemoval::removeAccount(const ClientAccount& client, const Sid& sid) {
    const auto path = accounts_.findUser(sid);
    const Result<void> removed = path ? accounts_.remove(*path) : Result<void>(fail(path.error()));
    if (removed) return {};
    const Failure& why = removed.error();
    if (why.code == platform::adsAccessDenied) return fail(why.code, rightsSentence(L"delete"));
    std::wstring sentence =
        L"Failed to delete user in Active Directory: " + client.qualifiedName() + L". " + why.text;
    if (!force_) return fail(why.code, std::move(sentence));
    logWarning(L"%s", sentence);
    return {};
}

// An entry that is gone already is deleted.
Result<void> ClientRemoval::deleteEntry(const std::string& dn, std::wstring_view kind,
                                        std::wstring_view succeeded) {
    const ServiceContext& service = domains_.service();
    Result<void> deleted;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        deleted = session_.remove(dn);
        if (deleted || deleted.error().code == platform::ldapNoSuchObject) {
            logVerbose(succeeded, dn);
            return {};
        }
        logVerbose(L"Deletion of %s '%s' failed, retrying in 2 seconds. (%s", kind, dn, deleted.error().text);
        const bool over = platform::isConnectionLost(deleted.error().code) ||
                          service.platform().clock->wait(betweenAttempts, &service.stopping());
        if (!over) continue;
        ended_ = deleted.error();
        break;
    }
    return deleted;
}

}  // namespace wsadmin
