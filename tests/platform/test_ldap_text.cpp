// Texts of LDAP and values of directories that are no rows of data: types, sizes, and what libraries must not
// cut off.
#include <gtest/gtest.h>

#include "platform/directory_services.h"
#include "platform/ldap/ldap_ranges.h"
#include "platform/ldap/ldap_request.h"
#include "platform/ldap/ldap_text.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

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

TEST(DirectoryValue, HasItsCodesAndItsText) {
    const struct {
        DirectoryValue value;
        int adsType, variantType;
        const char* text;
    } table[] = {
        {std::string("x"), 3, 8, "x"},
        {std::int32_t{-7}, 7, 3, "-7"},
        {std::int64_t{9223372036854775807}, 10, 9, "9223372036854775807"},
        {true, 6, 11, "TRUE"},
        {false, 6, 11, "FALSE"},
        {DirectoryTime{1425213045}, 9, 7, "20150301123045.0Z"},
        {DirectoryTime{-1}, 9, 7, "19691231235959.0Z"},
        {DirectoryBytes{"\x01\xff"}, 8, 8209, "\x01\xff"},
        {DirectoryName{"cn=x"}, 1, 8, "cn=x"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(adsTypeCode(row.value), row.adsType) << row.text;
        EXPECT_EQ(variantTypeCode(row.value), row.variantType) << row.text;
        EXPECT_EQ(directoryText(row.value), row.text);
    }
}

}  // namespace
}  // namespace wsadmin::platform
