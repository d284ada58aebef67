#include "tree/ItemComparer.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "tree/CrcCache.h"
#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/TreeDump.h"
#include "tree/TreeOperations.h"

namespace {

int StatusFromContents(int nContents)
{
    switch (nContents) {
    case CONTENTS_SAME:
        return FILE_SAME;
    case CONTENTS_DIFF:
        return FILE_DIFF;
    case CONTENTS_LEFT_ONLY:
        return FILE_LEFT_ONLY;
    case CONTENTS_RIGHT_ONLY:
        return FILE_RIGHT_ONLY;
    default:
        return FILE_UNKNOWN;
    }
}

const char* ContentsReason(int nContents)
{
    switch (nContents) {
    case CONTENTS_SAME:
        return "contents have the same CRC-32";
    case CONTENTS_DIFF:
        return "contents differ";
    case CONTENTS_LEFT_ONLY:
        return "the right file is gone";
    case CONTENTS_RIGHT_ONLY:
        return "the left file is gone";
    default:
        return "contents could not be read";
    }
}

} // namespace

void SetIconsFromStatus(CFileItem* pItem)
{
    if (pItem->kind == KIND_DIR) {
        for (int side = 0; side < 2; ++side) {
            pItem->icon[side]
                = pItem->strPaths[side].IsEmpty() ? ICON_BLANK_DIR : (pItem->bExpanded[side] ? ICON_OPEN : ICON_CLOSE);
        }
        return;
    }
    switch (pItem->status) {
    case FILE_SAME:
        pItem->icon[0] = pItem->icon[1] = ICON_SAME;
        break;
    case FILE_DIFF:
        pItem->icon[0] = pItem->icon[1] = ICON_DIFF;
        break;
    case FILE_LEFT_ONLY:
        pItem->icon[0] = ICON_1ST;
        pItem->icon[1] = ICON_BLANK_FILE;
        break;
    case FILE_RIGHT_ONLY:
        pItem->icon[0] = ICON_BLANK_FILE;
        pItem->icon[1] = ICON_2ND;
        break;
    default:
        pItem->icon[0] = pItem->icon[1] = ICON_UNKNOWN_FILE;
        break;
    }
}

CItemComparer::CItemComparer(FileOpener opener)
    : m_opener(std::move(opener))
{ }

CItemComparer::Decision CItemComparer::Decide(CFileItem* pItem)
{
    Decision decision;
    decision.pItem = pItem;
    const bool bLeft = !pItem->strPaths[SIDE_LEFT].IsEmpty();
    const bool bRight = !pItem->strPaths[SIDE_RIGHT].IsEmpty();
    if (pItem->kind == KIND_DIR) {
        decision.nStatus = bLeft && bRight ? DIR_BOTH : (bLeft ? DIR_LEFT_ONLY : DIR_RIGHT_ONLY);
        decision.pReason = "folder";
        return decision;
    }
    if (!bRight) {
        decision.nStatus = FILE_LEFT_ONLY;
        decision.pReason = "only on the left";
        return decision;
    }
    if (!bLeft) {
        decision.nStatus = FILE_RIGHT_ONLY;
        decision.pReason = "only on the right";
        return decision;
    }
    if (pItem->status == FILE_SAME || pItem->status == FILE_DIFF || pItem->status == FILE_UNKNOWN) {
        ++m_nComparedFiles;
    }
    if (pItem->strVersion[SIDE_RIGHT] == kUnknownVersion) {
        const bool bSizesDiffer = pItem->strSize[SIDE_LEFT] != pItem->strSize[SIDE_RIGHT];
        decision.nStatus = bSizesDiffer ? FILE_DIFF : FILE_UNKNOWN;
        decision.pReason = bSizesDiffer ? "not downloaded, sizes differ" : "not downloaded, sizes agree";
        decision.nBasis = bSizesDiffer ? VerdictBasis::Size : VerdictBasis::None;
    } else if (pItem->strVersion[SIDE_LEFT] != pItem->strVersion[SIDE_RIGHT]) {
        decision.nStatus = FILE_DIFF;
        decision.pReason = "versions differ";
        decision.nBasis = VerdictBasis::Version;
    } else if (pItem->strSize[SIDE_LEFT] != pItem->strSize[SIDE_RIGHT]) {
        decision.nStatus = FILE_DIFF;
        decision.pReason = "sizes differ";
        decision.nBasis = VerdictBasis::Size;
    } else {
        decision.bNeedsContents = true;
    }
    return decision;
}

