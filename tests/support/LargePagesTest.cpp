#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/LargePages.h"

namespace {

TEST(LargePages, AnArrayGrowingPastAHugePageKeepsEveryValueAndSmallOnesStayOnTheHeap)
{
    std::vector<std::uint64_t, CLargePageAllocator<std::uint64_t>> values;
    for (std::uint64_t i = 0; i < 1'500'000; ++i) {
        values.push_back(i * 7);
    }
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(values.data()) % (2 << 20), 0U) << "mapped on huge-page bounds";
    for (std::uint64_t i = 0; i < values.size(); i += 4099) {
        ASSERT_EQ(values[i], i * 7);
    }
    values.resize(10);
    values.shrink_to_fit();
    EXPECT_EQ(values.back(), 63U);
}

} // namespace
