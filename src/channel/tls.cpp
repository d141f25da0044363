#include "channel/tls.h"

#include <openssl/err.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <utility>

#include "framework/core/coreexception.h"

namespace channel {

namespace {

// One suite and one group: what a peer offers beside them changes no byte of an answer.
constexpr char suites[] = "TLS_AES_128_GCM_SHA256";
constexpr unsigned char suiteCode[] = {0x13, 0x01};
constexpr char groups[] = "X25519";
constexpr std::size_t readSize = 16384;

template <auto function>
struct Free {
    template <class T>
    void operator()(T* object) const noexcept {
        function(object);
    }
};
using Context = std::unique_ptr<SSL_CTX, Free<SSL_CTX_free>>;

// Null without memory.
SSL_SESSION* sessionWith(SSL* ssl, const TicketKey& key) {
    SSL_SESSION* session = SSL_SESSION_new();
    const SSL_CIPHER* suite = SSL_CIPHER_find(ssl, suiteCode);
    if (session && suite && SSL_SESSION_set1_master_key(session, key.data(), key.size()) == 1 &&
        SSL_SESSION_set_cipher(session, suite) == 1 &&
        SSL_SESSION_set_protocol_version(session, TLS1_3_VERSION) == 1)
        return session;
    SSL_SESSION_free(session);
    return nullptr;
}

Context makeContext(const SSL_METHOD* method) {
    Context context(SSL_CTX_new(method));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION) != 1 ||
        SSL_CTX_set_ciphersuites(context.get(), suites) != 1 ||
        SSL_CTX_set1_groups_list(context.get(), groups) != 1 ||
        SSL_CTX_set_max_proto_version(context.get(), TLS1_3_VERSION) != 1 ||
        SSL_CTX_set_num_tickets(context.get(), 0) != 1 || SSL_CTX_set_max_early_data(context.get(), 0) != 1 ||
        SSL_CTX_set_recv_max_early_data(context.get(), 0) != 1)
        throw CORE::coreException(L"TLS 1.3 is not to be had");
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_options(context.get(), SSL_OP_CLEANSE_PLAINTEXT);
    SSL_CTX_clear_options(context.get(), SSL_OP_ALLOW_NO_DHE_KEX);  // which the machine's openssl.cnf may set
    return context;
}

}  // namespace

struct TlsContext::State {
    Context context;
    FindTicket find;
    Ticket ticket;

    static int findSession(SSL* ssl, const unsigned char* id, std::size_t size, SSL_SESSION** session);
    static int useSession(SSL* ssl, const EVP_MD*, const unsigned char** id, std::size_t* size,
                          SSL_SESSION** session);
};

struct TlsEnd::Connection {
    std::unique_ptr<SSL, Free<SSL_free>> ssl;
    BIO* in = nullptr;   // the SSL's
    BIO* out = nullptr;  // the SSL's
    TlsContext::State* context = nullptr;
    bool takes = false;
};

// A ticket that is unknown, expired or revoked gets a key that nobody has, so that it fails where a forged
// one fails: at the proof in the peer's first message.
int TlsContext::State::findSession(SSL* ssl, const unsigned char* id, std::size_t size,
                                   SSL_SESSION** session) {
    auto& end = *static_cast<TlsEnd*>(SSL_get_app_data(ssl));
    TicketKey key;
    try {
        end.ticket_ = end.connection_->context->find({reinterpret_cast<const char*>(id), size});
    } catch (...) {
        end.ticket_.reset();
    }
    if (end.ticket_)
        key = end.ticket_->ticket.key;
    else if (RAND_priv_bytes(key.data(), static_cast<int>(key.size())) != 1)
        return 0;
    *session = sessionWith(ssl, key);
    return *session ? 1 : 0;
}

int TlsContext::State::useSession(SSL* ssl, const EVP_MD*, const unsigned char** id, std::size_t* size,
                                  SSL_SESSION** session) {
    const Ticket& ticket = static_cast<TlsEnd*>(SSL_get_app_data(ssl))->connection_->context->ticket;
    *session = sessionWith(ssl, ticket.key);
    *id = reinterpret_cast<const unsigned char*>(ticket.id.data());
    *size = ticket.id.size();
    return *session ? 1 : 0;
}

