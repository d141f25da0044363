// What is left in memory: every block is searched for a secret just before it is given back.
#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#include "framework/core/property_bag.h"

namespace {

// Literals, so that looking for them leaves no copies on the heap.
constexpr char marker[] = "correct-horse-battery-staple";
constexpr wchar_t wideMarker[] = L"correct-horse-battery-staple";
const std::string_view wideBytes{reinterpret_cast<const char*>(wideMarker),
                                 sizeof(wideMarker) - sizeof(wchar_t)};

std::string_view wanted;
std::atomic<int> found{0};
std::atomic<std::size_t> live{0};

bool holds(const void* memory, std::size_t size, std::string_view bytes) {
    return std::string_view(static_cast<const char*>(memory), size).find(bytes) != std::string_view::npos;
}

void giveBack(void* block) noexcept {
    live -= malloc_usable_size(block);
    if (block && !wanted.empty() && holds(block, malloc_usable_size(block), wanted)) ++found;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
    void* block = std::malloc(size > 0 ? size : 1);
    if (!block) throw std::bad_alloc();
    live += malloc_usable_size(block);
    return block;
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    giveBack(block);
}

namespace {

using CORE::mstr;
using CORE::PropertyBag;
using CORE::secretstring;
using CORE::wstr;

// How many blocks that the action gives back hold the secret.
template <class Action>
int blocksWith(std::string_view secret, Action action) {
    found = 0;
    wanted = secret;
    action();
    wanted = {};
    return found;
}

void useSecretStrings() {
    secretstring secret(marker);
    secretstring copy = secret;
    EXPECT_EQ(copy.view(), marker);
    EXPECT_STREQ(copy.c_str(), marker);
    copy.append("+").append(marker);  // grows twice
    EXPECT_EQ(copy.size(), 2 * (sizeof(marker) - 1) + 1);
    secretstring moved = std::move(secret);
    EXPECT_TRUE(secret.empty());  // NOLINT(bugprone-use-after-move): it promises to be empty
    EXPECT_STREQ(secret.c_str(), "");
    copy = std::move(moved);
    copy = secretstring("another");
    EXPECT_EQ(copy.view(), "another");
    copy.clear();
    EXPECT_TRUE(copy.empty());
}

TEST(Secrets, AreLeftInNoBlockUnlessTheyAreOrdinaryText) {
    const auto wiped = [](std::size_t length) {
        mstr text = marker;
        text.p_upd(length);
        text.clearAndWipe();
        EXPECT_TRUE(text.empty());
    };
    EXPECT_EQ(blocksWith(marker, [] { const mstr text = marker; }), 1) << "the search finds nothing at all";
    EXPECT_EQ(blocksWith(marker, [&] { wiped(sizeof(marker) - 1); }), 0);
    EXPECT_EQ(blocksWith("battery-staple", [&] { wiped(3); }), 0) << "behind the text's present end";
    EXPECT_EQ(blocksWith(wideBytes, [] { wstr(wideMarker).clearAndWipe(); }), 0);
    EXPECT_EQ(blocksWith(marker, useSecretStrings), 0);
    EXPECT_EQ(blocksWith("hunter2", [] { secretstring("hunter2").append("!"); }), 0);
}

TEST(Secrets, AreWipedInsideTheirObjectOrNeverThereAndMemoryIsOverwritten) {
    mstr text = "hunter2";
    EXPECT_TRUE(holds(&text, sizeof(text), "hunter2"));
    text.clearAndWipe();
    EXPECT_FALSE(holds(&text, sizeof(text), "unter2"));
    const secretstring secret("hunter2");
    EXPECT_FALSE(holds(&secret, sizeof(secret), "hunter2"));
    std::array<char, 7> bytes{'h', 'u', 'n', 't', 'e', 'r', '2'};
    CORE::wipeMemory(bytes.data() + 1, 5);
    EXPECT_EQ(bytes, (std::array<char, 7>{'h', 0, 0, 0, 0, 0, '2'}));
    CORE::wipeMemory(nullptr, 0);
}

PropertyBag withSecret() {
    PropertyBag bag;
    bag.add(L"a", L"1");
    bag.add(L"password", wideMarker);
    bag.add(L"z", L"2");
    return bag;
}

void repeat(int times, const std::function<void(int)>& action) {
    for (int i = 0; i < times; ++i) action(i);
}
std::wstring textOf(int length) {
    return std::wstring(static_cast<std::size_t>(length), L'z');
}

TEST(PropertyBagMemory, HoldsNoTextWhenItIsGivenBackNorOfAReplacedValue) {
    const std::pair<const char*, std::function<void(PropertyBag&)>> cases[] = {
        {"destroyed", [](PropertyBag& bag) { PropertyBag last(std::move(bag)); }},
        {"cleared", [](PropertyBag& bag) { bag.clear(); }},
        {"assigned to", [](PropertyBag& bag) { bag = PropertyBag(); }},
        {"copied", [](PropertyBag& bag) { PropertyBag copy = bag; }},
        {"grown", [](PropertyBag& bag) { repeat(200, [&](int) { bag.add(L"name", L"value"); }); }},
        {"reserved", [](PropertyBag& bag) { bag.reserve(100, 100'000); }},
        {"set", [](PropertyBag& bag) { bag.set(L"password", "correct-horse-battery-staple and more"); }},
        {"set to less", [](PropertyBag& bag) { bag.set(L"password", L"x"); }},
        {"set to a bag", [](PropertyBag& bag) { bag.setBag(L"password", withSecret()); }},
        {"nested", [](PropertyBag& bag) { bag.setBag(L"z", bag), bag.set(L"z", L"x"); }},
        {"merged", [](PropertyBag& bag) { bag &= withSecret(), withSecret() &= bag; }},
        {"compacted", [](PropertyBag& bag) { repeat(99, [&](int i) { bag.set(L"z", textOf(9 * i)); }); }},
        {"an error", [](PropertyBag& bag) { bag.setError(1, wideMarker), bag.setError(2); }},
    };
    for (const auto& [what, change] : cases)
        for (const std::string_view secret : {std::string_view(marker), wideBytes}) {
            PropertyBag bag = withSecret();
            EXPECT_EQ(blocksWith(secret, [&] { change(bag), bag.clear(); }), 0) << what;
        }
    PropertyBag bag = withSecret();
    bag.reserve(8, 4096);
    const std::string_view old = bag.utf8(L"password");
    bag.set(L"password", L"x");
    EXPECT_EQ(old.find("horse"), std::string_view::npos);
}

TEST(PropertyBagMemory, IsBoundedByWhatABagHolds) {
    const std::size_t before = live;
    PropertyBag bag;
    EXPECT_EQ(live, before);
    bag = withSecret();
    repeat(10'000, [&](int i) {
        bag.set(L"a", textOf(i % 100));
        bag.setBag(L"z", PropertyBag());
        bag.set(L"z", L"2");
        bag.setError(i, wideMarker);
    });
    EXPECT_LT(live - before, 2000U);
    EXPECT_EQ(bag.get(L"password").str(), wideMarker);
    EXPECT_EQ(bag.getErrorText().str(), wideMarker);
}

}  // namespace