void CItemComparer::ReadContents(Decision& decision, bool bKnown) const
{
    const CFileItem& item = *decision.pItem;
    CrcHints hints;
    for (int nSide = 0; nSide < 2; ++nSide) {
        if (bKnown && item.bKnownCrc[nSide]) {
            hints.known[nSide] = item.nKnownCrc[nSide];
        }
    }
    // Both known: the files are not even looked at, let alone opened.
    const int nContents = hints.known[0] && hints.known[1]
        ? (*hints.known[0] == *hints.known[1] ? CONTENTS_SAME : CONTENTS_DIFF)
        : CompareFileContents(FullName(item, SIDE_LEFT), FullName(item, SIDE_RIGHT), m_opener, hints);
    decision.nStatus = StatusFromContents(nContents);
    decision.pReason = ContentsReason(nContents);
    decision.nBasis
        = nContents == CONTENTS_SAME || nContents == CONTENTS_DIFF ? VerdictBasis::Contents : VerdictBasis::None;
    decision.bNeedsContents = false;
    RememberReads(hints);
}

void CItemComparer::RememberReads(const CrcHints& hints) const
{
    for (int nSide = 0; nSide < 2; ++nSide) {
        if (hints.read[nSide] && m_pCaches[nSide] != nullptr) {
            const std::lock_guard lock(m_cacheLock);
            m_pCaches[nSide]->RememberCrc(hints.readStamps[nSide], *hints.read[nSide]);
        }
    }
}

void CItemComparer::Apply(const Decision& decision)
{
    CFileItem* pItem = decision.pItem;
    pItem->status = decision.nStatus;
    pItem->nBasis = decision.nBasis;
    SetIconsFromStatus(pItem);
    if (IsLogEnabled()) {
        const QString strName
            = pItem->strPaths[SIDE_LEFT].IsEmpty() ? FullName(*pItem, SIDE_RIGHT) : FullName(*pItem, SIDE_LEFT);
        Log("CompareItem::[%ld] %s [%s]%s: %s", CurrentThreadId(), pItem->kind == KIND_DIR ? "DIR" : "FILE", strName,
            StatusText(*pItem), decision.pReason);
    }
}

void CItemComparer::CompareItem(CFileItem* pItem)
{
    Decision decision = Decide(pItem);
    if (decision.bNeedsContents) {
        ReadContents(decision, false);
    }
    Apply(decision);
}

void CItemComparer::CompareTree(CFileItem* pRoot, int nThreads)
{
    std::vector<Decision> decisions;
    // Sized once: a tree of millions of items should not hold twice the room it needs while it grows.
    decisions.reserve(CountItems(pRoot));
    std::vector<size_t> reads;
    for (CFileItem* pItem = pRoot->pFirstChild; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        decisions.push_back(Decide(pItem));
        if (decisions.back().bNeedsContents) {
            reads.push_back(decisions.size() - 1);
        }
    }

    std::atomic<size_t> nNext { 0 };
    auto worker = [&] {
        for (size_t i = nNext++; i < reads.size(); i = nNext++) {
            if (m_pCancel != nullptr && m_pCancel->load()) {
                decisions[reads[i]].nStatus = FILE_UNKNOWN;
                continue;
            }
            ReadContents(decisions[reads[i]], true);
        }
    };
    // With more than one reader the calling thread only waits: the CRC caches, which serve one thread at a
    // time, are then passed between the readers alone, under their lock.
    std::vector<std::thread> readers;
    const size_t nReaders = std::min<size_t>(reads.size() / 2, static_cast<size_t>(std::max(nThreads, 1)));
    for (size_t i = 0; nReaders > 1 && i < nReaders; ++i) {
        try {
            readers.emplace_back(worker);
        } catch (const std::system_error&) {
            break; // fewer threads than asked for: the ones there are finish the work
        }
    }
    if (readers.empty()) {
        worker();
    }
    for (std::thread& reader : readers) {
        reader.join();
    }

    for (const Decision& decision : decisions) {
        Apply(decision);
        decision.pItem->bKnownCrc[SIDE_LEFT] = decision.pItem->bKnownCrc[SIDE_RIGHT] = false;
    }
}
