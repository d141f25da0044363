// Texts of LDAP that are no rows of data: any bytes, sizes, and what libraries must not cut off.
#include <gtest/gtest.h>

#include "platform/ldap/ldap_text.h"
#include "platform/ldap/sid.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

TEST(Sid, IsReadFromItsBytesOnly) {
    const std::string system("\1\1\0\0\0\0\0\5\x12\0\0\0", 12);
    EXPECT_EQ(Sid::parse(L"s-1-5-18").value().bytes(), system);
    for (const std::string& wrong : {std::string(), system.substr(0, 11), system + '\0', std::string(8, '\2'),
                                     std::string("\1\x10", 2) + std::string(70, '\0')})
        EXPECT_FALSE(Sid::fromBytes(wrong)) << wrong.size();
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
          repeated(300'000, "(&"), repeated(300'000, "(|(a=b)")}) {
        const auto filter = parseFilter(text);
        ASSERT_FALSE(filter);
        EXPECT_EQ(filter.error().code, ldapFilterError);
    }
}

TEST(Filter, KeepsValuesApartFromSyntax) {
    for (const std::string& value : {"*)(cn=*"s, "a\\b"s, "\0\xff"s, "J\xc3\xb6rg"s, " blank "s}) {
        const auto filter = parseFilter("(a=" + escapeFilterValue(value) + ")");
        ASSERT_TRUE(filter) << value;
        EXPECT_EQ(filter->kind, Filter::Kind::equal);
        EXPECT_EQ(filter->value, value);
    }
    const auto pieces = parseFilter("(a=*\\2a*b*)");
    ASSERT_TRUE(pieces);
    EXPECT_EQ(pieces->fragments, (std::vector<std::string>{"", "*", "b", ""}));
}

TEST(LdapEntry, FindsAttributesWithoutRegardToCase) {
    const LdapEntry entry{"cn=a", {{"member;range=0-1", {"x", "y"}}, {"cn", {"a"}}, {"empty", {}}}};
    EXPECT_EQ(entry.first("CN"), "a");
    EXPECT_EQ(entry.first("empty"), "");
    EXPECT_EQ(entry.first("absent"), "");
    EXPECT_EQ(entry.all("Member;Range=0-1").size(), 2u);
    EXPECT_TRUE(entry.all("member").empty());
    EXPECT_EQ(entry.find("c"), nullptr);
}

TEST(PageControl, EncodesTheStandardForm) {
    EXPECT_EQ(encodePageControl({250, ""}), "\x30\x06\x02\x02\x00\xfa\x04\x00"s);
    EXPECT_EQ(encodePageControl({0, "c"}), "\x30\x06\x02\x01\x00\x04\x01\x63"s);
    EXPECT_EQ(encodePageControl({-5, ""}), encodePageControl({0, ""}));
}

TEST(PageControl, ComesBackWhole) {
    for (const int size : {0, 1, 127, 128, 250, 32768, 2147483647}) {
        for (const std::size_t length : {0u, 1u, 127u, 128u, 300u, 70000u}) {
            const auto page = decodePageControl(encodePageControl({size, std::string(length, '\xff')}));
            ASSERT_TRUE(page) << size << " " << length;
            EXPECT_EQ(page->size, size);
            EXPECT_EQ(page->cookie.size(), length);
        }
    }
}

TEST(PageControl, RefusesBrokenBytes) {
    const std::string whole = encodePageControl({250, "cookie"});
    for (std::size_t cut = 0; cut < whole.size(); ++cut)
        EXPECT_FALSE(decodePageControl(whole.substr(0, cut))) << cut;
    for (const std::string& bytes :
         {whole + "x", "\x30\x04\x02\x00\x04\x00"s, "\x30\x05\x02\x01\xff\x04\x00"s,
          "\x30\x09\x02\x05\x01\x00\x00\x00\x00\x04\x00"s, "\x30\x80\x02\x01\x00\x04\x00"s,
          "\x30\x84\xff\xff\xff\xff\x02\x01\x00"s, "\x30\x06\x02\x01\x00\x04\x00\x00"s})
        EXPECT_FALSE(decodePageControl(bytes));
    EXPECT_EQ(decodePageControl("\x30\x84\x00\x00\x00\x05\x02\x01\x00\x04\x00"s).value().size,
              0);  // long lengths
}

}  // namespace
}  // namespace wsadmin::platform
