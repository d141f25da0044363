// The LDAP port: sessions in the manner of an LDAP client library. Texts (names, filters, values) are UTF-8
// as on the wire; values may hold any bytes. A session is used by one thread at a time; different sessions by
// any threads.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/corestring.h"
#include "platform/result.h"

namespace wsadmin::platform {

// Result codes, numbered as the platform's LDAP client numbers them (RFC 4511, and 81 upwards for its own).
enum LdapCode : int {
    ldapSuccess = 0,
    ldapOperationsError = 1,
    ldapProtocolError = 2,
    ldapTimeLimitExceeded = 3,
    ldapSizeLimitExceeded = 4,
    ldapAuthMethodNotSupported = 7,
    ldapPartialResults = 9,  // of a search: some of it is on other servers
    ldapReferral = 10,
    ldapAdminLimitExceeded = 11,
    ldapUnavailableCriticalExtension = 12,
    ldapConfidentialityRequired = 13,
    ldapNoSuchAttribute = 16,
    ldapUndefinedType = 17,
    ldapConstraintViolation = 19,
    ldapAttributeOrValueExists = 20,
    ldapInvalidSyntax = 21,
    ldapNoSuchObject = 32,
    ldapInvalidDnSyntax = 34,
    ldapInappropriateAuth = 48,
    ldapInvalidCredentials = 49,
    ldapInsufficientRights = 50,
    ldapBusy = 51,
    ldapUnavailable = 52,
    ldapUnwillingToPerform = 53,
    ldapNamingViolation = 64,
    ldapObjectClassViolation = 65,
    ldapNotAllowedOnNonLeaf = 66,
    ldapNotAllowedOnRdn = 67,
    ldapAlreadyExists = 68,
    ldapResultsTooLarge = 70,
    ldapAffectsMultipleDsas = 71,
    ldapOther = 80,
    ldapServerDown = 81,
    ldapLocalError = 82,
    ldapEncodingError = 83,
    ldapDecodingError = 84,
    ldapTimeout = 85,
    ldapAuthUnknown = 86,
    ldapFilterError = 87,
    ldapUserCancelled = 88,
    ldapParamError = 89,
    ldapNoMemory = 90,
    ldapConnectError = 91,
    ldapNotSupported = 92,
    ldapControlNotFound = 93,
    ldapNoResultsReturned = 94,
    ldapClientLoop = 96,
    ldapReferralLimitExceeded = 97,
};

// The text of a code, the same on every platform ("No Such Object"); empty for a code without one.
std::wstring ldapErrorText(int code);
// A failure with that code and its text.
Failure ldapFailure(int code);

// When a connection without TLS is upgraded to TLS (StartTLS).
enum class StartTls {
    never,
    leavingTheMachine,  // before a password leaves the machine in a simple bind
    required,           // before every bind
};

// What one search may bring, with all its pages or ranges, before this client gives it up. Nothing of it is
// sent to the server.
struct LdapLimits {
    std::size_t entries = 1'000'000;            // also of an attribute's values
    std::uint64_t bytes = 1'073'741'824;        // of names and values
    std::chrono::milliseconds time{1'800'000};  // of waiting for the server
};

// What a search has spent of these.
struct LdapSpent {
    std::size_t entries = 0;
    std::uint64_t bytes = 0;
    std::chrono::steady_clock::duration time{};
};

struct LdapEndpoint {
    std::string host;  // empty: this server. A name, an IPv4 or an IPv6 address (without brackets)
    std::uint16_t port = 389;
    bool tls = false;                                   // from the first byte on
    StartTls startTls = StartTls::leavingTheMachine;    // without tls
    bool passwordInClear = false;                       // may leave the machine without TLS
    bool verifyCertificate = true;                      // for either
    std::string caFile{};                               // who may sign; empty: the machine's own list
    std::chrono::milliseconds connectTimeout{5000};     // connecting, TLS and bind together
    std::chrono::milliseconds operationTimeout{60000};  // inactivity timeout; then an operation fails with 85
    LdapLimits limits{};
};

struct LdapCredentials {
    enum class Method { negotiate, simple, anonymous };
    Method method = Method::negotiate;
    std::string user;    // empty with negotiate: the identity of the process
    std::string domain;  // negotiate only
    CORE::secretstring password;
};

struct LdapControl {
    std::string oid{};
    std::string value{};  // BER
    bool critical = false;
};

namespace controls {
inline constexpr char pagedResults[] = "1.2.840.113556.1.4.319";
inline constexpr char showDeleted[] = "1.2.840.113556.1.4.417";
inline constexpr char treeDelete[] = "1.2.840.113556.1.4.805";
inline constexpr char domainScope[] = "1.2.840.113556.1.4.1339";
}  // namespace controls

enum class LdapScope { base, oneLevel, subtree };  // numbered as in the protocol

struct LdapAttribute {
    std::string name;  // as the server spells it; a range keeps its option ("member;range=0-1499")
    std::vector<std::string> values;
};

struct LdapEntry {
    std::string dn;
    std::vector<LdapAttribute> attributes;

