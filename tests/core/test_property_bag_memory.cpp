// What a bag does with memory: nesting without end, its limits, and readers on many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "framework/core/coreexception.h"
#include "framework/core/property_bag.h"

using CORE::PropertyBag;

namespace {

constexpr const wchar_t* wideSecret = L"hunter2-hunter2-hunter2";

PropertyBag withSecret() {
    PropertyBag bag;
    bag.add(L"a", L"1");
    bag.add(L"password", wideSecret);
    bag.add(L"z", L"2");
    return bag;
}

TEST(PropertyBagMemory, OfAReplacedValueIsWipedAtOnce) {
    for (const std::wstring& value : {std::wstring(L"x"), std::wstring(40, L'x')}) {
        PropertyBag bag = withSecret();
        bag.reserve(8, 4096);
        const std::string_view old = bag.utf8(L"password");
        bag.set(L"password", value);
        EXPECT_EQ(old.find("hunter2"), std::string_view::npos);
    }
}

TEST(PropertyBagMemory, IsNotLostByChangingAValueOverAndOver) {
    PropertyBag bag = withSecret();
    for (int i = 0; i < 10'000; ++i) bag.set(L"a", std::wstring(static_cast<std::size_t>(i % 100), L'v'));
    EXPECT_LT(bag.memoryUsed(), 2000u);
    EXPECT_EQ(bag.get(L"password"), std::wstring_view(wideSecret));
}

TEST(PropertyBagMemory, AllowsNestingToAnyDepth) {
    constexpr int depth = 300'000;  // more than the stack has room for, whatever the frame
    PropertyBag bag;
    for (int i = 0; i < depth; ++i) {
        bag.add(L"n", L"1");
        bag.addBag(L"below", bag, false);
    }
    const PropertyBag copy = bag;
    EXPECT_LE(copy.memoryUsed(), bag.memoryUsed());
    EXPECT_GT(copy.memoryUsed(), std::size_t{depth} * 10);
    bag &= copy;
    bag.remove(L"below");
    EXPECT_TRUE(bag.empty());
    const std::wstring text = copy.flattenForDisplay().str();
    EXPECT_EQ(std::count(text.begin(), text.end(), L'}'), depth);
}

TEST(PropertyBagMemory, HasLimitsThatChangeNothing) {
    // Never read: the length alone is refused.
    const std::string_view tooLong("x", std::size_t{1} << 32);
    PropertyBag bag = withSecret();
    const std::wstring before = bag.flattenForDisplay().str();
    EXPECT_THROW(bag.add(L"n", tooLong), CORE::coreException);
    EXPECT_THROW(bag.set(L"a", tooLong), CORE::coreException);
    // NOLINTNEXTLINE(bugprone-string-constructor)
    EXPECT_THROW(bag.add(L"n", std::string_view("x", 0xFFFFFFFF)), CORE::coreException);
    EXPECT_THROW(bag.reserve(1, tooLong.size()), CORE::coreException);
    EXPECT_THROW(bag.reserve(tooLong.size(), 1), CORE::coreException);
    EXPECT_EQ(bag.flattenForDisplay().str(), before);
}

TEST(PropertyBagMemory, MayBeReadByManyThreads) {
    PropertyBag filled;
    for (int i = 0; i < 500; ++i)
        filled.addBag(i % 2 == 0 ? L"even" : L"\u00FCber-" + std::to_wstring(i), withSecret());
    const PropertyBag& bag = filled;
    std::atomic<int> found = 0;
    {
        std::vector<std::jthread> readers;
        for (int t = 0; t < 8; ++t)
            readers.emplace_back([&] {
                std::size_t position = 0;
                while (bag.getNextBag(L"EVEN", position) != nullptr) ++found;
                for (int i = 1; i < 500; i += 2)
                    if (bag.getBag(L"\u00DCBER-" + std::to_wstring(i)).get(L"z") == L"2") ++found;
                PropertyBag own = bag;
                own &= bag;
                found += static_cast<int>(own.size());
            });
    }
    EXPECT_EQ(found, 8 * (500 + 500));
}

}  // namespace
