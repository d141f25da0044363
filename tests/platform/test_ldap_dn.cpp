#include <gtest/gtest.h>

#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

TEST(Dn, ReadsWhatServersAndPeopleWrite) {
    const struct {
        const char* what;
        std::string text;
        std::string written;
    } rows[] = {
        {"plain", "CN=a,OU=b,DC=c", "CN=a,OU=b,DC=c"},
        {"blank after a comma", "ou=Servers, dc=vdi", "ou=Servers,dc=vdi"},
        {"blanks everywhere", "  cn =  a b  , dc = c ", "cn=a b,dc=c"},
        {"semicolon", "cn=a;dc=b", "cn=a,dc=b"},
        {"escaped comma", R"(cn=Doe\, Jane,dc=b)", R"(cn=Doe\, Jane,dc=b)"},
        {"comma as hex", R"(cn=Doe\2C Jane,dc=b)", R"(cn=Doe\, Jane,dc=b)"},
        {"quotes", R"(cn="Doe, \"J\"",dc=b)", R"(cn=Doe\, \"J\",dc=b)"},
        {"equals sign", "cn=a=b,dc=c", R"(cn=a\=b,dc=c)"},
        {"BER value", "cn=#0402686A,dc=b", "cn=hj,dc=b"},
        {"leading hash", R"(cn=\#a,dc=b)", R"(cn=\#a,dc=b)"},
        {"edge blanks", R"(cn=\ a\ ,dc=b)", R"(cn=\ a\ ,dc=b)"},
        {"raw line feed", "cn=a\nCNF:1,dc=b", R"(cn=a\0ACNF:1,dc=b)"},
        {"escaped line feed", R"(cn=a\0ACNF:1,dc=b)", R"(cn=a\0ACNF:1,dc=b)"},
        {"several values", "cn=a + uid=b,dc=c", "cn=a+uid=b,dc=c"},
        {"UTF-8", "cn=J\xc3\xb6rg,dc=b", "cn=J\xc3\xb6rg,dc=b"},
        {"UTF-8 as hex", R"(cn=J\c3\B6rg,dc=b)", "cn=J\xc3\xb6rg,dc=b"},
        {"bytes that are no text", R"(cn=\ff\00,dc=b)", R"(cn=\FF\00,dc=b)"},
        {"empty value", "cn=,dc=b", "cn=,dc=b"},
        {"object identifier", "2.5.4.3=a", "2.5.4.3=a"},
        {"the root", "", ""},
        {"the root with blanks", "  ", ""},
    };
    for (const auto& row : rows) {
        const auto dn = parseDn(row.text);
        ASSERT_TRUE(dn) << row.what;
        EXPECT_EQ(dnToText(*dn), row.written) << row.what;
        EXPECT_EQ(parseDn(dnToText(*dn)).value().size(), dn->size()) << row.what;
    }
}

TEST(Dn, RefusesWhatIsNoName) {
    const std::string rows[] = {
        "cn",       "=a",         "cn=a,",
        ",cn=a",    "cn=a,,dc=b", "cn=a+,dc=b",
        "cn=a\\",   "cn=a\\4",    "cn=a\\zz",
        "cn=\"a",   "cn=\"a\"b",  "cn=a\"b",
        "cn=#",     "cn=#04",     "cn=#0405686A",
        "cn=#040Z", "cn=a<b",     "<SID=S-1-5-9>",
        "c n=a",    "cn=a\0b"s,   "cn=#0484ffffffff41",
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(parseDn(row)) << row;
        EXPECT_FALSE(dnKey(row)) << row;
        EXPECT_FALSE(sameDn(row, row)) << row;
    }
}

TEST(Dn, ComparesAsTheDirectoryDoes) {
    const struct {
        const char* a;
        const char* b;
        bool same;
    } rows[] = {
        {"DC=vdi,DC=talvex,DC=int", "dc=VDI, dc=talvex, dc=int", true},
        {R"(cn=a\,b,dc=c)", R"(CN=A\2cB,DC=C)", true},
        {"cn=a+uid=b,dc=c", "UID=B+CN=A,dc=c", true},
        {"oid.2.5.4.3=a", "2.5.4.3=A", true},
        {"cn=\xc3\x84,dc=c", "cn=\xc3\xa4,dc=c", true},
        {R"(cn=a\0ACNF:1)", "cn=a\nCNF:1", true},
        {"cn=a,dc=b", "cn=a,dc=bb", false},
        {R"(cn=a\,dc=b)", "cn=a,dc=b", false},
        {R"(cn=\ff)", R"(cn=\fe)", false},
        {"cn=a  b", "cn=a b", false},
        {"", "dc=a", false},
    };
    for (const auto& row : rows) EXPECT_EQ(sameDn(row.a, row.b), row.same) << row.a << " | " << row.b;
}

TEST(Dn, GivesParentAndRdnValue) {
    EXPECT_EQ(parentDn(R"(cn=a\,b, OU=c, dc=d)"), "OU=c,dc=d");
    EXPECT_EQ(parentDn("dc=d"), "");
    EXPECT_FALSE(parentDn(""));
    EXPECT_FALSE(parentDn("no name"));
    EXPECT_EQ(rdnValue(R"(cn=a\,b, OU=c)"), "a,b");
    EXPECT_EQ(rdnValue("no name"), "");
}

TEST(Dn, EscapedValueComesBackWhole) {
    const std::string values[] = {"a,b+c=\"d\";<e>\\", " a ",          " ",           "#a",        "a#",
                                  "a\r\nb\tc",         "\xff\xfe\0x"s, "J\xc3\xb6rg", "x,cn=other"};
    for (const auto& value : values) {
        const auto dn = parseDn("cn=" + escapeDnValue(value) + ",dc=b");
        ASSERT_TRUE(dn) << value;
        ASSERT_EQ(dn->size(), 2u) << value;
        EXPECT_EQ(dn->front().front().value, value);
    }
}

TEST(Dn, ComponentsStayAsTheyAreWritten) {
    using Components = std::vector<std::string>;
    const struct {
        const char* text;
        Components components;
    } rows[] = {
        {"", {}},
        {"CN=Alice, O=Corp;C=EX", {"CN=Alice", "O=Corp", "C=EX"}},
        {R"(CN=Doe\, Jane,O="A, B",C=a=b)", {R"(CN=Doe\, Jane)", R"(O="A, B")", "C=a=b"}},
        {R"(CN=edge\ ,OU=a + CN=b)", {R"(CN=edge\ )", "OU=a + CN=b"}},
    };
    for (const auto& row : rows) EXPECT_EQ(explodeDn(row.text), row.components) << row.text;
    EXPECT_FALSE(explodeDn("CN=a,,O=b"));
}

TEST(Dn, ItsLastComponentsSayTheDomain) {
    const struct {
        const char *dn, *domain;
    } rows[] = {
        {"CN=a,OU=b,DC=corp,dc=example", "corp.example"},
        {"DC=corp,DC=example", "corp.example"},
        {"DC=x,OU=b,DC=example", "example"},
        {"CN=a,OU=b", ""},
        {"", ""},
        {"no name", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(dnsDomainOf(row.dn), row.domain) << row.dn;
}

}  // namespace
}  // namespace wsadmin::platform
