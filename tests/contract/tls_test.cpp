// Directory services over TLS to a real server: whom the client trusts, and whom it does not.
#include "contract/services_under_test.h"
#include "platform/portable/portable_directory.h"

namespace wsadmin::platform {
namespace {

#if !defined(_WIN32)  // whose client trusts whom the machine trusts
TEST(Tls, CertificatesAreCheckedUnlessToldOtherwise) {
    const auto server = openServerUnderTest();
    const std::string ca = environment("WS_TEST_LDAP_CA");
    if (!server || ca.empty()) GTEST_SKIP() << "no server with a certificate is named";
    const DirectoryCredentials right{server->credentials.user, server->credentials.password},
        wrong{right.user, CORE::secretstring("wrong")};
    using Row = std::tuple<const char*, std::string, bool, DirectoryCredentials, std::string>;
    for (const auto& [what, caFile, verify, credentials, codes] : {
             Row{"its own certificate", ca, true, right, "00000000"},
             {"a wrong password", ca, true, wrong, "8007052e"},
             {"nobody trusts it", "", true, right, "8007203a 800704c9"},
             {"any will do", "", false, right, "00000000"},
         }) {
        const auto trust = [&caFile, &verify](LdapEndpoint& endpoint) {
            endpoint.caFile = caFile;
            endpoint.verifyCertificate = verify;
        };
        const auto services =
            makePortableDirectoryServices(std::make_shared<RedirectedClient>(server->client, trust), "");
        const auto code =
            hexCode(codeOf(services->openSearch("LDAP://" + server->endpoint.host + "/" + server->suffix,
                                                credentials, adsSecureAuthentication | adsUseSsl)));
        EXPECT_NE(codes.find(code), std::string::npos) << what << ": " << code;
    }
}

TEST(Tls, APasswordWaitsForTlsWhereItIsRequired) {
    const auto server = openServerUnderTest();
    const std::string ca = environment("WS_TEST_LDAP_CA");
    if (!server) GTEST_SKIP() << "no server is named";
    using Row = std::tuple<const char*, StartTls, std::string, bool, bool>;
    const std::vector<Row> without = {{"the server has none", StartTls::required, "", true, false}};
    const std::vector<Row> with = {
        {"not at all", StartTls::never, "", true, true},
        {"not to this machine", StartTls::leavingTheMachine, "", true, true},
        {"its own certificate", StartTls::required, ca, true, true},
        {"nobody trusts it", StartTls::required, "", true, false},
        {"any will do", StartTls::required, "", false, true},
    };
    for (const auto& [what, startTls, caFile, verify, binds] : ca.empty() ? without : with) {
        SCOPED_TRACE(what);
        LdapEndpoint endpoint = server->endpoint;
        endpoint.startTls = startTls;
        endpoint.caFile = caFile;
        endpoint.verifyCertificate = verify;
        const auto session = server->client->open(endpoint);
        ASSERT_TRUE(session);
        LdapCredentials credentials = server->credentials;
        credentials.method = LdapCredentials::Method::simple;
        const auto bound = (*session)->bind(credentials);
        EXPECT_EQ(bound.has_value(), binds);
        const std::string refused =
            ca.empty() ? "The server " + endpoint.host +
                             " refuses StartTLS (Protocol Error), and nothing is sent to it without TLS"
                       : "The TLS connection to " + endpoint.host + " failed: its certificate is not trusted";
        EXPECT_TRUE(bound || CORE::toUtf8(bound.error().text) == refused) << CORE::toUtf8(bound.error().text);
        const auto found = (*session)->search(
            {.base = server->suffix, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        EXPECT_EQ(found && found->entries.size() == 1, binds || ca.empty());
    }
}
#endif

}  // namespace
}  // namespace wsadmin::platform
