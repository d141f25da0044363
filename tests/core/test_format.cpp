#include "framework/core/format.h"

#include <gtest/gtest.h>

#include <limits>

#include "framework/core/corestring.h"

namespace {

using CORE::FormatArg;
using CORE::formatText;
using CORE::toUtf8;

TEST(Format, ConvertsEachArgumentByItsOwnType) {
    enum class Colour : unsigned char { red = 7 };
    const std::wstring owned = L"owned";
    const CORE::wstr wide = L"wide";
    const CORE::mstr narrow = "n\xC3\xA4rrow";
    const long long big = 0x1234567890;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that is printed, never followed
    const auto* address = reinterpret_cast<const void*>(std::uintptr_t{0xABCDEF});
    const struct {
        const wchar_t* format;
        std::vector<FormatArg> args;
        const wchar_t* expected;
    } cases[] = {
        // Text.
        {L"plain 100%%", {}, L"plain 100%"},
        {L"%s %ws %ls %S %hs", {wide, wide, wide, wide, wide}, L"wide wide wide wide wide"},
        {L"%s %ws %S", {narrow, narrow, narrow}, L"n\u00e4rrow n\u00e4rrow n\u00e4rrow"},
        {L"%s|%s|%s", {owned, L"literal", "bytes"}, L"owned|literal|bytes"},
        {L"[%8s][%-8s][%08s]", {wide, wide, wide}, L"[    wide][wide    ][    wide]"},
        {L"%s %s",
         {static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)},
         L"(null) (null)"},
        // Numbers, characters, addresses.
        {L"%d %u %d", {-5, 7U, -8LL}, L"-5 7 -8"},
        {L"%d %ld %lld", {big, big, big}, L"78187493520 78187493520 78187493520"},
        {L"%llu", {std::numeric_limits<std::uint64_t>::max()}, L"18446744073709551615"},
        {L"%d", {std::numeric_limits<std::int64_t>::min()}, L"-9223372036854775808"},
        {L"%08lx %08X %x", {0x8007052eU, 0xabcU, 255}, L"8007052e 00000ABC ff"},
        {L"%x %x %x", {-1, -1LL, static_cast<signed char>(-1)}, L"ffffffff ffffffffffffffff ff"},
        {L"%u %d", {-1, 0xFFFFFFFFU}, L"4294967295 -1"},
        {L"[%5d][%-5d][%05d][%-05d]", {42, 42, -42, 42}, L"[   42][42   ][-0042][42   ]"},
        {L"%d %d", {true, Colour::red}, L"1 7"},
        {L"%c%c[%3c][%-3c]", {'a', L'\u00e4', 'x', 'y'}, L"a\u00e4[  x][y  ]"},
        {L"0x%x %p 0x%x", {address, address, nullptr}, L"0xabcdef 0000000000ABCDEF 0x0"},
        // Mismatches print what is there.
        {L"%d %x %c %p", {L"text", "bytes", L"more", L"x"}, L"text bytes more x"},
        {L"%s %S [%5s][%-5s]", {42, -7, 42, 42}, L"42 -7 [   42][42   ]"},
        {L"%s %c", {address, address}, L"0000000000ABCDEF 0000000000ABCDEF"},
        {L"%s and %s", {L"one"}, L"one and %s"},
        {L"%s", {L"one", L"spare"}, L"one"},
        {L"%", {}, L"%"},
        {L"%-08", {}, L"%-08"},
        {L"%l", {}, L"%l"},
        {L"100% %s", {L"sure"}, L"100% sure"},
        {L"%y %n %1$s %.2s %*d %-", {L"kept"}, L"%y %n %1$s %.2s %*d %-"},
        {L"%5%%s", {L"x"}, L"%5%s"},
        {L"%lls", {L"x"}, L"x"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(toUtf8(formatText(c.format, std::span<const FormatArg>(c.args))), toUtf8(c.expected))
            << toUtf8(c.format);
}

// An absurd width costs a bounded field.
TEST(Format, BoundsWidths) {
    for (const wchar_t* format : {L"%999999999999999999999d", L"%-99999999d", L"%099999999d", L"%99999999s"})
        EXPECT_EQ(formatText(format, 1).size(), 1024U) << toUtf8(format);
}

// The string's old text is among the arguments.
TEST(Format, StringsFormatThemselves) {
    CORE::wstr text = L"a";
    text.printf(L"%s-%s", text, text);
    EXPECT_TRUE(text == L"a-a");
}

}  // namespace
