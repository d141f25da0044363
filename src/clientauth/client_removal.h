// Removing a client: first its account, then its settings entry and at last its foreign principal.
#pragma once

#include <optional>
#include <string_view>

#include "clientauth/client_accounts.h"
#include "clientauth/client_settings.h"

namespace wsadmin {

// Why somebody without the right to "create", "update" or "delete" accounts is refused.
std::wstring rightsSentence(std::wstring_view verb);

// For one request. Where the session's connection is lost or the service stops, nothing more is removed: each
// further client fails at once and keeps its account.
class ClientRemoval {
  public:
    // `force`: go on where the account cannot be found or deleted.
    ClientRemoval(DomainBindings& domains, platform::LdapSession& session, ClientAccounts& accounts,
                  bool force)
        : domains_(domains), session_(session), accounts_(accounts), force_(force) {}

    // Blocks for up to a minute for each of the two entries while the directory refuses to delete it.
    Result<void> remove(const ClientAccount& client);

  private:
    Result<void> removeAccount(const ClientAccount& client, const platform::Sid& sid);
    Result<void> deleteEntry(const std::string& dn, std::wstring_view kind, std::wstring_view succeeded);

    DomainBindings& domains_;
    platform::LdapSession& session_;
    ClientAccounts& accounts_;
    bool force_;
    std::optional<Failure> ended_;  // what ended it for all
};

}  // namespace wsadmin
