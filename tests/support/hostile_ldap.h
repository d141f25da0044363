// An LDAP server that does to its clients what a script says: stalls, dribbles, floods, lies or hangs up. It
// also keeps every byte that it got, as a listener on the wire would.
#pragma once

#include "framework/core/asio_parts.h"  // first: it says how asio allocates

#include <array>
#include <asio/ip/host_name.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace wstest {

// --- BER: lengths of four bytes, so that every element is made alike

inline std::string berElement(int tag, std::string_view content) {
    std::string out{static_cast<char>(tag), '\x84'};
    for (int shift = 24; shift >= 0; shift -= 8)
        out += static_cast<char>(content.size() >> static_cast<unsigned>(shift) & 0xff);
    return out.append(content);
}
inline std::string berText(std::string_view text) {
    return berElement(0x04, text);
}
// A message; `id` is the element of the request's identifier.
inline std::string ldapMessage(const std::string& id, const std::string& operation) {
    return berElement(0x30, id + operation);
}
inline std::string ldapResult(int tag, int code) {
    return berElement(tag, std::string{0x0a, 1, static_cast<char>(code)} + berText("") + berText("no"));
}
inline std::string ldapEntry(std::string_view dn, std::string_view attribute = {},
                             std::string_view value = {}) {
    std::string attributes;
    if (!attribute.empty())
        attributes = berElement(0x30, berText(attribute) + berElement(0x31, berText(value)));
    return berElement(0x64, berText(dn) + berElement(0x30, attributes));
}
enum LdapTag { bindRequest = 0x60, extendedRequest = 0x77 };

// One client's connection. Thrown out of a script when the client has gone or the server ends.
struct ConnectionEnded {};

class HostileConnection {
  public:
    using Tcp = asio::ip::tcp;
    struct Request {
        std::string id;  // the element of its identifier
        int tag = 0;
    };

    HostileConnection(Tcp::socket socket, std::function<void(std::string_view)> heard)
        : socket_(std::move(socket)), heard_(std::move(heard)) {}

    // The client's next request, whole.
    Request next() {
        while (true) {
            if (auto request = takeRequest(); request.tag != 0) return request;
            bytes_ += read();
        }
    }
    void send(std::string_view bytes) {
        asio::error_code error;
        asio::write(socket_, asio::buffer(bytes.data(), bytes.size()), error);
        if (error) throw ConnectionEnded();
    }
    // Byte by byte; the end of the bytes is the end of the connection.
    void dribble(std::string_view bytes) {
        for (const char byte : bytes) {
            send({&byte, 1});
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        throw ConnectionEnded();
    }
    // Until the client goes. A client without limits is told from others by the end: after so much that it
    // must have given up, the server hangs up.
    void flood(const std::function<std::string(int)>& answer,
               std::chrono::milliseconds pause = std::chrono::milliseconds(0)) {
        constexpr std::size_t mostBytes = 64'000'000;
        constexpr int mostPauses = 500;
        std::size_t sent = 0;
        for (int number = 0; sent < mostBytes && (pause.count() == 0 || number < mostPauses); ++number) {
            const std::string bytes = answer(number);
            send(bytes);
            sent += bytes.size();
            if (pause.count() > 0) std::this_thread::sleep_for(pause);
        }
        throw ConnectionEnded();
    }
    // Some of what the client sends, whatever it is.
    std::string read() {
        std::array<char, 4096> some{};
        asio::error_code error;
        const std::string bytes(some.data(), socket_.read_some(asio::buffer(some), error));
        if (error) throw ConnectionEnded();
        heard_(bytes);
        return bytes;
    }
    void stall() {
        while (true) read();
    }
    void end() {
        asio::error_code ignored;
        socket_.shutdown(Tcp::socket::shutdown_both, ignored);
    }

  private:
    Request takeRequest() {
        const auto byte = [this](std::size_t at) {
            return std::size_t{static_cast<unsigned char>(bytes_[at])};
        };
        if (bytes_.size() < 6) return {};
        const std::size_t more = byte(1) < 0x80 ? 0 : byte(1) - 0x80;  // bytes of a long length
        std::size_t length = more ? 0 : byte(1);
        for (std::size_t i = 0; i < more; ++i) length = length << 8 | byte(2 + i);
        const std::size_t start = 2 + more, end = start + length;
        if (bytes_.size() < end) return {};
        Request request{bytes_.substr(start, 2 + byte(start + 1))};
        request.tag = static_cast<int>(byte(start + request.id.size()));
        bytes_.erase(0, end);
        return request;
    }

    Tcp::socket socket_;
    std::function<void(std::string_view)> heard_;
    std::string bytes_;
};

class HostileLdap {
  public:
    using Tcp = asio::ip::tcp;
    using Script = std::function<void(HostileConnection&)>;

    // Each connection gets the script anew, on a thread of its own; its end hangs up.
    explicit HostileLdap(Script script, asio::ip::address address = asio::ip::address_v4::loopback())
        : script_(std::move(script)), acceptor_(context_, {address, 0}) {
        accept();
        thread_ = std::thread([this] { context_.run(); });
    }
    ~HostileLdap() {
        context_.stop();
        thread_.join();
        for (auto& connection : connections_) connection.end();
        for (auto& thread : scripts_) thread.join();
    }
    HostileLdap(const HostileLdap&) = delete;
    HostileLdap& operator=(const HostileLdap&) = delete;

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    // Everything that clients have sent.
    std::string heard() const {
        const std::lock_guard hold(mutex_);
        return heard_;
    }
    // Returns when clients have sent something.
    void awaitClient() const {
        std::unique_lock hold(mutex_);
        spoken_.wait_for(hold, std::chrono::seconds(30), [this] { return !heard_.empty(); });
    }

  private:
    void accept() {
        acceptor_.async_accept([this](asio::error_code error, Tcp::socket socket) {
            if (error) return;
            auto& connection = connections_.emplace_back(std::move(socket), [this](std::string_view bytes) {
                const std::lock_guard hold(mutex_);
                heard_ += bytes;
                spoken_.notify_all();
            });
            scripts_.emplace_back([this, &connection] {
                try {
                    script_(connection);
                } catch (const ConnectionEnded&) {
                }
                connection.end();
            });
            accept();
        });
    }

    Script script_;
    asio::io_context context_;
    Tcp::acceptor acceptor_;
    mutable std::mutex mutex_;
    mutable std::condition_variable spoken_;
    std::string heard_;
    std::list<HostileConnection> connections_;  // of the acceptor's thread until that has ended
    std::vector<std::thread> scripts_;
    std::thread thread_;
};

// A script: reads whatever comes and says nothing.
inline void stall(HostileConnection& client) {
    client.stall();
}

}  // namespace wstest
