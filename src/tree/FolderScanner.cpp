#include "tree/FolderScanner.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/TreeOperations.h"
#include "tree/VersionResource.h"

namespace {

// Folder links can form cycles, and nothing a user compares is nested this deep.
// Each level keeps its folder open while the next is read, so this also bounds the descriptors in use.
constexpr int kMaxDepth = 256;

// A mirror folder whose remote contents were never listed holds these two empty files instead.
constexpr const char* kUnlistedDummy = "$quorveldummy01";

struct Entry
{
    QString strName;
    bool bFolder = false;
    off_t nSize = 0;
    time_t nModified = 0;
};

// Whether the folder's contents are known: it can be opened, and (in the mirror) it is not a folder whose
// remote contents were never listed. Only listed folders are expanded and descended into.
bool IsListed(int nFolderFd)
{
    return ::faccessat(nFolderFd, kUnlistedDummy, F_OK, AT_SYMLINK_NOFOLLOW) != 0;
}

} // namespace

CFolderScanner::CFolderScanner(Progress progress)
    : m_progress(std::move(progress))
{ }

const QString& CFolderScanner::TimeText(time_t nModified)
{
    // Local time moves in whole minutes with UTC since long before any file a user keeps was written.
    const time_t nMinute = nModified >= 0 ? nModified / 60 : -1;
    if (nMinute < 0 || nMinute != m_nCachedMinute) {
        m_strCachedTime = MakeTimeText(nModified);
        m_nCachedMinute = nMinute;
    }
    return m_strCachedTime;
}

bool CFolderScanner::ScanFolder(CFileItem* pFolder, const QString& strFolderPath, const QString& strShowPath,
    int nDepth, int nSide, bool bRecursive)
{
    const int nFd = ::open(QFile::encodeName(strFolderPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nFd < 0) {
        LogError(errno, "ScanFolder::[%ld] cannot open %s", CurrentThreadId(), strFolderPath);
        return false;
    }
    m_ancestors.clear();
    ScanOpenFolder(nFd, pFolder, strFolderPath, strShowPath, nDepth, nSide, bRecursive);
    return true;
}

void CFolderScanner::ScanOpenFolder(int nFolderFd, CFileItem* pFolder, const QString& strFolderPath,
    const QString& strShowPath, int nDepth, int nSide, bool bRecursive)
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

    DIR* pDir = ::fdopendir(nFolderFd);
    if (pDir == nullptr) {
        LogError(errno, "ScanFolder::[%ld] cannot read %s", CurrentThreadId(), strFolderPath);
        ::close(nFolderFd);
        m_ancestors.pop_back();
        return;
    }

    std::vector<Entry> entries;
    std::map<QString, MarkerInfo> markers;
    while (const dirent* pEntry = ::readdir(pDir)) {
        const char* pName = pEntry->d_name;
        if (std::strcmp(pName, ".") == 0 || std::strcmp(pName, "..") == 0) {
            continue;
        }
        Entry entry;
        entry.strName = QFile::decodeName(pName);
        if (IsWorkingName(entry.strName)) {
            if (std::optional<MarkerInfo> marker = ParseMarkerName(entry.strName)) {
                // Two markers for one file should not happen; if they do, the greatest name wins every time.
                auto [it, bInserted] = markers.try_emplace(marker->strFileName, *marker);
                if (!bInserted
                    && it->second.strDateKey + it->second.strSizeText < marker->strDateKey + marker->strSizeText) {
                    it->second = *marker;
                }
            }
            continue;
        }
        struct stat info
        { };
        if (::fstatat(nFolderFd, pName, &info, 0) != 0) {
            LogError(errno, "ScanFolder::[%ld] cannot examine %s, left out", CurrentThreadId(),
                JoinPath(strFolderPath, entry.strName));
            continue;
        }
        if (!S_ISDIR(info.st_mode) && !S_ISREG(info.st_mode)) {
            // Pipes, sockets and devices have no contents to compare or transfer.
            Log("ScanFolder::[%ld] %s is not a regular file, left out", CurrentThreadId(),
                JoinPath(strFolderPath, entry.strName));
            continue;
        }
        entry.bFolder = S_ISDIR(info.st_mode);
        entry.nSize = info.st_size;
        entry.nModified = info.st_mtime;
        entries.push_back(std::move(entry));
    }

    for (const Entry& entry : entries) {
        CFileItemPtr pItem = NewItem();
        pItem->strName = entry.strName;
        pItem->indent = nDepth + 1;
        pItem->strPaths[nSide] = strFolderPath;
        if (nSide == SIDE_RIGHT) {
            pItem->strShowPaths[SIDE_RIGHT] = strShowPath;
        }
        if (!entry.bFolder) {
            ++m_nFiles;
            pItem->kind = KIND_FILE;
            pItem->status = nSide == SIDE_LEFT ? FILE_LEFT_ONLY : FILE_RIGHT_ONLY;
            const auto marker = entry.nSize == 0 ? markers.find(entry.strName) : markers.end();
            if (marker != markers.end()) {
                pItem->strSize[nSide] = MarkerSizeText(marker->second);
                pItem->strTime[nSide] = MarkerTimeText(marker->second);
                pItem->strVersion[nSide] = kUnknownVersion;
                pItem->nAttrSource = ATTR_FROM_MARKER;
            } else {
                pItem->strSize[nSide] = MakeSizeText(static_cast<std::uint64_t>(entry.nSize));
                pItem->strTime[nSide] = TimeText(entry.nModified);
                if (MayHaveVersionResource(entry.strName)) {
                    pItem->strVersion[nSide] = ReadVersionText(JoinPath(strFolderPath, entry.strName));
                }
                pItem->nAttrSource = ATTR_FROM_FILE;
            }
            AddItem(std::move(pItem), pFolder);
            continue;
        }

        pItem->kind = KIND_DIR;
        pItem->status = nSide == SIDE_LEFT ? DIR_LEFT_ONLY : DIR_RIGHT_ONLY;
        const QByteArray encodedName = QFile::encodeName(entry.strName);
        const int nChildFd = ::openat(nFolderFd, encodedName.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        pItem->bListed[nSide] = nChildFd >= 0 && IsListed(nChildFd);
        const bool bDescend = pItem->bListed[nSide] && bRecursive;
        pItem->bExpanded[nSide] = bDescend;
        CFileItem* pChild = AddItem(std::move(pItem), pFolder);
        if (nChildFd < 0) {
            LogError(
                errno, "ScanFolder::[%ld] cannot open %s", CurrentThreadId(), JoinPath(strFolderPath, entry.strName));
            continue;
        }
        struct stat childInfo
        { };
        const bool bCycle = ::fstat(nChildFd, &childInfo) == 0
            && std::any_of(m_ancestors.begin(), m_ancestors.end(),
                [&](const FolderId& id) { return id.nDevice == childInfo.st_dev && id.nInode == childInfo.st_ino; });
        if (!bDescend || bCycle || nDepth + 1 >= kMaxDepth) {
            if (bCycle || nDepth + 1 >= kMaxDepth) {
                pChild->bExpanded[nSide] = false;
                Log("ScanFolder::[%ld] %s leads back into a folder above it or too deep; not descended",
                    CurrentThreadId(), JoinPath(strFolderPath, entry.strName));
            }
            ::close(nChildFd);
            continue;
        }
        ScanOpenFolder(nChildFd, pChild, JoinPath(strFolderPath, entry.strName), JoinPath(strShowPath, entry.strName),
            nDepth + 1, nSide, bRecursive);
    }
    ::closedir(pDir);
    m_ancestors.pop_back();
}
