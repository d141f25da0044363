#include "framework/core/property_bag.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "core_memory/freed_memory.h"

namespace {

using CORE::PropertyBag;
using test::marker;
using test::wideMarker;

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

TEST(PropertyBagMemory, HoldsNoTextWhenItIsGivenBack) {
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
    for (const auto& [what, change] : cases) {
        SCOPED_TRACE(what);
        for (const std::string_view wanted : {std::string_view(marker), test::wideMarkerBytes()}) {
            PropertyBag bag = withSecret();
            const test::FreedMemory freed(wanted);
            change(bag);
            bag.clear();
            EXPECT_EQ(freed.blocksWithMarker(), 0);
        }
    }
}

TEST(PropertyBagMemory, OfAReplacedValueIsWipedAtOnce) {
    PropertyBag bag = withSecret();
    bag.reserve(8, 4096);
    const std::string_view old = bag.utf8(L"password");
    bag.set(L"password", L"x");
    EXPECT_EQ(old.find("horse"), std::string_view::npos);
}

TEST(PropertyBagMemory, IsBoundedByWhatABagHolds) {
    const std::size_t before = test::heapBytes();
    PropertyBag bag;
    EXPECT_EQ(test::heapBytes(), before);
    bag = withSecret();
    repeat(10'000, [&](int i) {
        bag.set(L"a", textOf(i % 100));
        bag.setBag(L"z", PropertyBag());
        bag.set(L"z", L"2");
        bag.setError(i, wideMarker);
    });
    EXPECT_LT(test::heapBytes() - before, 2000U);
    EXPECT_EQ(bag.get(L"password").str(), wideMarker);
    EXPECT_EQ(bag.getErrorText().str(), wideMarker);
}

}  // namespace
