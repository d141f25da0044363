// The port to accounts: names and SIDs of people and groups, and the tokens of their logons. All calls may
// come from any thread; a token is used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ldap/sid.h"
#include "platform/result.h"

namespace wsadmin::platform {

// Numbered as the platform numbers the uses of a SID.
enum class AccountKind : int {
    user = 1,
    group,
    domain,
    alias,
    wellKnownGroup,
    deletedAccount,
    invalid,
    unknown,
    computer,
};

// System error numbers of accounts.
enum AccountError : int {
    accountNotEnoughMemory = 8,
    accountInvalidParameter = 87,
    accountInsufficientBuffer = 122,
    accountNoToken = 1008,
    accountNoSuchUser = 1317,
    accountWrongLogonHours = 1328,
    accountDisabled = 1331,
    accountNoneMapped = 1332,
    accountNoSuchPackage = 1364,
    accountExpired = 1793,
    accountNoServer = 1722,
    accountLockedOut = 1909,
};

// The buffer sizes that the lookup of a name requires; the error is then accountInsufficientBuffer. Any other
// error means that there is no such account, or that no authority could be reached.
struct AccountBufferSizes {
    int error = 0;
    std::uint32_t sid = 0;     // bytes
    std::uint32_t domain = 0;  // characters, with the terminating one
};

struct Account {
    Sid sid;
    std::wstring domain;  // short name; empty for what belongs to no domain
    AccountKind kind = AccountKind::unknown;
};

struct AccountName {
    std::wstring name;
    std::wstring domain;  // as in Account
    AccountKind kind = AccountKind::unknown;
};

// The step at which reading a token's information failed.
enum class TokenStep { size, memory, data };
struct TokenFailure {
    TokenStep step = TokenStep::size;
    Failure cause;
};
template <class T>
using TokenResult = tl::expected<T, TokenFailure>;

// A logon's token, closed when it is dropped.
class Token {
  public:
    virtual ~Token() = default;
    virtual TokenResult<Sid> user() = 0;
    virtual TokenResult<std::vector<Sid>> groups() = 0;
};

// The step at which a logon failed.
enum class LogonStep { connect, package, logon };
struct LogonFailure {
    LogonStep step = LogonStep::logon;
    Failure cause;
};
using LogonResult = tl::expected<std::unique_ptr<Token>, LogonFailure>;

class AccountAuthority {
  public:
    virtual ~AccountAuthority() = default;

    // DOMAIN\user, user@domain or a bare name. A lookup takes two calls: one for the buffer sizes, and one
    // with buffers of these sizes for the account.
    virtual AccountBufferSizes bufferSizesFor(const std::wstring& name) = 0;
    virtual Result<Account> lookUp(const std::wstring& name, const AccountBufferSizes& sizes) = 0;
    // The names of several SIDs, in their order; nullopt for an unknown SID.
    virtual Result<std::vector<std::optional<AccountName>>> namesOf(const std::vector<Sid>& sids) = 0;

    // Fails with accountNoToken where the thread does not impersonate.
    virtual Result<std::unique_ptr<Token>> threadToken() = 0;
    virtual Result<std::unique_ptr<Token>> processToken() = 0;
    // A network logon by user principal name, without a password (S4U). The origin names the caller to the
    // authority.
    virtual LogonResult logOn(const std::wstring& upn, const std::string& origin) = 0;
};

}  // namespace wsadmin::platform
