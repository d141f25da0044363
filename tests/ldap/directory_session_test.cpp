#include "ldap/directory_session.h"

#include <gtest/gtest.h>

#include "ldap/layout.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

TEST(DirectorySession, OpensThisServerOnPort389) {
    Platform platform;
    const auto client = std::make_shared<ScriptedClient>();
    platform.ldap = client;
    EXPECT_TRUE(openConfigurationDirectory(platform));
    EXPECT_EQ(client->lastEndpoint.host, "");
    EXPECT_EQ(client->lastEndpoint.port, 389);
}

TEST(DirectorySession, FailuresCarrySentenceAndCode) {
    struct Case {
        int openCode, bindCode;
        std::wstring sentence;
        int code;
    };
    const Case cases[] = {
        {ldapServerDown, 0, L"Failed to establish LDAP connection on this server - Server Down", 81},
        {0, ldapInvalidCredentials, L"Failed to bind to LDAP - Invalid Credentials", 49},
    };
    for (const Case& c : cases) {
        Platform platform;
        const auto client = std::make_shared<ScriptedClient>();
        client->openCode = c.openCode;
        client->session->bindCode = c.bindCode;
        platform.ldap = client;
        const LogCapture log;
        const auto session = openConfigurationDirectory(platform);
        ASSERT_FALSE(session);
        EXPECT_EQ(session.error().text, c.sentence);
        EXPECT_EQ(session.error().directoryCode, c.code);
        EXPECT_TRUE(log.contains(CORE::logError, c.sentence + L" (" + std::to_wstring(c.code) + L")"));
    }
}

TEST(Layout, ServerNamesCannotLeaveTheirPlace) {
    EXPECT_EQ(layout::serverEntry("VCS1"), "cn=VCS1,ou=Server,ou=Properties,dc=vdi,dc=talvex,dc=int");
    const auto dn = parseDn(layout::serverEntry("x,ou=Elsewhere"));
    ASSERT_TRUE(dn);
    EXPECT_EQ(dn->front().front().value, "x,ou=Elsewhere");
    EXPECT_EQ(dn->size(), 6U);
    EXPECT_EQ(layout::federationCopy("CN=VCS1,OU=Server,OU=Properties,DC=vdi,DC=talvex,DC=int"),
              "cn=vcs1,ou=server,ou=qrv,ou=properties,dc=vdi,dc=talvex,dc=int");
}

}  // namespace
