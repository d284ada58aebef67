#include "support/LargePages.h"

#include <cstdint>
#include <new>

#include <sys/mman.h>

namespace {

constexpr size_t kHugePage = size_t { 2 } << 20;

size_t RoundUp(size_t nBytes)
{
    return (nBytes + kHugePage - 1) & ~(kHugePage - 1);
}

} // namespace

void* AllocateLarge(size_t nBytes)
{
    if (nBytes < kHugePage) {
        return ::operator new(nBytes);
    }
    // One huge page more than needed, so that an aligned block lies inside; the rest goes back at once.
    const size_t nSize = RoundUp(nBytes);
    void* pMapped = ::mmap(nullptr, nSize + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    const auto nStart = reinterpret_cast<std::uintptr_t>(pMapped);
    const std::uintptr_t nAligned = (nStart + kHugePage - 1) & ~(kHugePage - 1);
    if (nAligned > nStart) {
        ::munmap(pMapped, nAligned - nStart);
    }
    if (const std::uintptr_t nTail = nStart + nSize + kHugePage - (nAligned + nSize); nTail > 0) {
        ::munmap(reinterpret_cast<void*>(nAligned + nSize), nTail);
    }
    // Only advice: where the kernel has no huge pages to give, the block is mapped page by page as usual.
    ::madvise(reinterpret_cast<void*>(nAligned), nSize, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(nAligned);
}

void FreeLarge(void* pBlock, size_t nBytes)
{
    if (pBlock == nullptr) {
        return;
    }
    if (nBytes < kHugePage) {
        ::operator delete(pBlock);
        return;
    }
    ::munmap(pBlock, RoundUp(nBytes));
}
