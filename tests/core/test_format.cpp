#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "framework/core/corestring.h"
#include "framework/core/format.h"

namespace {

using CORE::FormatArg;
using CORE::formatText;
using CORE::toUtf8;

struct Case {
    const wchar_t* format;
    std::vector<FormatArg> args;
    const wchar_t* expected;
};

void expectAll(const std::vector<Case>& cases) {
    for (const Case& c : cases)
        EXPECT_EQ(toUtf8(formatText(c.format, std::span<const FormatArg>(c.args))), toUtf8(c.expected))
            << toUtf8(c.format);
}

TEST(Format, TextOfEitherWidth) {
    const std::wstring owned = L"owned";
    const CORE::wstr wide = L"wide";
    const CORE::mstr narrow = "n\xC3\xA4rrow";
    expectAll({
        {L"plain", {}, L"plain"},
        {L"%s %ws %ls %S %hs", {wide, wide, wide, wide, wide}, L"wide wide wide wide wide"},
        {L"%s %ws %ls %S %hs",
         {narrow, narrow, narrow, narrow, narrow},
         L"n\u00e4rrow n\u00e4rrow n\u00e4rrow n\u00e4rrow n\u00e4rrow"},
        {L"%s|%s|%s", {owned, L"literal", "bytes"}, L"owned|literal|bytes"},
        {L"[%8s][%-8s][%.2s][%6.3s]", {wide, wide, wide, wide}, L"[    wide][wide    ][wi][   wid]"},
        {L"[%*s][%-*s][%*s]", {6, L"a", 6, L"b", -6, L"c"}, L"[     a][b     ][c     ]"},
        {L"[%.*s][%.*s]", {2, L"abc", -1, L"abc"}, L"[ab][abc]"},
        {L"%s %s",
         {static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)},
         L"(null) (null)"},
        {L"100%%", {}, L"100%"},
    });
}

TEST(Format, Integers) {
    enum class Colour : unsigned char { red = 7 };
    const long long big = 0x1234567890;
    expectAll({
        {L"%d %i %u %d", {-5, 6, 7U, -8LL}, L"-5 6 7 -8"},
        {L"%d %ld %lld %I64d %zu",
         {big, big, big, big, big},
         L"78187493520 78187493520 78187493520 78187493520 78187493520"},
        {L"%I64u", {std::numeric_limits<std::uint64_t>::max()}, L"18446744073709551615"},
        {L"%d", {std::numeric_limits<std::int64_t>::min()}, L"-9223372036854775808"},
        {L"%08lx %08X %x", {0x8007052eU, 0xabcU, 255}, L"8007052e 00000ABC ff"},
        {L"%x %x %hx %hhx", {-1, -1LL, -1, -1}, L"ffffffff ffffffffffffffff ffff ff"},
        {L"%u %d", {-1, 0xFFFFFFFFU}, L"4294967295 -1"},
        {L"%hd", {0x18000}, L"-32768"},
        {L"[%5d][%-5d][%05d][%+d][% d]", {42, 42, -42, 42, 42}, L"[   42][42   ][-0042][+42][ 42]"},
        {L"[%.3d][%06.3d][%.0d]", {7, 7, 0}, L"[007][   007][]"},
        {L"%#x %#X %#o %#x", {255, 255, 8, 0}, L"0xff 0XFF 010 0"},
        {L"[%#010x]", {255}, L"[0x000000ff]"},
        {L"%o", {8}, L"10"},
        {L"%04d%02d%02d", {2024, 3, 9}, L"20240309"},
        {L"%d %d", {true, Colour::red}, L"1 7"},
    });
}

TEST(Format, CharactersPointersAndFloats) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that is printed, never followed
    const auto* address = reinterpret_cast<const void*>(std::uintptr_t{0xABCDEF});
    expectAll({
        {L"%c%c%C[%3c][%-3c]", {'a', L'\u00e4', 66, 'x', 'y'}, L"a\u00e4B[  x][y  ]"},
        {L"%c", {0x1F600}, L"\U0001F600"},
        {L"%c", {0x110000}, L"\uFFFD"},
        {L"0x%x", {address}, L"0xabcdef"},
        {L"%p|%s", {address, address}, L"0000000000ABCDEF|0000000000ABCDEF"},
        {L"0x%x", {nullptr}, L"0x0"},
        {L"%f %.2f %e %g %G",
         {1.5, -2.345, 12345.678, 0.0001, 1e20},
         L"1.500000 -2.35 1.234568e+04 0.0001 1E+20"},
        {L"[%8.1f][%-8.1f][%08.1f][%+.0f]", {-1.25, 1.25, -1.25, 3.0}, L"[    -1.2][1.2     ][-00001.2][+3]"},
        {L"%f %05g", {std::numeric_limits<double>::infinity(), std::nan("")}, L"inf   nan"},
    });
}

