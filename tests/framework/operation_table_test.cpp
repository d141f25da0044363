#include "framework/operation_table.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cwctype>
#include <map>
#include <set>

#include "framework/operation_reference.h"
#include "support/temp_folder.h"
#include "support/typed_request.h"

namespace wsadmin {
namespace {

using CORE::toUtf8;

bool parsesAs(KeyType type, std::wstring_view value) {
    using enum KeyType;
    if (type == boolean) return value == L"true" || value == L"false";
    if (type == integer)
        return !value.empty() && value.find_first_not_of(L"0123456789") == std::wstring_view::npos;
    return type == text || type == secret || type == encrypted || type == textList;
}

// The contract with everybody who sends requests: these names, in this order, of these shapes.
TEST(OperationTable, HasTheOperationsOfTheContractInItsOrder) {
    std::string table;
    for (const Operation& operation : operationTable())
        table += toUtf8(operation.name) +
                 (operation.shape == Shape::resultBag ? " result-bag\n" : " response-filling\n");
    EXPECT_EQ(table, wstest::fileText(WS_SOURCE_DIR "/tests/framework/contract.txt"));
}

void expectWellFormed(std::span<const Key> keys, const std::set<KeyType>& types, std::string_view symbols) {
    std::map<std::string, KeyType> seen;
    for (const Key& key : keys) {
        std::string name = toUtf8(key.name);
        SCOPED_TRACE("key " + name);
        // NAME=VALUE must stay typable.
        EXPECT_TRUE(!name.empty() && std::ranges::all_of(name, [&](unsigned char c) {
            return std::isalnum(c) || symbols.find(static_cast<char>(c)) != std::string_view::npos;
        }));
        EXPECT_TRUE(types.contains(key.type)) << toUtf8(keyTypeName(key.type));
        std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::toupper(c); });
        EXPECT_TRUE(seen.try_emplace(name, key.type).second) << "it is there twice";
        // Texts stand in tables and lists: a phrase without a full stop.
        const std::string text = toUtf8(key.text);
        EXPECT_TRUE(!text.empty() && text.front() != ' ' && text.find('\n') == std::string::npos &&
                    std::string_view(" .,;").find(text.back()) == std::string_view::npos)
            << text;
        EXPECT_TRUE(key.fallback.empty() || parsesAs(key.type, key.fallback)) << toUtf8(key.fallback);
        EXPECT_TRUE(key.fallback.empty() || (key.required == Required::no && symbols.empty()))
            << "neither a required key nor a result has a default";
        if (const std::size_t slash = name.rfind('/'); slash != std::string::npos) {
            const auto parent = seen.find(name.substr(0, slash));
            EXPECT_TRUE(parent != seen.end() &&
                        (parent->second == KeyType::bag || parent->second == KeyType::bagList))
                << "no row of a bag stands before it";
        }
    }
}

TEST(OperationTable, RowsHaveAHandlerOfTheirOwnOneSentenceAndWellFormedKeysWhichTheExampleUses) {
    using enum KeyType;
    std::set<Handler> handlers;
    for (const Operation& operation : operationTable()) {
        SCOPED_TRACE(toUtf8(operation.name));
        EXPECT_TRUE(!operation.built() || handlers.insert(operation.run).second) << "another row's handler";
        const std::string sentence = toUtf8(operation.text);
        ASSERT_GT(sentence.size(), 20u);
        EXPECT_TRUE(sentence.front() >= 'A' && sentence.front() <= 'Z') << sentence;
        EXPECT_EQ(sentence.find_first_of(".!?\n"), sentence.size() - 1) << sentence;
        expectWellFormed(operation.request, {text, secret, encrypted, integer, boolean, textList}, "");
        expectWellFormed(operation.result, {text, integer, boolean, flag, KeyType::bag, bagList, textList},
                         "-<>/");
        SCOPED_TRACE(toUtf8(operation.example));
        EXPECT_EQ(operation.example.empty(), operation.request.empty());
        const auto pairs = wstest::typedPairs(operation.example);
        ASSERT_TRUE(pairs);
        std::set<std::wstring> given;
        for (const auto& [name, value] : *pairs) {
            const auto key = std::ranges::find(operation.request, std::wstring_view(name), &Key::name);
            ASSERT_NE(key, operation.request.end()) << toUtf8(name);
            EXPECT_TRUE(parsesAs(key->type, value) && !value.empty()) << toUtf8(name);
            EXPECT_TRUE(given.insert(name).second || key->type == KeyType::textList)
                << toUtf8(name) << " repeats";
            EXPECT_EQ(key->type == secret || key->type == encrypted, value.starts_with(L"@"))
                << "a secret stands in a file, others do not";
        }
        for (const Key& key : operation.request)
            EXPECT_TRUE(key.required != Required::yes || given.contains(std::wstring(key.name)))
                << toUtf8(key.name) << " is missing";
    }
}

TEST(FindOperation, MatchesInAnyCaseOverTheWholeLength) {
    for (const Operation& operation : operationTable()) {
        const std::wstring name(operation.name);
        std::wstring small = name, large = name;
        std::ranges::transform(small, small.begin(), ::towlower);
        std::ranges::transform(large, large.begin(), ::towupper);
        for (const std::wstring& same : {name, small, large, large.substr(0, 3) + small.substr(3)})
            EXPECT_EQ(findOperation(same), &operation) << toUtf8(same);
        for (const std::wstring& other : {L" " + name, name + L" ", name + L'\0', name.substr(1),
                                          name.substr(0, name.size() - 1), name + name})
            EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other);
    }
    for (const wchar_t* other : {L"", L"*", L"D\u0131ag", L"chec\u212ALdapConnectivity"})
        EXPECT_EQ(findOperation(other), nullptr) << toUtf8(other);
}

TEST(OperationReference, IsTheCommittedPage) {
    EXPECT_TRUE(wstest::fileText(WS_SOURCE_DIR "/docs/operations.md") == operationReference())
        << "docs/operations.md is not what the table gives. Make it anew:\n"
           "  cmake --build --preset native --target operation_reference\n"
           "  build/native/bin/operation_reference > docs/operations.md";
}

}  // namespace
}  // namespace wsadmin
