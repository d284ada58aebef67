#pragma once

#include <cstddef>

// Memory for the few arrays that grow to many megabytes and are filled at once, such as a cache's entries.
// Past a huge page's size a block is mapped on its own, aligned to huge pages, and the kernel is asked to
// back it with them: filling it then takes a handful of page faults instead of one for every 4 KiB, and a
// page fault costs more than the work of filling that page. Smaller blocks come from the usual heap.
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
