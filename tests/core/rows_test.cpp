// The plain functions of this folder over rows.jsonl.
#include <cstdlib>

#include "framework/core/framework.h"
#include "framework/core/property_bag.h"
#include "framework/core/security.h"
#include "support/rows.h"

namespace {

using CORE::compareFolded;
using CORE::PropertyBag;
using CORE::toUtf8;
using CORE::wstr;
using wstest::Json;

std::wstring wide(const Json& in) {
    return CORE::toWide(in.get<std::string>());
}

Json number(const Json& in) {
    const wstr text = wide(in);
    EXPECT_EQ(text.to_mstr().toInt(77), text.toInt(77));
    const bool isFlag = text.toBool(true) == text.toBool(false);
    return {text.toInt(77), text.toUInt(88), text.isNum(), isFlag ? Json(text.toBool(true)) : Json()};
}

Json split(const Json& in) {
    const wstr text = wide(in[0]);
    Json parts = Json::array();
    for (const wstr& part : in.size() > 1 ? text.split(wide(in[1])[0]) : text.split())
        parts.push_back(toUtf8(part));
    return parts;
}

Json path(const Json& in) {
    const wstr last = wstr(wide(in)).lastPath();
    return {toUtf8(last), toUtf8(last.dropSuffix())};
}

Json expanded(const Json& in) {
#if defined(_WIN32)
    _putenv_s("WS_TEST_A", "one");
    _putenv_s("WS_TEST_B", "%WS_TEST_A%");
#else
    setenv("WS_TEST_A", "one", 1);
    setenv("WS_TEST_B", "%WS_TEST_A%", 1);
#endif
    return toUtf8(wstr(wide(in)).expandEnv());
}

// The characters of UTF-8, which come back as they were where it was valid.
Json utf8(const Json& in) {
    const auto bytes = in.is_string() ? in.get<std::string>() : [&in] {
        const auto list = in.get<std::vector<unsigned char>>();
        return std::string(list.begin(), list.end());
    }();
    const std::wstring text = CORE::toWide(bytes);
    EXPECT_EQ(toUtf8(text) == bytes, CORE::isValidUtf8(bytes));
    std::string characters;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto code = static_cast<std::uint32_t>(text[i]);
        if (sizeof(wchar_t) == 2 && code >> 10U == 0xD800 >> 10U && i + 1 < text.size())
            code = 0x10000 + ((code & 0x3FFU) << 10U | (static_cast<std::uint32_t>(text[++i]) & 0x3FFU));
        characters += (characters.empty() ? "" : " ") + toUtf8(CORE::formatText(L"%X", code));
    }
    return characters;
}

// The same both ways round, and for both kinds of strings.
Json order(const Json& in) {
    const auto sign = [](int n) { return n < 0 ? -1 : n > 0 ? 1 : 0; };
    const std::wstring a = wide(in[0]), b = wide(in[1]);
    const int found = sign(compareFolded(a, b));
    EXPECT_EQ(sign(compareFolded(b, a)), -found);
    EXPECT_EQ(sign(compareFolded(toUtf8(a), toUtf8(b))), found);
    return found;
}

// Whether a name finds another one's value. Names beyond ASCII are looked up another way.
Json property(const Json& in) {
    std::set<bool> found;
    for (const wchar_t* other : {L"other", L"\u00FCber"}) {
        PropertyBag bag;
        bag.add(other, L"x");
        bag.add(wide(in[0]), L"v");
        found.insert(bag.contains(wide(in[1])));
    }
    EXPECT_EQ(found.size(), 1U);
    return *found.begin();
}

// What a name gives: the text, a number and truth values, each with a fallback. Null: no entry; []: a bag.
Json value(const Json& in) {
    PropertyBag bag;
    if (in.is_string()) bag.add(L"n", wide(in));
    if (in.is_array()) bag.addBag(L"n", PropertyBag());
    return {toUtf8(bag.get(L"N", L"fallback")), bag.getInt(L"N", 5), bag.getBool(L"N", true),
            bag.getBool(L"N", false)};
}

Json formatted(const Json& in) {
    std::vector<std::wstring> texts(in.size());
    std::vector<CORE::FormatArg> args;
    for (std::size_t i = 1; i < in.size(); ++i)
        if (in[i].is_string())
            args.emplace_back(texts[i] = wide(in[i]));
        else
            args.emplace_back(in[i].get<int>());
    return toUtf8(CORE::formatText(wide(in[0]), std::span<const CORE::FormatArg>(args)));
}

Json hidden(const Json& in) {
    PropertyBag bag;
    bag.add(wide(in), L"s3");
    const std::string shown = toUtf8(bag.flattenForDisplay()), name = in;
    EXPECT_TRUE(shown == name + "=*****" || shown == name + "=s3") << shown;
    return shown == name + "=*****";
}

TEST(Rows, OfTheFramework) {
    wstest::tryRows(
        WS_SOURCE_DIR "/tests/core/rows.jsonl",
        {{"number", number},
         {"split", split},
         {"path", path},
         {"expanded", expanded},
         {"utf8", utf8},
         {"order", order},
         {"property", property},
         {"value", value},
         {"hidden", hidden},
         {"formatted", formatted},
         {"osLevel", [](const Json& in) { return CORE::coreosver::levelOf(in[0], in[1]); }},
         {"sid", [](const Json& in) {
              const auto bytes =
                  in.is_null() ? std::vector<unsigned char>() : in.get<std::vector<unsigned char>>();
              return toUtf8(CORE::coreportable::convertSidToStringSid(in.is_null() ? nullptr : bytes.data()));
          }}});
}

}  // namespace
