// A connection of OpenLDAP's client library: its handle, its time limits and its codes.
#pragma once

#include <ldap.h>

#include <chrono>
#include <memory>

#include "platform/ldap_session.h"
#include "platform/posix/pipe_signal.h"

namespace wsadmin::platform::posix {

// The types of libldap.
struct Library {
    using Character = char;
    using Berval = berval;
    using Timeval = timeval;
    using Control = LDAPControl;
    using Modification = LDAPMod;
};

struct MessageFreer {
    void operator()(LDAPMessage* message) const noexcept { ldap_msgfree(message); }
};
struct LdapMessage {
    int type = 0;
    std::unique_ptr<LDAPMessage, MessageFreer> message;
};

// libldap numbers its own failures below 0; the system knows them by the numbers of ldap_session.h.
int ldapCodeOf(int libraryCode) noexcept;

// Shared by a session and its searches on their way; unbinds when the last of them goes.
class LdapConnection {
  public:
    using Scope = PipeSignalBlock;
    using Id = int;

    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint);
    ~LdapConnection();
    LdapConnection(const LdapConnection&) = delete;
    LdapConnection& operator=(const LdapConnection&) = delete;

    LDAP* handle() const noexcept { return handle_; }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    Result<void> bind(const LdapCredentials& credentials) const;  // libldap_bind.cpp
    // Requests, on their way when these return (libldap_requests.cpp).
    Result<int> sendSearch(const LdapSearch& wire) const;
    Result<int> sendAdd(const LdapEntry& wire) const;
    Result<int> sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                           const std::vector<LdapControl>& controls) const;
    Result<int> sendRemove(const std::string& dn, const std::vector<LdapControl>& controls) const;
    Result<int> sendRename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                           bool deleteOldRdn) const;
    // `attributes`: how many it may have, a guess.
    Result<LdapEntry> readEntry(const LdapMessage& message, std::size_t attributes) const;

    // The identifier of an operation that libldap answered with `code` when it was to be sent.
    Result<int> sent(int code, int id) const;
    // The next message that answers an operation, 85 when none comes in time; the operation is then
    // abandoned.
    Result<LdapMessage> receive(int id, std::chrono::milliseconds limit) const;
    Result<void> finish(int id, std::chrono::milliseconds limit) const;
    // The outcome in a result message; controls, of a search, are what came with it.
    Result<void> outcome(const LdapMessage& message, std::vector<LdapControl>* controls = nullptr) const;
    void abandon(int id) const noexcept;
    Failure failure(int libraryCode) const;  // with what the server said, in the log
    // Turns the connection to TLS, with its endpoint's checks; nothing may be on its way. False when the
    // server has no TLS there: the connection then goes on without.
    Result<bool> startTls(std::chrono::milliseconds limit) const;

  private:
    LdapConnection(LDAP* handle, LdapEndpoint endpoint) : handle_(handle), endpoint_(std::move(endpoint)) {}
    int setOptions();
    int setTlsOptions() const;

    LDAP* handle_;
    LdapEndpoint endpoint_;
};

}  // namespace wsadmin::platform::posix
