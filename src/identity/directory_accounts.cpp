#include "identity/directory_accounts.h"

#include <algorithm>

#include "identity/account_names.h"
#include "identity/sid_search.h"
#include "identity/user_groups.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

using CORE::toUtf8;
using CORE::toWide;
using platform::Account;
using platform::AccountBufferSizes;
using platform::AccountKind;
using platform::AccountName;
using platform::LogonStep;
using platform::Sid;
using platform::Token;
using platform::TokenStep;

namespace {

const std::vector<std::string> accountAttributes = {"objectSid", "objectClass", "groupType", "sAMAccountName",
                                                    "distinguishedName"};

AccountKind kindOf(const DirectoryRow& row) {
    const auto is = [&row](std::string_view objectClass) {
        return std::ranges::any_of(row.all("objectClass"), [&](const platform::DirectoryValue& value) {
            return CORE::equalFolded(platform::directoryText(value), objectClass);
        });
    };
    if (is("computer")) return AccountKind::computer;
    if (is("user")) return AccountKind::user;
    if (is("domain")) return AccountKind::domain;
    if (!is("group")) return AccountKind::unknown;
    constexpr std::int32_t domainLocal = 0x4;
    const auto* const type = row.first<std::int32_t>("groupType");
    return type && (*type & domainLocal) != 0 ? AccountKind::alias : AccountKind::group;
}

std::wstring domainOf(const Sid& sid, const DirectoryRow& row, const MappedDomains& domains) {
    if (isBuiltin(sid)) return std::wstring(builtinDomain);
    return domains.shortName(toWide(platform::dnsDomainOf(row.text("distinguishedName"))));
}

tl::unexpected<Failure> refuse(int code) {
    return fail(code, accountErrorText(code));
}

tl::unexpected<platform::LogonFailure> refuseLogon(LogonStep step, int code) {
    return tl::unexpected(platform::LogonFailure{step, {code, accountErrorText(code)}});
}

// The error code with which a logon to an account in that state is refused; 0: the logon is permitted. There
// is no password in such a logon, so that an expired password does not refuse it.
int logonRefusal(const AccountState& state, const platform::Clock& clock) {
    const CORE::PropertyBag properties = accountProperties(state, clock);
    constexpr std::pair<const wchar_t*, int> refusals[] = {
        {L"account-disabled", platform::accountDisabled},
        {L"account-locked-out", platform::accountLockedOut},
        {L"account-expired", platform::accountExpired},
        {L"account-outside-logon-hours", platform::accountWrongLogonHours},
    };
    for (const auto& [property, code] : refusals)
        if (properties.contains(property)) return code;
    return 0;
}

class FixedToken final : public Token {
  public:
    FixedToken(Sid user, std::vector<Sid> groups) : user_(std::move(user)), groups_(std::move(groups)) {}
    platform::TokenResult<Sid> user() override { return user_; }
    platform::TokenResult<std::vector<Sid>> groups() override { return groups_; }

  private:
    Sid user_;
    std::vector<Sid> groups_;
};

// Reads the groups from the directory on each call of groups().
class UserToken final : public Token {
  public:
    UserToken(DomainBindings& bindings, UserInformation user) : bindings_(bindings), user_(std::move(user)) {}
    platform::TokenResult<Sid> user() override { return user_.sid.value(); }
    platform::TokenResult<std::vector<Sid>> groups() override {
        auto groups = userGroups(bindings_, user_);
        if (!groups) return tl::unexpected(platform::TokenFailure{TokenStep::data, groups.error()});
        return std::move(groups->sids);
    }

  private:
    DomainBindings& bindings_;
    UserInformation user_;
};

}  // namespace

Result<Account> DirectoryAccounts::search(const std::string& binding, const std::string& filter) {
    const DomainSearch search(bindings_, binding);
    if (!search) return refuse(platform::accountNoServer);
    const auto rows = readRows(*search, filter, accountAttributes, 1);
    if (!rows) return refuse(platform::accountNoServer);
    const auto sid = rows->empty() ? std::nullopt : Sid::fromBytes(rows->front().text("objectSid"));
    if (!sid) return refuse(platform::accountNoneMapped);
    return Account{*sid, domainOf(*sid, rows->front(), *domains()), kindOf(rows->front())};
}

Result<Account> DirectoryAccounts::findInDomain(std::wstring_view domain, const std::wstring& account) {
    const std::wstring dns =
        domains()->names.contains(domain) ? domains()->dnsName(domain) : std::wstring(domain);
    if (dns.empty() || !domains()->all.contains(dns)) return refuse(platform::accountNoneMapped);
    return search(ldapBinding(dns), platform::filterTerm("sAMAccountName", toUtf8(account)));
}

Result<Account> DirectoryAccounts::findByPrincipalName(const std::wstring& upn) {
    Result<Account> outcome = refuse(platform::accountNoneMapped);
    for (const CORE::PropertyBag& list : {domains()->primary, domains()->trusted})
        for (const CORE::BagProperty& domain : list.props()) {
            Result<Account> found =
                search(std::string(domain.value), platform::filterTerm("userPrincipalName", toUtf8(upn)));
            if (found) return found;
            if (found.error().code != platform::accountNoneMapped) outcome = std::move(found);
        }
    // The implicit principal name, sAMAccountName@domain, is valid even where userPrincipalName has another
    // value.
    const auto at = upn.rfind(L'@');
    auto implied = findInDomain(std::wstring_view(upn).substr(at + 1), upn.substr(0, at));
    return implied || outcome.error().code == platform::accountNoneMapped ? implied : outcome;
}

