// The accounts of client devices in Active Directory. A failure's code is the directory services' own; its
// text is the line that is logged of the failed step where there is one; its cause is a warning.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ldap/domain_bindings.h"
#include "platform/directory_services.h"
#include "platform/ldap/sid.h"

namespace wsadmin {

using DirectoryObjectPtr = std::unique_ptr<platform::DirectoryObject>;

struct NewAccount {
    std::wstring clientId;
    std::wstring domain;
    std::wstring description;     // empty: none
    std::wstring group;           // for the log
    std::string groupPath;        // empty: none to join
    CORE::secretstring password;  // empty: none is set
    bool expirePassword = false;
};

// For one request, on its thread, which holds a DirectoryThread. Everything is done with the administrative
// account of the service's configuration, or as the process where there is none.
class ClientAccounts {
  public:
    // Fails where the administrative account's password cannot be decrypted.
    static Result<ClientAccounts> of(DomainBindings& domains);

    // An organisational unit; it has to stand in a domain of the domain map, because its name would choose
    // the host otherwise. adsNoSuchObject: there is none of that name.
    Result<DirectoryObjectPtr> openUnit(const std::wstring& dn);
    // "CN=Users" of the domain.
    Result<DirectoryObjectPtr> openUsers(const std::wstring& domain);
    // The path of the group of that logon name in the domain, or without one in any that is known, the own
    // one first. Nothing where there is none.
    Result<std::optional<std::string>> findGroup(const std::wstring& name, const std::wstring& domain);

    // A new user below the unit, which is disabled; and what makes an account of it: password, expiry,
    // description, group, and that it is enabled.
    static Result<DirectoryObjectPtr> create(platform::DirectoryObject& unit, const NewAccount& account);
    Result<void> complete(platform::DirectoryObject& user, const NewAccount& account);
    // As accounts are looked up, or of the object where that finds none.
    Result<platform::Sid> sidOf(platform::DirectoryObject& user, const NewAccount& account);

    // The path of the user who has the SID.
    Result<std::string> findUser(const platform::Sid& sid);
    // An empty password, and no description, stay as they are.
    Result<void> update(const std::string& path, const CORE::secretstring& password,
                        const std::optional<std::wstring>& description);
    Result<void> remove(const std::string& path);

    // Whether the unit stands in that domain, and whether two names are the same domain's.
    bool standsIn(const std::wstring& unitDn, const std::wstring& domain) const;
    bool isSameDomain(const std::wstring& one, const std::wstring& other) const;

  private:
    ClientAccounts(DomainBindings& domains, platform::DirectoryCredentials credentials)
        : domains_(domains), credentials_(std::move(credentials)) {}
    std::wstring dnsNameOf(const std::wstring& domain) const;  // empty where the domain is not known
    Result<DirectoryObjectPtr> open(const std::string& path);
    Result<void> join(platform::DirectoryObject& user, const NewAccount& account);
    Result<std::optional<std::string>> findPath(const std::string& binding, const std::string& filter);

    DomainBindings& domains_;
    platform::DirectoryCredentials credentials_;
    DirectoryObjectPtr container_;  // of the account that was removed last
    std::string containerPath_;
};

}  // namespace wsadmin
