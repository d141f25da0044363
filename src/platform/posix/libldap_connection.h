// A connection of OpenLDAP's client library: its handle, its wire and its codes.
#pragma once

#include <ldap.h>

#include <memory>

#include "platform/ldap_session.h"
#include "platform/posix/libldap_wire.h"

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

// The most that a server may send while it is connected to and bound to.
inline constexpr std::uint64_t bindBytes = 4'194'304;

// Shared by a session and its searches on their way; unbinds when the last of them goes.
class LdapConnection {
  public:
    using Id = int;

    // Nothing is sent yet: the first request or the bind connects.
    static Result<std::shared_ptr<LdapConnection>> open(const LdapEndpoint& endpoint,
                                                        std::shared_ptr<const LdapStop> stop);
    ~LdapConnection();
    LdapConnection(const LdapConnection&) = delete;
    LdapConnection& operator=(const LdapConnection&) = delete;

    LDAP* handle() const noexcept { return handle_; }
    const LdapEndpoint& endpoint() const noexcept { return endpoint_; }

    Result<void> bind(const LdapCredentials& credentials);  // libldap_bind.cpp
    bool confidential() const noexcept;
    bool connected() const noexcept { return handle_ && wire_.quiet(); }
    // Requests, on their way when these return (libldap_requests.cpp).
    Result<int> sendSearch(const LdapSearch& wire);
    Result<int> sendAdd(const LdapEntry& wire);
    Result<int> sendModify(const std::string& dn, const std::vector<LdapModification>& changes,
                           const std::vector<LdapControl>& controls);
    Result<int> sendRemove(const std::string& dn, const std::vector<LdapControl>& controls);
    Result<int> sendRename(const std::string& dn, const std::string& newRdn, const std::string& newParent,
                           bool deleteOldRdn);
    // `attributes`: how many it may have, a guess.
    Result<LdapEntry> readEntry(const LdapMessage& message, std::size_t attributes) const;

    // The next message that answers an operation; the operation is abandoned when the wait ends without one.
    Result<LdapMessage> receive(int id, const LdapWait& wait);
    Result<void> finish(int id, const LdapWait& wait);
    // The outcome in a result message; controls, of a search, are what came with it.
    Result<void> outcome(const LdapMessage& message, std::vector<LdapControl>* controls = nullptr) const;
    void abandon(int id) const noexcept;
    Failure failure(int libraryCode) const;  // with what the server said, in the log
    std::wstring diagnostic() const;

  private:
    LdapConnection(const LdapEndpoint& endpoint, std::shared_ptr<const LdapStop> stop)
        : wire_(std::move(stop)), endpoint_(endpoint) {}
    // Connects where that has not been done. A connection that was lost stays lost: libldap would connect
    // anew by itself, without TLS and as nobody.
    Result<void> connect(const LdapWait& wait);
    int setOptions();
    int setTlsOptions() const;
    Result<void> protect(bool simple, std::string_view user, const LdapWait& wait);
    Result<void> startTls(bool mayGoOn, const LdapWait& wait);
    Result<void> installTls();
    // Sends what `request` asks libldap for; it gets where to put the identifier and answers libldap's code.
    template <class Request>
    Result<int> send(Request request) {
        const LdapWait wait = sendingWait();
        if (auto ok = connect(wait); !ok) return fail(ok.error());
        wire_.allow(wait);
        int id = 0;
        if (const int code = request(&id); code != LDAP_SUCCESS) return fail(failure(code));
        return id;
    }
    LdapWait sendingWait() const;

    Result<void> simpleBind(const std::string& name, std::string_view password, const LdapWait& wait);
    Result<std::string> ticketMechanism(const LdapWait& wait);
    Result<void> ticketBind(const LdapWait& wait);

    LdapWire wire_;  // outlives the handle
    LDAP* handle_ = nullptr;
    LdapEndpoint endpoint_;
};

}  // namespace wsadmin::platform::posix
