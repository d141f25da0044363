// The socket of an LDAP connection, below libldap and its TLS: every read and write ends at the deadline, at
// the limit of bytes, or when the service stops. libldap's own timeouts begin anew with each byte of a TLS
// handshake and do not reach into a message that has begun.
#pragma once

#include <lber.h>

#include <memory>
#include <optional>

#include "platform/ldap/ldap_limits.h"

struct addrinfo;

namespace wsadmin::platform::posix {

// Used by one thread at a time, as its session.
class LdapWire {
  public:
    explicit LdapWire(std::shared_ptr<const LdapStop> stop) : stop_(std::move(stop)) {}
    ~LdapWire();
    LdapWire(const LdapWire&) = delete;
    LdapWire& operator=(const LdapWire&) = delete;

    // Resolving the name waits as long as the machine's resolver does, and takes no part in the deadline.
    Result<void> connect(const LdapEndpoint& endpoint, const LdapWait& wait);
    int socket() const noexcept { return socket_; }
    // Puts the wire below the messages of a libldap connection that was made for its socket.
    bool attachTo(Sockbuf* messages);

    void allow(const LdapWait& wait) noexcept { wait_ = wait; }  // for all reads and writes from now on
    const LdapStop& stop() const noexcept { return *stop_; }
    // Why the connection is lost, where it is.
    const std::optional<Failure>& lost() const noexcept { return lost_; }
    void lose(Failure why);
    // Whether the connection stands and the server has sent nothing that nobody has read: between requests
    // that is the connection's end.
    bool quiet() const noexcept;

  private:
    static ber_slen_t readFor(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size);
    static ber_slen_t writeFor(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size);
    // Both answer -1 and set errno where the connection is lost.
    ber_slen_t read(void* bytes, std::size_t size);
    ber_slen_t write(const void* bytes, std::size_t size);
    bool await(short events);
    Result<void> connectTo(const addrinfo& address, const LdapWait& wait);

    std::shared_ptr<const LdapStop> stop_;
    int socket_ = -1;
    LdapWait wait_;
    std::optional<Failure> lost_;
};

}  // namespace wsadmin::platform::posix
