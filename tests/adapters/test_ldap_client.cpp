// The client against servers that are not there or do not answer. What it does with real ones is the
// contract's.
#include <gtest/gtest.h>

#include <array>
#include <asio.hpp>
#include <optional>
#include <thread>

#include "adapters/real_platform.h"

namespace wsadmin::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// A loopback port that takes connections and stays silent, or nobody's port once it is closed.
class SilentServer {
  public:
    explicit SilentServer(const char* address = "127.0.0.1") {
        asio::error_code error;
        const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), 0);
        acceptor_.open(endpoint.protocol(), error);
        if (!error) acceptor_.bind(endpoint, error);
        if (!error) acceptor_.listen(64, error);
        good_ = !error;
        if (good_) port_ = acceptor_.local_endpoint().port();
    }
    void close() { acceptor_.close(); }
    void hangUpOnNext() { acceptor_.accept().close(); }
    bool good() const { return good_; }
    std::uint16_t port() const { return port_; }

  private:
    asio::io_context context_;
    asio::ip::tcp::acceptor acceptor_{context_};
    bool good_ = false;
    std::uint16_t port_ = 0;
};

LdapEndpoint endpointOf(const SilentServer& server, std::string host = "127.0.0.1") {
    LdapEndpoint endpoint;
    endpoint.host = std::move(host);
    endpoint.port = server.port();
    endpoint.connectTimeout = milliseconds(50);
    endpoint.operationTimeout = milliseconds(50);
    return endpoint;
}

LdapCredentials credentialsOf(LdapCredentials::Method method) {
    LdapCredentials credentials;
    credentials.method = method;
    if (method == LdapCredentials::Method::simple) {
        credentials.user = "cn=admin";
        credentials.password = CORE::secretstring("secret");
    }
    return credentials;
}

using Method = LdapCredentials::Method;

// Wine's client waits for a TLS handshake without a limit; the Windows client's limit cannot be tried in it.
#if defined(_WIN32)
constexpr bool limitsHandshakes = false;
#else
constexpr bool limitsHandshakes = true;
#endif

TEST(LdapClient, FindsADeadServerDown) {
    SilentServer server;
    ASSERT_TRUE(server.good());
    LdapEndpoint endpoint = endpointOf(server);
    endpoint.connectTimeout = seconds(5);
    server.close();
    for (const bool tls : {false, true}) {
        for (const Method method : {Method::negotiate, Method::simple, Method::anonymous}) {
            endpoint.tls = tls;
            const auto session = realPlatform()->ldap->open(endpoint);
            ASSERT_TRUE(session);
            const auto bound = (*session)->bind(credentialsOf(method));
            ASSERT_FALSE(bound);
            EXPECT_EQ(bound.error().code, ldapServerDown);
            EXPECT_EQ(bound.error().text, L"Server Down");
        }
    }
    const auto session = realPlatform()->ldap->open(endpoint);
    EXPECT_EQ((*session)->search({"", LdapScope::base, "a=b", {}, {}, 0}).error().code, ldapServerDown);
    EXPECT_EQ((*session)->remove("cn=a").error().code, ldapServerDown);
}

