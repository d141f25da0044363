// Adding, updating and removing the account of a client device, the defaults for new ones, and the switches
// of the connection servers.
#pragma once

#include <optional>

#include "clientauth/client_accounts.h"
#include "clientauth/client_settings.h"
#include "ldap/worker.h"

namespace wsadmin {

class ClientAuthConfig : public Worker {
  public:
    using Worker::Worker;

    // What "operation" says; "textmessage".
    Result<void> clientAuthConfig();

  private:
    bool is(std::wstring_view operation) const { return operation_ == operation; }
    Result<void> switchServer(bool enabled);
    void readOptions();
    // The steps before the operation itself, each of which may end the request.
    Result<void> findIdentifier();
    Result<void> checkUnit();
    Result<void> checkGroup();
    Result<void> checkRemovalOptions();
    Result<void> makePassword();
    // The operations.
    Result<void> setDefaults();
    Result<void> add();
    Result<void> update();
    Result<void> remove();

    std::vector<std::wstring> prefixes();
    Result<void> fillFromDefaults();
    Result<void> findGroup(const std::wstring& domain);
    Result<void> openUnit();
    Result<void> finishAccount(platform::DirectoryObject& user, const NewAccount& account);
    // The client's entry where it is of the domain that the request names.
    Result<ClientAccount> requestedClient();

    platform::LdapSession* session_ = nullptr;  // opened before the steps
    std::optional<ClientAccounts> accounts_;    // so is this
    std::wstring operation_, clientId_, domain_, group_, ou_, description_;
    std::optional<bool> expirePassword_;  // nothing: not given
    CORE::secretstring password_;
    std::string protectedPassword_;        // the same as the entry holds it
    std::optional<ClientAccount> client_;  // of that identifier
    std::string groupPath_;                // empty: none to join
    DirectoryObjectPtr unit_;
};

}  // namespace wsadmin
