#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <new>

#include "core_memory/freed_memory.h"
#include "framework/core/corestring.h"

namespace {

using CORE::mstr;
using CORE::secretstring;
using CORE::wstr;
using test::FreedMemory;
using test::marker;
using test::wideMarker;

bool holds(const void* memory, std::size_t size, std::string_view bytes) {
    return std::string_view(static_cast<const char*>(memory), size).find(bytes) != std::string_view::npos;
}

// That the watch sees what it is there for.
TEST(Secrets, OrdinaryTextIsLeftBehind) {
    const FreedMemory freed(marker);
    { const mstr text = marker; }
    EXPECT_EQ(freed.blocksWithMarker(), 1);
}

// The buffer may be longer than the text: what stood behind its present end is wiped too.
TEST(Secrets, WipedTextIsNot) {
    for (const std::size_t length : {sizeof(marker) - 1, std::size_t{3}}) {
        const FreedMemory freed("battery-staple");
        mstr text = marker;
        text.p_upd(length);
        text.clearAndWipe();
        EXPECT_TRUE(text.empty());
        text = mstr();
        EXPECT_EQ(freed.blocksWithMarker(), 0);
    }
    const FreedMemory freed(test::wideMarkerBytes());
    {
        wstr text = wideMarker;
        text.clearAndWipe();
    }
    EXPECT_EQ(freed.blocksWithMarker(), 0);
}

TEST(Secrets, ShortTextIsWipedInsideItsObject) {
    mstr text = "hunter2";
    EXPECT_TRUE(holds(&text, sizeof(text), "hunter2"));
    text.clearAndWipe();
    EXPECT_FALSE(holds(&text, sizeof(text), "unter2"));
}

TEST(Secrets, SecretStringsLeaveNothing) {
    const FreedMemory freed(marker);
    {
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
    EXPECT_EQ(freed.blocksWithMarker(), 0);
}

TEST(Secrets, ShortSecretsAreNeverInsideTheirObject) {
    alignas(secretstring) std::array<unsigned char, sizeof(secretstring)> place{};
    auto* secret = new (place.data()) secretstring("hunter2");
    EXPECT_FALSE(holds(place.data(), place.size(), "hunter2"));
    std::destroy_at(secret);
    const FreedMemory freed("hunter2");
    { secretstring("hunter2").append("!"); }
    EXPECT_EQ(freed.blocksWithMarker(), 0);
}

TEST(Secrets, MemoryIsOverwritten) {
    std::array<char, 7> bytes{'h', 'u', 'n', 't', 'e', 'r', '2'};
    CORE::wipeMemory(bytes.data() + 1, 5);
    EXPECT_EQ(bytes, (std::array<char, 7>{'h', 0, 0, 0, 0, 0, '2'}));
    CORE::wipeMemory(nullptr, 0);
}

}  // namespace
