// TLS 1.3 over memory: bytes of the network go in and come out, and nothing here waits. Both ends prove that
// they have the ticket's key; there are no certificates, no early data, no resumption, and each channel has
// fresh keys (psk_dhe_ke).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "channel/ticket.h"
#include "channel/wiped_bytes.h"

namespace channel {

// Called during a handshake on the thread that runs it.
using FindTicket = std::function<std::optional<TicketRecord>(std::string_view id)>;

class TlsContext {
  public:
    // What takes channels. `find` outlives the context.
    explicit TlsContext(FindTicket find);
    // What opens one.
    explicit TlsContext(Ticket ticket);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

  private:
    friend class TlsEnd;
    struct State;
    std::unique_ptr<State> state_;
};

// One end of a channel. Used by one thread at a time; the context outlives it.
class TlsEnd {
  public:
    explicit TlsEnd(TlsContext& context);
    ~TlsEnd();
    TlsEnd(const TlsEnd&) = delete;
    TlsEnd& operator=(const TlsEnd&) = delete;

    // Takes bytes of the network and appends what they say to `plain`. False: the end has failed, for
    // whatever reason, or the peer has closed; nothing is left to be sent then, so that a refused peer gets
    // no byte.
    bool receive(ByteView bytes, Bytes& plain);
    bool start();  // the opening end's first step
    // The peer has proved the ticket's key. Only then is anything sent to it.
    bool proved() const noexcept { return proved_; }
    bool open() const noexcept { return open_; }
    // Once it is open: appends the bytes for the network.
    bool send(ByteView plain, SealedBytes& into);
    // The same of what TLS itself has to say, since the last call.
    void takeOutput(SealedBytes& into);
    // Of the taking end, once it is proved: the ticket that the peer has proved to hold.
    const std::optional<TicketRecord>& ticket() const noexcept { return ticket_; }

  private:
    friend struct TlsContext::State;
    bool handshake();

    struct Connection;
    std::unique_ptr<Connection> connection_;
    std::optional<TicketRecord> ticket_;
    bool proved_ = false, open_ = false;
};

}  // namespace channel
