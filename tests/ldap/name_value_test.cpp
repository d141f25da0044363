#include "ldap/name_value.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/scripted_ldap.h"

using namespace wstest;

namespace {

constexpr char attribute[] = "zre-NameValuePair";
constexpr char dn[] = "cn=desk,ou=Applications,dc=vdi,dc=talvex,dc=int";

ModifyCall added(const char* value) {
    return {dn, LdapModify::add, attribute, {value}};
}
ModifyCall deleted(const char* value) {
    return {dn, LdapModify::remove, attribute, {value}};
}

struct PairCase {
    std::vector<std::string> present;
    const char* name;
    const char* value;
    int deleteCode;
    int addCode;
    bool changed;
    std::vector<ModifyCall> calls;
};

TEST(NameValue, SetWalksTheValuesInTheirOrder) {
    const PairCase cases[] = {
        {{"USEFORTHINCLIENT=true"}, "useForThinClient", "true", 0, 0, false, {}},
        {{"a=1"}, "a", "2", 0, 0, true, {deleted("a=1"), added("a=2")}},
        {{"x=0", "A=1"}, "a", "2", 0, 0, true, {deleted("A=1"), added("a=2")}},
        {{"ab=1"}, "a", "1", 0, 0, true, {added("a=1")}},
        {{}, "a", "", 0, 0, true, {added("a=")}},
        {{"a=1", "a=2"}, "a", "2", 0, ldapAttributeOrValueExists, false, {deleted("a=1"), added("a=2")}},
        {{"a=1"}, "a", "2", ldapInsufficientRights, 0, false, {deleted("a=1")}},
        {{"a=1"}, "a", "2", 0, ldapInsufficientRights, false, {deleted("a=1"), added("a=2")}},
        {{}, "a", "1", 0, ldapInsufficientRights, true, {added("a=1")}},  // callers rely on the log
        {{"stra\xC3\x9F"
          "e=1",
          "\xC3\x84=1"},
         "\xC3\xA4",
         "2",
         0,
         0,
         true,
         {deleted("\xC3\x84=1"), added("\xC3\xA4=2")}},
    };
    for (const PairCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.present) + c.name + "=" + c.value);
        ScriptedSession session;
        session.onModify = [&c](const ModifyCall& call) {
            return call.operation == LdapModify::remove ? c.deleteCode : c.addCode;
        };
        const auto outcome =
            setNameValue(session, entry(dn, {{attribute, c.present}}), attribute, c.name, c.value);
        EXPECT_EQ(outcome.changed, c.changed);
        EXPECT_EQ(outcome.code, c.calls.empty()                    ? 0
                                : c.calls.back() == deleted("a=1") ? c.deleteCode
                                                                   : c.addCode);
        EXPECT_EQ(session.modifies, c.calls);
    }
}

TEST(NameValue, AnEntryWithoutNameIsLeftAlone) {
    ScriptedSession session;
    const LogCapture log;
    EXPECT_FALSE(setNameValue(session, entry(""), attribute, "a", "1").changed);
    EXPECT_TRUE(session.modifies.empty());
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{CORE::logVerbose, L"Failed to get DN\n"}}));
}

TEST(NameValue, LogsWhatItDoes) {
    ScriptedSession session;
    const LogCapture log;
    setNameValue(session, entry("cn=e", {{attribute, {"a=1"}}}), attribute, "a", "2");
    session.onModify = [](auto&) { return ldapNoSuchAttribute; };
    EXPECT_EQ(modifyNameValue(session, true, "cn=e", attribute, "b=1"), ldapNoSuchAttribute);
    EXPECT_EQ(modifyNameValue(session, false, "cn=e", attribute, "b=1"), ldapNoSuchAttribute);
    const std::vector<LogLine> expected = {
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
