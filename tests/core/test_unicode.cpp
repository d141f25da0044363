#include <gtest/gtest.h>

#include "framework/core/corestring.h"

namespace {

using CORE::compareFolded;
using CORE::foldCase;
using CORE::isValidUtf8;
using CORE::lowerCase;
using CORE::toUtf8;
using CORE::toWide;

TEST(Unicode, Utf8ToWideAndBack) {
    const std::pair<std::string, std::wstring> cases[] = {
        {"", L""},
        {"ASCII \x7F", L"ASCII \x7F"},
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
        {"\xC2\x80\xC3\xA4\xDF\xBF", L"\u0080\u00e4\u07ff"},
        {"\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBD", L"\u0800\u20ac\uFFFD"},
        {"\xED\x9F\xBF\xEE\x80\x80", L"\uD7FF\uE000"},
        {"\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", L"\U00010000\U0001F600\U0010FFFF"},
    };
    for (const auto& [utf8, wide] : cases) {
        EXPECT_EQ(toWide(utf8), wide) << utf8;
        EXPECT_EQ(toUtf8(wide), utf8) << utf8;
        EXPECT_TRUE(isValidUtf8(utf8)) << utf8;
    }
}

TEST(Unicode, WhatIsInvalidBecomesReplacementCharacters) {
    const std::tuple<const char*, std::string, std::wstring> cases[] = {
        {"lone continuation", "a\x80z", L"a\uFFFDz"},
        {"truncated in the middle", "\xE2\x82z", L"\uFFFD\uFFFDz"},
        {"truncated at the end", "z\xF0\x9F\x98", L"z\uFFFD\uFFFD\uFFFD"},
        {"overlong slash", "\xC0\xAF", L"\uFFFD\uFFFD"},
        {"overlong, three bytes", "\xE0\x80\xAF", L"\uFFFD\uFFFD\uFFFD"},
        {"overlong, four bytes", "\xF0\x8F\xBF\xBF", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"surrogate", "\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},
        {"beyond Unicode", "\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"never a lead byte", "\xF8\xFE\xFF", L"\uFFFD\uFFFD\uFFFD"},
        {"text after a broken lead", "\xC3\x41", L"\uFFFDA"},
    };
    for (const auto& [what, utf8, wide] : cases) {
        EXPECT_EQ(toWide(utf8), wide) << what;
        EXPECT_FALSE(isValidUtf8(utf8)) << what;
    }
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
