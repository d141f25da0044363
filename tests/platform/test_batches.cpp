#include <gtest/gtest.h>

#include <numeric>

#include "platform/ldap/batches.h"

namespace wsadmin::platform {

TEST(Batches, HoldEveryElementOnceAndNeverMoreThanTheirSize) {
    const std::vector<std::pair<std::size_t, std::vector<std::size_t>>> cases = {
        {0, {}}, {1, {1}}, {3, {3}}, {4, {3, 1}}, {6, {3, 3}}};
    for (const auto& [count, sizes] : cases) {
        std::vector<int> all(count), seen;
        std::iota(all.begin(), all.end(), 0);
        std::vector<std::size_t> found;
        for (const auto batch : batchesOf(all, 3)) {
            found.push_back(batch.size());
            seen.insert(seen.end(), batch.begin(), batch.end());
        }
        EXPECT_EQ(found, sizes);
        EXPECT_EQ(seen, all);
    }
}

}  // namespace wsadmin::platform
