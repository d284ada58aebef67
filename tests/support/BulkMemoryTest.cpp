#include <cerrno>
#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <sys/mman.h>

#include "support/BulkMemory.h"

namespace {

// Whether anything is mapped at the address. AddressSanitizer builds take objects from the heap instead.
[[maybe_unused]] bool IsMapped(std::uintptr_t nAddress)
{
    unsigned char resident = 0;
    return ::mincore(reinterpret_cast<void*>(nAddress), 1, &resident) == 0 || errno != ENOMEM;
}

TEST(BulkMemory, ObjectsMadeOnSeveralThreadsAndFreedOnOthersKeepTheirValuesAndTheirBlocksGoBack)
{
    constexpr int kThreads = 3;
    constexpr std::uint64_t kPerThread = 150'000;
    std::vector<std::vector<std::uint64_t*>> made(kThreads);
    for (std::vector<std::uint64_t*>& list : made) {
        list.reserve(kPerThread + 8);
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&made, t] {
            for (std::uint64_t i = 0; i < kPerThread; ++i) {
                // Now and then an object too big to be carved from a block.
                const size_t nWords = i % 50'000 == 0 ? 40'000 : 1 + i % 9;
                auto* pObject = static_cast<std::uint64_t*>(BulkAllocate(nWords * sizeof(std::uint64_t)));
                std::memset(pObject, 0xA5, nWords * sizeof(std::uint64_t));
                pObject[0] = static_cast<std::uint64_t>(t) * kPerThread + i;
                made[static_cast<size_t>(t)].push_back(pObject);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    // Blocks lie on huge-page bounds, and objects in their first huge page.
    std::set<std::uintptr_t> blocks;
    for (const std::vector<std::uint64_t*>& list : made) {
        for (const std::uint64_t* pObject : list) {
            blocks.insert(reinterpret_cast<std::uintptr_t>(pObject) & ~((std::uintptr_t { 2 } << 20) - 1));
        }
    }
    // Each list is freed on a thread of its own, from its end: not the thread, nor the order, that made them.
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&made, t] {
            const std::vector<std::uint64_t*>& list = made[static_cast<size_t>((t + 1) % kThreads)];
            const std::uint64_t nFirst = static_cast<std::uint64_t>((t + 1) % kThreads) * kPerThread;
            for (size_t i = list.size(); i-- > 0;) {
                ASSERT_EQ(list[i][0], nFirst + i);
                BulkFree(list[i]);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
#if !defined(__SANITIZE_ADDRESS__)
    for (const std::uintptr_t nBlock : blocks) {
        ASSERT_FALSE(IsMapped(nBlock)) << "every block went back to the system";
    }
#endif
}

TEST(BulkMemory, AnArrayOfRecordsGrowsAndShrinksThroughTheAllocator)
{
    std::vector<std::uint32_t, CBulkAllocator<std::uint32_t>> values;
    for (std::uint32_t i = 0; i < 300'000; ++i) {
        values.push_back(i);
    }
    values.resize(1000);
    values.shrink_to_fit();
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(values[i], i);
    }
}

} // namespace
