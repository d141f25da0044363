// A TCP relay between a client and a server, which a test can cut as if the server had died.
#pragma once

#include "framework/core/asio_parts.h"  // first: it says how asio allocates

#include <array>
#include <asio/ip/tcp.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <cstdint>
#include <future>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace wstest {

// Listens on a port of 127.0.0.1 that stays its own. Any thread may call.
class Relay {
  public:
    Relay(const std::string& host, std::uint16_t port)
        : server_(asio::ip::make_address(host), port), acceptor_(context_, loopback(0)) {
        port_ = acceptor_.local_endpoint().port();
        accept();
        thread_ = std::thread([this] { context_.run(); });
    }
    ~Relay() {
        asio::post(context_, [this] { close(); });
        work_.reset();
        thread_.join();
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    std::uint16_t port() const { return port_; }
    int accepted() const { return accepted_; }
    // Afterwards every connection is gone and new ones are refused.
    void cut() {
        std::promise<void> done;
        asio::post(context_, [&] {
            close();
            done.set_value();
        });
        done.get_future().get();
    }

  private:
    using Tcp = asio::ip::tcp;
    using Acceptor = Tcp::acceptor;
    struct Connection {
        explicit Connection(asio::io_context& context) : client(context), server(context) {}
        Tcp::socket client, server;
        std::array<char, 16384> up{}, down{};
    };
    using Shared = std::shared_ptr<Connection>;

    static Tcp::endpoint loopback(std::uint16_t port) { return {asio::ip::address_v4::loopback(), port}; }

    void accept() {
        const auto connection = std::make_shared<Connection>(context_);
        acceptor_.async_accept(connection->client, [this, connection](asio::error_code error) {
            if (error) return;
            ++accepted_;
            connection->server.connect(server_, error);
            if (!error) {
                connections_.push_back(connection);
                pump(connection, connection->client, connection->server, connection->up);
                pump(connection, connection->server, connection->client, connection->down);
            }
            accept();
        });
    }

    void pump(const Shared& held, Tcp::socket& from, Tcp::socket& to, std::array<char, 16384>& buffer) {
        from.async_read_some(asio::buffer(buffer),
                             [this, held, &from, &to, &buffer](asio::error_code error, std::size_t size) {
                                 if (!error) asio::write(to, asio::buffer(buffer, size), error);
                                 if (!error) return pump(held, from, to, buffer);
                                 asio::error_code ignored;
                                 held->client.close(ignored);
                                 held->server.close(ignored);
                             });
    }

    void close() {
        asio::error_code ignored;
        acceptor_.close(ignored);
        for (const auto& connection : connections_) {
            connection->client.close(ignored);
            connection->server.close(ignored);
        }
        connections_.clear();
    }

    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(context_);
    Tcp::endpoint server_;
    Acceptor acceptor_;
    std::list<Shared> connections_;
    std::atomic<int> accepted_{0};
    std::uint16_t port_ = 0;
    std::thread thread_;
};

}  // namespace wstest