TEST(Format, MismatchesPrintWhatIsThere) {
    expectAll({
        {L"%d %x %c %p", {L"text", "bytes", L"more", L"x"}, L"text bytes more x"},
        {L"%s %S", {42, -7}, L"42 -7"},
        {L"[%5s][%-5s]", {42, 42}, L"[   42][42   ]"},
        {L"%d %s", {2.5, 2.5}, L"2.5 2.5"},
        {L"%.1f", {3}, L"3.0"},
        {L"%s and %s", {L"one"}, L"one and %s"},
        {L"%d %08lx", {}, L"%d %08lx"},
        {L"%s", {L"one", L"spare"}, L"one"},
        {L"%", {}, L"%"},
        {L"100% %s", {L"sure"}, L"100% sure"},
        {L"%y %n %1$s %-", {L"kept"}, L"%y %n %1$s %-"},
        {L"%*d", {}, L"%*d"},
        {L"[%*d]", {L"no number", 5}, L"[5]"},
        {L"%5%%s", {L"x"}, L"%5%s"},
        {L"%lls", {L"x"}, L"x"},
        {L"[%2d][%s][%x]", {FormatArg(), FormatArg(), FormatArg()}, L"[  ][][]"},
    });
}

// An absurd width costs a bounded field, not the memory that it names.
TEST(Format, FieldsAreBounded) {
    for (const wchar_t* format : {L"%999999999999999999999d", L"%-99999999d", L"%099999999d", L"%.99999999d",
                                  L"%99999999s", L"%.99999999f", L"%99999999.99999999e", L"%99999999c"}) {
        const std::wstring text = formatText(format, 1);
        EXPECT_GE(text.size(), 1000U) << toUtf8(format);
        EXPECT_LE(text.size(), 2048U) << toUtf8(format);
    }
    EXPECT_LE(formatText(L"%*d", std::numeric_limits<std::int64_t>::min(), 1).size(), 2048U);
    EXPECT_LE(formatText(L"%.*f", std::numeric_limits<int>::max(), std::numeric_limits<double>::max()).size(),
              2048U);
}

// Whatever the format and the arguments: no crash, bounded output, and the text around the conversions
// survives.
TEST(Format, RandomFormatsAndArguments) {
    std::mt19937 random(20240601);
    const std::wstring alphabet = L"%%%%-+ #0123456789.*hlIwzLdiuxXocCpsSfFeEgGny$%";
    const std::vector<FormatArg> values = {1,
                                           -1,
                                           0xFFFFFFFFU,
                                           std::numeric_limits<std::int64_t>::min(),
                                           'c',
                                           L'w',
                                           1e308,
                                           std::nan(""),
                                           L"wide",
                                           "narrow\xFF",
                                           nullptr,
                                           std::wstring_view(L"a\0b", 3),
                                           std::string_view(),
                                           true,
                                           FormatArg()};
    const auto pick = [&](std::size_t below) {
        return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
    };
    for (int round = 0; round < 50000; ++round) {
        std::wstring format = L"<";
        for (std::size_t i = pick(12); i > 0; --i) format.push_back(alphabet[pick(alphabet.size())]);
        format += L" >";
        std::vector<FormatArg> args;
        for (std::size_t i = pick(5); i > 0; --i) args.push_back(values[pick(values.size())]);
        const std::wstring text = formatText(format, std::span<const FormatArg>(args));
        ASSERT_EQ(text.front(), L'<') << toUtf8(format);
        ASSERT_EQ(text.back(), L'>') << toUtf8(format);
        ASSERT_LT(text.size(), 8192U) << toUtf8(format);
    }
}

// printf of a string whose old text is among the arguments.
TEST(Format, StringsFormatThemselves) {
    CORE::wstr wide = L"a";
    wide.printf(L"%s-%s", wide, wide);
    EXPECT_TRUE(wide == L"a-a");
    CORE::mstr narrow;
    narrow.printf("%s=%d \xC3\xA4", L"\u20ac", 5);
    EXPECT_EQ(narrow.str(), "\xE2\x82\xAC=5 \xC3\xA4");
}

}  // namespace