Result<Account> DirectoryAccounts::findBare(const std::wstring& account) {
    Result<Account> outcome = refuse(platform::accountNoneMapped);
    for (const bool own : {true, false})
        for (const CORE::BagProperty& domain : domains()->all.props()) {
            const std::wstring name = toWide(domain.name);
            if (domains()->primary.contains(name) != own) continue;
            Result<Account> found = findInDomain(name, account);
            if (found) return found;
            if (found.error().code != platform::accountNoneMapped) outcome = std::move(found);
        }
    return outcome;
}

Result<Account> DirectoryAccounts::find(const std::wstring& name) {
    if (auto known = wellKnownAccount(name)) return std::move(*known);
    if (name.empty()) return refuse(platform::accountNoneMapped);
    if (!domains()) return refuse(platform::accountNoServer);
    if (const auto slash = name.find(L'\\'); slash != std::wstring::npos)
        return findInDomain(std::wstring_view(name).substr(0, slash), name.substr(slash + 1));
    return name.find(L'@') == std::wstring::npos ? findBare(name) : findByPrincipalName(name);
}

AccountBufferSizes DirectoryAccounts::bufferSizesFor(const std::wstring& name) {
    lastName_ = name;
    last_ = find(name);
    if (!*last_) return {.error = last_->error().code};
    return {.error = platform::accountInsufficientBuffer,
            .sid = static_cast<std::uint32_t>((*last_)->sid.bytes().size()),
            .domain = static_cast<std::uint32_t>((*last_)->domain.size() + 1)};
}

Result<Account> DirectoryAccounts::lookUp(const std::wstring& name, const AccountBufferSizes& sizes) {
    if (!last_ || lastName_ != name) static_cast<void>(bufferSizesFor(name));
    if (*last_ && (sizes.sid < (*last_)->sid.bytes().size() || sizes.domain <= (*last_)->domain.size()))
        return refuse(platform::accountInsufficientBuffer);
    return *last_;
}

Result<std::vector<std::optional<AccountName>>> DirectoryAccounts::namesOf(const std::vector<Sid>& sids) {
    std::vector<std::optional<AccountName>> names(sids.size());
    std::vector<Sid> others;
    for (std::size_t i = 0; i < sids.size(); ++i)
        if (!(names[i] = wellKnownName(sids[i]))) others.push_back(sids[i]);
    if (others.empty()) return names;
    if (!domains()) return refuse(platform::accountNoServer);
    // A domain also has a foreignSecurityPrincipal for each member from another domain. It has the SID but no
    // sAMAccountName, which only the account's own domain has.
    const auto rows =
        searchBySids(bindings_, others, "(sAMAccountName=*)", {"objectClass", "groupType", "sAMAccountName"})
            .rows;
    for (std::size_t i = 0; i < sids.size(); ++i)
        if (const auto row = rows.find(sids[i]); !names[i] && row != rows.end())
            names[i] = AccountName{toWide(row->second.text("sAMAccountName")),
                                   domainOf(sids[i], row->second, *domains()), kindOf(row->second)};
    return names;
}

Result<std::unique_ptr<Token>> DirectoryAccounts::threadToken() {
    return refuse(platform::accountNoToken);
}

Result<std::unique_ptr<Token>> DirectoryAccounts::processToken() {
    const std::wstring& name = bindings_.service().platform().processAccount;
    if (name.empty()) return refuse(platform::accountNoToken);
    const auto account = find(name);
    if (!account) return fail(account.error());
    if (account->kind == AccountKind::wellKnownGroup)
        return std::make_unique<FixedToken>(account->sid, groupsOfServices());
    auto user = readUser(bindings_, account->sid);
    if (!user) return refuse(platform::accountNoneMapped);
    return std::make_unique<UserToken>(bindings_, std::move(*user));
}

platform::LogonResult DirectoryAccounts::logOn(const std::wstring& upn, const std::string&) {
    if (!domains()) return refuseLogon(LogonStep::connect, platform::accountNoServer);
    const auto account = upn.find(L'@') == std::wstring::npos ? findBare(upn) : findByPrincipalName(upn);
    if (!account) {
        const bool nobody = account.error().code == platform::accountNoneMapped;
        return refuseLogon(LogonStep::logon, nobody ? platform::accountNoSuchUser : account.error().code);
    }
    const bool logsOn = account->kind == AccountKind::user || account->kind == AccountKind::computer;
    auto user = logsOn ? readUser(bindings_, account->sid) : std::nullopt;
    if (!user) return refuseLogon(LogonStep::logon, platform::accountNoSuchUser);
    if (const int code = logonRefusal(user->state, *bindings_.service().platform().clock))
        return refuseLogon(LogonStep::logon, code);
    return std::make_unique<UserToken>(bindings_, std::move(*user));
}

}  // namespace wsadmin
