#include "tree/FolderScanner.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/DiagnosticLog.h"
#include "support/NameBytes.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/CrcCache.h"
#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/TreeOperations.h"
#include "tree/VersionResource.h"

namespace {

// Folder links can form cycles, and nothing a user compares is nested this deep.
// Each level keeps its folder open while the next is read, so this also bounds the descriptors in use.
constexpr int kMaxDepth = 256;

// A mirror folder whose remote contents were never listed holds these two empty files instead.

// Whether the folder's contents are known: it can be opened, and (in the mirror) it is not a folder whose
// remote contents were never listed. Only listed folders are expanded and descended into.
bool IsListed(int nFolderFd)
{
    return ::faccessat(nFolderFd, kUnlistedMarker, F_OK, AT_SYMLINK_NOFOLLOW) != 0;
}

// The path with every link resolved; empty when it leads nowhere.
QString RealPath(const QString& strPath)
{
    char* pReal = ::realpath(NameToBytes(strPath).constData(), nullptr);
    if (pReal == nullptr) {
        return {};
    }
    QString strReal = NameFromBytes(pReal);
    std::free(pReal);
    return strReal;
}

QString ErrorText(int nError)
{
    return QString::fromLocal8Bit(std::strerror(nError));
}

} // namespace

// A folder's entry between reading it and recording it: small, as each folder's entries are sorted.
struct CFolderScanner::ReadEntry
{
    QString strName;
    FileStamp stamp;
    time_t nModified = 0;
    bool bFolder = false;
    bool bLink = false;
    bool bUnreadable = false;
};

CFolderScanner::CFolderScanner(Progress progress)
    : m_progress(std::move(progress))
    , m_unknownVersion(CSharedText(kUnknownVersion))
{ }

CFolderScanner::~CFolderScanner() = default;

CSharedText CFolderScanner::TimeText(time_t nModified)
{
    // Local time moves in whole minutes with UTC since long before any file a user keeps was written.
    const time_t nMinute = nModified >= 0 ? nModified / 60 : -1;
    if (nMinute < 0 || nMinute != m_nCachedMinute) {
        m_cachedTime = CSharedTextSource(MakeTimeText(nModified));
        m_nCachedMinute = nMinute;
    }
    return m_cachedTime.Copy();
}

QString CFolderScanner::VersionText(const QString& strPath, const FileStamp& stamp) const
{
    if (m_pCache != nullptr) {
        if (std::optional<QString> strKnown = m_pCache->RecallVersion(stamp)) {
            return *strKnown;
        }
    }
    QString strVersion = ReadVersionText(strPath);
    if (m_pCache != nullptr) {
        m_pCache->RememberVersion(stamp, strVersion);
    }
    return strVersion;
}

CSharedText CFolderScanner::SizeText(off_t nSize)
{
    return m_sizeTexts.Copy(nSize, [nSize] { return MakeSizeText(static_cast<std::uint64_t>(nSize)); });
}

CSharedText CFolderScanner::SharedMarkerText(const QString& strText)
{
    return m_markerTexts.Copy(strText, [&strText] { return strText; });
}

void CFolderScanner::Notice(SideRead* pRead, SideRead nRead, int nSide, const QString& strPath, const QString& strText)
{
    if (pRead != nullptr && *pRead == SideRead::Full) {
        *pRead = nRead;
    }
    const bool bError = nRead == SideRead::Unreadable;
    m_notices.push_back({ nSide, bError, strPath, strText });
    Log("ScanFolder::[%ld] %s", CurrentThreadId(), strText);
}

bool CFolderScanner::IsInsideRoot(const QString& strPath) const
{
    const QString strReal = RealPath(strPath);
    if (strReal.isEmpty()) {
        return false;
    }
    return strReal == m_strRootReal
        || strReal.startsWith(
            m_strRootReal.endsWith(QLatin1Char('/')) ? m_strRootReal : m_strRootReal + QLatin1Char('/'));
}

