#include "ldap/name_value.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

constexpr char attribute[] = "zre-NameValuePair";

TEST(NameValue, LogsWhatItDoes) {
    ScriptedSession session;
    const LogCapture log;
    EXPECT_FALSE(setNameValue(session, entry(""), attribute, "a", "1").changed);
    EXPECT_TRUE(session.modifies.empty());
    setNameValue(session, entry("cn=e", {{attribute, {"a=1"}}}), attribute, "a", "2");
    session.onModify = [](auto&) { return ldapNoSuchAttribute; };
    EXPECT_EQ(modifyNameValue(session, true, "cn=e", attribute, "b=1"), ldapNoSuchAttribute);
    EXPECT_EQ(modifyNameValue(session, false, "cn=e", attribute, "b=1"), ldapNoSuchAttribute);
    const std::vector<LogLine> expected = {
        {CORE::logVerbose, L"Failed to get DN\n"},
        {CORE::logVerbose, L"Setting NV pair zre-NameValuePair, a=2 in cn=e\n"},
        {CORE::logVerbose, L"Name is present but with different value. Old value will be replaced."},
        {CORE::logVerbose, L"Deleting NVPair zre-NameValuePair a=1\n"},
        {CORE::logVerbose, L"Adding NVPair zre-NameValuePair a=2\n"},
        {CORE::logVerbose, L"Value set successfully.\n"},
        {CORE::logVerbose, L"Deleting NVPair zre-NameValuePair b=1\n"},
        {CORE::logError, L"Failed to modify entry cn=e in Delete operation. Error 16 (No Such Attribute)."},
        {CORE::logError, L"Entry not deleted"},
        {CORE::logVerbose, L"Adding NVPair zre-NameValuePair b=1\n"},
        {CORE::logError, L"Failed to modify entry cn=e in Modify operation. Error 16 (No Such Attribute)."},
        {CORE::logError, L"Entry not modified"},
    };
    EXPECT_EQ(log.lines(), expected);
}

}  // namespace
