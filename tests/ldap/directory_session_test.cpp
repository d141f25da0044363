#include "ldap/directory_session.h"

#include <gtest/gtest.h>

#include "ldap/layout.h"
#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

TEST(DirectorySession, IsOfThisServerOrFailsWithSentenceAndCode) {
    Platform platform;
    const auto client = std::make_shared<ScriptedClient>();
    platform.ldap = client;
    EXPECT_TRUE(openConfigurationDirectory(platform));
    EXPECT_EQ(client->lastEndpoint.host, "");
    EXPECT_EQ(client->lastEndpoint.port, 389);
    const LogCapture log;
    client->openCode = ldapServerDown;
    const auto session = openConfigurationDirectory(platform);
    ASSERT_FALSE(session);
    const std::wstring sentence = L"Failed to establish LDAP connection on this server - Server Down";
    EXPECT_EQ(session.error().text, sentence);
    EXPECT_EQ(session.error().directoryCode, ldapServerDown);
    EXPECT_TRUE(log.contains(CORE::logError, sentence + L" (81)"));
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
