// The client against servers that are not there or do not answer. What it does with real ones is the
// contract's.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "platform/posix/posix_platform.h"

namespace wsadmin::platform::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// A loopback port that takes connections and stays silent, or nobody's port once it is closed.
class SilentServer {
  public:
    explicit SilentServer(int family = AF_INET) : socket_(::socket(family, SOCK_STREAM, 0)) {
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_addr = in6addr_loopback;
        sockaddr_in four{};
        four.sin_family = AF_INET;
        four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* address =
            family == AF_INET ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
        socklen_t size = family == AF_INET ? sizeof four : sizeof six;
        good_ = ::bind(socket_, address, size) == 0 && listen(socket_, 64) == 0 &&
                getsockname(socket_, address, &size) == 0;
        port_ = ntohs(family == AF_INET ? four.sin_port : six.sin6_port);
    }
    ~SilentServer() { close(); }
    SilentServer(const SilentServer&) = delete;
    SilentServer& operator=(const SilentServer&) = delete;
    void close() {
        if (socket_ >= 0) ::close(socket_);
        socket_ = -1;
    }
    int accept() const { return ::accept(socket_, nullptr, nullptr); }
    bool good() const { return good_; }
    std::uint16_t port() const { return port_; }

  private:
    int socket_;
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

TEST(PosixLdapClient, FindsADeadServerDown) {
    SilentServer server;
    ASSERT_TRUE(server.good());
    LdapEndpoint endpoint = endpointOf(server);
    endpoint.connectTimeout = seconds(5);
    server.close();
    for (const bool tls : {false, true}) {
        for (const Method method : {Method::negotiate, Method::simple, Method::anonymous}) {
            endpoint.tls = tls;
            const auto session = makeLdapClient()->open(endpoint);
            ASSERT_TRUE(session);
            const auto bound = (*session)->bind(credentialsOf(method));
            ASSERT_FALSE(bound);
            EXPECT_EQ(bound.error().code, ldapServerDown);
            EXPECT_EQ(bound.error().text, L"Server Down");
        }
    }
    const auto session = makeLdapClient()->open(endpoint);
    EXPECT_EQ((*session)->search({"", LdapScope::base, "a=b", {}, {}, 0}).error().code, ldapServerDown);
    EXPECT_EQ((*session)->remove("cn=a").error().code, ldapServerDown);
}

TEST(PosixLdapClient, DoesNotWaitForASilentServer) {
    const SilentServer server;
    ASSERT_TRUE(server.good());
    const auto begin = steady_clock::now();
    for (const bool tls : {false, true}) {
        for (const Method method : {Method::negotiate, Method::simple, Method::anonymous}) {
            LdapEndpoint endpoint = endpointOf(server);
            endpoint.tls = tls;
            const auto session = makeLdapClient()->open(endpoint);
            ASSERT_TRUE(session);
            const auto bound = (*session)->bind(credentialsOf(method));
            ASSERT_FALSE(bound);
            EXPECT_TRUE(bound.error().code == ldapTimeout || bound.error().code == ldapServerDown)
                << bound.error().code;
        }
    }
    const auto session = makeLdapClient()->open(endpointOf(server));
    EXPECT_EQ((*session)->search({"", LdapScope::base, "a=b", {}, {}, 0}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->add({"cn=a", {{"cn", {"a"}}}}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->modify("cn=a", {{LdapModify::add, "b", {"c"}}}).error().code, ldapTimeout);
    EXPECT_EQ((*session)->remove("cn=a").error().code, ldapTimeout);
    EXPECT_EQ((*session)->rename("cn=a", "cn=b", "", true).error().code, ldapTimeout);
    EXPECT_LT(steady_clock::now() - begin, seconds(60));
}

TEST(PosixLdapClient, SurvivesAServerThatHangsUp) {
    SilentServer server;
    ASSERT_TRUE(server.good());
    LdapEndpoint endpoint = endpointOf(server);
    endpoint.connectTimeout = endpoint.operationTimeout = seconds(30);
    const auto session = makeLdapClient()->open(endpoint);
    std::jthread hangUp([&] { ::close(server.accept()); });
    EXPECT_EQ((*session)->bind(credentialsOf(Method::simple)).error().code, ldapServerDown);
    hangUp.join();
    server.close();
    // Written to a connection that is gone: no signal ends the process.
    for (int i = 0; i < 3; ++i) EXPECT_EQ((*session)->remove("cn=a").error().code, ldapServerDown);
}

TEST(PosixLdapClient, ReachesIPv6Literals) {
    const SilentServer server(AF_INET6);
    if (!server.good()) GTEST_SKIP() << "this machine has no IPv6 loopback";
    for (const char* host : {"::1", "0:0:0:0:0:0:0:1"}) {
        // Silence, not a refusal: the connection stands.
        const auto session = makeLdapClient()->open(endpointOf(server, host));
        ASSERT_TRUE(session) << host;
        EXPECT_EQ((*session)->bind(credentialsOf(Method::simple)).error().code, ldapTimeout) << host;
    }
}

TEST(PosixLdapClient, RefusesWhatCannotBeSent) {
    const SilentServer server;
    for (const char* host : {"a b", "a/b", "127.0.0.1 evil", "a?b", "[::1]", "a,b"})
        EXPECT_EQ(makeLdapClient()->open(endpointOf(server, host)).error().code, ldapParamError) << host;
    const auto session = makeLdapClient()->open(endpointOf(server));
    ASSERT_TRUE(session);
    EXPECT_EQ((*session)->startSearch({"", LdapScope::base, "(a=b", {}, {}, 0}).error().code,
              ldapFilterError);
    LdapEndpoint wrong = endpointOf(server);
    wrong.tls = true;
    wrong.caFile = "/nonexistent.pem";
    EXPECT_EQ(makeLdapClient()->open(wrong).error().code, ldapConnectError);
}

}  // namespace
}  // namespace wsadmin::platform::posix
