#include "tree/FolderComparison.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>

#include <QFile>

#include <dirent.h>
#include <malloc.h>
#include <sys/stat.h>

#include "support/DiagnosticLog.h"
#include "support/NameBytes.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/CrcCache.h"
#include "tree/TreeOperations.h"

namespace {

QString CheckFolder(const QString& strFolder, const char* pSideName)
{
    struct stat info
    { };
    if (::stat(NameToBytes(strFolder).constData(), &info) != 0) {
        const int nError = errno;
        if (nError == ENOENT || nError == ENOTDIR) {
            return FormatText("The %s folder \"%s\" does not exist.", pSideName, strFolder);
        }
        return FormatText("The %s folder \"%s\" cannot be examined: %s.", pSideName, strFolder,
            QString::fromLocal8Bit(std::strerror(nError)));
    }
    if (!S_ISDIR(info.st_mode)) {
        return FormatText("The %s folder \"%s\" is a file, not a folder.", pSideName, strFolder);
    }
    DIR* pDir = ::opendir(NameToBytes(strFolder).constData());
    if (pDir == nullptr) {
        return FormatText("The %s folder \"%s\" cannot be read: %s.", pSideName, strFolder,
            QString::fromLocal8Bit(std::strerror(errno)));
    }
    ::closedir(pDir);
    return {};
}

} // namespace

CFolderComparison::CFolderComparison(
    QString strLeftFolder, QString strRightFolder, QString strRightShowPath, FileOpener opener)
    : m_strFolders { std::move(strLeftFolder), std::move(strRightFolder) }
    , m_strRightShowPath(std::move(strRightShowPath))
    , m_comparer(std::move(opener))
{
    if (m_strRightShowPath.isEmpty()) {
        m_strRightShowPath = m_strFolders[SIDE_RIGHT];
    }
}

ComparisonOutcome CFolderComparison::Run(
    int nThreads, const CFolderScanner::Progress& progress, const std::atomic<bool>* pCancel)
{
    static const char* const kSideNames[2] = { "left", "right" };
    for (int side = 0; side < 2; ++side) {
        const QString strError = CheckFolder(m_strFolders[side], kSideNames[side]);
        if (!strError.isEmpty()) {
            Log("CFolderComparison::Run::[%ld] %s", CurrentThreadId(), strError);
            return { false, strError };
        }
    }
    m_tree.Clear();
    m_notices.clear();
    m_tree.Root()->nRead[SIDE_LEFT] = m_tree.Root()->nRead[SIDE_RIGHT] = SideRead::Full;
    m_tree.SetRootPath(SIDE_LEFT, m_strFolders[SIDE_LEFT]);
    m_tree.SetRootPath(SIDE_RIGHT, m_strFolders[SIDE_RIGHT]);

    // The two sides are read at once into records a fraction of an item's size, and then merged: reading a
    // folder is mostly waiting on the system, and building the items is not.
    std::optional<ScannedFolder> scanned[2];
    CFolderScanner scanners[2] { CFolderScanner(progress), CFolderScanner(progress) };
    // Each side's cache is loaded by the thread that scans the side.
    std::unique_ptr<CCrcCache> caches[2];
    m_comparer.SetCancel(pCancel);
    const auto cancelled = [pCancel] { return pCancel != nullptr && pCancel->load(); };
    const auto scan = [&](int side) {
        scanners[side].SetCancel(pCancel);
        if (!m_strCacheFolder.isEmpty()) {
            caches[side] = CCrcCache::Open(m_strCacheFolder, m_strFolders[side], m_crcClock);
            scanners[side].SetCrcCache(caches[side].get());
        }
        scanned[side] = scanners[side].ScanEntries(
            m_strFolders[side], side == SIDE_RIGHT ? m_strRightShowPath : m_strFolders[side], -1, side, true);
    };
    std::thread rightReader;
    try {
        rightReader = std::thread(scan, SIDE_RIGHT);
    } catch (const std::system_error&) {
        // No thread to be had: the right side is read after the left.
    }
    scan(SIDE_LEFT);
    if (rightReader.joinable()) {
        rightReader.join();
    } else {
        scan(SIDE_RIGHT);
    }
    for (int side = 0; side < 2; ++side) {
        if (!scanned[side]) {
            return { false, FormatText("The %s folder \"%s\" cannot be read.", kSideNames[side], m_strFolders[side]) };
        }
    }
    AddScannedSides({ std::move(*scanned[SIDE_LEFT]), std::move(*scanned[SIDE_RIGHT]) }, m_tree.Root(),
        { m_strFolders[SIDE_LEFT], m_strFolders[SIDE_RIGHT] }, m_strRightShowPath, nThreads);
    // The names of the right side's records that met their namesakes were freed on the merging threads, whose
    // memory the next comparison's threads may not reuse: handing the pages back keeps the peak at one tree.
    ::malloc_trim(0);
    m_notices = scanners[SIDE_LEFT].Notices();
    m_notices.insert(m_notices.end(), scanners[SIDE_RIGHT].Notices().begin(), scanners[SIDE_RIGHT].Notices().end());
    Log("CFolderComparison::Run::[%ld] scanned %lld files in %lld folders", CurrentThreadId(),
        scanners[SIDE_LEFT].ScannedFiles() + scanners[SIDE_RIGHT].ScannedFiles(),
        scanners[SIDE_LEFT].ScannedFolders() + scanners[SIDE_RIGHT].ScannedFolders());
    if (cancelled()) {
        return { false, QStringLiteral("The comparison was cancelled.") };
    }
    m_comparer.SetCrcCaches(caches[SIDE_LEFT].get(), caches[SIDE_RIGHT].get());
    m_comparer.CompareTree(m_tree.Root(), nThreads);
    m_comparer.SetCrcCaches(nullptr, nullptr);
    NumberItems(m_tree.Root());
    for (const std::unique_ptr<CCrcCache>& pCache : caches) {
        // A comparison that saw every file drops the entries of files that are gone.
        if (pCache && !pCache->Save(!cancelled() && !HasReadErrors())) {
            Log("CFolderComparison::Run::[%ld] the CRC cache could not be written", CurrentThreadId());
        }
    }
    if (cancelled()) {
        return { false, QStringLiteral("The comparison was cancelled.") };
    }
    return {};
}

bool CFolderComparison::HasReadErrors() const
{
    return std::any_of(m_notices.begin(), m_notices.end(), [](const ScanNotice& notice) { return notice.bError; });
}

int DefaultComparisonThreads()
{
    // Small files are bound by system calls, not the disk: one reader per core, up to four.
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}
