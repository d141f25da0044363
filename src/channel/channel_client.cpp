#include "channel/channel_client.h"

#include <atomic>
#include <charconv>
#include <condition_variable>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "channel/context_threads.h"
#include "framework/core/coreexception.h"
#include "framework/core/framework.h"
#include "framework/core/log.h"

namespace channel {

namespace {

using asio::ip::tcp;
using CORE::PropertyBag;
using CORE::RespType;
using Moment = std::chrono::steady_clock::time_point;

// The system cannot be told to give a name up: each is looked up on a thread that nobody waits for.
constexpr int mostLookUps = 64;
std::atomic<int> lookUps{0};

struct LookUp {
    CORE::coreevent done;  // or given up
    std::mutex mutex;
    std::vector<tcp::endpoint> found;

    void run(const HostAndPort& target) {
        asio::io_context context;
        std::error_code error;
        const auto results = tcp::resolver(context).resolve(target.host, std::to_string(target.port),
                                                            asio::ip::resolver_base::numeric_service, error);
        const std::lock_guard lock(mutex);
        for (const auto& one : results) found.push_back(one.endpoint());
    }
};

// None: the name is unknown, or was not found by then.
std::vector<tcp::endpoint> endpointsOf(const HostAndPort& target, Moment end, const CORE::coreevent* stop) {
    std::error_code error;
    const auto address = asio::ip::make_address(target.host, error);
    if (!error) return {{address, target.port}};
    if (lookUps >= mostLookUps) return {};
    const auto lookUp = std::make_shared<LookUp>();
    try {
        std::thread([lookUp, target] {
            ++lookUps;
            lookUp->run(target);
            lookUp->done.set();
            --lookUps;
        }).detach();
    } catch (const std::system_error&) {  // there is no thread
        return {};
    }
    std::optional<CORE::eventcallback> whenStopped;
    if (stop) whenStopped.emplace(*stop, [&lookUp] { lookUp->done.set(); });
    lookUp->done.waitFor(std::chrono::duration_cast<std::chrono::milliseconds>(end - Moment::clock::now()));
    const std::lock_guard lock(lookUp->mutex);
    return lookUp->found;
}

class RemoteChannel final : public CORE::MessageChannel, public std::enable_shared_from_this<RemoteChannel> {
  public:
    explicit RemoteChannel(std::wstring address) : address_(std::move(address)) {}

    // The link is null where no connection came about.
    void opened(const std::shared_ptr<Link>& link) {
        const std::lock_guard lock(mutex_);
        link_ = link;
        open_ = true;
        changed_.notify_all();
    }
    void closed(const std::wstring& reason) {
        const std::lock_guard lock(mutex_);
        if (!reason_) reason_ = reason;
        link_.reset();
        changed_.notify_all();
    }
    void answered(Frame frame) {
        const std::lock_guard lock(mutex_);
        const auto waiting = waiting_.find(frame.number);
        if (frame.kind != FrameKind::response || waiting == waiting_.end()) return;  // one that was given up
        *waiting->second = std::move(frame);
        waiting_.erase(waiting);
        changed_.notify_all();
    }
    // Why it is not open by then; nothing when it is.
    std::optional<std::wstring> waitUntilOpen(Moment end) {
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, end, [this] { return open_ || reason_; });
        if (reason_) return reason_;
        return open_ ? std::nullopt : std::optional<std::wstring>(L"nobody answers");
    }

    RespType send(std::wstring_view worker, std::wstring_view operation, const PropertyBag& request,
                  PropertyBag& response, const CORE::SendOptions& options) override;
    void close() noexcept override {
        std::shared_ptr<Link> link;
        {
            const std::lock_guard lock(mutex_);
            if (!reason_) reason_ = L"it was closed here";
            link = std::exchange(link_, nullptr);
            changed_.notify_all();
        }
        if (link) link->close(L"it was closed here");
    }

  private:
    RespType broken(PropertyBag& response) const {
        response.setError(1, L"The channel to " + address_ + L" is closed: " + reason_.value_or(L"unknown"));
        return RespType::cancelled;
    }

    const std::wstring address_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::shared_ptr<Link> link_;
    bool open_ = false;
    std::optional<std::wstring> reason_;  // why it is closed
    std::map<std::uint64_t, Frame*> waiting_;
    std::uint64_t lastNumber_ = 0;
};

RespType RemoteChannel::send(std::wstring_view worker, std::wstring_view operation,
                             const PropertyBag& request, PropertyBag& response,
                             const CORE::SendOptions& options) {
    Frame question{.kind = FrameKind::request,
                   .worker = std::wstring(worker),
                   .operation = std::wstring(operation),
                   .bag = request};
    if (options.requestBinary) question.attachment = options.requestBinary->bytes();
    Frame answer;  // stays a ping until the response has come
    std::unique_lock lock(mutex_);
    const std::shared_ptr<Link> link = link_;
    if (!link) return broken(response);
    const std::uint64_t number = question.number = ++lastNumber_;
    waiting_.emplace(number, &answer);
    lock.unlock();
    const bool fits = link->send(question);
    lock.lock();
    const auto done = [&] { return answer.kind == FrameKind::response || reason_ || !fits; };
    if (options.timeoutMs > 0)
        changed_.wait_for(lock, std::chrono::milliseconds(options.timeoutMs), done);
    else
        changed_.wait(lock, done);
    waiting_.erase(number);
    if (answer.kind == FrameKind::response) {
        response &= std::move(answer.bag);
        if (options.responseBinary) options.responseBinary->bytes() = std::move(answer.attachment);
        return answer.type;
    }
    if (!fits) {
        response.setError(1, L"The message is too large for a channel");
        return RespType::cancelled;
    }
    if (reason_) return broken(response);
    response.setError(1, CORE::formatText(L"Worker %s did not answer operation %s within %u milliseconds",
                                          worker, operation, options.timeoutMs));
    return RespType::timedOut;
}

class Carrier final : public CORE::ChannelCarrier {
  public:
    explicit Carrier(const ClientLimits& limits) : limits_(limits) {}

