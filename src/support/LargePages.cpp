#include "support/LargePages.h"

#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace {

size_t RoundUp(size_t nBytes, size_t nUnit)
{
    return (nBytes + nUnit - 1) / nUnit * nUnit;
}

size_t PageBytes()
{
    static const auto nPage = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    return nPage;
}

} // namespace

void* MapAligned(size_t nBytes, bool bHugePages)
{
    // One huge page more than needed, so that an aligned block lies inside; the rest goes back at once.
    const size_t nSize = RoundUp(nBytes, bHugePages ? kHugePageBytes : PageBytes());
    void* pMapped = ::mmap(nullptr, nSize + kHugePageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    const auto nStart = reinterpret_cast<std::uintptr_t>(pMapped);
    const std::uintptr_t nAligned = RoundUp(nStart, kHugePageBytes);
    if (nAligned > nStart) {
        ::munmap(pMapped, nAligned - nStart);
    }
    if (const std::uintptr_t nTail = nStart + nSize + kHugePageBytes - (nAligned + nSize); nTail > 0) {
        ::munmap(reinterpret_cast<void*>(nAligned + nSize), nTail);
    }
    if (bHugePages) {
        // Only advice: where the kernel has no huge pages to give, the block is mapped page by page as usual.
        ::madvise(reinterpret_cast<void*>(nAligned), nSize, MADV_HUGEPAGE);
    }
    return reinterpret_cast<void*>(nAligned);
}

void UnmapAligned(void* pBlock, size_t nBytes)
{
    ::munmap(pBlock, RoundUp(nBytes, PageBytes()));
}

void* AllocateLarge(size_t nBytes)
{
    if (nBytes < kHugePageBytes) {
        return ::operator new(nBytes);
    }
    return MapAligned(nBytes, true);
}

void FreeLarge(void* pBlock, size_t nBytes)
{
    if (pBlock == nullptr) {
        return;
    }
    if (nBytes < kHugePageBytes) {
        ::operator delete(pBlock);
        return;
    }
    UnmapAligned(pBlock, RoundUp(nBytes, kHugePageBytes));
}
