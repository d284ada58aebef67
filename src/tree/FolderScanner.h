#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include <QString>

#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/ScannedMerge.h"

class CCrcCache;
struct FileStamp;

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

// Something the user should hear of after a scan: a folder or file that could not be read (an error: the
// comparison is not whole), or an entry left out on purpose (a warning).
struct ScanNotice
{
    int nSide = 0;
    bool bError = false;
    QString strPath;
    QString strText; // the whole sentence
};

// Reads one side's folder tree into the merged tree. Both sides are local folders: the user's own on the
// left, the mirror of the FTP folder on the right, where an empty file with a marker beside it stands for
// a remote file that was not downloaded.
class CFolderScanner
{
public:
    // Receives "Scanning <folder> folder.\n" as each folder is started.
    using Progress = std::function<void(const QString& strMessage)>;

    explicit CFolderScanner(Progress progress = {});
    ~CFolderScanner();

    // Takes version texts of files read by an earlier run from this cache, and remembers the ones read now.
    void SetCrcCache(CCrcCache* pCache) { m_pCache = pCache; }

    // Stops the scan at the next entry once *pCancel is set; what was read so far stays in the tree.
    void SetCancel(const std::atomic<bool>* pCancel) { m_pCancel = pCancel; }

    // Merges the entries of strFolderPath into pFolder's children as side nSide (0 left, 1 right), and with
    // bRecursive the entries of every listed sub-folder below it. strShowPath is the folder as the user
    // knows it: the FTP path on the right side. Returns false when the folder itself cannot be read.
    bool ScanFolder(CFileItem* pFolder, const QString& strFolderPath, const QString& strShowPath, int nDepth, int nSide,
        bool bRecursive);

    // Reads the entries of strFolderPath (and with bRecursive those of every listed sub-folder) as side nSide
    // without touching any tree; nothing when the folder itself cannot be read.
    std::optional<ScannedFolder> ScanEntries(
        const QString& strFolderPath, const QString& strShowPath, int nDepth, int nSide, bool bRecursive);

    [[nodiscard]] long long ScannedFiles() const { return m_nFiles; }
    [[nodiscard]] long long ScannedFolders() const { return m_nFolders; }
    [[nodiscard]] const std::vector<ScanNotice>& Notices() const { return m_notices; }

private:
    struct FolderId
    {
        dev_t nDevice;
        ino_t nInode;
    };

    void ScanOpenFolder(int nFolderFd, RecordList& scanned, SideRead& nFolderRead, ListedBy& nListedBy,
        const QString& strFolderPath, const QString& strShowPath, int nDepth, int nSide, bool bRecursive);

    struct ReadEntry;
    // What a folder's working names say of it: how it was read and listed, and the markers of its files.
    struct FolderMarks
    {
        SideRead& nRead;
        ListedBy& nListedBy;
        std::map<QString, MarkerInfo> markers;
    };
    // The folder whose entries are being recorded.
    struct FolderAt
    {
        int nFd;
        const QString& strPath;
        const QString& strShowPath;
        int nDepth;
        int nSide;
    };
    // Reads a folder's entries (files, folders, links to either), leaving out and noting what has no contents.
    void ReadEntries(
        DIR* pDir, const QString& strFolderPath, int nSide, std::vector<ReadEntry>& entries, FolderMarks& marks);
    // A name of this program's own: a marker or mark in the mirror, left out (and said so) in a user's folder.
    void TakeWorkingName(
        const QString& strName, const char* pName, const QString& strPath, int nSide, FolderMarks& marks);
    void RecordFile(const FolderAt& folder, const ReadEntry& entry, ScannedEntry& record,
        const std::map<QString, MarkerInfo>& markers);
    // Records a folder, and descends into it when asked, unless it is a link out, a loop or too deep.
    void RecordFolder(const FolderAt& folder, const ReadEntry& entry, ScannedEntry& record, bool bRecursive);

    // The version text of a file that may have one, from the cache when the file is unchanged.
    QString VersionText(const QString& strPath, const FileStamp& stamp) const;
    // Files written together share their minute: their time texts share one string.
    CSharedText TimeText(time_t nModified);
    // Texts read from markers, shared between the files that have them in common.
    CSharedText SharedMarkerText(const QString& strText);
    // Records a problem and marks what it concerns (when given) as not read in full.
    void Notice(SideRead* pRead, SideRead nRead, int nSide, const QString& strPath, const QString& strText);
    // Whether a link's target lies inside the compared folder.
    bool IsInsideRoot(const QString& strPath) const;

    Progress m_progress;
    const std::atomic<bool>* m_pCancel = nullptr;
    CCrcCache* m_pCache = nullptr;
    // Files of one size share one size text.
    CSharedText SizeText(off_t nSize);

    CSharedTextTable<off_t> m_sizeTexts;
    CSharedTextTable<QString> m_markerTexts;
    time_t m_nCachedMinute = -1;
    CSharedTextSource m_cachedTime;
    CSharedTextSource m_unknownVersion;
    std::vector<FolderId> m_ancestors;
    std::vector<std::vector<ReadEntry>> m_entriesAt;
    std::vector<ScanNotice> m_notices;
    QString m_strRootReal;
    long long m_nFiles = 0;
    long long m_nFolders = 0;
};
