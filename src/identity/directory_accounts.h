// Accounts of the directories that the domain map knows, for machines whose operating system has no accounts.
#pragma once

#include "ldap/domain_bindings.h"
#include "platform/account_authority.h"

namespace wsadmin {

// For one request, on its thread, which holds a DirectoryThread. Names are resolved in the order of a member
// of the domain: well-known accounts first, a bare name in the primary domain before the others. Tokens hold
// the groups that the directory knows; a thread never has a token of its own.
class DirectoryAccounts final : public platform::AccountAuthority {
  public:
    explicit DirectoryAccounts(DomainBindings& bindings) : bindings_(bindings) {}

    platform::AccountBufferSizes bufferSizesFor(const std::wstring& name) override;
    Result<platform::Account> lookUp(const std::wstring& name,
                                     const platform::AccountBufferSizes& sizes) override;
    Result<std::vector<std::optional<platform::AccountName>>> namesOf(
        const std::vector<platform::Sid>& sids) override;
    Result<std::unique_ptr<platform::Token>> threadToken() override;
    // Of Platform::processAccount.
    Result<std::unique_ptr<platform::Token>> processToken() override;
    platform::LogonResult logOn(const std::wstring& upn, const std::string& origin) override;

  private:
    const Result<MappedDomains>& domains() { return bindings_.domains(); }
    Result<platform::Account> find(const std::wstring& name);
    Result<platform::Account> findInDomain(std::wstring_view domain, const std::wstring& account);
    Result<platform::Account> findByPrincipalName(const std::wstring& upn);
    Result<platform::Account> findBare(const std::wstring& account);
    // The first entry on the binding, as an account.
    Result<platform::Account> search(const std::string& binding, const std::string& filter);

    DomainBindings& bindings_;
    // The cached account of the last look-up: bufferSizesFor and lookUp of one name search once.
    std::wstring lastName_;
    std::optional<Result<platform::Account>> last_;
};

}  // namespace wsadmin
