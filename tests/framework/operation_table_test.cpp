#include "framework/operation_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cwctype>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "framework/operation_reference.h"
#include "support/temp_folder.h"
#include "support/typed_request.h"

namespace wsadmin {
namespace {

using CORE::toUtf8;

std::string upper(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

bool parsesAs(KeyType type, std::wstring_view value) {
    using enum KeyType;
    if (type == boolean) return value == L"true" || value == L"false";
    if (type == integer)
        return !value.empty() && value.find_first_not_of(L"0123456789") == std::wstring_view::npos;
    return type == text || type == secret || type == encrypted || type == textList;
}

// Key texts stand in tables and lists: a phrase without a full stop.
bool isOneLine(const std::string& text) {
    return !text.empty() && text.front() != ' ' && text.find('\n') == std::string::npos &&
           std::string_view(" .,;").find(text.back()) == std::string_view::npos;
}

// The contract with everybody who sends requests: these names, in this order, of these shapes.
TEST(OperationTable, HasTheOperationsOfTheContractInItsOrder) {
    std::string table;
    for (const Operation& operation : operationTable())
        table += toUtf8(operation.name) +
                 (operation.shape == Shape::resultBag ? " result-bag\n" : " response-filling\n");
    EXPECT_EQ(operationTable().size(), 63u);
    EXPECT_EQ(table, wstest::fileText(WS_SOURCE_DIR "/tests/framework/contract.txt"));
}

TEST(OperationTable, EveryRowHasAHandlerOfItsOwn) {
    std::map<Handler, std::string> handlers;
    for (const Operation& operation : operationTable()) {
        if (!operation.built()) continue;
        const auto [other, added] = handlers.try_emplace(operation.run, toUtf8(operation.name));
        EXPECT_TRUE(added) << toUtf8(operation.name) << " and " << other->second << " have the same handler";
    }
}

TEST(OperationTable, EveryOperationIsDescribedInOneSentence) {
    for (const Operation& operation : operationTable()) {
        const std::string text = toUtf8(operation.text);
        ASSERT_GT(text.size(), 20u) << toUtf8(operation.name);
        EXPECT_TRUE(text.front() >= 'A' && text.front() <= 'Z') << text;
        EXPECT_EQ(text.find_first_of(".!?\n"), text.size() - 1) << text;
    }
}

TEST(OperationTable, KeysAreWellFormed) {
    using enum KeyType;
    const std::set<KeyType> requestTypes{text, secret, encrypted, integer, boolean, textList};
    const std::set<KeyType> resultTypes{text, integer, boolean, flag, KeyType::bag, bagList, textList};
    const struct {
        std::span<const Key> Operation::*keys;
        const std::set<KeyType>& types;
        std::string_view
            symbols;  // that names may have beside letters and digits; NAME=VALUE must stay typable
    } lists[] = {{&Operation::request, requestTypes, ""}, {&Operation::result, resultTypes, "-<>/"}};

    for (const Operation& operation : operationTable()) {
        for (const auto& list : lists) {
            std::map<std::string, KeyType> seen;
            for (const Key& key : operation.*list.keys) {
                const std::string name = toUtf8(key.name);
                SCOPED_TRACE(toUtf8(operation.name) + ", key \"" + name + '"');
                EXPECT_TRUE(!name.empty() && std::ranges::all_of(name, [&](unsigned char c) {
                    return std::isalnum(c) ||
                           list.symbols.find(static_cast<char>(c)) != std::string_view::npos;
                }));
                EXPECT_TRUE(list.types.contains(key.type)) << toUtf8(keyTypeName(key.type));
                EXPECT_TRUE(seen.try_emplace(upper(name), key.type).second) << "it is there twice";
                EXPECT_TRUE(isOneLine(toUtf8(key.text))) << toUtf8(key.text);
                EXPECT_TRUE(key.fallback.empty() || parsesAs(key.type, key.fallback)) << toUtf8(key.fallback);
                EXPECT_TRUE(key.fallback.empty() || key.required == Required::no)
                    << "required has no default";
                EXPECT_TRUE(key.fallback.empty() || list.keys == &Operation::request)
                    << "a result has no default";
                if (const std::size_t slash = name.rfind('/'); slash != std::string::npos) {
                    const auto parent = seen.find(upper(name.substr(0, slash)));
                    ASSERT_NE(parent, seen.end()) << "its bag has no row before it";
                    EXPECT_TRUE(parent->second == KeyType::bag || parent->second == bagList)
                        << "it stands below what is no bag";
                }
            }
        }
    }
}

TEST(OperationTable, ExamplesUseTheKeysAndGiveWhatIsRequired) {
    for (const Operation& operation : operationTable()) {
        SCOPED_TRACE(toUtf8(operation.name) + " " + toUtf8(operation.example));
        EXPECT_EQ(operation.example.empty(), operation.request.empty());
        if (operation.example.empty()) continue;
        const auto pairs = wstest::typedPairs(operation.example);
        ASSERT_TRUE(pairs);
        std::set<std::wstring> given;
        for (const auto& [name, value] : *pairs) {
            const auto key = std::ranges::find(operation.request, std::wstring_view(name), &Key::name);
            ASSERT_NE(key, operation.request.end()) << toUtf8(name);
            EXPECT_TRUE(parsesAs(key->type, value)) << toUtf8(name);
            EXPECT_FALSE(value.empty()) << toUtf8(name);
            EXPECT_TRUE(given.insert(name).second || key->type == KeyType::textList)
                << toUtf8(name) << " repeats";
            const bool secret = key->type == KeyType::secret || key->type == KeyType::encrypted;
            EXPECT_EQ(secret, value.starts_with(L"@")) << "a secret stands in a file, others do not";
        }
        for (const Key& key : operation.request)
            EXPECT_TRUE(key.required != Required::yes || given.contains(std::wstring(key.name)))
                << toUtf8(key.name) << " is missing";
    }
}

TEST(FindOperation, MatchesInAnyCase) {
    for (const Operation& operation : operationTable()) {
        std::wstring small(operation.name), large(operation.name), mixed(operation.name);
        std::ranges::transform(small, small.begin(), ::towlower);
        std::ranges::transform(large, large.begin(), ::towupper);
        for (std::size_t i = 0; i < mixed.size(); ++i) mixed[i] = i % 2 ? large[i] : small[i];
        for (const std::wstring_view name : {operation.name, {small}, {large}, {mixed}})
            EXPECT_EQ(findOperation(name), &operation) << toUtf8(name);
    }
}

TEST(FindOperation, MatchesOverTheWholeLengthOnly) {
    for (const Operation& operation : operationTable()) {
        const std::wstring name(operation.name);
        for (const std::wstring& other :
             {L" " + name, name.substr(1), name.substr(0, name.size() - 1), name + name})
            EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other);
        // So many that some come to the name's own place in the index, where nothing but the length tells
        // them apart.
        for (wchar_t c = 0; c < 0x400; ++c) EXPECT_EQ(findOperation(name + c), nullptr) << toUtf8(name + c);
    }
    for (const std::wstring& other :
         {std::wstring(), std::wstring(L" "), std::wstring(1, L'\0'), std::wstring(L"*"),
          std::wstring(L"D\u0131ag"), std::wstring(L"chec\u212ALdapConnectivity"),
          std::wstring(1'000'000, L'D')})
        EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other.substr(0, 40));
}

TEST(OperationReference, IsTheCommittedPage) {
    EXPECT_TRUE(wstest::fileText(WS_SOURCE_DIR "/docs/operations.md") == operationReference())
        << "docs/operations.md is not what the table gives. Make it anew:\n"
           "  cmake --build --preset native --target operation_reference\n"
           "  build/native/bin/operation_reference > docs/operations.md";
}

}  // namespace
}  // namespace wsadmin