    const LdapAttribute* find(std::string_view name) const noexcept;  // without regard to case
    std::string_view first(std::string_view name) const noexcept;     // empty where there is none
    const std::vector<std::string>& all(std::string_view name) const noexcept;
};

struct LdapSearch {
    std::string base{};
    LdapScope scope = LdapScope::subtree;
    std::string filter{};                   // also AD's lax forms: no outer parentheses, "(!a=b)"
    std::vector<std::string> attributes{};  // none: all
    std::vector<LdapControl> controls{};
    int sizeLimit = 0;  // 0: none
    LdapSpent spent{};  // of the session's limits, by the pages or ranges before this one
};

struct LdapSearchResult {
    std::vector<LdapEntry> entries;
    std::vector<LdapControl> controls;  // of the search's result message
};

enum class LdapModify { add, remove, replace };  // numbered as in the protocol

struct LdapModification {
    LdapModify operation = LdapModify::replace;
    std::string attribute{};
    std::vector<std::string> values{};  // remove without values removes the attribute
};

// A search that was sent. Destroying it abandons the search.
class LdapPendingSearch {
  public:
    virtual ~LdapPendingSearch() = default;
    // Waits for the result, once. Fails with the LDAP code; a partial result is not given out.
    virtual Result<LdapSearchResult> wait() = 0;
};

class LdapSession {
  public:
    virtual ~LdapSession() = default;  // unbinds

    virtual Result<void> bind(const LdapCredentials& credentials) = 0;
    // Sends the search and returns without waiting. Fails when it cannot be sent (filter, server down).
    virtual Result<std::unique_ptr<LdapPendingSearch>> startSearch(const LdapSearch& search) = 0;
    virtual Result<void> add(const LdapEntry& entry) = 0;
    virtual Result<void> modify(const std::string& dn, const std::vector<LdapModification>& changes,
                                const std::vector<LdapControl>& controls = {}) = 0;
    virtual Result<void> remove(const std::string& dn, const std::vector<LdapControl>& controls = {}) = 0;
    // newParent empty: the entry stays where it is.
    virtual Result<void> rename(const std::string& dn, const std::string& newRdn,
                                const std::string& newParent, bool deleteOldRdn) = 0;

    // Whether nobody on the way can read what is sent from now on: inside TLS, or under the security layer of
    // the bind. Directories take new passwords over such a connection alone.
    virtual bool confidential() const { return false; }

    // Whether the connection of an idle session stands, as far as this end has heard: false after the server
    // closed it, or where the client cannot tell. Costs no round trip, and says nothing of a server that went
    // silent.
    virtual bool connected() const { return false; }

    // What one search may bring; all pages of a paged search together, and all ranges of an attribute.
    virtual LdapLimits limits() const { return {}; }

    Result<LdapSearchResult> search(const LdapSearch& search);  // start and wait
};

class LdapClient {
  public:
    virtual ~LdapClient() = default;
    // Makes a session. Whether the server is there may show only at the bind; the time-out covers both.
    virtual Result<std::unique_ptr<LdapSession>> open(const LdapEndpoint& endpoint) = 0;
    // The service stops: whatever a session waits for, now or later, fails with 88. The outcome of a change
    // that was sent is awaited for one more second. Any thread.
    virtual void stop() {}
};

}  // namespace wsadmin::platform