bool CFolderScanner::ScanFolder(CFileItem* pFolder, const QString& strFolderPath, const QString& strShowPath,
    int nDepth, int nSide, bool bRecursive)
{
    std::optional<ScannedFolder> scanned = ScanEntries(strFolderPath, strShowPath, nDepth, nSide, bRecursive);
    if (!scanned) {
        return false;
    }
    AddScannedEntries(std::move(*scanned), pFolder, strFolderPath, strShowPath, nDepth, nSide);
    return true;
}

std::optional<ScannedFolder> CFolderScanner::ScanEntries(
    const QString& strFolderPath, const QString& strShowPath, int nDepth, int nSide, bool bRecursive)
{
    const int nFd = ::open(NameToBytes(strFolderPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nFd < 0) {
        LogError(errno, "ScanFolder::[%ld] cannot open %s", CurrentThreadId(), strFolderPath);
        return std::nullopt;
    }
    m_ancestors.clear();
    m_strRootReal = RealPath(strFolderPath);
    if (m_strRootReal.isEmpty()) {
        m_strRootReal = strFolderPath;
    }
    ScannedFolder folder;
    ScanOpenFolder(
        nFd, folder.entries, folder.nRead, folder.nListedBy, strFolderPath, strShowPath, nDepth, nSide, bRecursive);
    return folder;
}

void CFolderScanner::ScanOpenFolder(int nFolderFd, RecordList& scanned, SideRead& nFolderRead, ListedBy& nListedBy,
    const QString& strFolderPath, const QString& strShowPath, int nDepth, int nSide, bool bRecursive)
{
    struct stat folderInfo
    { };
    if (::fstat(nFolderFd, &folderInfo) != 0) {
        folderInfo = {};
    }
    m_ancestors.push_back({ folderInfo.st_dev, folderInfo.st_ino });
    if (m_progress) {
        m_progress(QStringLiteral("Scanning ") + strShowPath + QStringLiteral(" folder.\n"));
    }
    ++m_nFolders;
    nListedBy = nSide == SIDE_RIGHT ? ListedBy::List : ListedBy::None;

    DIR* pDir = ::fdopendir(nFolderFd);
    if (pDir == nullptr) {
        Notice(&nFolderRead, SideRead::Unreadable, nSide, strFolderPath,
            FormatText("The folder \"%s\" cannot be read: %s.", strFolderPath, ErrorText(errno)));
        ::close(nFolderFd);
        m_ancestors.pop_back();
        return;
    }
    // Each level of folders reuses the one list of entries.
    if (m_entriesAt.size() <= static_cast<size_t>(m_ancestors.size())) {
        m_entriesAt.resize(m_ancestors.size() + 1);
    }
    std::vector<ReadEntry>& entries = m_entriesAt[m_ancestors.size()];
    entries.clear();
    FolderMarks marks { nFolderRead, nListedBy, {} };
    ReadEntries(pDir, strFolderPath, nSide, entries, marks);

    // In the order the tree keeps, the merge places each entry from where the one before it went.
    std::sort(entries.begin(), entries.end(), [](const ReadEntry& a, const ReadEntry& b) {
        return PrecedesAsSibling(
            a.bFolder ? KIND_DIR : KIND_FILE, a.strName, b.bFolder ? KIND_DIR : KIND_FILE, b.strName);
    });
    // Entries are recorded in place and folders descended into as they come: no record moves once made.
    scanned.reserve(entries.size());
    const FolderAt folder { nFolderFd, strFolderPath, strShowPath, nDepth, nSide };
    for (ReadEntry& entry : entries) {
        ScannedEntry& record = scanned.emplace_back();
        record.strName = std::move(entry.strName);
        if (entry.bFolder) {
            RecordFolder(folder, entry, record, bRecursive);
        } else {
            RecordFile(folder, entry, record, marks.markers);
        }
    }
    ::closedir(pDir);
    m_ancestors.pop_back();
}

void CFolderScanner::ReadEntries(
    DIR* pDir, const QString& strFolderPath, int nSide, std::vector<ReadEntry>& entries, FolderMarks& marks)
{
    const int nFolderFd = ::dirfd(pDir);
    // Most entries need no path of their own: it is made only for the few that do.
    const auto pathOf = [&strFolderPath](const QString& strName) { return JoinPath(strFolderPath, strName); };
    for (;;) {
        if (m_pCancel != nullptr && m_pCancel->load()) {
            break;
        }
        errno = 0;
        const dirent* pEntry = ::readdir(pDir);
        if (pEntry == nullptr) {
            if (errno != 0) {
                Notice(&marks.nRead, SideRead::Unreadable, nSide, strFolderPath,
                    FormatText("The folder \"%s\" could not be read to its end: %s.", strFolderPath, ErrorText(errno)));
            }
            break;
        }
        const char* pName = pEntry->d_name;
        if (std::strcmp(pName, ".") == 0 || std::strcmp(pName, "..") == 0) {
            continue;
        }
        ReadEntry entry;
        entry.strName = NameFromBytes(pName);
        if (IsWorkingName(entry.strName)) {
            TakeWorkingName(entry.strName, pName, pathOf(entry.strName), nSide, marks);
            continue;
        }
        struct stat info
        { };
        if (::fstatat(nFolderFd, pName, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            const int nError = errno;
            const QString strPath = pathOf(entry.strName);
            Notice(&marks.nRead, SideRead::Unreadable, nSide, strPath,
                FormatText("\"%s\" cannot be examined: %s.", strPath, ErrorText(nError)));
            continue;
        }
        if (S_ISLNK(info.st_mode)) {
            entry.bLink = true;
            if (::fstatat(nFolderFd, pName, &info, 0) != 0) {
                // A link to nothing has no contents to compare or copy.
                Log("ScanFolder::[%ld] %s is a link to nothing, left out", CurrentThreadId(), pathOf(entry.strName));
                continue;
            }
        }
        if (!S_ISDIR(info.st_mode) && !S_ISREG(info.st_mode)) {
            // Pipes, sockets and devices have no contents to compare or transfer.
            Log("ScanFolder::[%ld] %s is not a regular file, left out", CurrentThreadId(), pathOf(entry.strName));
            continue;
        }
        entry.bFolder = S_ISDIR(info.st_mode);
        entry.stamp = StampOf(info);
        entry.nModified = info.st_mtime;
        // Most files can be read by anyone; only the others are asked about.
        entry.bUnreadable
            = !entry.bFolder && (info.st_mode & S_IROTH) == 0 && ::faccessat(nFolderFd, pName, R_OK, AT_EACCESS) != 0;
        entries.push_back(std::move(entry));
    }
}

void CFolderScanner::TakeWorkingName(
    const QString& strName, const char* pName, const QString& strPath, int nSide, FolderMarks& marks)
{
    if (nSide == SIDE_LEFT) {
        Notice(
            nullptr, SideRead::Full, nSide, strPath, FormatText("\"%s\" is left out: %s.", strPath, WorkingNameRule()));
        return;
    }
    // Markers describe the mirror only: a user's own folder has no placeholders.
    if (std::optional<MarkerInfo> marker = ParseMarkerName(strName)) {
        // Two markers for one file should not happen; if they do, the greatest name wins every time.
        auto [it, bInserted] = marks.markers.try_emplace(marker->strFileName, *marker);
        if (!bInserted && it->second.strDateKey + it->second.strSizeText < marker->strDateKey + marker->strSizeText) {
            it->second = *marker;
        }
    } else if (std::strcmp(pName, kEmptyListingMarker) == 0 && marks.nRead == SideRead::Full) {
        marks.nRead = SideRead::ListingEmpty;
    } else if (std::strcmp(pName, kPartialListingMarker) == 0 && marks.nRead != SideRead::ListingFailed) {
        marks.nRead = SideRead::ListingPartial;
    } else if (std::strcmp(pName, kFailedListingMarker) == 0) {
        marks.nRead = SideRead::ListingFailed;
    } else if (std::strcmp(pName, kMlsdListingMarker) == 0) {
        marks.nListedBy = ListedBy::Mlsd;
    }
}

void CFolderScanner::RecordFile(
    const FolderAt& folder, const ReadEntry& entry, ScannedEntry& record, const std::map<QString, MarkerInfo>& markers)
{
    ++m_nFiles;
    const auto marker = entry.stamp.nSize == 0 ? markers.find(record.strName) : markers.end();
    if (marker != markers.end()) {
        record.strSize = SharedMarkerText(MarkerSizeText(marker->second));
        record.strTime = SharedMarkerText(MarkerTimeText(marker->second));
        record.strVersion = m_unknownVersion.Copy();
        record.nAttrSource = ATTR_FROM_MARKER;
    } else {
        record.strSize = SizeText(entry.stamp.nSize);
        record.strTime = TimeText(entry.nModified);
        if (MayHaveVersionResource(record.strName) && !entry.bUnreadable) {
            record.strVersion = VersionText(JoinPath(folder.strPath, record.strName), entry.stamp);
        }
        if (m_pCache != nullptr) {
            // The status is at hand now: the comparison need not look at the file again.
            if (const std::optional<std::uint32_t> nCrc = m_pCache->RecallCrc(entry.stamp)) {
                record.bKnownCrc = true;
                record.nKnownCrc = *nCrc;
            }
        }
        record.nAttrSource = ATTR_FROM_FILE;
    }
    if (entry.bUnreadable) {
        const QString strPath = JoinPath(folder.strPath, record.strName);
        Notice(&record.nRead, SideRead::Unreadable, folder.nSide, strPath,
            FormatText("The file \"%s\" cannot be read: %s.", strPath, ErrorText(EACCES)));
    }
}

void CFolderScanner::RecordFolder(const FolderAt& folder, const ReadEntry& entry, ScannedEntry& record, bool bRecursive)
{
    const int nSide = folder.nSide;
    record.bFolder = true;
    record.bLink = entry.bLink;
    const QString strPath = JoinPath(folder.strPath, record.strName);
    if (entry.bLink && !IsInsideRoot(strPath)) {
        // Whatever lies outside the compared folder is not the user's to compare, copy or delete here.
        Notice(&record.nRead, SideRead::LinkNotFollowed, nSide, strPath,
            FormatText("\"%s\" is a link to a folder outside the compared folder; it is not followed.", strPath));
        return;
    }
    const QByteArray encodedName = NameToBytes(record.strName);
    const int nChildFd = ::openat(folder.nFd, encodedName.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int nOpenError = errno;
    record.bListed = nChildFd >= 0 && IsListed(nChildFd);
    const bool bDescend = record.bListed && bRecursive;
    record.bExpanded = bDescend;
    if (nChildFd < 0) {
        Notice(&record.nRead, SideRead::Unreadable, nSide, strPath,
            FormatText("The folder \"%s\" cannot be read: %s.", strPath, ErrorText(nOpenError)));
        return;
    }
    if (nSide == SIDE_RIGHT && ::faccessat(nChildFd, kLinkMarker, F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        // A link on the server: what it leads to is either compared under its own path or not ours.
        record.bLink = true;
        record.bExpanded = false;
        record.nRead = SideRead::LinkNotFollowed;
        ::close(nChildFd);
        return;
    }
    struct stat childInfo
    { };
    const bool bCycle = ::fstat(nChildFd, &childInfo) == 0
        && std::any_of(m_ancestors.begin(), m_ancestors.end(),
            [&](const FolderId& id) { return id.nDevice == childInfo.st_dev && id.nInode == childInfo.st_ino; });
    if (!bDescend || bCycle || folder.nDepth + 1 >= kMaxDepth) {
        if (bCycle || folder.nDepth + 1 >= kMaxDepth) {
            record.bExpanded = false;
            Notice(&record.nRead, SideRead::LinkNotFollowed, nSide, strPath,
                FormatText("\"%s\" leads back into a folder above it, or lies too deep; it is not followed.", strPath));
        }
        ::close(nChildFd);
        return;
    }
    record.pChildren = std::make_unique<RecordList>();
    ScanOpenFolder(nChildFd, *record.pChildren, record.nRead, record.nListedBy, strPath,
        JoinPath(folder.strShowPath, record.strName), folder.nDepth + 1, nSide, bRecursive);
}
