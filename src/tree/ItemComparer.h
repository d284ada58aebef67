#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "tree/FileContents.h"
#include "tree/FileItem.h"

class CCrcCache;

// Decides whether each item is the same on both sides. Version and size texts are compared first; only
// files that agree on both are read, and a placeholder (right version "UNKNOWN") is never read. Times are
// shown but never compared.
class CItemComparer
{
public:
    explicit CItemComparer(FileOpener opener = OpenForSequentialRead);

    // Sets the status and icons of one item.
    void CompareItem(CFileItem* pItem);

    // Compares every item below pRoot, reading contents on up to nThreads threads. The statuses, the log
    // lines and their order are those of comparing the items one by one in tree order.
    void CompareTree(CFileItem* pRoot, int nThreads);

    // Takes the CRCs of files read by an earlier run from these caches (either may be null), and remembers
    // the ones read now.
    void SetCrcCaches(CCrcCache* pLeft, CCrcCache* pRight)
    {
        m_pCaches[0] = pLeft;
        m_pCaches[1] = pRight;
    }

    // Stops reading contents once *pCancel is set; the items not read stay undecided.
    void SetCancel(const std::atomic<bool>* pCancel) { m_pCancel = pCancel; }

    // Files present on both sides that were compared (again).
    [[nodiscard]] int ComparedFiles() const { return m_nComparedFiles; }

private:
    struct Decision
    {
        CFileItem* pItem = nullptr;
        const char* pReason = "";
        int nStatus = -1;
        VerdictBasis nBasis = VerdictBasis::None;
        bool bNeedsContents = false;
    };

    Decision Decide(CFileItem* pItem);
    void Apply(const Decision& decision);
    void RememberReads(const CrcHints& hints) const;
    // With bKnown, the CRCs the scan took from the cache stand in for reading.
    void ReadContents(Decision& decision, bool bKnown) const;

    FileOpener m_opener;
    CCrcCache* m_pCaches[2] = { nullptr, nullptr };
    // The caches serve one thread at a time; the reading threads take turns at them.
    mutable std::mutex m_cacheLock;
    const std::atomic<bool>* m_pCancel = nullptr;
    int m_nComparedFiles = 0;
};

// The icons that show an item's status on each side.
void SetIconsFromStatus(CFileItem* pItem);
