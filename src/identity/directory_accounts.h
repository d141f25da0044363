// Accounts of the directories that the domain map knows, for machines that know no accounts of their own.
#pragma once

#include "identity/domain_bindings.h"
#include "platform/accounts.h"

namespace wsadmin {

// For one request, on its thread, which holds a DirectoryThread. It answers as an operating system of the
// domain does: well-known accounts first, a bare name in the primary domain before the others. Tokens
// hold the groups that the directory knows; nobody is ever impersonated here.
class DirectoryAccounts final : public platform::AccountAuthority {
  public:
    explicit DirectoryAccounts(ServiceContext& service) : service_(service) {}

    platform::AccountRoom roomFor(const std::wstring& name) override;
    Result<platform::Account> lookUp(const std::wstring& name, const platform::AccountRoom& room) override;
    Result<std::vector<std::optional<platform::AccountName>>> namesOf(
        const std::vector<platform::Sid>& sids) override;
    Result<std::unique_ptr<platform::Token>> threadToken() override;
    // Of Platform::processAccount.
    Result<std::unique_ptr<platform::Token>> processToken() override;
    platform::LogonResult logOn(const std::wstring& upn, const std::string& origin) override;

  private:
    const std::optional<DomainBindings>& domains();
    Result<platform::Account> find(const std::wstring& name);
    Result<platform::Account> findInDomain(std::wstring_view domain, const std::wstring& account);
    Result<platform::Account> findByPrincipalName(const std::wstring& upn);
    Result<platform::Account> findBare(const std::wstring& account);
    // The first entry on the binding, as an account.
    Result<platform::Account> search(const std::string& binding, const std::string& filter);

    ServiceContext& service_;
    std::optional<std::optional<DomainBindings>> domains_;
    // The last look-up: the two calls of one find its account once.
    std::wstring lastName_;
    std::optional<Result<platform::Account>> last_;
};

}  // namespace wsadmin
