// A TCP relay between a client and a server, which a test can cut as if the server had died.
#pragma once

#include "framework/core/asio_parts.h"  // first: it says how asio allocates

#include <array>
#include <asio/ip/tcp.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <list>
#include <string>
#include <thread>

namespace wstest {

// Listens on a port of 127.0.0.1 that stays its own until it is cut.
class Relay {
  public:
    Relay(const std::string& host, std::uint16_t port)
        : server_(asio::ip::make_address(host), port),
          acceptor_(context_, {asio::ip::address_v4::loopback(), 0}) {
        accept();
        thread_ = std::thread([this] { context_.run(); });
    }
    ~Relay() { cut(); }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    int accepted() const { return accepted_; }
    // Afterwards every connection is gone and new ones are refused.
    void cut() {
        context_.stop();
        if (thread_.joinable()) thread_.join();
        asio::error_code ignored;
        acceptor_.close(ignored);
        connections_.clear();
    }

  private:
    using Tcp = asio::ip::tcp;
    struct Connection {
        Tcp::socket client, server;
        std::array<char, 16384> up{}, down{};
    };

    void accept() {
        acceptor_.async_accept([this](asio::error_code error, Tcp::socket client) {
            if (error) return;
            ++accepted_;
            Connection& one = connections_.emplace_back(std::move(client), Tcp::socket(context_));
            one.server.connect(server_, error);
            pump(one.client, one.server, one.up);
            pump(one.server, one.client, one.down);
            accept();
        });
    }
    // Where one side ends, so does the other.
    static void pump(Tcp::socket& from, Tcp::socket& to, std::array<char, 16384>& buffer) {
        from.async_read_some(asio::buffer(buffer), [&](asio::error_code error, std::size_t size) {
            if (!error) asio::write(to, asio::buffer(buffer, size), error);
            if (!error) return pump(from, to, buffer);
            from.close(error);
            to.close(error);
        });
    }

    asio::io_context context_;
    Tcp::endpoint server_;
    Tcp::acceptor acceptor_;
    std::atomic<int> accepted_{0};
    std::list<Connection> connections_;  // of the thread until that has ended
    std::thread thread_;
};

}  // namespace wstest
