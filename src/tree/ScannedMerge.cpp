#include "tree/ScannedMerge.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "tree/SiblingIndex.h"
#include "tree/TreeOperations.h"

namespace {

// No piece of work holds more than this share of a thread's part, so that one large sub-tree among small
// ones still leaves the others busy.
constexpr size_t kWorksPerThread = 8;
// Splitting goes this many folder levels down at most: a chain of single folders is merged as it is.
constexpr int kMaxSplitLevels = 8;

// A sub-folder's entries on one side, waiting to be added below its item.
struct DeferredFolder
{
    CFileItem* pFolder = nullptr;
    int nSide = SIDE_LEFT;
    ScannedFolder folder;
    QString strPath;
    QString strShowPath;
};

// One folder's item and what both sides hold below it, in the order the serial merge adds them: a side may
// bring two folders that the name rules merge into one item.
struct MergeWork
{
    CFileItem* pFolder = nullptr;
    int nDepth = -1;
    std::vector<DeferredFolder> parts;
    size_t nRecords = 0;
};

// As AddScannedEntries; with pDeferred, the entries of sub-folders are handed over there instead of added.
void AddEntries(ScannedFolder folder, CFileItem* pFolder, const QString& strFolderPath, const QString& strShowPath,
    int nDepth, int nSide, std::vector<DeferredFolder>* pDeferred)
{
    if (pFolder->nRead[nSide] == SideRead::Full) {
        pFolder->nRead[nSide] = folder.nRead;
    }
    if (nSide == SIDE_RIGHT) {
        pFolder->nListedBy = folder.nListedBy;
    }
    // Every entry of the folder shares the folder's texts.
    CSharedTextSource sharedFolder(CSharedText { strFolderPath });
    CSharedTextSource sharedShowPath(CSharedText { nSide == SIDE_RIGHT ? strShowPath : QString() });
    CSiblingIndex::Cursor cursor;
    for (ScannedEntry& entry : folder.entries) {
        const int nKind = entry.bFolder ? KIND_DIR : KIND_FILE;
        const CSiblingIndex::Place place = LocateChild(pFolder, cursor, nKind, entry.strName);
        // An entry that meets its namesake from the other side is merged from the stack: most of the second
        // side's entries do, and need no item of their own.
        CFileItemPtr pNew = place.pMatch == nullptr ? NewItem() : nullptr;
        std::optional<CFileItem> incoming;
        CFileItem& item = pNew ? *pNew : incoming.emplace();
        const QString strChildPath = entry.bFolder ? JoinPath(strFolderPath, entry.strName) : QString();
        const QString strChildShowPath = entry.bFolder ? JoinPath(strShowPath, entry.strName) : QString();
        item.strName = std::move(entry.strName);
        item.kind = static_cast<std::int8_t>(nKind);
        item.indent = static_cast<std::int16_t>(nDepth + 1);
        item.strPaths[nSide] = sharedFolder.Copy();
        item.strShowPaths[nSide] = sharedShowPath.Copy();
        item.nRead[nSide] = entry.nRead;
        if (!entry.bFolder) {
            item.status = nSide == SIDE_LEFT ? FILE_LEFT_ONLY : FILE_RIGHT_ONLY;
            item.strSize[nSide] = std::move(entry.strSize);
            item.strTime[nSide] = std::move(entry.strTime);
            item.strVersion[nSide] = std::move(entry.strVersion);
            item.bKnownCrc[nSide] = entry.bKnownCrc;
            item.nKnownCrc[nSide] = entry.nKnownCrc;
            item.nAttrSource = entry.nAttrSource;
        } else {
            item.status = nSide == SIDE_LEFT ? DIR_LEFT_ONLY : DIR_RIGHT_ONLY;
            item.bListed[nSide] = entry.bListed;
            item.bLink[nSide] = entry.bLink;
            item.bExpanded[nSide] = entry.bExpanded;
        }
        CFileItem* pChild = pNew ? LinkChild(std::move(pNew), pFolder, place, cursor)
                                 : MergeChild(place.pMatch, std::move(item), cursor);
        if (entry.pChildren) {
            ScannedFolder children { std::move(*entry.pChildren), SideRead::Full, entry.nListedBy };
            entry.pChildren.reset();
            if (pDeferred != nullptr) {
                pDeferred->push_back({ pChild, nSide, std::move(children), strChildPath, strChildShowPath });
            } else {
                AddEntries(std::move(children), pChild, strChildPath, strChildShowPath, nDepth + 1, nSide, nullptr);
            }
        }
    }
}

size_t CountRecords(const RecordList& entries)
{
    size_t nCount = entries.size();
    for (const ScannedEntry& entry : entries) {
        if (entry.pChildren) {
            nCount += CountRecords(*entry.pChildren);
        }
    }
    return nCount;
}

void RunWork(MergeWork& work, std::vector<DeferredFolder>* pDeferred)
{
    for (DeferredFolder& part : work.parts) {
        AddEntries(
            std::move(part.folder), work.pFolder, part.strPath, part.strShowPath, work.nDepth, part.nSide, pDeferred);
    }
    work.parts.clear();
}

void AddPart(MergeWork& work, DeferredFolder part)
{
    work.nRecords += CountRecords(part.folder.entries);
    work.parts.push_back(std::move(part));
}

// Adds one folder level of every piece of work larger than nLimit records, which gives way to one piece per
// sub-folder item, in its place: the pieces stay in the order of the tree, the order the scans made their
// records in.
std::vector<MergeWork> SplitLarge(std::vector<MergeWork> works, size_t nLimit)
{
    std::vector<MergeWork> next;
    for (MergeWork& work : works) {
        if (work.nRecords <= nLimit) {
            next.push_back(std::move(work));
            continue;
        }
        std::vector<DeferredFolder> deferred;
        RunWork(work, &deferred);
        std::unordered_map<CFileItem*, size_t> workOf;
        for (DeferredFolder& part : deferred) {
            const auto [it, bNew] = workOf.try_emplace(part.pFolder, next.size());
            if (bNew) {
                next.push_back({ part.pFolder, work.nDepth + 1, {}, 0 });
            }
            AddPart(next[it->second], std::move(part));
        }
    }
    return next;
}

} // namespace

