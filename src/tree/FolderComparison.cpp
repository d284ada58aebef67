#include "tree/FolderComparison.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include <QFile>

#include <dirent.h>
#include <sys/stat.h>

#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/TreeOperations.h"

namespace {

QString CheckFolder(const QString& strFolder, const char* pSideName)
{
    struct stat info
    { };
    if (::stat(QFile::encodeName(strFolder).constData(), &info) != 0) {
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
    DIR* pDir = ::opendir(QFile::encodeName(strFolder).constData());
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

ComparisonOutcome CFolderComparison::Run(int nThreads, const CFolderScanner::Progress& progress)
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
    CFolderScanner scanner(progress);
    const QString strShowPaths[2] = { m_strFolders[SIDE_LEFT], m_strRightShowPath };
    for (int side = 0; side < 2; ++side) {
        m_tree.SetRootPath(side, m_strFolders[side]);
        if (!scanner.ScanFolder(m_tree.Root(), m_strFolders[side], strShowPaths[side], -1, side, true)) {
            return { false, FormatText("The %s folder \"%s\" cannot be read.", kSideNames[side], m_strFolders[side]) };
        }
    }
    Log("CFolderComparison::Run::[%ld] scanned %lld files in %lld folders", CurrentThreadId(), scanner.ScannedFiles(),
        scanner.ScannedFolders());
    m_comparer.CompareTree(m_tree.Root(), nThreads);
    NumberItems(m_tree.Root());
    return {};
}

int DefaultComparisonThreads()
{
    // Small files are bound by system calls, not the disk: one reader per core, up to four.
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
}
