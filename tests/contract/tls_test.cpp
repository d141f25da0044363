// TLS to a real server: whom the client trusts, and whom it does not.
#include "contract/directory_under_test.h"

namespace wsadmin::platform {
namespace {

#if !defined(_WIN32)  // whose client trusts whom the machine trusts
TEST(Tls, IsBegunAsItIsToldWithWhoeverIsTrusted) {
    const auto server = openServerUnderTest();
    const std::string ca = environment("WS_TEST_LDAP_CA");
    if (!server) GTEST_SKIP() << "no server is named";
    // Whether it is TLS from the start, or begun later, whether the certificate is checked, and whether it
    // binds.
    using Row = std::tuple<const char*, bool, StartTls, std::string, bool, bool>;
    const std::vector<Row> without = {{"the server has none", false, StartTls::required, "", true, false}};
    const std::vector<Row> with = {
        {"not at all", false, StartTls::never, "", true, true},
        {"not to this machine", false, StartTls::leavingTheMachine, "", true, true},
        {"its own certificate", false, StartTls::required, ca, true, true},
        {"nobody trusts it", false, StartTls::required, "", true, false},
        {"any will do", false, StartTls::required, "", false, true},
        {"its own certificate, from the start", true, StartTls::never, ca, true, true},
        {"nobody trusts it, from the start", true, StartTls::never, "", true, false},
        {"any will do, from the start", true, StartTls::never, "", false, true},
    };
    for (const auto& [what, tls, startTls, caFile, verify, binds] : ca.empty() ? without : with) {
        SCOPED_TRACE(what);
        LdapEndpoint endpoint = server->endpoint;
        if (tls) endpoint.port = 636;
        endpoint.tls = tls;
        endpoint.startTls = startTls;
        endpoint.caFile = caFile;
        endpoint.verifyCertificate = verify;
        const auto session = server->client->open(endpoint).value();
        LdapCredentials credentials = server->credentials;
        credentials.method = LdapCredentials::Method::simple;
        const auto bound = session->bind(credentials);
        EXPECT_EQ(bound.has_value(), binds);
        const std::string refused =
            ca.empty() ? "The server " + endpoint.host +
                             " refuses StartTLS (Protocol Error), and nothing is sent to it without TLS"
                       : "The TLS connection to " + endpoint.host + " failed: its certificate is not trusted";
        EXPECT_TRUE(bound || CORE::toUtf8(bound.error().text) == refused) << CORE::toUtf8(bound.error().text);
        const auto found =
            session->search({.base = server->suffix, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        EXPECT_EQ(found && found->entries.size() == 1, binds || ca.empty());
    }
}
#endif

}  // namespace
}  // namespace wsadmin::platform
