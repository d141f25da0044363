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
    const LdapCredentials right = server->credentials;
    const DirectoryCredentials credentials{right.user, right.password};
    const DirectoryCredentials wrong{right.user, CORE::secretstring("wrong")};
    const struct {
        const char* what;
        std::string caFile;
        bool verify;
        const DirectoryCredentials& credentials;
        std::string codes;
    } table[] = {
        {"its own certificate", ca, true, credentials, "00000000"},
        {"a wrong password", ca, true, wrong, "8007052e"},
        {"nobody trusts it", "", true, credentials, "8007203a 800704c9"},
        {"any will do", "", false, credentials, "00000000"},
    };
    for (const auto& row : table) {
        const auto trust = [&row](LdapEndpoint& endpoint) {
            endpoint.caFile = row.caFile;
            endpoint.verifyCertificate = row.verify;
        };
        const auto services =
            makePortableDirectoryServices(std::make_shared<RedirectedClient>(server->client, trust), "");
        const auto code =
            hexCode(codeOf(services->openSearch("LDAP://" + server->endpoint.host + "/" + server->suffix,
                                                row.credentials, adsSecureAuthentication | adsUseSsl)));
        EXPECT_NE(row.codes.find(code), std::string::npos) << row.what << ": " << code;
    }
}

TEST(Tls, APasswordWaitsForTlsWhereItIsRequired) {
    const auto server = openServerUnderTest();
    const std::string ca = environment("WS_TEST_LDAP_CA");
    if (!server) GTEST_SKIP() << "no server is named";
    struct Case {
        const char* what;
        StartTls startTls;
        std::string caFile;
        bool verify, bound;
    };
    const std::vector<Case> without = {{"the server has none", StartTls::required, "", true, false}};
    const std::vector<Case> with = {
        {"not at all", StartTls::never, "", true, true},
        {"not to this machine", StartTls::leavingTheMachine, "", true, true},
        {"its own certificate", StartTls::required, ca, true, true},
        {"nobody trusts it", StartTls::required, "", true, false},
        {"any will do", StartTls::required, "", false, true},
    };
    for (const auto& row : ca.empty() ? without : with) {
        LdapEndpoint endpoint = server->endpoint;
        endpoint.startTls = row.startTls;
        endpoint.caFile = row.caFile;
        endpoint.verifyCertificate = row.verify;
        const auto session = server->client->open(endpoint);
        ASSERT_TRUE(session) << row.what;
        LdapCredentials credentials = server->credentials;
        credentials.method = LdapCredentials::Method::simple;
        const auto bound = (*session)->bind(credentials);
        EXPECT_EQ(bound.has_value(), row.bound) << row.what;
        EXPECT_TRUE(bound ||
                    bound.error().text.starts_with(ca.empty() ? L"The server " : L"The TLS connection to "))
            << CORE::toUtf8(bound.error().text);
        const auto found = (*session)->search(
            {.base = server->suffix, .scope = LdapScope::base, .filter = "(objectClass=*)"});
        EXPECT_EQ(found && found->entries.size() == 1, row.bound || ca.empty()) << row.what;
    }
}
#endif

}  // namespace
}  // namespace wsadmin::platform
