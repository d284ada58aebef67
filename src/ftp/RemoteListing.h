#pragma once

#include <atomic>
#include <functional>
#include <optional>

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include "ftp/ListingParser.h"
#include "tree/FileItem.h"

class CFtpSession;
class CMirrorDir;
class CTraceBuffer;

// How a remote folder is reflected into the mirror.
struct MirrorOptions
{
    // Files larger than this many bytes are represented by a placeholder and a marker; -1: no limit.
    long long nSizeLimit = 10 * 1024;
    // Download every file within the limit again, current or not.
    bool bRefreshAll = false;
    // Mirror every sub-folder too, at once.
    bool bRecursive = false;
    // Put "$quorveldummy01"/"02" in a new, empty sub-folder that is not listed now.
    bool bCreateDummies = true;
};

// Counts of one mirroring, for the user and the benchmarks.
struct MirrorCounts
{
    long long nFolders = 0;
    long long nFiles = 0;
    long long nDownloaded = 0;
    long long nPlaceholders = 0;
    long long nCurrent = 0;
    long long nRejected = 0;
};

// Lists remote folders with "LIST" over the session's connection and reflects them into the site's mirror
// folder, where the scanner reads the FTP side: a downloaded copy carrying the remote time, or an empty
// placeholder with a marker whose name carries the remote size and date.
class CRemoteListing
{
public:
    CRemoteListing(CFtpSession& session, CTraceBuffer& trace);

    // Progress texts ("Scanning ...", "n / m name (p %) processed...").
    void SetProgress(std::function<void(const QString&)> progress) { m_progress = std::move(progress); }
    // The dates of listings are read against these years (tests fix them).
    void SetYears(const ListingYears& years) { m_years = years; }

    // One folder's raw listing. False on failure, and for an empty listing (LastListingWasEmpty()).
    bool GetListing(const QString& strFolder, QString& strText, const std::atomic<bool>* pCancel = nullptr);
    [[nodiscard]] bool LastListingWasEmpty() const { return m_bLastListingEmpty; }
    // The command that gave the last listing.
    [[nodiscard]] ListedBy LastListedBy() const { return m_lastListedBy; }

    // Parses a listing of strFolder and updates its mirror folder; false when the folder could not be
    // mirrored whole (a sub-folder failed, the job was cancelled, the connection was lost).
    bool ParseAndMirror(const QString& strFolder, const QString& strText, ListedBy listedBy,
        const MirrorOptions& options, const std::atomic<bool>* pCancel);

    // Lists a folder and mirrors it (the folder download of a sub-folder).
    bool DownloadDir(const QString& strFolder, const MirrorOptions& options, const std::atomic<bool>* pCancel);

    // The remote scan behind the FTP pane: a folder whose mirror is current is not listed again.
    bool RemoteScan(const QString& strFolder, const MirrorOptions& options, const std::atomic<bool>* pCancel);

    // The local folder that stands for a remote one; empty when the remote path cannot be mirrored.
    [[nodiscard]] QString MirrorPathFor(const QString& strRemoteFolder) const;
    [[nodiscard]] bool IsMirrorFolderCurrent(const QString& strRemoteFolder) const;

    // Downloads one remote file into its mirror folder, reading no more than nSizeLimit bytes (-1: no
    // limit): 1 on success.
    int DownloadToMirror(const QString& strFolder, const FtpListEntry& entry, const CMirrorDir& mirror,
        const std::atomic<bool>* pCancel, long long nSizeLimit = -1);

    [[nodiscard]] const QString& LastListing() const { return m_strLastListing; }
    [[nodiscard]] const MirrorCounts& Counts() const { return m_counts; }
    // What the user should hear of even without a trace: entries left out, listings not read in full.
    [[nodiscard]] const QStringList& Warnings() const { return m_warnings; }

private:
    // One mirror folder being brought up to date, and the markers found and kept in it.
    struct FolderMirror
    {
        const CMirrorDir& mirror;
        QHash<QString, QStringList> markersByFile;
        QSet<QString> keptMarkers;
    };

    enum class LinkKind
    {
        Folder,
        File,
        Unknown // the server could not be asked
    };

