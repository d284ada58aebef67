#include "support/BulkMemory.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "support/LargePages.h"

#if defined(__SANITIZE_ADDRESS__)

// AddressSanitizer watches the heap: objects come from it one by one, so that a use after free is found,
// and LeakSanitizer follows the pointers that items hold.
void* BulkAllocate(size_t nBytes)
{
    return ::operator new(nBytes);
}

void BulkFree(void* pObject) noexcept
{
    ::operator delete(pObject);
}

#else

namespace {

// The block's header; objects start a cache line further, so that counting never shares a line with them.
struct BlockHeader
{
    // Until the block is closed to carving, minus the objects freed; then the objects still in use.
    std::atomic<std::int64_t> nLive { 0 };
    size_t nMapped = 0;
};
constexpr size_t kHeaderBytes = 64;
// Bigger objects (the records of a folder of thousands of entries) get a mapping of their own.
constexpr size_t kLargestCarved = kHugePageBytes / 16;
// A thread's first block is small, in small pages, and the next ones are huge pages: a thread that makes a
// handful of items does not hold a huge page for them.
constexpr size_t kFirstBlockBytes = kHugePageBytes / 8;

BlockHeader* MapBlock(size_t nBytes, bool bHugePages)
{
    void* pBlock = MapAligned(nBytes, bHugePages);
    return new (pBlock) BlockHeader { { 0 }, nBytes };
}

void Unmap(BlockHeader* pBlock)
{
    const size_t nMapped = pBlock->nMapped;
    pBlock->~BlockHeader();
    UnmapAligned(pBlock, nMapped);
}

// Whoever takes the count to zero, the carving thread closing the block or the last free, gives it back.
void Release(BlockHeader* pBlock, std::int64_t nObjects)
{
    if (pBlock->nLive.fetch_add(nObjects, std::memory_order_acq_rel) + nObjects == 0) {
        Unmap(pBlock);
    }
}

// The block a thread carves from: its count is paid when the block is closed, so that carving writes
// nothing another thread reads.
class CCarvingBlock
{
public:
    CCarvingBlock() = default;
    CCarvingBlock(const CCarvingBlock&) = delete;
    CCarvingBlock& operator=(const CCarvingBlock&) = delete;
    ~CCarvingBlock() { Close(); }

    void* Carve(size_t nBytes)
    {
        if (static_cast<size_t>(m_pEnd - m_pNext) < nBytes) {
            Close();
            m_pBlock = MapBlock(m_nNextBlockBytes, m_nNextBlockBytes == kHugePageBytes);
            m_pNext = reinterpret_cast<char*>(m_pBlock) + kHeaderBytes;
            m_pEnd = reinterpret_cast<char*>(m_pBlock) + m_nNextBlockBytes;
            m_nNextBlockBytes = kHugePageBytes;
        }
        void* pObject = m_pNext;
        m_pNext += nBytes;
        ++m_nCarved;
        return pObject;
    }

private:
    void Close()
    {
        if (m_pBlock != nullptr) {
            Release(m_pBlock, m_nCarved);
        }
        m_pBlock = nullptr;
        m_pNext = m_pEnd = nullptr;
        m_nCarved = 0;
    }

    BlockHeader* m_pBlock = nullptr;
    char* m_pNext = nullptr;
    char* m_pEnd = nullptr;
    std::int64_t m_nCarved = 0;
    size_t m_nNextBlockBytes = kFirstBlockBytes;
};

thread_local CCarvingBlock t_carving;

} // namespace

void* BulkAllocate(size_t nBytes)
{
    nBytes = (nBytes + kBulkAlignment - 1) & ~(kBulkAlignment - 1);
    if (nBytes > kLargestCarved) {
        // A block of its own, in small pages: a huge page would hold much it never uses.
        BlockHeader* pBlock = MapBlock(kHeaderBytes + nBytes, false);
        pBlock->nLive.store(1, std::memory_order_relaxed);
        return reinterpret_cast<char*>(pBlock) + kHeaderBytes;
    }
    return t_carving.Carve(nBytes);
}

void BulkFree(void* pObject) noexcept
{
    if (pObject == nullptr) {
        return;
    }
    // Blocks start on huge-page bounds, and every object starts inside the first huge page of its block.
    auto* pBlock = reinterpret_cast<BlockHeader*>(reinterpret_cast<std::uintptr_t>(pObject) & ~(kHugePageBytes - 1));
    Release(pBlock, -1);
}

#endif
