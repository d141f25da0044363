#include "identity/user_information.h"

#include <chrono>
#include <limits>

#include "identity/sid_search.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin {

using CORE::PropertyBag;
using CORE::toWide;
using platform::Sid;

namespace {

// userAccountControl
constexpr std::int32_t accountDisabled = 0x2;
constexpr std::int32_t lockedOut = 0x10;
constexpr std::int32_t normalAccount = 0x200;
constexpr std::int32_t smartcardRequired = 0x40000;
constexpr std::int32_t passwordExpired = 0x800000;

constexpr std::size_t hoursOfWeek = std::size_t{7} * 24;

bool expired(std::int64_t expires, std::chrono::sys_seconds now) {
    if (expires == 0 || expires == std::numeric_limits<std::int64_t>::max()) return false;
    constexpr std::int64_t ticksPerSecond = 10'000'000, epoch = 11'644'473'600;  // seconds from 1601 to 1970
    return expires / ticksPerSecond - epoch <= now.time_since_epoch().count();
}

bool mayLogOn(std::string_view hours, std::chrono::local_seconds now) {
    if (hours.size() * 8 != hoursOfWeek) return true;
    const auto day = std::chrono::floor<std::chrono::days>(now);
    const auto hour = static_cast<std::size_t>(std::chrono::floor<std::chrono::hours>(now - day).count()) +
                      std::size_t{24} * std::chrono::weekday(day).c_encoding();
    return (static_cast<unsigned char>(hours[hour / 8]) >> (hour % 8) & 1) != 0;
}

template <class Number>
Number number(const DirectoryRow& row, const char* attribute) {
    const auto* const value = row.first<Number>(attribute);
    return value ? *value : Number{};
}

}  // namespace

PropertyBag accountProperties(const AccountState& state, const platform::Clock& clock) {
    const auto now = std::chrono::floor<std::chrono::seconds>(clock.now());
    const struct {
        const wchar_t* name;
        bool applies;
    } flags[] = {
        {L"normal-user-account", (state.control & normalAccount) != 0},
        {L"account-disabled", (state.control & accountDisabled) != 0},
        {L"smartcard-required", (state.control & smartcardRequired) != 0},
        {L"account-locked-out", (state.control & lockedOut) != 0},
        {L"password-expired", (state.control & passwordExpired) != 0},
        {L"account-expired", expired(state.expires, now)},
        {L"account-outside-logon-hours", !mayLogOn(state.logonHours, clock.local(now))},
    };
    PropertyBag bag;
    for (const auto& flag : flags)
        if (flag.applies) bag.add(flag.name, std::wstring_view());
    return bag;
}

PropertyBag renderUserInformation(const UserInformation& user, const platform::Clock& clock) {
    PropertyBag bag;
    const std::pair<const wchar_t*, const std::wstring&> texts[] = {
        {L"cn", user.cn},
        {L"dn", user.dn},
        {L"sn", user.sn},
        {L"given-name", user.givenName},
        {L"mail", user.mail},
        {L"domain", user.domain},
        {L"domain-full", user.domainFull},
        {L"account-name", user.accountName},
        {L"user-principal-name", user.userPrincipalName},
    };
    for (const auto& [name, value] : texts)
        if (!value.empty()) bag.set(name, std::wstring_view(value));
    bag.setBag(L"account-properties", accountProperties(user.state, clock));
    return bag;
}

const std::vector<std::string>& userAttributes() {
    static const std::vector<std::string> names = {"cn",
                                                   "sn",
                                                   "givenName",
                                                   "mail",
                                                   "sAMAccountName",
                                                   "userPrincipalName",
                                                   "userAccountControl",
                                                   "msDS-User-Account-Control-Computed",
                                                   "accountExpires",
                                                   "logonHours"};
    return names;
}

UserInformation userInformationOf(const Sid& sid, const DirectoryRow& row, const MappedDomains& domains) {
    const auto text = [&row](const char* attribute) { return toWide(row.text(attribute)); };
    UserInformation user{.sid = sid,
                         .cn = text("cn"),
                         .dn = text("distinguishedName"),
                         .sn = text("sn"),
                         .givenName = text("givenName"),
                         .mail = text("mail"),
                         .domain = {},
                         .domainFull = toWide(platform::dnsDomainOf(row.text("distinguishedName"))),
                         .accountName = text("sAMAccountName"),
                         .userPrincipalName = text("userPrincipalName"),
                         .state = {}};
    user.domain = domains.shortName(user.domainFull);
    // The flags for a lock-out and an expired password depend on the time: only the computed attribute has
    // them.
    user.state = {.control = number<std::int32_t>(row, "userAccountControl") |
                             number<std::int32_t>(row, "msDS-User-Account-Control-Computed"),
                  .expires = number<std::int64_t>(row, "accountExpires"),
                  .logonHours = row.text("logonHours")};
    return user;
}

std::map<Sid, UserInformation> readUsers(DomainBindings& bindings, const std::vector<Sid>& sids) {
    std::map<Sid, UserInformation> users;
    const auto found = searchBySids(bindings, sids, "(objectClass=user)", userAttributes());
    for (const auto& [sid, row] : found.rows)
        users.emplace(sid, userInformationOf(sid, row, *bindings.domains()));
    return users;
}

std::map<Sid, DomainAccount> readDomainAccounts(DomainBindings& bindings, const std::vector<Sid>& sids) {
    constexpr char accountName[] = "sAMAccountName";
    std::map<Sid, DomainAccount> accounts;
    const auto found = searchBySids(bindings, sids, "(objectClass=user)", {accountName});
    for (const auto& [sid, row] : found.rows)
        accounts.emplace(
            sid, DomainAccount{platform::dnsDomainOf(row.text("distinguishedName")), row.text(accountName)});
    return accounts;
}

std::optional<UserInformation> readUser(DomainBindings& bindings, const Sid& sid) {
    auto users = readUsers(bindings, {sid});
    if (users.empty()) return std::nullopt;
    return std::move(users.begin()->second);
}

}  // namespace wsadmin