    static bool IsCancelled(const std::atomic<bool>* pCancel);
    // A folder's MLSD listing; empty when MLSD failed and the session turned to LIST.
    QString ListWithMlsd(const QString& strFolder, const QString& strPath, const std::atomic<bool>* pCancel);
    // The MLSD listing, or nothing when LIST shows that this server's MLSD cannot be trusted with links.
    QString CheckMlsdAgainstList(
        const QString& strFolder, const QString& strPath, const QString& strMlsd, const std::atomic<bool>* pCancel);
    // The listing to use of the session's first folder that names anything, and whether "LIST -a" is taken.
    QString ProbeHiddenNames(const QString& strPath, const QString& strPlain, const std::atomic<bool>* pCancel);
    // What a link on the server leads to, found by entering it (and going no further).
    LinkKind ProbeLink(const QString& strPath);
    // A link to a folder stands in the mirror as a folder holding only the link marker.
    void MirrorLink(const CMirrorDir& mirror, const QString& strPath, const FtpListEntry& entry);
    // A sub-folder whose listing failed stands in the mirror as unknown: emptied, with the failure marker.
    void MarkListingFailed(const CMirrorDir& folder, const QString& strPath);
    // False (and said once) past the bounds on folders and entries of one comparison.
    bool WithinBounds();
    // Whether an entry must stay out of the mirror (a name that cannot be stored, one of this program's
    // working names, one too long for a marker); says why in the trace when it must.
    bool LeaveOut(const QString& strFolder, const FtpListEntry& entry);
    // A link the server would not enter, as the file it points to.
    static FtpListEntry LinkAsFile(const FtpListEntry& link, const std::vector<FtpListEntry>& siblings);
    void MirrorFile(const QString& strFolder, FolderMirror& folder, const FtpListEntry& entry,
        const MirrorOptions& options, const std::atomic<bool>* pCancel);
    void Warn(const QString& strText);
    std::optional<CMirrorDir> OpenMirrorFolder(const QString& strRemoteFolder, bool bCreate) const;
    bool MirrorEntries(const QString& strFolder, const ParsedListing& parsed, ListedBy listedBy,
        const MirrorOptions& options, const std::atomic<bool>* pCancel);
    // A folder's mirror as a listing starts on it: the marks of the last listing gone, its markers gathered.
    static FolderMirror StartMirrorFolder(const CMirrorDir& mirror);
    enum class SubfolderOutcome
    {
        Done,
        Incomplete, // the folder could not be mirrored: the listing of its parent is not whole
        Stop // cancelled, or past the bounds
    };
    // A folder or link to a folder of the listing, in the mirror; listed in turn when recursive.
    SubfolderOutcome MirrorSubfolder(const CMirrorDir& mirror, const QString& strChild, const FtpListEntry& entry,
        const MirrorOptions& options, const std::atomic<bool>* pCancel);
    // After a whole listing: what the server no longer holds leaves the mirror, and the folder's marks are set.
    static void FinishMirrorFolder(
        const FolderMirror& folder, const QSet<QString>& listedNames, bool bPartial, ListedBy listedBy);
    void WritePlaceholder(const CMirrorDir& mirror, const FtpListEntry& entry, const QString& strMarker);

    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    std::function<void(const QString&)> m_progress;
    ListingYears m_years = ListingYears::Now();
    QString m_strLastListing;
    bool m_bLastListingEmpty = false;
    ListedBy m_lastListedBy = ListedBy::List;
    bool m_bLastFolderRefused = false;
    bool m_bBoundReached = false;
    long long m_nEntriesSeen = 0;
    long long m_nMaxFolders = 200000;
    long long m_nMaxEntries = 5000000;
    MirrorCounts m_counts;
    QStringList m_warnings;
    // Listings of the folders above the one being mirrored: a link back up lists one of them again.
    QList<QByteArray> m_ancestorListings;
};

// A remote folder's path as the mirror keeps it: "/" separators, leading "/", no trailing "/"; nothing when a
// part of it cannot be a mirror folder name ("..", control characters ...).
std::optional<QStringList> RemoteFolderParts(const QString& strRemoteFolder);

// Text that can stand in a marker's name: digits, letters and "+-." only.
QString MarkerSafe(const QString& strText);