    std::shared_ptr<CORE::MessageChannel> connect(std::wstring_view ticket, std::wstring_view address,
                                                  const CORE::coreevent* stop) override {
        CORE::wstr wide(ticket);
        CORE::mstr text = wide.to_mstr();
        auto parsed = parseTicket(text);
        wide.clearAndWipe();
        text.clearAndWipe();
        const auto target = parseAddress(CORE::toUtf8(address));
        const auto failed = [&](std::wstring_view why) {
            CORE::__SysMessage(CORE::logWarning, L"mfwcore", L"No channel to %s: %s", address, why);
            return nullptr;
        };
        if (!parsed) return failed(L"there is no ticket of the right form");
        if (!target) return failed(L"that is no address");
        const auto end = Moment::clock::now() + limits_.connecting;
        auto endpoints = endpointsOf(*target, end, stop);
        if (endpoints.empty()) return failed(L"the name cannot be resolved");
        auto channel = std::make_shared<RemoteChannel>(std::wstring(address));
        const auto attempt =
            std::make_shared<Attempt>(threads_, std::make_shared<TlsContext>(std::move(*parsed)),
                                      std::move(endpoints), channel, limits_.link);
        asio::post(attempt->strand, [attempt] { attempt->connect(0); });
        std::optional<CORE::eventcallback> whenStopped;
        if (stop) whenStopped.emplace(*stop, [&channel] { channel->close(); });
        const auto failure = channel->waitUntilOpen(end);
        if (!failure) return channel;
        attempt->giveUp();
        channel->close();
        return failed(*failure);
    }

  private:
    // TCP and TLS, one after the other, on one strand.
    struct Attempt : std::enable_shared_from_this<Attempt> {
        Attempt(ContextThreads& threads, std::shared_ptr<TlsContext> tls,
                std::vector<tcp::endpoint> addresses, std::shared_ptr<RemoteChannel> remote,
                const LinkLimits& linkLimits)
            : context(std::move(tls)),
              strand(threads.strand()),
              socket(strand),
              endpoints(std::move(addresses)),
              channel(std::move(remote)),
              limits(linkLimits) {}

        void connect(std::size_t at) {
            if (given_up) return channel->closed(L"nobody answers");
            std::error_code ignored;
            socket.close(ignored);
            socket.async_connect(endpoints[at],
                                 [self = shared_from_this(), next = at + 1](const std::error_code& error) {
                                     if (!error) return self->open();
                                     if (next < self->endpoints.size()) return self->connect(next);
                                     self->channel->closed(CORE::toWide(error.message()));
                                 });
        }
        void open() {
            const auto made = std::make_shared<Link>(std::move(socket), context, limits);
            link = made;
            made->start(
                {.proved = {},
                 .opened = [to = channel, weak = std::weak_ptr<Link>(made)] { to->opened(weak.lock()); },
                 .frame = [to = channel](Frame frame) { to->answered(std::move(frame)); },
                 .tick = {},
                 .closed = [to = channel](const std::wstring& reason) { to->closed(reason); }},
                true);
        }
        void giveUp() {
            asio::post(strand, [self = shared_from_this()] {
                self->given_up = true;
                std::error_code ignored;
                self->socket.close(ignored);
                if (const auto open = self->link.lock()) open->close(L"nobody answers");
            });
        }

        std::shared_ptr<TlsContext> context;
        asio::strand<asio::io_context::executor_type> strand;
        tcp::socket socket;
        const std::vector<tcp::endpoint> endpoints;
        const std::shared_ptr<RemoteChannel> channel;
        const LinkLimits limits;
        std::weak_ptr<Link> link;
        bool given_up = false;
    };

    const ClientLimits limits_;
    ContextThreads threads_{1};
};

}  // namespace

std::optional<HostAndPort> parseAddress(std::string_view text) {
    HostAndPort address;
    std::string_view host = text, port;
    const auto colon = text.rfind(':');
    const auto bracket = text.rfind(']');
    if (text.starts_with('[') && bracket != text.npos) {
        host = text.substr(1, bracket - 1);
        if (text.size() > bracket + 1 && text[bracket + 1] != ':') return std::nullopt;
        port = text.substr(std::min(bracket + 2, text.size()));
        if (text.size() == bracket + 2) return std::nullopt;
    } else if (colon != text.npos && text.find(':') == colon) {
        host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (port.empty()) return std::nullopt;
    }
    if (host.empty() || host.find_first_of(std::string_view("\0 \t\r\n/", 6)) != host.npos)
        return std::nullopt;
    if (!port.empty()) {
        const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
        if (error != std::errc{} || end != port.data() + port.size()) return std::nullopt;
    }
    address.host = host;
    return address;
}

std::shared_ptr<CORE::ChannelCarrier> makeCarrier(const ClientLimits& limits) {
    return std::make_shared<Carrier>(limits);
}

CarrierInUse::CarrierInUse(const ClientLimits& limits) {
    CORE::MessageFrameWork::System().SetCarrier(makeCarrier(limits));
}

CarrierInUse::~CarrierInUse() {
    CORE::MessageFrameWork::System().SetCarrier(nullptr);
}

}  // namespace channel