TlsContext::TlsContext(FindTicket find) : state_(std::make_unique<State>()) {
    state_->find = std::move(find);
    state_->context = makeContext(TLS_server_method());
    SSL_CTX_set_psk_find_session_callback(state_->context.get(), &State::findSession);
}

TlsContext::TlsContext(Ticket ticket) : state_(std::make_unique<State>()) {
    state_->ticket = std::move(ticket);
    state_->context = makeContext(TLS_client_method());
    // Without a certificate to trust, a host that does not prove the key cannot be anybody.
    SSL_CTX_set_verify(state_->context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_psk_use_session_callback(state_->context.get(), &State::useSession);
}

TlsContext::~TlsContext() = default;

TlsEnd::TlsEnd(TlsContext& context) : connection_(std::make_unique<Connection>()) {
    connection_->context = context.state_.get();
    connection_->takes = static_cast<bool>(context.state_->find);
    connection_->ssl.reset(SSL_new(context.state_->context.get()));
    connection_->in = BIO_new(BIO_s_mem());
    connection_->out = BIO_new(BIO_s_mem());
    if (!connection_->ssl || !connection_->in || !connection_->out) {
        BIO_free(connection_->in);
        BIO_free(connection_->out);
        throw CORE::coreException(L"There is no memory for a channel");
    }
    SSL* ssl = connection_->ssl.get();
    SSL_set_bio(ssl, connection_->in, connection_->out);
    SSL_set_app_data(ssl, this);
    connection_->takes ? SSL_set_accept_state(ssl) : SSL_set_connect_state(ssl);
}

TlsEnd::~TlsEnd() = default;

bool TlsEnd::handshake() {
    SSL* ssl = connection_->ssl.get();
    ERR_clear_error();
    const int done = SSL_do_handshake(ssl);
    const bool waits = done != 1 && SSL_get_error(ssl, done) == SSL_ERROR_WANT_READ;
    // The key alone opens a channel. Nothing is answered before the peer's first message has proved it, not
    // even an alert or a wish for another group.
    const bool spoke = BIO_ctrl_pending(connection_->out) > 0;
    proved_ = SSL_session_reused(ssl) == 1 && (!connection_->takes || ticket_);
    open_ = done == 1 && proved_;
    if (open_ || (waits && (!connection_->takes || !spoke || proved_))) return true;
    static_cast<void>(BIO_reset(connection_->out));
    return false;
}

bool TlsEnd::start() {
    return handshake();
}

bool TlsEnd::receive(ByteView bytes, Bytes& plain) {
    SSL* ssl = connection_->ssl.get();
    if (BIO_write(connection_->in, bytes.data(), static_cast<int>(bytes.size())) !=
        static_cast<int>(bytes.size()))
        return false;
    if (!open_ && !handshake()) return false;
    while (open_) {
        const std::size_t before = plain.size();
        plain.resize(before + readSize);
        ERR_clear_error();
        const int got = SSL_read(ssl, plain.data() + before, static_cast<int>(readSize));
        plain.resize(before + static_cast<std::size_t>(std::max(got, 0)));
        if (got > 0) continue;
        return SSL_get_error(ssl, got) == SSL_ERROR_WANT_READ;
    }
    return true;
}

bool TlsEnd::send(ByteView plain, SealedBytes& into) {
    constexpr std::size_t atOnce = std::size_t{256} << 10;
    while (open_ && !plain.empty()) {
        const ByteView part = plain.first(std::min(plain.size(), atOnce));
        ERR_clear_error();
        if (SSL_write(connection_->ssl.get(), part.data(), static_cast<int>(part.size())) !=
            static_cast<int>(part.size()))
            return false;
        takeOutput(into);
        plain = plain.subspan(part.size());
    }
    return open_;
}

void TlsEnd::takeOutput(SealedBytes& into) {
    const std::size_t pending = BIO_ctrl_pending(connection_->out), before = into.size();
    if (pending == 0) return;
    into.resize(before + pending);
    BIO_read(connection_->out, into.data() + before, static_cast<int>(pending));
}

}  // namespace channel
