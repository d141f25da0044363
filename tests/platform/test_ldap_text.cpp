// Texts of LDAP that are no rows of data: any bytes, sizes, and what libraries must not cut off.
#include <gtest/gtest.h>

#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

TEST(Dn, EscapedValueComesBackWhole) {
    for (const std::string& value : {"a,b+c=\"d\";<e>\\"s, " a "s, " "s, "#a"s, "a#"s, "a\r\nb\tc"s,
                                     "\xff\xfe\0x"s, "J\xc3\xb6rg"s, "x,cn=other"s}) {
        const auto dn = parseDn("cn=" + escapeDnValue(value) + ",dc=b");
        ASSERT_TRUE(dn && dn->size() == 2) << value;
        EXPECT_EQ(dn->front().front().value, value);
    }
}

TEST(Filter, BoundsNesting) {
    const auto repeated = [](int count, std::string_view piece) {
        std::string text;
        for (int i = 0; i < count; ++i) text += piece;
        return text;
    };
    const auto nested = [&](int depth) { return repeated(depth, "(!") + "(a=b)" + repeated(depth, ")"); };
    EXPECT_TRUE(parseFilter(nested(99)));
    for (const std::string& text :
         {nested(100), nested(20'000), repeated(1'000'000, "("), repeated(1'000'000, "!"),
          repeated(300'000, "(&"), repeated(300'000, "(|(a=b)")})
        EXPECT_EQ(parseFilter(text).error().code, ldapFilterError);
}

TEST(Filter, KeepsValuesApartFromSyntax) {
    for (const std::string& value : {"*)(cn=*"s, "a\\b"s, "\0\xff"s, "J\xc3\xb6rg"s, " blank "s}) {
        const auto filter = parseFilter("(a=" + escapeFilterValue(value) + ")");
        ASSERT_TRUE(filter) << value;
        EXPECT_EQ(filter->kind, Filter::Kind::equal);
        EXPECT_EQ(filter->value, value);
    }
    EXPECT_EQ(parseFilter("(a=*\\2a*b*)").value().fragments, (std::vector<std::string>{"", "*", "b", ""}));
}

TEST(LdapEntry, FindsAttributesWithoutRegardToCaseWholeOrInPart) {
    const LdapEntry entry{
        "cn=a", {{"member", {}}, {"members", {"x"}}, {"Member;range=0-1", {"a", "b"}}, {"cn", {"c"}}}};
    EXPECT_EQ(entry.first("CN"), "c");
    EXPECT_TRUE(entry.first("member").empty() && entry.first("absent").empty());
    EXPECT_EQ(entry.all("member;Range=0-1").size(), 2U);
    EXPECT_TRUE(entry.all("member").empty());
    EXPECT_EQ(findValues(entry.attributes, "member"), &entry.attributes[2]);
    EXPECT_EQ(findValues(entry.attributes, "CN"), &entry.attributes[3]);
    EXPECT_EQ(findValues(entry.attributes, "mem"), nullptr);
}

TEST(PageControl, ComesBackWhole) {
    for (const int size : {0, 1, 127, 128, 250, 32768, 2147483647})
        for (const std::size_t length : {0u, 1u, 127u, 128u, 300u, 70000u}) {
            const auto page = decodePageControl(encodePageControl({size, std::string(length, '\xff')}));
            ASSERT_TRUE(page) << size << " " << length;
            EXPECT_EQ(page->size, size);
            EXPECT_EQ(page->cookie.size(), length);
        }
    const std::string whole = encodePageControl({250, "cookie"});
    for (std::size_t cut = 0; cut < whole.size(); ++cut)
        EXPECT_FALSE(decodePageControl(whole.substr(0, cut))) << cut;
}

TEST(LdapRequest, IsMadeStrictAndRefusedWhereALibraryWouldCutItOff) {
    const auto wire = wireSearch({"ou=Servers, dc=vdi", LdapScope::subtree, "(!a=b)", {"cn"}, {}, 7});
    ASSERT_TRUE(wire);
    EXPECT_EQ(wire->base + wire->filter, "ou=Servers,dc=vdi(!(a=b))");
    EXPECT_EQ(wire->sizeLimit, 7);
    EXPECT_EQ(wireDn("<SID=S-1-5-11>").value(), "<SID=S-1-5-11>");
    EXPECT_EQ(wireDn("cn=a\nCNF:1,dc=b").value(), R"(cn=a\0ACNF:1,dc=b)");

    EXPECT_EQ(wireDn("cn=a\0,dc=b"s).error().code, ldapInvalidDnSyntax);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b", {"cn\0"s}, {}, 0}).error().code, ldapParamError);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b", {""}, {}, 0}).error().code, ldapParamError);
    EXPECT_EQ(wireSearch({"dc=b", LdapScope::base, "a=b)", {}, {}, 0}).error().text, L"Filter Error");
    EXPECT_EQ(wireEntry({"cn=a", {{"b\0"s, {"c"}}}}).error().code, ldapParamError);
    EXPECT_EQ(checkModifications({{LdapModify::add, "", {"c"}}}).error().code, ldapParamError);
    LdapEndpoint endpoint;
    endpoint.port = 0;
    EXPECT_EQ(checkEndpoint(endpoint).error().code, ldapParamError);
}

}  // namespace
}  // namespace wsadmin::platform
