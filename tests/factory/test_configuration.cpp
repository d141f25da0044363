#include "platform/factory/configuration.h"

#include <gtest/gtest.h>

#include "framework/core/corestring.h"
#include "framework/core/log.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace wsadmin::platform {
namespace {

using std::chrono::milliseconds;
using Method = LdapCredentials::Method;

TEST(Configuration, SaysHowDirectoriesAreReached) {
    const wstest::TempFolder folder;
    folder.write("pod.password",
                 "\xEF\xBB\xBF"
                 "from \"file\" \r\n");
    const auto read = readConfiguration(folder.write("c.toml", R"(
default-domain = "corp.example"
process-account = 'CORP\svc'
[directory]
host = "10.0.0.1"
port = 3890
connect-timeout = 250
method = "simple"
user = "cn=admin"
password = "inline"

[global]
tls = true
verify-certificate = false
operation-timeout = 1000
method = "anonymous"

[[server]]
for = "dc1.corp.example"
user = "alice"
domain = "CORP"
password-file = "pod.password"

[[server]]
for = "dc1.corp.example"
for-port = 3268
host = "::1"
tls = "starttls"
allow-password-in-clear = true
search-timeout = 9000
max-entries = 77
max-bytes = 88
)"));
    ASSERT_TRUE(read) << CORE::toUtf8(read.error().text);
    EXPECT_EQ(read->defaultDomain, "corp.example");
    EXPECT_EQ(read->processAccount, "CORP\\svc");
    ASSERT_EQ(read->routes.size(), 4u);
    const auto& [pod, global, dc, catalogue] =
        std::tie(read->routes[0], read->routes[1], read->routes[2], read->routes[3]);

    EXPECT_EQ(pod.askedHost, "");
    EXPECT_EQ(pod.askedPort, 389);
    EXPECT_EQ(pod.host, "10.0.0.1");
    EXPECT_EQ(pod.port, 3890);
    EXPECT_EQ(pod.connectTimeout, milliseconds(250));
    EXPECT_EQ(pod.operationTimeout, std::nullopt);
    EXPECT_FALSE(pod.tls);
    EXPECT_EQ(pod.credentials->method, Method::simple);
    EXPECT_EQ(pod.credentials->user, "cn=admin");
    EXPECT_EQ(pod.credentials->password.view(), "inline");

    EXPECT_EQ(global.askedPort, 22389);
    EXPECT_EQ(global.host, "");
    EXPECT_EQ(global.port, std::nullopt);
    EXPECT_TRUE(global.tls);
    EXPECT_FALSE(global.verifyCertificate);
    EXPECT_EQ(global.credentials->method, Method::anonymous);

    EXPECT_EQ(dc.host, "dc1.corp.example");
    EXPECT_EQ(dc.askedPort, std::nullopt);
    EXPECT_EQ(dc.credentials->method, Method::negotiate);
    EXPECT_EQ(dc.credentials->domain, "CORP");
    EXPECT_EQ(dc.credentials->password.view(), "from \"file\" ");

    EXPECT_EQ(catalogue.host, "::1");
    EXPECT_EQ(catalogue.askedPort, 3268);
    EXPECT_FALSE(catalogue.credentials);

    EXPECT_EQ(pod.startTls, StartTls::leavingTheMachine);
    EXPECT_FALSE(pod.passwordInClear);
    EXPECT_EQ(pod.limits.entries, LdapLimits{}.entries);
    EXPECT_EQ(catalogue.startTls, StartTls::required);
    EXPECT_TRUE(catalogue.passwordInClear);
    EXPECT_EQ(catalogue.limits.time, milliseconds(9000));
    EXPECT_EQ(catalogue.limits.entries, 77U);
    EXPECT_EQ(catalogue.limits.bytes, 88U);
}

TEST(Configuration, SaysWhatIsWrongAndWhere) {
    const wstest::TempFolder folder;
    folder.write("empty", "\n");
    const struct {
        const char* text;
        std::string wrong;
    } rows[] = {
        {"directory-services = \"ldap\"", ":1: directory-services is one of adsi, portable, not \"ldap\""},
        {"default-domain = \"a b\"", ":1: \"a b\" is no domain"},
        {"process-account = 5", ":1: process-account is a text in quotes"},
        {"[directory]\nhots = \"a\"", ":2: there is no key \"directory.hots\""},
        {"[directori]", ":1: there is no key \"directori\""},
        {"[directory]\nport = \"389\"", ":2: directory.port is a number from 1 to 65535"},
        {"[directory]\nport = 0", ":2: directory.port is a number from 1 to 65535"},
        {"[directory]\nport = 65536", ":2: directory.port is a number from 1 to 65535"},
        {"[directory]\nhost = 5", ":2: directory.host is a text in quotes"},
        {"[directory]\nhost = \"a b\"", ":2: \"a b\" is no host"},
        {"[directory]\ntls = 1", ":2: tls is true, false or \"starttls\""},
        {"[directory]\ntls = \"StartTLS\"", ":2: tls is true, false or \"starttls\""},
        {"[directory]\nmax-entries = 0", ":2: directory.max-entries is a number from 1 to 1000000000"},
#if defined(_WIN32)
        {"directory-services = \"adsi\"\n[directory]\nuser = \"u\"\npassword = \"p\"",
         ":1: ADSI binds as the process and not as a configured user; use \"portable\""},
#endif
        {"[directory]\nconnect-timeout = 0", ":2: directory.connect-timeout is a number from 1 to 3600000"},
        {"[directory]\ntls = false\nca-file = \"x\"", ":3: ca-file needs TLS"},
        {"[directory]\ntls = false\nverify-certificate = false", ":3: verify-certificate needs TLS"},
        {"[directory]\n\nmethod = \"kerberos\"",
         ":3: method is one of negotiate, simple, anonymous, not \"kerberos\""},
        {"[directory]\nmethod = \"simple\"", ":2: the method simple needs a user"},
        {"[directory]\nuser = \"u\"", ":2: the user needs a password or a password-file"},
        {"[directory]\npassword = \"p\"", ":2: password needs a user"},
        {"[directory]\npassword = 1234", ":2: directory.password is a text in quotes"},
        {"[directory]\nuser = \"u\"\nmethod = \"anonymous\"", ":2: the method anonymous takes no user"},
        {"[directory]\nuser = \"u\"\npassword = \"p\"\npassword-file = \"f\"",
         ":4: password and password-file exclude each other"},
        {"[[server]]\nhost = \"a\"", ":1: a server needs for = \"the host that is asked for\""},
        {"[server]\nfor = \"a\"", ":1: server is a list of tables, [[server]]"},
        {"[[server]]\nfor = \"a\"\n[[server]]\nfor = \"A\"", ":4: there is a server for A already"},
        {"directory = 1", ":1: directory is a table, [directory]"},
    };
    for (const auto& row : rows) {
        const auto file = folder.write("c.toml", row.text);
        const auto read = readConfiguration(file);
        ASSERT_FALSE(read) << row.text;
        EXPECT_TRUE(CORE::toUtf8(read.error().text).ends_with("c.toml" + row.wrong))
            << row.text << "\n"
            << CORE::toUtf8(read.error().text);
    }
    for (const char* text : {"[directory\n", "[directory]\nhost = \"a\nb\"", "\xff"}) {
        const auto read = readConfiguration(folder.write("c.toml", text));
        ASSERT_FALSE(read);
        EXPECT_NE(read.error().text.find(L"c.toml:"), std::wstring::npos);
    }
}

TEST(Configuration, NamesAFileThatCannotBeRead) {
    const wstest::TempFolder folder;
    folder.write("empty", "\n");
    const std::pair<const char*, const wchar_t*> rows[] = {
        {"[directory]\nuser = \"u\"\npassword-file = \"absent\"", L"c.toml:3: the password file "},
        {"[directory]\nuser = \"u\"\npassword-file = \"empty\"", L"empty is empty"},
    };
    for (const auto& [text, wrong] : rows) {
        const auto read = readConfiguration(folder.write("c.toml", text));
        ASSERT_FALSE(read);
        EXPECT_NE(read.error().text.find(wrong), std::wstring::npos) << CORE::toUtf8(read.error().text);
    }
    const auto absent = readConfiguration(folder.path() / "absent.toml");
    ASSERT_FALSE(absent);
    EXPECT_TRUE(absent.error().text.ends_with(L"absent.toml: the file cannot be read"));
}

TEST(Configuration, WarnsOfCertificatesThatAreNotChecked) {
    const wstest::LogCapture log(CORE::logWarning);
    const wstest::TempFolder folder;
    ASSERT_TRUE(readConfiguration(
        folder.write("c.toml", "[directory]\nhost = \"a.example\"\ntls = true\nverify-certificate = false")));
    EXPECT_TRUE(log.contains(
        CORE::logWarning,
        L"The certificate of a.example is not checked: whoever answers in its place gets what is sent"));
}

#if !defined(_WIN32)
TEST(Configuration, WarnsOfPasswordsThatOthersCanRead) {
    std::wstring log;
    const auto sink = CORE::addLogSink(CORE::logDebug,
                                       [&](int, std::wstring_view, std::wstring_view text) { log += text; });
    const wstest::TempFolder folder;
    const auto file = folder.write("c.toml", "[directory]\nuser = \"u\"\npassword = \"unspoken\"");
    using std::filesystem::perms;
    std::filesystem::permissions(file, perms::owner_read);
    ASSERT_TRUE(readConfiguration(file));
    EXPECT_EQ(log, L"");
    std::filesystem::permissions(file, perms::owner_read | perms::others_read);
    ASSERT_TRUE(readConfiguration(file));
    EXPECT_NE(log.find(L"others than its owner can read it"), std::wstring::npos);
    EXPECT_EQ(log.find(L"unspoken"), std::wstring::npos);
}
#endif

}  // namespace
}  // namespace wsadmin::platform
