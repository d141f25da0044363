#include "platform/portable/memory_registry.h"

#include <gtest/gtest.h>

namespace wsadmin::platform {
namespace {

TEST(MemoryRegistry, KeepsWhatIsWrittenWithoutRegardToCase) {
    MemoryRegistry registry;
    const RegistryData rows[] = {std::uint32_t{7}, std::wstring(L"text"),
                                 std::vector<std::wstring>{L"a", L""}, std::vector<std::uint8_t>{0, 255}};
    for (const RegistryData& data : rows) {
        ASSERT_TRUE(registry.write(LR"(HKLM\Software\X)", L"Value", data));
        EXPECT_EQ(registry.read(LR"(hklm\SOFTWARE\x\)", L"VALUE").value(), data);
    }
    ASSERT_TRUE(registry.write(LR"(HKLM\Software\X)", L"Second", std::uint32_t{1}));
    const auto values = registry.values(LR"(HKLM\software\x)").value();
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].first, L"Value");
    EXPECT_EQ(values[1].first, L"Second");
}

TEST(MemoryRegistry, WhatIsAbsentIsNoFailure) {
    MemoryRegistry registry;
    EXPECT_EQ(registry.read(L"HKLM\\X", L"v").value(), std::nullopt);
    EXPECT_TRUE(registry.values(L"HKLM\\X").value().empty());
    EXPECT_TRUE(registry.remove(L"HKLM\\X", L"v"));
    ASSERT_TRUE(registry.write(L"HKLM\\X", L"v", std::uint32_t{1}));
    EXPECT_EQ(registry.read(L"HKLM\\X\\Y", L"v").value(), std::nullopt);
    EXPECT_TRUE(registry.remove(L"HKLM\\X", L"V"));
    EXPECT_EQ(registry.read(L"HKLM\\X", L"v").value(), std::nullopt);
}

}  // namespace
}  // namespace wsadmin::platform
