#pragma once

#include <cstddef>

// The size of a huge page, and the alignment of every block MapAligned gives.
inline constexpr size_t kHugePageBytes = size_t { 2 } << 20;

// Maps nBytes (rounded up to whole pages) at an address aligned to a huge page; with bHugePages the kernel is
// asked to back the block with huge pages. Throws std::bad_alloc when the system has no memory to map.
void* MapAligned(size_t nBytes, bool bHugePages);
void UnmapAligned(void* pBlock, size_t nBytes);

// Memory for the few arrays that grow to many megabytes and are filled at once, such as a cache's entries.
// Past a huge page's size a block is mapped on its own in huge pages: filling it then takes a handful of page
// faults instead of one for every 4 KiB, and a page fault costs more than the work of filling that page.
// Smaller blocks come from the usual heap.
void* AllocateLarge(size_t nBytes);
void FreeLarge(void* pBlock, size_t nBytes);

// An allocator for std::vector and the like that takes its memory from AllocateLarge.
template <typename T> class CLargePageAllocator
{
public:
    using value_type = T;

    CLargePageAllocator() = default;
    template <typename U> CLargePageAllocator(const CLargePageAllocator<U>&) noexcept { }

    T* allocate(size_t nCount) { return static_cast<T*>(AllocateLarge(nCount * sizeof(T))); }
    void deallocate(T* pBlock, size_t nCount) noexcept { FreeLarge(pBlock, nCount * sizeof(T)); }

    template <typename U> bool operator==(const CLargePageAllocator<U>&) const noexcept { return true; }
};