void AddScannedEntries(ScannedFolder folder, CFileItem* pFolder, const QString& strFolderPath,
    const QString& strShowPath, int nDepth, int nSide)
{
    AddEntries(std::move(folder), pFolder, strFolderPath, strShowPath, nDepth, nSide, nullptr);
}

void AddScannedSides(std::array<ScannedFolder, 2> sides, CFileItem* pRoot, const std::array<QString, 2>& folderPaths,
    const QString& strRightShowPath, int nThreads)
{
    std::vector<MergeWork> works(1);
    works[0].pFolder = pRoot;
    AddPart(
        works[0], { pRoot, SIDE_LEFT, std::move(sides[SIDE_LEFT]), folderPaths[SIDE_LEFT], folderPaths[SIDE_LEFT] });
    AddPart(works[0], { pRoot, SIDE_RIGHT, std::move(sides[SIDE_RIGHT]), folderPaths[SIDE_RIGHT], strRightShowPath });
    // Building the items is work for the processor alone: sub-trees that share no folder are merged at once,
    // after the top levels of the large ones were added here. They are taken in the order of the tree, in
    // which the scans made their records, so that the records' memory goes back block by block while the
    // items are made, and the two trees of records and the tree of items never stand whole at once.
    const size_t nLimit = nThreads > 1
        ? std::max<size_t>(1, works[0].nRecords / (kWorksPerThread * static_cast<size_t>(nThreads)))
        : works[0].nRecords;
    for (int nLevel = 0; nLevel < kMaxSplitLevels
         && std::any_of(works.begin(), works.end(), [nLimit](const MergeWork& work) { return work.nRecords > nLimit; });
         ++nLevel) {
        works = SplitLarge(std::move(works), nLimit);
    }
    std::atomic<size_t> nNext { 0 };
    const auto merge = [&works, &nNext] {
        for (size_t i = nNext++; i < works.size(); i = nNext++) {
            RunWork(works[i], nullptr);
        }
    };
    std::vector<std::thread> helpers;
    for (int i = 1; i < nThreads && static_cast<size_t>(i) < works.size(); ++i) {
        try {
            helpers.emplace_back(merge);
        } catch (const std::system_error&) {
            break;
        }
    }
    merge();
    for (std::thread& helper : helpers) {
        helper.join();
    }
}
