// Strings of the framework, beyond what rows.jsonl says of them, and what they ask of the machine.
#include <gtest/gtest.h>

#include <asio/ip/host_name.hpp>
#include <cstdlib>
#include <limits>
#include <regex>
#include <set>
#include <stdexcept>

#include "framework/core/coreexception.h"
#include "framework/core/corestring.h"

namespace {

using CORE::foldCase;
using CORE::formatText;
using CORE::lowerCase;
using CORE::mstr;
using CORE::toUtf8;
using CORE::wstr;

TEST(Unicode, WhatIsNoTextStaysDifferent) {
    const auto high = static_cast<wchar_t>(0xD83D), low = static_cast<wchar_t>(0xDE00);
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(toUtf8(std::wstring{L'a', high}), "a" + replacement);
    EXPECT_EQ(toUtf8(std::wstring{high, L'a'}), replacement + "a");
    EXPECT_EQ(toUtf8(std::wstring{low, high}), replacement + replacement);
    EXPECT_NE(CORE::compareFolded("\xFE", "\xFF"), 0);
    EXPECT_NE(CORE::compareFolded("\xFF", replacement), 0);
    EXPECT_EQ(CORE::compareFolded("x\xFFY", "X\xFFy"), 0);
}

// Dotted and dotless i, the long s and the Kelvin sign must not meet the ASCII letters.
TEST(Unicode, CaseFoldsWhateverTheLocaleAndNothingIntoAscii) {
    for (const wchar_t* pair : {L"aA", L"zZ", L"\u00e4\u00c4", L"\u0161\u0160", L"\u03c3\u03a3",
                                L"\u0436\u0416", L"\u00ff\u0178"}) {
        EXPECT_EQ(foldCase(pair[0]), foldCase(pair[1])) << toUtf8(pair);
        EXPECT_EQ(lowerCase(pair[1]), pair[0]);
        EXPECT_EQ(lowerCase(pair[0]), pair[0]);
    }
    for (const wchar_t c : std::wstring_view(L"@[`{0\u00df\u00f7\u00b5\u03c2\u4e2d\uFFFF"))
        EXPECT_EQ(foldCase(c), c) << static_cast<unsigned>(c);
    for (unsigned code = 0x80; code <= 0xFFFF; ++code) {
        const auto c = static_cast<wchar_t>(code);
        ASSERT_GE(static_cast<unsigned>(foldCase(c)) & 0xFFFFU, 0x80U) << code;
        ASSERT_GE(static_cast<unsigned>(lowerCase(c)) & 0xFFFFU, 0x80U) << code;
    }
}

TEST(Format, ConvertsEachArgumentByItsOwnType) {
    enum class Colour : unsigned char { red = 7 };
    const mstr narrow = "n\xC3\xA4rrow";
    const long long big = 0x1234567890;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that is printed, never followed
    const auto* address = reinterpret_cast<const void*>(std::uintptr_t{0xABCDEF});
    const std::pair<std::wstring, const wchar_t*> cases[] = {
        {formatText(L"%s %ws %S", narrow, narrow, narrow), L"n\u00e4rrow n\u00e4rrow n\u00e4rrow"},
        {formatText(L"%s|%s|%s", std::wstring(L"owned"), L"literal", "bytes"), L"owned|literal|bytes"},
        {formatText(L"%s %s", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)),
         L"(null) (null)"},
        {formatText(L"%d %ld %lld", big, big, big), L"78187493520 78187493520 78187493520"},
        {formatText(L"%llu", std::numeric_limits<std::uint64_t>::max()), L"18446744073709551615"},
        {formatText(L"%d", std::numeric_limits<std::int64_t>::min()), L"-9223372036854775808"},
        {formatText(L"%x %x", -1LL, static_cast<signed char>(-1)), L"ffffffffffffffff ff"},
        {formatText(L"%08lx %d", 0x8007052eU, 0xFFFFFFFFU), L"8007052e -1"},
        {formatText(L"%d %d", true, Colour::red), L"1 7"},
        {formatText(L"%c%c[%3c][%-3c]", 'a', L'\u00e4', 'x', 'y'), L"a\u00e4[  x][y  ]"},
        {formatText(L"0x%x %p 0x%x", address, address, nullptr), L"0xabcdef 0000000000ABCDEF 0x0"},
        {formatText(L"%s %c", address, address), L"0000000000ABCDEF 0000000000ABCDEF"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
    // An absurd width costs a bounded field.
    for (const wchar_t* format : {L"%999999999999999999999d", L"%-99999999d", L"%099999999d", L"%99999999s"})
        EXPECT_EQ(formatText(format, 1).size(), 1024U) << toUtf8(format);
}

TEST(CoreString, IsMadeOfManyThings) {
    const CORE::coreException bad(L"\u00e4");
    const std::pair<wstr, const wchar_t*> cases[] = {
        {wstr(L"text", 2), L"te"},
        {wstr(L"text", 0), L""},
        {wstr(L"text", -1), L"text"},
        {static_cast<const wchar_t*>(nullptr), L""},
        {wstr(std::numeric_limits<std::uint64_t>::max()), L"18446744073709551615"},
        {mstr(std::numeric_limits<std::int64_t>::min()).to_wstr(), L"-9223372036854775808"},
        {wstr(bad), L"\u00e4"},
        {mstr(bad)._wstr(), L"\u00e4"},
        {mstr(bad.what())._tstr(65001), L"\u00e4"},
        {wstr(std::runtime_error("std")), L"std"},
        {wstr(-42) << L"a" << L'b' << 1 << 2U << -3LL << 4ULL << wstr(L'c') << std::wstring(L"d"),
         L"-42ab12-34cd"},
        {L"<" + wstr(L"x") + L">" + wstr(L"y"), L"<x>y"},
        {wstr(L"a").printf(L"%s-%s", L"b", wstr(L"c")), L"b-c"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected) << toUtf8(text);
    wstr own = L"a";
    EXPECT_EQ(own.printf(L"%s-%s", own, own), L"a-a") << "the old text is among the arguments";
    const std::string binary("\xFF\0\xFE", 3);
    EXPECT_EQ(mstr(std::string_view(binary)).to_mstr().str(), binary);
    EXPECT_THROW(wstr(L"x").to_mstr(1252), CORE::coreException);
    EXPECT_THROW(mstr("x").to_wstr(1252), CORE::coreException);
}

TEST(CoreString, ComparesAndFinds) {
    const wstr text = L"getDomainType", name = L"cn=A,CN=B,cn=\u00c4";
    EXPECT_TRUE(text == L"getDomainType" && text == std::wstring(L"getDomainType") && text != L"x");
    EXPECT_TRUE(L"getDomainType" == text && wstr() == static_cast<const wchar_t*>(nullptr));
    EXPECT_TRUE(wstr(L"a") < wstr(L"b") && !(wstr(L"b") < wstr(L"a")));
    for (const int differs :
         {text.compare(L"GETDOMAINTYPE"), text.comparei(L"getDomain"), text.compare(L"get", 4)})
        EXPECT_NE(differs, 0);
    const std::vector<int> same = {text.compare(L"getDomainType"), text.comparei(L"GETdomainX", 9),
                                   text.compare(L"getX", 3), text.compare(L"anything", 0),
                                   mstr("\xC3\xA4").comparei("\xC3\x84")};
    EXPECT_EQ(same, std::vector<int>(5));
    const std::vector<std::size_t> found = {name.find(L"cn="),        name.find(L"cn=", 1),
                                            name.findi(L"Cn=", 1),    name.findr(L"cn="),
                                            name.findi(L"CN=\u00e4"), name.findi(L"", 3),
                                            name.find(L"x"),          name.findi(L"cn=\u00c4,"),
                                            name.findi(L"c", 99),     name.find_first_not_of(L"cn=")};
    const std::vector<std::size_t> expected = {0, 10, 5, 10, 10, 3, wstr::npos, wstr::npos, wstr::npos, 3};
    EXPECT_EQ(found, expected);
    // Other letters than ASCII, also of two units.
    EXPECT_EQ(wstr(L"x\u2C65\U0001F600y\u00e4").findi(L"\u023A\U0001F600Y\u00c4"), 1U);
}

TEST(CoreString, Edits) {
    wstr text = L"a-b-c";
    EXPECT_EQ(text.findAndReplace(L'-', L'+'), 2);
    EXPECT_EQ(text.findAndReplace(L"+", L"::"), 2);
    EXPECT_EQ(text.findAndReplace(L"::", L":::"), 2);  // what was put in is not looked at again
    EXPECT_EQ(text, L"a:::b:::c");
    EXPECT_EQ(text.findAndReplace(L"", L"x") + text.findAndReplace(L"zz", L""), 0);
    EXPECT_EQ(text.findAndReplace(L":::", L""), 2);
    EXPECT_EQ(text, L"abc");
    EXPECT_EQ(text.substr(1) << L'|' << text.substr(1, 1) << L'|' << text.substr(99) << text.left(2),
              L"bc|b|ab");
    EXPECT_EQ(text.replace(1, 1, L"XY").replace(99, 1, L"no").append(L"!"), L"aXYc!");
    EXPECT_EQ(wstr(L" \t x y\r\n").trim(L" \t\r\n"), L"x y");
    EXPECT_EQ(wstr(L" \t ").trim(L" \t\r\n"), L"");
    EXPECT_EQ(wstr(L"\u00c4\u03a3\u0130 B").toLower(), L"\u00e4\u03c3\u0130 b");
    EXPECT_EQ(mstr("\xC3\x84 B").toLower(), "\xC3\xA4 b");
    EXPECT_EQ(wstr(L"/opt/ws.d/plain").dropSuffix(), L"/opt/ws.d/plain");
    EXPECT_EQ(mstr("x;y").split(';').at(1), "y");
    wchar_t* buffer = text.p_upd(6);
    buffer[5] = L'?';
    EXPECT_EQ(text, L"aXYc!?");
    EXPECT_EQ(text.p()[6], L'\0');
}

TEST(MachineText, GuidsAreDifferentAndWellFormed) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string guid = toUtf8(wstr::newGuid());
        EXPECT_TRUE(std::regex_match(guid, form) && seen.insert(guid).second) << guid;
    }
}

TEST(MachineText, NamesOfThisMachineAndItsProgram) {
    const wstr netBios = wstr::getComputerName(), host = CORE::toWide(asio::ip::host_name());
    EXPECT_TRUE(netBios == wstr::getComputerNameEx(CORE::ComputerNameFormat::netBios));
    EXPECT_FALSE(netBios.empty());
    EXPECT_LE(netBios.length(), 15);
    EXPECT_EQ(netBios.find(L"."), wstr::npos);
    EXPECT_EQ(host.comparei(netBios, netBios.length()), 0) << toUtf8(host) << " " << toUtf8(netBios);
    EXPECT_FALSE(wstr::getComputerNameEx(CORE::ComputerNameFormat::dnsFullyQualified).empty());
    const wstr program = wstr::getModuleName(nullptr);
    EXPECT_EQ(program.lastPath().dropSuffix(), L"test_core");
    EXPECT_NE(program.findr(program.lastPath()), 0U) << "a full path";
}

TEST(MachineText, OfErrorsIsOneLineAndOfMissingRegistryValuesTheDefault) {
    for (const std::uint32_t code : {2U, 5U, 0x7FFFFFF0U}) {
        const std::string text = toUtf8(wstr::formatError(code));
        EXPECT_GT(text.size(), 5U) << code;
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << code;
    }
    EXPECT_EQ(wstr::errorText(0x7FFFFFF0U), L"Unknown error 2147483632");
    for (const wchar_t* key : {L"HKLM\\Software\\Nobody\\Nothing", L"HKXX\\Software", L"", L"HKLM"}) {
        EXPECT_EQ(wstr::readRegistry(key, L"none", L"default"), L"default") << toUtf8(key);
        EXPECT_EQ(wstr::readRegistryPolicyOverride(key, L"none", L"default"), L"default");
    }
}

#if defined(_WIN32)
TEST(MachineText, RegistryValuesAndTheirPolicies) {
    const struct {
        const char *place, *added;
        const wchar_t *name, *text;
    } rows[] = {{"", "Text /d plain", L"text", L"plain"},
                {"", "Number /t REG_DWORD /d 4000000000", L"Number", L"4000000000"},
                {"", "Bytes /t REG_BINARY /d 00ff1a", L"Bytes", L"00ff1a"},
                {"", "Lines /t REG_MULTI_SZ /d one\\0two", L"Lines", L"one\ntwo"},
                {"Policies\\", "Text /d policy", L"Text", L"plain"}};
    for (const auto& [place, added, name, text] : rows) {
        const std::string command = std::string("reg add \"HKCU\\Software\\") + place +
                                    "WsAdminTest\\Core\" /f /v " + added + " > NUL";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        EXPECT_EQ(wstr::readRegistry(L"HKEY_CURRENT_USER\\SOFTWARE\\wsadmintest\\core", name), text);
    }
    const wchar_t* key = L"HKCU\\Software\\WsAdminTest\\Core";
    EXPECT_EQ(wstr::readRegistryPolicyOverride(key, L"Text"), L"policy");
    EXPECT_EQ(wstr::readRegistryPolicyOverride(key, L"Bytes"), L"00ff1a");
}
#endif

}  // namespace
