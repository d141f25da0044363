#include <gtest/gtest.h>

#include "platform/ldap/sid.h"

namespace wsadmin::platform {
namespace {

TEST(Sid, TextAndBytesMeanTheSame) {
    for (const char* text : {"S-1-0", "S-1-5-18", "S-1-5-21-1-2-4294967295-1103", "S-1-0xffffffffffff-1",
                             "S-1-4294967295", "S-1-0x000100000000-1"}) {
        const auto sid = Sid::parse(text);
        ASSERT_TRUE(sid) << text;
        EXPECT_EQ(sid->text(), text);
        EXPECT_EQ(Sid::fromBytes(sid->bytes()), sid);
    }
    EXPECT_EQ(Sid::parse(L"s-1-5-18").value().bytes(), std::string("\1\1\0\0\0\0\0\5\x12\0\0\0", 12));
    EXPECT_EQ(Sid::parse("S-1-0XFF-1").value().text(), "S-1-255-1");
}

TEST(Sid, NothingElseIsOne) {
    for (const char* wrong :
         {"", "S", "S-1", "S-1-", "S-2-5-18", "S-1-5-", "S-1-5-4294967296", "S-1-281474976710656", "S-1-5--1",
          "S-1-5-x", "S-1-5-18 ", " S-1-5-18", "S-1-5-18)(cn=*", "S-1-0x", "S-1-0x1000000000000",
          "S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"})
        EXPECT_FALSE(Sid::parse(wrong)) << wrong;
    const std::string system("\1\1\0\0\0\0\0\5\x12\0\0\0", 12);
    for (const std::string& wrong : {std::string(), system.substr(0, 11), system + '\0', std::string(8, '\2'),
                                     std::string("\1\x10", 2) + std::string(70, '\0')})
        EXPECT_FALSE(Sid::fromBytes(wrong)) << wrong.size();
}

TEST(Sid, TheDomainOfAnAccountIsAllButItsLastPart) {
    EXPECT_EQ(Sid::parse("S-1-5-21-1-2-3-1103").value().domain().text(), "S-1-5-21-1-2-3");
    EXPECT_EQ(Sid::parse("S-1-5").value().domain().text(), "S-1-5");
}

}  // namespace
}  // namespace wsadmin::platform
