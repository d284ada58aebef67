#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include <QString>

#include "support/BulkMemory.h"
#include "support/SharedText.h"
#include "tree/FileItem.h"

struct ScannedEntry;
// A scanned folder's entries: made and freed with the scan, by the hundred thousand.
using RecordList = std::vector<ScannedEntry, CBulkAllocator<ScannedEntry>>;

// One entry of a scanned folder as the scan found it: a record far smaller than the tree's item, so that both
// sides can be read whole at once, and made into items when they are merged.
struct ScannedEntry
{
    QString strName;
    CSharedText strSize;
    CSharedText strTime;
    CSharedText strVersion;
    // A folder's entries, when the scan went into it.
    std::unique_ptr<RecordList> pChildren;
    std::uint32_t nKnownCrc = 0;
    bool bFolder = false;
    bool bKnownCrc = false;
    bool bListed = false;
    bool bLink = false; // a folder reached through a link
    bool bExpanded = false;
    std::int8_t nAttrSource = ATTR_FROM_FILE;
    SideRead nRead = SideRead::Full;
    ListedBy nListedBy = ListedBy::None; // of a folder the scan went into, on the FTP side
};

// A scanned folder: its entries, and how much of it could be read.
struct ScannedFolder
{
    RecordList entries;
    SideRead nRead = SideRead::Full;
    ListedBy nListedBy = ListedBy::None;
};

// Adds the scanned entries below pFolder as side nSide, merging them with what the tree holds, and frees
// each folder's records once its items stand. strFolderPath and strShowPath are the folder's as
// CFolderScanner::ScanFolder takes them.
void AddScannedEntries(ScannedFolder folder, CFileItem* pFolder, const QString& strFolderPath,
    const QString& strShowPath, int nDepth, int nSide);

// Both sides' scans of the compared folders, added below the tree's root as AddScannedEntries adds the left
// side and then the right; sub-trees that share no folder are merged on up to nThreads threads at once.
// strRightShowPath is the right folder as the user knows it.
void AddScannedSides(std::array<ScannedFolder, 2> sides, CFileItem* pRoot, const std::array<QString, 2>& folderPaths,
    const QString& strRightShowPath, int nThreads);
