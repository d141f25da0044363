#include "clientauth/client_auth.h"

#include "clientauth/client_removal.h"
#include "clientauth/client_settings.h"
#include "clientauth/clientauth_keys.h"
#include "ldap/layout.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using CORE::PropertyBag;

Result<void> ClientAuth::clientAuthGetDefaults() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto defaults = readClientDefaults(**session);
    if (!defaults) return fail(defaults.error());
    result().set(L"ou", std::wstring_view(defaults->ou));
    result().set(L"group", std::wstring_view(defaults->group));
    result().setBool(L"expirepassword", defaults->expirePassword);
    for (const std::wstring& prefix : defaults->prefixes)
        result().add(L"customprefix", std::wstring_view(prefix));
    return {};
}

Result<void> ClientAuth::clientAuthList() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto clients = allClients(**session);
    if (!clients) return fail(clients.error());
    const auto servers = connectionServers(**session);
    if (!servers) return fail(servers.error());

    PropertyBag userList, serverList;
    for (const ClientAccount& client : *clients) {
        PropertyBag user;
        user.set(L"clientid", std::wstring_view(client.clientId));
        user.set(L"domain", std::wstring_view(client.domain));
        user.setBool(L"password-present", client.hasPassword);
        userList.addBag(L"user", std::move(user));
    }
    for (const platform::LdapEntry& entry : *servers) {
        PropertyBag server;
        server.set(L"cn", entry.first(layout::attribute::cn));
        server.set(L"clientAuthEnabled", entry.first(layout::attribute::clientAuthEnabled));
        server.set(L"clientAuthPasswordRequired", entry.first(layout::attribute::clientAuthPasswordRequired));
        serverList.addBag(L"server", std::move(server));
    }
    result().addBag(L"userList", std::move(userList));
    result().addBag(L"serverList", std::move(serverList));
    return {};
}

Result<void> ClientAuth::clientAuthRemoveAll() {
    const auto session = directory();
    if (!session) return fail(session.error());
    const auto clients = allClients(**session);
    if (!clients) return fail(clients.error());
    if (clients->empty()) {
        result().set(L"textmessage", L"There are no client authentication user to be removed.");
        return {};
    }
    auto accounts = ClientAccounts::of(domains());
    if (!accounts) return fail(accounts.error());
    ClientRemoval removal(domains(), **session, *accounts, request().boolean(key::forcesAllRemovals));

    std::size_t removed = 0;
    PropertyBag errors;
    for (const ClientAccount& client : *clients) {
        const Result<void> done =
            client.dn.empty() ? Result<void>(fail(L"Failed to get DN for user: " + client.qualifiedName() +
                                                  L" -removeall did not complete."))
                              : removal.remove(client);
        if (done) {
            ++removed;
            logDebug(L"removeall: removed user: %s\\%s", client.domain, client.clientId);
            continue;
        }
        logWarning(L"removeall: %s was not removed: %s", client.qualifiedName(), done.error().text);
        errors.add(L"errorText", std::wstring_view(done.error().text));
    }
    std::wstring text =
        std::to_wstring(removed) + L" client authentication user(s) were removed successfully. ";
    if (!errors.empty())
        text += std::to_wstring(errors.size()) + L" client authentication user(s) were not " +
                L"removed due to error(s).  See below for list of error(s):";
    result().set(L"textmessage", std::wstring_view(text));
    if (!errors.empty()) result().addBag(L"errorList", std::move(errors));
    return {};
}

}  // namespace wsadmin
