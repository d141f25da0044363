#include "host/bag_json.h"

#include <gtest/gtest.h>

#include <sstream>

namespace hdqadmin {
namespace {

Outcome<CORE::PropertyBag> read(const std::string& text) {
    auto value = parseJson(text);
    if (!value) return refuse(value.error());
    return bagFromJson(*value);
}

std::string written(const CORE::PropertyBag& bag) {
    std::ostringstream out;
    writeJson(out, bag);
    return out.str();
}

TEST(BagJson, WhatIsReadIsWrittenAgain) {
    const char* const texts[] = {
        "[]",
        R"([["a", "1"]])",
        R"([["a", ""], ["a", "2"], ["A", "3"]])",
        R"([["list", [["entry", [["dn", "cn=x"], ["name", "VM-1"]]], ["entry", []]]], ["tail", "z"]])",
        R"([["quote \" back \\ ", "line\nfeed\ttab"], ["nul", "a\u0000b"]])",
        "[[\"gr\u00fc\u00dfe\", \"\u65e5\u672c \U0001F600\"]]",
    };
    for (const char* text : texts) {
        const auto bag = read(text);
        ASSERT_TRUE(bag) << text << ": " << bag.error();
        EXPECT_EQ(written(*bag), text);
    }
    CORE::PropertyBag great;  // more than is written at once
    for (int i = 0; i < 20000; ++i) great.addUtf8("name", i % 3 ? "plain" : "line\nfeed");
    great.addUtf8("last", std::string(200000, 'x'));
    const auto again = read(written(great));
    ASSERT_TRUE(again) << again.error();
    ASSERT_EQ(again->size(), great.size());
    for (std::size_t i = 0; i < great.size(); ++i) ASSERT_EQ(again->utf8(i), great.utf8(i)) << i;

    const auto escaped = read(R"([["\u00fc", "\ud83d\ude00"]])");
    ASSERT_TRUE(escaped);
    EXPECT_EQ(escaped->utf8(L"\u00fc"), "\U0001F600");
}

TEST(BagJson, WhatIsNoBagIsRefused) {
    struct Case {
        const char* text;
        const char* problem;  // part of the sentence
    };
    const Case cases[] = {
        {"", "line 1, column 1"},
        {"[[\"a\", \"b\"]\n,]", "line 2, column 2"},
        {"{\"a\": \"b\"}", "an array of [name, value] pairs"},
        {"[[\"a\"]]", "a pair [name, value]"},
        {"[[\"a\", \"b\", \"c\"]]", "a pair [name, value]"},
        {"[[1, \"b\"]]", "a pair [name, value]"},
        {"[[\"\", \"b\"]]", "empty name"},
        {"[[\"n\", 5]]", "the value of \"n\""},
        {"[[\"a\", 1e999]]", "number overflow"},
        {"[[\"n\", null]]", "the value of \"n\""},
        {"[[\"n\", {}]]", "the value of \"n\""},
        {"[[\"n\", [[\"inner\", true]]]]", "the value of \"inner\""},
        {"[[\"a\", \"\xff\"]]", "UTF-8"},
        {"[[\"a\", \"\xed\xa0\x80\"]]", "UTF-8"},
        {"[[\"a\", \"\\ud800\"]]", "surrogate"},
        {"[[\"a\", \"\\udc00x\"]]", "surrogate"},
        {"[] []", "line 1, column 4"},
    };
    for (const Case& c : cases) {
        const auto bag = read(c.text);
        ASSERT_FALSE(bag) << c.text;
        EXPECT_NE(bag.error().find(c.problem), std::string::npos) << c.text << " gave: " << bag.error();
    }
}

TEST(BagJson, ABadDocumentIsNotQuoted) {
    for (const char* text : {R"([["password", "s3cret" oops]])", R"([["password", 53e999]])"}) {
        const auto bag = read(text);
        ASSERT_FALSE(bag);
        for (const char* part : {"oops", "s3cret", "53e"})
            EXPECT_EQ(bag.error().find(part), std::string::npos) << bag.error();
    }
}

TEST(BagJson, NestingHasALimit) {
    const auto nested = [](int depth) {
        std::string text = "[]";
        for (int i = 1; i < depth; ++i) text = "[[\"b\", " + text + "]]";
        return text;
    };
    EXPECT_TRUE(read(nested(100)));
    const auto deep = read(nested(101));
    ASSERT_FALSE(deep);
    EXPECT_EQ(deep.error(), "bags are nested too deep");
    EXPECT_FALSE(read(std::string(1'000'000, '[')));
}

TEST(BagJson, TextsAreWipedFromTheDocument) {
    auto value = parseJson(R"([["password", "a long secret that is on the heap"]])");
    ASSERT_TRUE(value);
    ASSERT_TRUE(bagFromJson(*value));
    EXPECT_EQ(value->dump().find("secret"), std::string::npos);
}

}  // namespace
}  // namespace hdqadmin
