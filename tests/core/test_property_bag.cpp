// What set, add and merge do to entries is compared with a model (test_property_bag_model.cpp); the rest is
// here.
#include "framework/core/bag_display.h"
#include "framework/core/property_bag.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/core/coreexception.h"

using namespace std::string_view_literals;
using CORE::coreException;
using CORE::PropertyBag;

namespace {

std::wstring shown(const PropertyBag& bag) {
    return bag.flattenForDisplay(L" ").str();
}

PropertyBag bagOf(std::initializer_list<std::pair<std::wstring_view, std::wstring_view>> entries) {
    PropertyBag bag;
    for (const auto& [name, value] : entries) bag.add(name, value);
    return bag;
}

TEST(PropertyBag, AnswersWithTheFallbackWhereNothingFits) {
    PropertyBag bag =
        bagOf({{L"n", L" -42 "}, {L"Yes", L"TRUE"}, {L"zero", L"0"}, {L"text", L"x"}, {L"", L""}});
    bag.addBag(L"bag", PropertyBag());
    bag.setInt(L"set", -7);
    bag.setBool(L"flag", true);
    bag.addBool(L"flag", false);
    EXPECT_EQ(shown(bag), L"n= -42  Yes=TRUE zero=0 text=x = bag={} set=-7 flag=true flag=false");
    EXPECT_EQ(bag.getInt(L"n", 5), -42);
    EXPECT_TRUE(bag.getBool(L"yes"));
    EXPECT_FALSE(bag.getBool(L"zero", true));
    for (const wchar_t* name : {L"text", L"", L"bag", L"missing"}) {
        EXPECT_EQ(bag.getInt(name, 5), 5);
        EXPECT_TRUE(bag.getBool(name, true));
    }
    EXPECT_EQ(bag.get(L"", L"fallback"), L""sv);
    EXPECT_EQ(bag.get(L"bag", L"fallback"), L""sv);
    for (const PropertyBag& each : {bag, PropertyBag()}) {
        std::size_t position = 0;
        EXPECT_EQ(each.get(L"c", L"fallback"), L"fallback"sv);
        EXPECT_EQ(each.get(9).str() + each.getName(9).str(), L"");
        EXPECT_TRUE(each.getBag(L"c").empty() && each.getBag(9).empty());
        EXPECT_EQ(each.getNextBag(L"text", position), nullptr);
    }
}

TEST(PropertyBag, LosesNoCharacterAndNoByte) {
    std::vector<std::wstring> texts = {L"\u00E9\u20AC\uFFFD",
                                       L"\U0001F600",
                                       std::wstring(1, L'\0') + L"x",
                                       {L'a', wchar_t(0xD800), L'b'},
                                       {wchar_t(0xDC00), wchar_t(0xD800)},
                                       {wchar_t(0xFFFF)}};
    if constexpr (sizeof(wchar_t) == 4)
        texts.push_back(
            {wchar_t(0x110000), wchar_t(0x7FFFFFFF), wchar_t(-1), wchar_t(0xD83D), wchar_t(0xDE00)});
    for (const std::wstring& text : texts) {
        PropertyBag bag;
        bag.add(text, text);
        bag.setError(5, text);
        EXPECT_EQ(bag.getName(0).str(), text);
        EXPECT_EQ(bag.get(text).str(), text);
        EXPECT_EQ(bag.getErrorText().str(), text);
    }
    const std::pair<std::string_view, std::wstring_view> narrow[] = {
        {"\xC3\xA9", L"\u00E9"}, {"a\xFFz", L"a\uFFFDz"}, {"\x80", L"\uFFFD"}};
    for (const auto& [bytes, wide] : narrow) {
        PropertyBag bag;
        bag.addUtf8(bytes, bytes);
        EXPECT_EQ(bag.utf8(0), bytes);
        EXPECT_EQ(bag.nameUtf8(0), bytes);
        EXPECT_EQ(bag.get(0), wide);
        EXPECT_TRUE(bag.contains(bag.getName(0)));
    }
}

TEST(PropertyBag, WalksItsBagsAndTakesItselfOver) {
    PropertyBag list;
    list.attach(bagOf({{L"dn", L"cn=1"}}), L"e");
    list.add(L"e", L"text");
    list.addBagUtf8("e", PropertyBag());
    std::vector<std::size_t> bags;
    for (std::size_t position = 0; list.getNextBag(L"e", position) != nullptr;) bags.push_back(position - 1);
    EXPECT_EQ(bags, (std::vector<std::size_t>{0, 2}));
    const auto props = list.props();
    ASSERT_EQ(props.size(), 3u);
    EXPECT_TRUE(props[1].value == "text" && !props[1].bag && props[0].bag == &list.getBag(0));
    EXPECT_TRUE(list.getBag(1).empty());
    list.setError(-2, L"no");
    list.addBag(L"all", list, false);
    EXPECT_EQ(shown(list), L"all={error -2: no e={dn=cn=1} e=text e={}}");
    list = list.getBag(L"all");
    EXPECT_EQ(shown(list), L"e={dn=cn=1} e=text e={}");
    EXPECT_EQ(list.getError(), -2);
}

TEST(PropertyBag, ShowsItselfOnOneLineWithoutSecrets) {
    EXPECT_EQ(shown(bagOf({{L"digest", L"s3"}})), L"digest=s3");
    CORE::maskInDisplay({L"Digest"});
    PropertyBag bag = bagOf({{L"a", L"1\r\n2\t\x01\x7F\u00E9"}, {L"digest", L"s3"}}), failed;
    bag.addBag(L"credentials", bagOf({{L"user", L"u"}}));
    failed.setError(7, L"one\ntwo");
    bag.addBag(L"empty", failed);
    failed.add(L"secret", L"s");
    bag.addBag(L"list", failed);
    EXPECT_EQ(bag.flattenForDisplay(),
              L"a=1\\r\\n2\\t\\x01\\x7f\u00E9, digest=*****, credentials=*****, "
              L"empty={error 7: one\\ntwo}, list={error 7: one\\ntwo, secret=*****}"sv);
    EXPECT_EQ(bagOf({{L"a", L"1"}, {L"b", L""}}).flattenForDisplay(L"\u00B7"), L"a=1\u00B7b="sv);
}

TEST(PropertyBag, HasLimitsThatChangeNothing) {
    // Never read: the length alone is refused.
    const std::string_view tooMuch("x", std::size_t{1} << 32);
    PropertyBag deep = bagOf({{L"a", L"1"}});
    for (int i = 0; i < 200; ++i) deep.addBag(L"n", deep, false);
    PropertyBag bag = bagOf({{L"a", L"1"}});
    bag.setError(2, L"bad");
    const std::wstring deepBefore = shown(deep);
    EXPECT_THROW(bag.add(L"n", tooMuch), coreException);
    EXPECT_THROW(bag.set(L"a", tooMuch), coreException);
    EXPECT_THROW(bag.add(std::wstring(65536, L'n'), L"v"), coreException);
    EXPECT_THROW(bag.addUtf8(std::string(65536, 'n'), "v"), coreException);
    EXPECT_THROW(bag.addBag(L"n", deep), coreException);
    EXPECT_THROW(bag.setBag(L"a", std::move(deep)), coreException);
    EXPECT_THROW(deep.addBag(L"n", deep, false), coreException);
    EXPECT_EQ(shown(bag), L"a=1");
    EXPECT_EQ(bag.getErrorText(), L"bad"sv);
    EXPECT_EQ(shown(deep), deepBefore);
    bag.add(std::wstring(65535, L'n'), L"v");
    EXPECT_EQ(bag.get(std::wstring(65535, L'N')), L"v"sv);
    EXPECT_FALSE(bag.contains(std::wstring(65536, L'n')));
    EXPECT_FALSE(bag.contains(std::wstring(65537, L'a')));
}

TEST(PropertyBag, MayBeReadByManyThreads) {
    PropertyBag filled;
    for (int i = 0; i < 200; ++i) filled.addBag(i % 2 ? L"\u00FCber" : L"even", bagOf({{L"z", L"2"}}));
    const PropertyBag& bag = filled;
    std::atomic<std::size_t> found = 0;
    std::vector<std::jthread> readers;
    for (int t = 0; t < 4; ++t)
        readers.emplace_back([&] {
            for (const wchar_t* name : {L"EVEN", L"\u00DCBER"})
                for (std::size_t at = 0; bag.getNextBag(name, at) != nullptr;) ++found;
            found += PropertyBag(bag).size();
        });
    readers.clear();
    EXPECT_EQ(found, 4U * (200 + 200));
}

TEST(PropertyBag, LoadsARegistryKeyOrSaysThatThereIsNone) {
    PropertyBag bag = bagOf({{L"a", L"1"}});
    EXPECT_FALSE(bag.loadFromRegistry(L"HKLM\\Software\\No such vendor\\No such product"));
    EXPECT_EQ(shown(bag), L"a=1");
#if defined(_WIN32)
    EXPECT_TRUE(bag.loadFromRegistry(L"HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion"));
    EXPECT_NE(bag.get(L"CurrentVersion"), L""sv);
#endif
}

}  // namespace