TEST(LdapClient, DoesNotWaitForASilentServer) {
    const SilentServer server;
    ASSERT_TRUE(server.good());
    const auto begin = steady_clock::now();
    for (const bool tls : {false, limitsHandshakes}) {
        for (const Method method : {Method::negotiate, Method::simple, Method::anonymous}) {
            LdapEndpoint endpoint = endpointOf(server);
            endpoint.tls = tls;
            const auto session = realPlatform()->ldap->open(endpoint);
            ASSERT_TRUE(session);
            const auto bound = (*session)->bind(credentialsOf(method));
            ASSERT_FALSE(bound);
            EXPECT_TRUE(bound.error().code == ldapTimeout || bound.error().code == ldapServerDown)
                << bound.error().code;
        }
    }
    const auto session = realPlatform()->ldap->open(endpointOf(server));
    EXPECT_EQ((*session)->search({"", LdapScope::base, "a=b", {}, {}, 0}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->add({"cn=a", {{"cn", {"a"}}}}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->modify("cn=a", {{LdapModify::add, "b", {"c"}}}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->remove("cn=a").error().code, ldapTimeout);
    EXPECT_EQ((*session)->rename("cn=a", "cn=b", "", true).error().code, ldapTimeout);
    EXPECT_LT(steady_clock::now() - begin, seconds(60));
}

TEST(LdapClient, SurvivesAServerThatHangsUp) {
    SilentServer server;
    ASSERT_TRUE(server.good());
    LdapEndpoint endpoint = endpointOf(server);
    endpoint.connectTimeout = endpoint.operationTimeout = seconds(30);
    const auto session = realPlatform()->ldap->open(endpoint);
    std::jthread hangUp([&] { server.hangUpOnNext(); });
    EXPECT_EQ((*session)->bind(credentialsOf(Method::simple)).error().code, ldapServerDown);
    hangUp.join();
    server.close();
    // Written to a connection that is gone: no signal ends the process.
    for (int i = 0; i < 3; ++i) EXPECT_EQ((*session)->remove("cn=a").error().code, ldapServerDown);
}

// Answers a bind with success and a search with one entry and a result code.
class OneEntryServer {
  public:
    explicit OneEntryServer(char code) : code_(code) {
        thread_ = std::thread([this] {
            asio::error_code error;
            auto socket = acceptor_.accept(error);
            for (std::string bytes; !error;) {
                std::array<char, 4096> some{};
                bytes.append(some.data(), socket.read_some(asio::buffer(some), error));
                while (!error && answerOne(bytes, socket, error)) {
                }
            }
        });
    }
    ~OneEntryServer() { thread_.join(); }  // the client has gone
    std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

  private:
    // Takes a whole request off the bytes; false when there is none yet.
    bool answerOne(std::string& bytes, asio::ip::tcp::socket& socket, asio::error_code& error) const {
        const auto byte = [&bytes](std::size_t at) {
            return std::size_t{static_cast<unsigned char>(bytes[at])};
        };
        if (bytes.size() < 6) return false;
        const std::size_t more = byte(1) < 0x80 ? 0 : byte(1) - 0x80;  // bytes of a long length
        std::size_t length = more ? 0 : byte(1);
        for (std::size_t i = 0; i < more; ++i) length = length << 8 | byte(2 + i);
        const std::size_t start = 2 + more, end = start + length;
        if (bytes.size() < end) return false;
        const std::string id = bytes.substr(start, 2 + byte(start + 1));
        const auto request = byte(start + id.size());
        bytes.erase(0, end);
        const auto message = [&](std::string body) {
            body = id + body;
            return std::string("\x30") + static_cast<char>(body.size()) + body;
        };
        const auto result = [](char type, char code) {
            return std::string{type, 7, '\x0a', 1, code, 4, 0, 4, 0};
        };
        std::string answer;
        if (request == 0x60) answer = message(result('\x61', 0));
        if (request == 0x63)
            answer = message(std::string("\x64\x08\x04\x04"
                                         "cn=a\x30\x00",
                                         10)) +
                     message(result('\x65', code_));
        asio::write(socket, asio::buffer(answer), error);
        return true;
    }

    char code_;
    asio::io_context context_;
    asio::ip::tcp::acceptor acceptor_{context_, {asio::ip::address_v4::loopback(), 0}};
    std::thread thread_;
};

TEST(LdapClient, TakesWhatAServerHasOfAnAnswer) {
    const struct {
        char code;
        bool taken;
    } rows[] = {{0, true}, {ldapPartialResults, true}, {ldapSizeLimitExceeded, false}, {ldapBusy, false}};
    for (const auto& row : rows) {
        OneEntryServer server(row.code);
        const auto session = realPlatform()->ldap->open({.host = "127.0.0.1", .port = server.port()});
        ASSERT_TRUE(session);
        ASSERT_TRUE((*session)->bind(credentialsOf(LdapCredentials::Method::simple)));
        const auto found = (*session)->search({.base = "cn=a", .filter = "(objectClass=*)"});
        EXPECT_EQ(found.has_value(), row.taken) << int{row.code};
        if (found) {
            EXPECT_EQ(found->entries.size(), 1U);
        } else {
            EXPECT_EQ(found.error().code, row.code);
        }
    }
}

#if !defined(_WIN32)  // Wine's client knows no IPv6 literals
TEST(LdapClient, ReachesIPv6Literals) {
    const SilentServer server("::1");
    if (!server.good()) GTEST_SKIP() << "this machine has no IPv6 loopback";
    for (const char* host : {"::1", "0:0:0:0:0:0:0:1"}) {
        // Silence, not a refusal: the connection stands.
        const auto session = realPlatform()->ldap->open(endpointOf(server, host));
        ASSERT_TRUE(session) << host;
        EXPECT_EQ((*session)->bind(credentialsOf(Method::simple)).error().code, ldapTimeout) << host;
    }
}
#endif

TEST(LdapClient, RefusesWhatCannotBeSent) {
    const SilentServer server;
    for (const char* host : {"a b", "a/b", "127.0.0.1 evil", "a?b", "[::1]", "a,b"})
        EXPECT_EQ(realPlatform()->ldap->open(endpointOf(server, host)).error().code, ldapParamError) << host;
    const auto session = realPlatform()->ldap->open(endpointOf(server));
    ASSERT_TRUE(session);
    EXPECT_EQ((*session)->startSearch({"", LdapScope::base, "(a=b", {}, {}, 0}).error().code,
              ldapFilterError);
    LdapEndpoint wrong = endpointOf(server);
    wrong.tls = true;
    wrong.caFile = "/nonexistent.pem";
    const int code = realPlatform()->ldap->open(wrong).error().code;
    EXPECT_TRUE(code == ldapConnectError || code == ldapNotSupported)
        << code;  // not readable, or not to be had at all
}

}  // namespace
}  // namespace wsadmin::platform
