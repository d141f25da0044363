#include "platform/posix/libldap_wire.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "platform/ldap/ldap_request.h"

namespace wsadmin::platform::posix {

namespace {

struct AddressesFreer {
    void operator()(addrinfo* addresses) const noexcept { freeaddrinfo(addresses); }
};

// Waits until the socket is ready, for a slice of the wait.
int pollOnce(int socket, short events, const LdapWait& wait) {
    pollfd polled{socket, events, 0};
    return poll(&polled, 1, static_cast<int>(nextSlice(wait).count()));
}

void setOption(int socket, int level, int option) {
    const int on = 1;
    setsockopt(socket, level, option, &on, sizeof on);
}

int setUp(Sockbuf_IO_Desc* layer, void* wire) {
    layer->sbiod_pvt = wire;
    return 0;
}
int nothing(Sockbuf_IO_Desc*) {
    return 0;
}
int noOption(Sockbuf_IO_Desc*, int, void*) {
    return 0;
}

}  // namespace

LdapWire::~LdapWire() {
    if (socket_ >= 0) close(socket_);
}

void LdapWire::lose(Failure why) {
    if (!lost_) lost_ = std::move(why);
}

Result<void> LdapWire::connect(const LdapEndpoint& endpoint, const LdapWait& wait) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int code =
        getaddrinfo(hostOf(endpoint).c_str(), std::to_string(endpoint.port).c_str(), &hints, &found);
    const std::unique_ptr<addrinfo, AddressesFreer> addresses(found);
    Result<void> connected = fail(ldapFailure(ldapServerDown, code ? CORE::toWide(gai_strerror(code)) : L""));
    auto left = 0;
    for (const addrinfo* each = found; each; each = each->ai_next) ++left;
    // An address that is silent leaves the others their share of the time.
    for (const addrinfo* each = found; each && !connected; each = each->ai_next, --left) {
        const auto now = std::chrono::steady_clock::now();
        connected = connectTo(*each, {.until = now + (wait.until - now) / left});
    }
    if (!connected) lose(connected.error());
    return connected;
}

Result<void> LdapWire::connectTo(const addrinfo& address, const LdapWait& wait) {
    if (socket_ >= 0) close(socket_);
    socket_ =
        ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (socket_ < 0) return fail(ldapFailure(ldapServerDown));
    setOption(socket_, SOL_SOCKET, SO_KEEPALIVE);
    setOption(socket_, IPPROTO_TCP, TCP_NODELAY);
    int error = ::connect(socket_, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
    while (error == EINPROGRESS || error == EINTR) {
        if (auto more = stop_->check(wait); !more) return more;
        if (pollOnce(socket_, POLLOUT, wait) <= 0) continue;
        socklen_t size = sizeof error;
        getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    if (error != 0) return fail(ldapFailure(ldapServerDown));
    return {};
}

bool LdapWire::attachTo(Sockbuf* messages) {
    static Sockbuf_IO layer = {setUp, nothing, noOption, readFor, writeFor, nothing};
    return ber_sockbuf_add_io(messages, &layer, LBER_SBIOD_LEVEL_PROVIDER, this) == 0;
}

ber_slen_t LdapWire::readFor(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) {
    return static_cast<LdapWire*>(layer->sbiod_pvt)->read(bytes, size);
}
ber_slen_t LdapWire::writeFor(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) {
    return static_cast<LdapWire*>(layer->sbiod_pvt)->write(bytes, size);
}

// False once the connection is lost.
bool LdapWire::quiet() const noexcept {
    pollfd polled{socket_, POLLIN, 0};
    return !lost_ && socket_ >= 0 && poll(&polled, 1, 0) == 0;
}

bool LdapWire::await(short events) {
    if (auto more = stop_->check(wait_); !more) lose(more.error());
    if (!lost_) pollOnce(socket_, events, wait_);
    errno = ETIMEDOUT;
    return !lost_;
}

ber_slen_t LdapWire::read(void* bytes, std::size_t size) {
    while (!lost_) {
        if (auto more = stop_->check(wait_); !more) {
            lose(more.error());
            break;
        }
        if (wait_.bytes == 0) {
            lose({ldapResultsTooLarge, L"The directory sends more bytes than are allowed"});
            break;
        }
        const auto got =
            recv(socket_, bytes, static_cast<std::size_t>(std::min<std::uint64_t>(size, wait_.bytes)), 0);
        if (got > 0) {
            wait_.bytes -= static_cast<std::uint64_t>(got);
            return got;
        }
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (await(POLLIN)) continue;
            break;
        }
        lose(ldapFailure(ldapServerDown));
        if (got == 0) return 0;
    }
    errno = ECONNRESET;
    return -1;
}

ber_slen_t LdapWire::write(const void* bytes, std::size_t size) {
    while (!lost_) {
        const auto sent = send(socket_, bytes, size, MSG_NOSIGNAL);
        if (sent >= 0) return sent;
        if (errno == EINTR || ((errno == EAGAIN || errno == EWOULDBLOCK) && await(POLLOUT))) continue;
        lose(ldapFailure(ldapServerDown));
    }
    errno = ECONNRESET;
    return -1;
}

}  // namespace wsadmin::platform::posix
