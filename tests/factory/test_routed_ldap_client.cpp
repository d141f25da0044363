#include "platform/factory/routed_ldap_client.h"

#include <gtest/gtest.h>

#include "support/scripted_ldap.h"

namespace wsadmin::platform {
namespace {

using std::chrono::milliseconds;
using Method = LdapCredentials::Method;

LdapCredentials credentials(Method method, std::string user = {}, std::string password = {}) {
    return {method, std::move(user), {}, CORE::secretstring(password)};
}

LdapEndpoint asked(std::string host, std::uint16_t port) {
    LdapEndpoint endpoint;
    endpoint.host = std::move(host);
    endpoint.port = port;
    endpoint.connectTimeout = milliseconds(1234);
    return endpoint;
}

Configuration configuration() {
    Configuration made;
    DirectoryRoute& pod = made.routes.emplace_back();
    pod.askedPort = 389;
    pod.host = "pod.example";
    pod.port = 3890;
    pod.connectTimeout = milliseconds(77);
    pod.credentials = credentials(Method::simple, "cn=admin", "secret");
    DirectoryRoute& any = made.routes.emplace_back();
    any.askedHost = "dc.example";
    any.host = "10.0.0.1";
    any.tls = true;
    any.caFile = "ca.pem";
    any.passwordInClear = true;
    any.limits.entries = 7;
    DirectoryRoute& catalogue = made.routes.emplace_back();
    catalogue.askedHost = "dc.example";
    catalogue.askedPort = 3268;
    catalogue.host = "10.0.0.2";
    catalogue.startTls = StartTls::never;
    DirectoryRoute& loopback = made.routes.emplace_back();
    loopback.askedHost = "::1";
    loopback.host = "10.0.0.3";
    return made;
}

TEST(RoutedLdapClient, ChoosesTheRouteByHostAndPort) {
    const auto below = std::make_shared<wstest::RememberingClient>();
    const auto client = makeRoutedLdapClient(below, configuration());
    const struct {
        LdapEndpoint asked;
        const char* host;
        int port;
        bool tls;
        int connectTimeout;
        StartTls startTls = StartTls::leavingTheMachine;
    } rows[] = {
        {asked("", 389), "pod.example", 3890, false, 77},
        {asked("127.0.0.1", 389), "pod.example", 3890, false, 77},
        {asked("LocalHost", 389), "pod.example", 3890, false, 77},
        {asked("::1", 389), "10.0.0.3", 389, false, 1234},
        {asked("127.0.0.1", 22389), "127.0.0.1", 22389, false, 1234},
        {asked("", 22389), "", 22389, false, 1234},
        {asked("DC.Example", 389), "10.0.0.1", 389, true, 1234},
        {asked("dc.example", 3268), "10.0.0.2", 3268, false, 1234, StartTls::never},
        {asked("other", 389), "other", 389, false, 1234},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(client->open(row.asked));
        EXPECT_EQ(below->endpoint.host, row.host);
        EXPECT_EQ(below->endpoint.port, row.port);
        EXPECT_EQ(below->endpoint.tls, row.tls);
        EXPECT_EQ(below->endpoint.startTls, row.startTls);
        EXPECT_EQ(below->endpoint.caFile, row.tls ? "ca.pem" : "");
        EXPECT_EQ(below->endpoint.passwordInClear, row.tls);
        EXPECT_EQ(below->endpoint.limits.entries, row.tls ? 7U : LdapLimits{}.entries);
        EXPECT_EQ(below->endpoint.connectTimeout, milliseconds(row.connectTimeout));
        // What has to be protected stays so, except where the route rules TLS out.
        LdapEndpoint endpoint = row.asked;
        endpoint.startTls = StartTls::required;
        ASSERT_TRUE(client->open(endpoint));
        EXPECT_EQ(below->endpoint.startTls,
                  row.startTls == StartTls::never ? StartTls::never : StartTls::required);
    }
}

TEST(RoutedLdapClient, BindsAsConfiguredUnlessTheRequestBringsAUser) {
    const auto below = std::make_shared<wstest::RememberingClient>();
    const auto client = makeRoutedLdapClient(below, configuration());
    const auto session = client->open(asked("", 389)).value()->bind(credentials(Method::negotiate));
    EXPECT_EQ(below->bound.user, "cn=admin");
    EXPECT_EQ(below->bound.password.view(), "secret");
    EXPECT_EQ(below->bound.method, Method::simple);

    const auto pod = client->open(asked("", 389)).value();
    ASSERT_TRUE(pod->bind(credentials(Method::negotiate, "alice", "hers")));
    EXPECT_EQ(below->bound.user, "alice");
    EXPECT_EQ(below->bound.password.view(), "hers");
    EXPECT_EQ(below->bound.method, Method::simple);
    ASSERT_TRUE(pod->bind(credentials(Method::anonymous)));
    EXPECT_EQ(below->bound.method, Method::anonymous);
    ASSERT_TRUE(pod->remove("cn=a"));
    EXPECT_EQ(below->removed, "cn=a");
    EXPECT_EQ(pod->search({}).error().code, ldapOther);

    ASSERT_TRUE(client->open(asked("other", 389)).value()->bind(credentials(Method::negotiate)));
    EXPECT_EQ(below->bound.user, "");
    EXPECT_EQ(below->bound.method, Method::negotiate);
}

}  // namespace
}  // namespace wsadmin::platform
