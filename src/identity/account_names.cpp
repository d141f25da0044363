#include "identity/account_names.h"

#include "framework/core/corestring.h"

namespace wsadmin {

using platform::Account;
using platform::AccountKind;
using platform::AccountName;
using platform::Sid;

namespace {

constexpr std::wstring_view authority = L"NT AUTHORITY";

struct WellKnown {
    std::string_view sid;
    std::wstring_view domain;
    std::wstring_view name;
    AccountKind kind = AccountKind::wellKnownGroup;
};

// By their English names. Built-in groups also have entries in a directory; the table names them where only
// the SID is known.
constexpr WellKnown wellKnown[] = {
    {"S-1-1-0", L"", L"Everyone"},
    {"S-1-3-0", L"", L"CREATOR OWNER"},
    {"S-1-5-2", authority, L"NETWORK"},
    {"S-1-5-4", authority, L"INTERACTIVE"},
    {"S-1-5-6", authority, L"SERVICE"},
    {"S-1-5-7", authority, L"ANONYMOUS LOGON"},
    {"S-1-5-9", authority, L"ENTERPRISE DOMAIN CONTROLLERS"},
    {"S-1-5-11", authority, L"Authenticated Users"},
    {"S-1-5-13", authority, L"TERMINAL SERVER USER"},
    {"S-1-5-14", authority, L"REMOTE INTERACTIVE LOGON"},
    {"S-1-5-15", authority, L"This Organization"},
    {"S-1-5-18", authority, L"SYSTEM"},
    {"S-1-5-19", authority, L"LOCAL SERVICE"},
    {"S-1-5-20", authority, L"NETWORK SERVICE"},
    {"S-1-5-32-544", builtinDomain, L"Administrators", AccountKind::alias},
    {"S-1-5-32-545", builtinDomain, L"Users", AccountKind::alias},
    {"S-1-5-32-546", builtinDomain, L"Guests", AccountKind::alias},
    {"S-1-5-32-555", builtinDomain, L"Remote Desktop Users", AccountKind::alias},
};

struct ErrorText {
    int code;
    std::wstring_view text;
};

constexpr ErrorText errorTexts[] = {
    {platform::accountNotEnoughMemory, L"Not enough memory resources are available to process this command."},
    {platform::accountInvalidParameter, L"The parameter is incorrect."},
    {platform::accountInsufficientBuffer, L"The data area passed to a system call is too small."},
    {platform::accountNoToken, L"An attempt was made to reference a token that does not exist."},
    {platform::accountNoSuchUser, L"The specified account does not exist."},
    {platform::accountWrongLogonHours,
     L"Your account has time restrictions that keep you from signing in right now."},
    {platform::accountDisabled, L"This user can't sign in because this account is currently disabled."},
    {platform::accountNoneMapped, L"No mapping between account names and security IDs was done."},
    {platform::accountNoSuchPackage, L"A specified authentication package is unknown."},
    {platform::accountNoServer, L"The RPC server is unavailable."},
    {platform::accountExpired, L"The user's account has expired."},
    {platform::accountLockedOut,
     L"The referenced account is currently locked out and may not be logged on to."},
};

Sid sidOf(std::string_view text) {
    return Sid::parse(text).value();  // a literal of the table
}

}  // namespace

std::optional<Account> wellKnownAccount(std::wstring_view name) {
    const auto slash = name.find(L'\\');
    const bool qualified = slash != std::wstring_view::npos;
    const std::wstring_view domain = name.substr(0, qualified ? slash : 0);
    const std::wstring_view account = qualified ? name.substr(slash + 1) : name;
    for (const WellKnown& known : wellKnown)
        if (CORE::equalFolded(known.name, account) && (!qualified || CORE::equalFolded(known.domain, domain)))
            return Account{sidOf(known.sid), std::wstring(known.domain), known.kind};
    return std::nullopt;
}

std::optional<AccountName> wellKnownName(const Sid& sid) {
    const std::string text = sid.text();
    for (const WellKnown& known : wellKnown)
        if (known.sid == text)
            return AccountName{std::wstring(known.name), std::wstring(known.domain), known.kind};
    return std::nullopt;
}

bool isBuiltin(const Sid& sid) {
    return sid.domain() == sidOf("S-1-5-32");
}

std::vector<Sid> groupsOfServices() {
    return {sidOf("S-1-5-32-544"), sidOf("S-1-1-0"), sidOf("S-1-5-11")};
}

std::wstring accountErrorText(int code) {
    for (const ErrorText& error : errorTexts)
        if (error.code == code) return std::wstring(error.text);
    return {};
}

}  // namespace wsadmin
