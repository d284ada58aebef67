#pragma once

#include <cstddef>

// Memory for the many small objects of a big tree: its items, and the records a scan makes on the way. They
// are carved in order from blocks of one huge page, each thread carving from a block of its own, and a block
// goes back to the system once every object carved from it is freed. A million items then cost a few hundred
// page faults instead of tens of thousands, and no heap lock. An object freed alone leaves its room unused
// until its block goes, which suits objects made together and freed together, as a tree's are.
// Objects are aligned to kBulkAlignment: pointers and 64-bit numbers, not wider.
inline constexpr size_t kBulkAlignment = 8;
void* BulkAllocate(size_t nBytes);
// Frees an object of BulkAllocate, on any thread.
void BulkFree(void* pObject) noexcept;

// An allocator for std::vector and the like that takes its memory from BulkAllocate.
template <typename T> class CBulkAllocator
{
public:
    static_assert(alignof(T) <= kBulkAlignment);
    using value_type = T;

    CBulkAllocator() = default;
    template <typename U> CBulkAllocator(const CBulkAllocator<U>&) noexcept { }

    T* allocate(size_t nCount) { return static_cast<T*>(BulkAllocate(nCount * sizeof(T))); }
    void deallocate(T* pObject, size_t) noexcept { BulkFree(pObject); }

    template <typename U> bool operator==(const CBulkAllocator<U>&) const noexcept { return true; }
};
