#include "framework/core/corestring.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "framework/core/coreexception.h"

namespace {

using CORE::mstr;
using CORE::wstr;
using Texts = std::vector<std::string>;

// A failure shows readable text.
std::string shown(const wstr& text) {
    return CORE::toUtf8(text);
}
std::string shown(const mstr& text) {
    return text.str();
}
template <class Ch>
Texts shown(const std::vector<CORE::corestring<Ch>>& list) {
    Texts result;
    for (const auto& text : list) result.push_back(shown(text));
    return result;
}

TEST(CoreString, IsMadeOfManyThings) {
    const CORE::coreException bad(L"\u00e4");
    const std::pair<std::string, const char*> cases[] = {
        {shown(wstr(L"text")), "text"},
        {shown(wstr(L"text", 2)), "te"},
        {shown(wstr(L"text", -1)), "text"},
        {shown(wstr(static_cast<const wchar_t*>(nullptr))), ""},
        {shown(wstr(L'c')), "c"},
        {shown(wstr(-42)), "-42"},
        {shown(wstr(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615"},
        {shown(mstr(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808"},
        {shown(wstr(bad)), "\xC3\xA4"},
        {shown(mstr(bad)), "\xC3\xA4"},
        {bad.what(), "\xC3\xA4"},
        {shown(wstr(std::runtime_error("std"))), "std"},
        {shown(wstr() << L"a" << L'b' << 1 << 2U << -3LL << 4ULL << wstr(L"c") << std::wstring(L"d")),
         "ab12-34cd"},
        {shown(L"<" + wstr(L"x") + L">" + wstr(L"y")), "<x>y"},
        {shown(wstr(L"\u20ac").to_mstr()), "\xE2\x82\xAC"},
        {shown(mstr("\xE2\x82\xAC")._tstr(65001)), "\xE2\x82\xAC"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
    const std::string binary("\xFF\0\xFE", 3);
    EXPECT_EQ(mstr(std::string_view(binary)).to_mstr().str(), binary);
    EXPECT_THROW(wstr(L"x").to_mstr(1252), CORE::coreException);
    EXPECT_THROW(mstr("x").to_wstr(1252), CORE::coreException);
}

TEST(CoreString, BufferCanBeWrittenTo) {
    wstr text = L"abc";
    wchar_t* buffer = text.p_upd(5);
    buffer[3] = L'd';
    buffer[4] = L'e';
    EXPECT_EQ(shown(text), "abcde");
    EXPECT_EQ(text.length(), 5);
    EXPECT_EQ(text.p()[5], L'\0');
}

TEST(CoreString, Compares) {
    const wstr text = L"getDomainType";
    EXPECT_EQ(text.compare(L"getDomainType"), 0);
    EXPECT_NE(text.compare(L"GETDOMAINTYPE"), 0);
    EXPECT_EQ(text.comparei(L"GETDOMAINTYPE"), 0);
    EXPECT_NE(text.comparei(L"getDomain"), 0);
    EXPECT_EQ(text.comparei(L"GETdomainX", 9), 0);
    EXPECT_EQ(text.compare(L"getX", 3), 0);
    EXPECT_NE(text.compare(L"get", 4), 0);
    EXPECT_EQ(text.compare(L"anything", 0), 0);
    EXPECT_EQ(mstr("\xC3\xA4").comparei("\xC3\x84"), 0);
    EXPECT_TRUE(text == L"getDomainType" && text == std::wstring(L"getDomainType") && text != L"x");
    EXPECT_TRUE(L"getDomainType" == text && wstr() == static_cast<const wchar_t*>(nullptr));
    EXPECT_TRUE(wstr(L"a") < wstr(L"b") && !(wstr(L"b") < wstr(L"a")));
}

TEST(CoreString, Finds) {
    const wstr text = L"cn=A,CN=B,cn=\u00c4";
    EXPECT_EQ(text.find(L"cn="), 0U);
    EXPECT_EQ(text.find(L"cn=", 1), 10U);
    EXPECT_EQ(text.findi(L"Cn=", 1), 5U);
    EXPECT_EQ(text.findi(L"CN=\u00e4"), 10U);
    EXPECT_EQ(text.findr(L"cn="), 10U);
    EXPECT_EQ(text.find(L"x"), wstr::npos);
    EXPECT_EQ(text.findi(L"cn=\u00c4,"), wstr::npos);
    EXPECT_EQ(text.findi(L"c", 99), wstr::npos);
    EXPECT_EQ(text.findi(L"", 3), 3U);
    EXPECT_EQ(text.find_first_not_of(L"cn="), 3U);
    // Other letters than ASCII, also of two units.
    EXPECT_EQ(wstr(L"x\u2C65\U0001F600y\u00e4").findi(L"\u023A\U0001F600Y\u00c4"), 1U);
}

TEST(CoreString, Edits) {
    wstr text = L"a-b-c";
    EXPECT_EQ(text.findAndReplace(L'-', L'+'), 2);
    EXPECT_EQ(text.findAndReplace(L"+", L"::"), 2);
    EXPECT_EQ(shown(text), "a::b::c");
    EXPECT_EQ(text.findAndReplace(L"::", L":::"), 2);  // what was put in is not looked at again
    EXPECT_EQ(shown(text), "a:::b:::c");
    EXPECT_EQ(text.findAndReplace(L"", L"x") + text.findAndReplace(L"zz", L""), 0);
    EXPECT_EQ(text.findAndReplace(L":::", L""), 2);
    EXPECT_EQ(shown(text), "abc");
    EXPECT_EQ(
        shown(std::vector{text.substr(1), text.substr(1, 1), text.substr(3), text.substr(99), text.left(2)}),
        (Texts{"bc", "b", "", "", "ab"}));
    EXPECT_EQ(shown(text.replace(1, 1, L"XY")), "aXYc");
    EXPECT_EQ(shown(text.replace(99, 1, L"no")), "aXYc");
    EXPECT_EQ(shown(text.append(L"!")), "aXYc!");
    EXPECT_EQ(shown(wstr(L" \t x y\r\n").trim(L" \t\r\n")), "x y");
    EXPECT_EQ(shown(wstr(L" \t ").trim(L" \t\r\n")), "");
    EXPECT_EQ(shown(wstr(L"\u00c4\u03a3\u0130 B").toLower()), "\xC3\xA4\xCF\x83\xC4\xB0 b");
    EXPECT_EQ(shown(mstr("\xC3\x84 B").toLower()), "\xC3\xA4 b");
    EXPECT_EQ(shown(wstr(L"/opt/ws.d/plain").dropSuffix()), "/opt/ws.d/plain");
    EXPECT_EQ(shown(mstr("x;y").split(';')), (Texts{"x", "y"}));
}

}  // namespace
