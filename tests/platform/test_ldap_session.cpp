#include <gtest/gtest.h>

#include "platform/ldap/ldap_text.h"
#include "platform/ldap_session.h"

namespace wsadmin::platform {
namespace {

using namespace std::string_literals;

TEST(LdapText, CodesReadAsThePlatformWordsThem) {
    const struct {
        int code;
        const wchar_t* text;
    } rows[] = {{0, L"Success"},
                {ldapNoSuchObject, L"No Such Object"},
                {ldapUnwillingToPerform, L"Unwilling To Perform"},
                {ldapAlreadyExists, L"Already Exists"},
                {ldapServerDown, L"Server Down"},
                {ldapReferralLimitExceeded, L"Referral hop limit exceeded"},
                {15, L""},
                {-1, L""},
                {98, L""}};
    for (const auto& row : rows) EXPECT_EQ(ldapErrorText(row.code), row.text) << row.code;
    EXPECT_EQ(ldapFailure(ldapInvalidCredentials).code, 49);
    EXPECT_EQ(ldapFailure(ldapInvalidCredentials).text, L"Invalid Credentials");
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
