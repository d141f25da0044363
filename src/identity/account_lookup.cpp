#include "identity/account_lookup.h"

#include "identity/directory_accounts.h"
#include "platform/module/module_log.h"

namespace wsadmin {

using platform::AccountAuthority;
using platform::AccountBufferSizes;
using platform::Sid;

namespace {

constexpr std::size_t longestLogonName = 20;

// The name as a principal name, where its user part is too long for a logon name; nothing for any other. Only
// for such a name are the domains asked for: their map may have to be built.
std::optional<std::wstring> asPrincipalName(DomainBindings& bindings, const std::wstring& name) {
    const auto slash = name.find(L'\\'), at = name.rfind(L'@');
    const bool qualified = slash != std::wstring::npos && name.size() - slash - 1 > longestLogonName;
    if (!qualified && (at == std::wstring::npos || at <= longestLogonName)) return std::nullopt;
    const auto& domains = bindings.domains();
    if (!domains) return std::nullopt;
    const std::wstring user = qualified ? name.substr(slash + 1) : name.substr(0, at);
    const std::wstring domain = qualified ? name.substr(0, slash) : name.substr(at + 1);
    std::wstring dns = domains->dnsName(domain);
    if (dns.empty() && !qualified) return std::nullopt;
    return user + L"@" + (dns.empty() ? domain : dns);
}

bool found(const AccountBufferSizes& sizes) {
    return sizes.error == 0 || sizes.error == platform::accountInsufficientBuffer;
}

}  // namespace

std::shared_ptr<AccountAuthority> accountsOf(DomainBindings& bindings) {
    if (const auto& own = bindings.service().platform().accounts) return own;
    return std::make_shared<DirectoryAccounts>(bindings);
}

std::optional<Sid> usernameToSid(DomainBindings& bindings, AccountAuthority& accounts,
                                 std::wstring_view username) {
    std::wstring name(username);
    AccountBufferSizes sizes = accounts.bufferSizesFor(name);
    if (!found(sizes)) {
        const auto changed = asPrincipalName(bindings, name);
        if (!changed) return std::nullopt;
        logDebug(L"Account name '%s' changed to '%s' for sid lookup", name, *changed);
        name = *changed;
        sizes = accounts.bufferSizesFor(name);
        if (!found(sizes)) return std::nullopt;
    }
    if (sizes.sid == 0 || sizes.domain == 0) return std::nullopt;
    const auto account = accounts.lookUp(name, sizes);
    if (!account || account->kind != platform::AccountKind::user) return std::nullopt;
    return account->sid;
}

std::optional<Sid> userOf(DomainBindings& bindings, std::wstring_view username) {
    const auto accounts = accountsOf(bindings);
    return usernameToSid(bindings, *accounts, username);
}

std::wstring displayName(const platform::AccountName& account) {
    return account.domain.empty() ? account.name : account.domain + L"\\" + account.name;
}

}  // namespace wsadmin
