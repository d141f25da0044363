#include <gtest/gtest.h>

#include "framework/core/corestring.h"

namespace {

using CORE::compareFolded;
using CORE::foldCase;
using CORE::lowerCase;
using CORE::toUtf8;

TEST(Unicode, HalvesOfCharactersBecomeReplacementCharacters) {
    const auto high = static_cast<wchar_t>(0xD83D), low = static_cast<wchar_t>(0xDE00);
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(toUtf8(std::wstring{L'a', high}), "a" + replacement);
    EXPECT_EQ(toUtf8(std::wstring{high, L'a'}), replacement + "a");
    EXPECT_EQ(toUtf8(std::wstring{low, high}), replacement + replacement);
}

TEST(Unicode, CaseFoldsWhateverTheLocale) {
    const std::pair<wchar_t, wchar_t> pairs[] = {
        {L'a', L'A'},           {L'z', L'Z'},           {L'\u00e4', L'\u00c4'}, {L'\u0161', L'\u0160'},
        {L'\u03c3', L'\u03a3'}, {L'\u0436', L'\u0416'}, {L'\u00ff', L'\u0178'}};
    for (const auto& [lower, upper] : pairs) {
        EXPECT_EQ(foldCase(lower), foldCase(upper)) << static_cast<unsigned>(lower);
        EXPECT_EQ(lowerCase(upper), lower);
        EXPECT_EQ(lowerCase(lower), lower);
    }
    for (const wchar_t c :
         {L'@', L'[', L'`', L'{', L'0', L'\u00df', L'\u00f7', L'\u00b5', L'\u03c2', L'\u4e2d', L'\uFFFF'})
        EXPECT_EQ(foldCase(c), c) << static_cast<unsigned>(c);
}

// Dotted and dotless i, the long s and the Kelvin sign must not meet the ASCII letters.
TEST(Unicode, NothingFoldsIntoAscii) {
    for (unsigned code = 0x80; code <= 0xFFFF; ++code) {
        const auto c = static_cast<wchar_t>(code);
        ASSERT_GE(static_cast<unsigned>(foldCase(c)) & 0xFFFFU, 0x80U) << code;
        ASSERT_GE(static_cast<unsigned>(lowerCase(c)) & 0xFFFFU, 0x80U) << code;
    }
}

// Of names that are no text, too.
TEST(Unicode, BytesThatAreNotTextDiffer) {
    EXPECT_NE(compareFolded("\xFE", "\xFF"), 0);
    EXPECT_NE(compareFolded("\xFF", "\xEF\xBF\xBD"), 0);
    EXPECT_EQ(compareFolded("x\xFFY", "X\xFFy"), 0);
}

}  // namespace
