#include "ldap/concurrently.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <vector>

using namespace wsadmin;

namespace {

TEST(Concurrently, DoesEverythingOnce) {
    CORE::ThreadGroup threads(L"test");
    for (const std::size_t count : {0U, 1U, 3U, 1000U}) {
        for (const std::size_t bound : {0U, 1U, 8U}) {
            std::vector<std::atomic<int>> done(count);
            concurrently(count, bound, threads, L"t", [&](std::size_t i) { ++done[i]; });
            for (const auto& times : done) EXPECT_EQ(times, 1);
        }
    }
}

TEST(Concurrently, PassesOnWhatATaskThrowsAndBeginsNoFurther) {
    CORE::ThreadGroup threads(L"test");
    std::atomic<int> begun{0};
    const auto task = [&](std::size_t i) {
        ++begun;
        if (i == 2) throw std::runtime_error("third");
    };
    EXPECT_THROW(concurrently(100000, 1, threads, L"t", task), std::runtime_error);
    EXPECT_EQ(begun, 3);
    EXPECT_THROW(concurrently(100000, 4, threads, L"t", task), std::runtime_error);
}

}  // namespace
