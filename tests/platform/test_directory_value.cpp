#include <gtest/gtest.h>

#include "platform/directory_services.h"

namespace wsadmin::platform {
namespace {

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
