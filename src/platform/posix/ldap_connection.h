// A connection of OpenLDAP's client library: its handle, its time limits and its codes.
#pragma once

#include <ldap.h>

#include <chrono>
#include <memory>

#include "platform/ldap_session.h"

namespace wsadmin::platform::posix {

struct MessageFreer {
    void operator()(LDAPMessage* message) const noexcept { ldap_msgfree(message); }
};
using Message = std::unique_ptr<LDAPMessage, MessageFreer>;

// libldap numbers its own failures below 0; the system knows them by the numbers of ldap_session.h.
int ldapCodeOf(int libraryCode) noexcept;

// Shared by a session and its searches on their way; unbinds when the last of them goes.
class LdapConnection {
  public:
    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint);
    ~LdapConnection();
    LdapConnection(const LdapConnection&) = delete;
    LdapConnection& operator=(const LdapConnection&) = delete;

    LDAP* handle() const noexcept { return handle_; }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    // The next message that answers an operation, 85 when none comes in time; the operation is then
    // abandoned.
    Result<Message> receive(int id, std::chrono::milliseconds limit) const;
    // The end of an operation that libldap answered with `sent` when it was to be sent.
    Result<void> finish(int sent, int id, std::chrono::milliseconds limit) const;
    Result<void> finish(int sent, int id) const { return finish(sent, id, endpoint_.operationTimeout); }
    // The outcome in a result message; controls are what came with it.
    Result<void> outcome(const Message& message, std::vector<LdapControl>* controls = nullptr) const;
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

// ldap_bind.cpp
Result<void> bindConnection(const LdapConnection& connection, const LdapCredentials& credentials);

}  // namespace wsadmin::platform::posix
