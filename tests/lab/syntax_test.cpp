// Values: what is one, and its one spelling.
#include "platform/lab/syntax.h"

#include <gtest/gtest.h>

namespace wsadmin::platform::lab {
namespace {

TEST(Syntax, SidsAndGuids) {
    const std::string binary("\1\1\0\0\0\0\0\5\x12\0\0\0", 12);
    EXPECT_EQ(storedValue(Syntax::sid, "S-1-5-18"), binary);
    EXPECT_EQ(storedValue(Syntax::sid, binary), binary);
    EXPECT_EQ(readableValue(Syntax::sid, binary), "S-1-5-18");
    EXPECT_FALSE(storedValue(Syntax::sid, "S-1-"));

    const std::string guid = "00112233-4455-6677-8899-aabbccddeeff";
    EXPECT_EQ(guidFromText(guid),
              std::string("\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16));
    EXPECT_EQ(guidFromText("{" + guid + "}"), guidFromText(guid));
    EXPECT_EQ(guidToText(guidFromText(guid).value()), guid);
    for (const char* wrong : {"", "00112233445566778899aabbccddeeff", "0011223-34455-6677-8899-aabbccddeeff",
                              "0011223g-4455-6677-8899-aabbccddeeff"})
        EXPECT_FALSE(guidFromText(wrong)) << wrong;
}

TEST(Syntax, ComparesNumbersAsSuchAndTextsWithoutCase) {
    EXPECT_EQ(compareValues(Syntax::integer, "9", "10"), -1);
    EXPECT_EQ(compareValues(Syntax::text, "B", "a"), 1);
}

}  // namespace
}  // namespace wsadmin::platform::lab
