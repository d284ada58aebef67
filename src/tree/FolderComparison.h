#pragma once

#include "tree/CrcCache.h"
#include "tree/FileTree.h"
#include "tree/FolderScanner.h"
#include "tree/ItemComparer.h"

// What went wrong with a comparison, in one sentence a user can act on; empty when nothing did.
struct [[nodiscard]] ComparisonOutcome
{
    bool bOk = true;
    QString strError;
};

// One comparison: the user's folder on the left, the mirror folder on the right, scanned into one tree
// and compared item by item.
class CFolderComparison
{
public:
    // strRightShowPath is how the right folder is shown: the FTP path it mirrors, or the folder itself.
    CFolderComparison(QString strLeftFolder, QString strRightFolder, QString strRightShowPath = {},
        FileOpener opener = OpenForSequentialRead);

    // Keeps each side's CRCs and version texts in a cache in strFolder across runs (none when empty).
    void SetCrcCacheFolder(const QString& strFolder) { m_strCacheFolder = strFolder; }
    // The clock the caches date their entries by (the system's unless set).
    void SetCrcCacheClock(CCrcCache::Clock clock) { m_crcClock = std::move(clock); }

    // Scans both folders (at once, so progress may be reported from two threads) and compares every item,
    // reading contents on up to nThreads threads.
    // A set *pCancel stops both at the next entry or file; the outcome then says so.
    ComparisonOutcome Run(
        int nThreads, const CFolderScanner::Progress& progress = {}, const std::atomic<bool>* pCancel = nullptr);

    [[nodiscard]] CFileTree& Tree() { return m_tree; }
    [[nodiscard]] const CFileTree& Tree() const { return m_tree; }
    [[nodiscard]] const CItemComparer& Comparer() const { return m_comparer; }
    // Folders and files that could not be read, entries left out on purpose: both sides, left first.
    [[nodiscard]] const std::vector<ScanNotice>& Notices() const { return m_notices; }
    // Whether any folder or file could not be read: the comparison is then not whole.
    [[nodiscard]] bool HasReadErrors() const;

private:
    QString m_strFolders[2];
    QString m_strRightShowPath;
    QString m_strCacheFolder;
    CCrcCache::Clock m_crcClock;
    CFileTree m_tree;
    CItemComparer m_comparer;
    std::vector<ScanNotice> m_notices;
};

// A sensible number of threads for content comparison on this machine.
int DefaultComparisonThreads();
