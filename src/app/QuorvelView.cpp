#include "app/QuorvelView.h"

#include <chrono>
#include <functional>
#include <future>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "app/ChecksumVerifier.h"
#include "app/ComparisonRun.h"
#include "app/QueuedJobs.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/FolderRemoval.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"
#include "tree/TreeOperations.h"

namespace {

CPaneSettings ReadPaneSettings()
{
    CSettingsStore store;
    return CPaneSettings::Read(store);
}

} // namespace

ItemPath PathOfItem(const CFileItem& item)
{
    QStringList names;
    for (const CFileItem* pItem = &item; pItem->fParent != nullptr; pItem = pItem->fParent) {
        names.prepend(pItem->strName);
    }
    return { names.join(QLatin1Char('/')), item.kind };
}

std::vector<ItemPath> PathsOfItems(const std::vector<CFileItem*>& items)
{
    std::vector<ItemPath> paths;
    paths.reserve(items.size());
    for (const CFileItem* pItem : items) {
        paths.push_back(PathOfItem(*pItem));
    }
    return paths;
}

CQuorvelView::CQuorvelView(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list, ViewFolders folders)
    : m_session(session)
    , m_trace(trace)
    , m_list(list)
    , m_paths(std::move(folders))
    , m_paneSettings(ReadPaneSettings())
    , m_runner(session, trace, list)
    , m_comparison(std::make_unique<CFolderComparison>(Folders().strLocal, Folders().strMirror, Folders().strRemote))
    , m_bRemoveCompletedRows(m_paneSettings.bDeleteRowOfGoodXfer)
    , m_queue(session.WorkerConnections())
{
    m_runner.SetUploadThroughWorkingName(CSettingsStore().ReadInt("Settings", "UploadThroughWorkingName") != 0);
    m_runner.SetLocalRoots({ Folders().strLocal, Folders().strMirror });
    m_bServerChecksums = ServerChecksumsEnabled();
}

CQuorvelView::~CQuorvelView()
{
    CancelAllJobs();
    m_queue.Stop();
}

ComparisonOutcome CQuorvelView::Compare(
    int nThreads, const CFolderScanner::Progress& progress, const std::atomic<bool>* pCancel)
{
    auto comparison = std::make_unique<CFolderComparison>(Folders().strLocal, Folders().strMirror, Folders().strRemote);
    ComparisonOutcome outcome
        = RunComparison(*comparison, &m_session, &m_trace, m_bServerChecksums, nThreads, progress, pCancel);
    if (pCancel != nullptr && pCancel->load()) {
        return outcome;
    }
    AddComparedFiles(comparison->Comparer().ComparedFiles());
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    m_comparison = std::move(comparison);
    return outcome;
}

int CQuorvelView::CopySelectedItems(const std::vector<ItemPath>& items, int nFromSide)
{
    bool bReplaceAll = false;
    int nStarted = 0;
    for (const ItemPath& path : items) {
        std::optional<PreparedJob> prepared;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[nFromSide].IsEmpty()) {
                continue;
            }
            QString strWhyNot;
            prepared = MakeCopyJob(m_paths, Tree(), *pItem, nFromSide, strWhyNot);
            if (!prepared) {
                m_trace.AddTraceText(TRACE_ERROR, strWhyNot);
                continue;
            }
        }
        bool bStop = false;
        if (!prepared->strReplaces.isEmpty() && !MayReplace(prepared->strReplaces, 1 - nFromSide, bReplaceAll, bStop)) {
            if (bStop) {
                break;
            }
            continue;
        }
        if (QueueJob(*prepared) < 0) {
            break;
        }
        ++nStarted;
    }
    return nStarted;
}

int CQuorvelView::CacheSelectedItems(const std::vector<ItemPath>& items, const std::function<void(int)>& whenDone)
{
    int nStarted = 0;
    for (const ItemPath& path : items) {
        PreparedJob prepared;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[SIDE_RIGHT].IsEmpty()) {
                continue;
            }
            prepared = MakeCacheJob(m_paths, *pItem);
        }
        prepared.whenDone = whenDone;
        if (QueueJob(prepared) < 0) {
            break;
        }
        ++nStarted;
    }
    return nStarted;
}

int CQuorvelView::DeleteSelectedItems(const std::vector<ItemPath>& items, int nSide, bool bLocalToTrash)
{
    int nDeleted = 0;
    for (const ItemPath& path : items) {
        PreparedJob prepared;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[nSide].IsEmpty()) {
                continue;
            }
            prepared = MakeDeleteJob(m_paths, *pItem, nSide);
        }
        const QString& strLocal = prepared.job.strLocalPath;
        if (nSide == SIDE_LEFT) {
            // A local item: no connection, no row; the trace says what failed.
            const QString strError = !bLocalToTrash
                ? DeleteLocal(strLocal, prepared.job.bFolder, prepared.job.bLink, prepared.job.plan)
                : QFile::moveToTrash(strLocal)
                ? QString()
                : FormatText("\"%s\" could not be moved to the trash; it was left as it is.", strLocal);
            if (!strError.isEmpty()) {
                m_trace.AddTraceText(TRACE_ERROR, strError);
                continue;
            }
            RefreshAfterDelete(prepared.job, nSide);
        } else if (RunJobAndWait(prepared) != TRANSFER_DONE) {
            continue;
        }
        ++nDeleted;
    }
    return nDeleted;
}

int CQuorvelView::CopyWithinFtp(const std::vector<ItemPath>& items, const QString& strTargetRemoteFolder)
{
    const QString strTarget = QDir::cleanPath(strTargetRemoteFolder);
    if (!strTarget.startsWith(QLatin1Char('/'))) {
        m_trace.AddTraceLine(
            TRACE_ERROR, "\"%s\" is not a folder path on the server; it starts with \"/\".", strTarget);
        return 0;
    }
    bool bReplaceAll = false;
    int nStarted = 0;
    for (const ItemPath& path : items) {
        PreparedJob prepared;
        bool bTargetHasIt = false;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->fParent == nullptr || pItem->strPaths[SIDE_RIGHT].IsEmpty()) {
                continue;
            }
            prepared = MakeServerCopyJob(m_paths, *pItem, strTarget);
            const std::optional<QString> relative = m_paths.RelativeOfRemote(prepared.job.strTargetRemotePath);
            const CFileItem* pThere = relative ? FindByRelativePath(*relative, path.nKind) : nullptr;
            bTargetHasIt = pThere != nullptr && !pThere->strPaths[SIDE_RIGHT].IsEmpty();
        }
        const QString strSource = RemotePathOf(prepared.job);
        if (prepared.job.strRemoteFolder == strTarget) {
            m_trace.AddTraceLine(TRACE_ERROR, "%s is in that folder already; it was not copied.", strSource);
            continue;
        }
        if (QString(strTarget + QLatin1Char('/')).startsWith(strSource + QLatin1Char('/'))) {
            m_trace.AddTraceLine(TRACE_ERROR, "%s cannot be copied into itself.", strSource);
            continue;
        }
        bool bStop = false;
        if (bTargetHasIt && !MayReplace(prepared.job.strTargetRemotePath, SIDE_RIGHT, bReplaceAll, bStop)) {
            if (bStop) {
                break;
            }
            continue;
        }
        if (QueueJob(prepared) < 0) {
            break;
        }
        ++nStarted;
    }
    return nStarted;
}

bool CQuorvelView::MayReplace(const QString& strTarget, int nToSide, bool& bReplaceAll, bool& bStop)
{
    bStop = false;
    if (bReplaceAll) {
        return true;
    }
    // Nothing is replaced without asking.
    const ConflictAnswer answer
        = m_pPrompt != nullptr ? m_pPrompt->AskReplace(strTarget, nToSide) : ConflictAnswer::Skip;
    bStop = answer == ConflictAnswer::Stop;
    bReplaceAll = answer == ConflictAnswer::ReplaceAll;
    return answer == ConflictAnswer::Replace || bReplaceAll;
}

void CQuorvelView::DropFiles(const QStringList& paths, int nToSide, const QString& strTargetFolder)
{
    QStringList accepted;
    bool bReplaceAll = false;
    for (const QString& strPath : paths) {
        const QString strName = QFileInfo(strPath).fileName();
        if (nToSide == SIDE_LEFT
            && QDir::cleanPath(QFileInfo(strPath).absolutePath()) == QDir::cleanPath(strTargetFolder)) {
            // Dropped where it lies: a copy onto itself would change nothing.
            continue;
        }
        bool bExists = false;
        if (nToSide == SIDE_LEFT) {
            bExists = QFileInfo::exists(QDir(strTargetFolder).filePath(strName));
        } else {
            const std::optional<QString> relative = m_paths.RelativeOfRemote(JoinRemotePath(strTargetFolder, strName));
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = relative ? FindByRelativePath(*relative, KIND_FILE) : nullptr;
            const CFileItem* pFolder = relative ? FindByRelativePath(*relative, KIND_DIR) : nullptr;
            bExists = (pItem != nullptr && !pItem->strPaths[SIDE_RIGHT].IsEmpty())
                || (pFolder != nullptr && !pFolder->strPaths[SIDE_RIGHT].IsEmpty());
        }
        bool bStop = false;
        if (bExists
            && !MayReplace(nToSide == SIDE_LEFT ? QDir(strTargetFolder).filePath(strName)
                                                : JoinRemotePath(strTargetFolder, strName),
                nToSide, bReplaceAll, bStop)) {
            if (bStop) {
                break;
            }
            continue;
        }
        accepted.append(strPath);
    }
    if (accepted.isEmpty()) {
        return;
    }
    if (nToSide == SIDE_LEFT) {
        m_queue.Submit(
            [this, drop = DropHandOver { accepted, nToSide, strTargetFolder }] { CopyDroppedLocally(*this, drop); });
        return;
    }
    for (const QString& strPath : accepted) {
        if (QueueJob(MakeDropJob(strPath, strTargetFolder)) < 0) {
            return;
        }
    }
}

int CQuorvelView::QueueJob(const PreparedJob& prepared)
{
    if (!m_session.HasSite()) {
        m_trace.AddTraceText(TRACE_ERROR, QStringLiteral("The FTP connection was lost."));
        return -1;
    }
    const int nJobId = m_list.AddJob(prepared.job, prepared.purpose, prepared.nTotalBytes);
    if (!m_queue.Submit(
            [this, nJobId, whenDone = prepared.whenDone] { RunListedJob(*this, nJobId, false, whenDone); })) {
        m_list.FinishJob(nJobId, JobState::Cancelled, {}, false);
    }
    return nJobId;
}

int CQuorvelView::RunJobAndWait(const PreparedJob& prepared)
{
    auto pResult = std::make_shared<std::promise<int>>();
    std::future<int> result = pResult->get_future();
    PreparedJob told = prepared;
    told.whenDone = [pResult](int nResult) { pResult->set_value(nResult); };
    if (QueueJob(told) < 0) {
        return TRANSFER_FAILED;
    }
    return result.get();
}

void CQuorvelView::ResubmitJob(int nJobId)
{
    if (!m_session.HasSite() || !m_list.ReopenJob(nJobId, 0)) {
        return;
    }
    if (!m_queue.Submit([this, nJobId] { RunListedJob(*this, nJobId, true, {}); })) {
        m_list.FinishJob(nJobId, JobState::Cancelled, {}, false);
    }
}

bool CQuorvelView::PlanFolderJob(TransferJob& job, QString& strWhyNot)
{
    if (!job.bFolder || job.operation == TransferOperation::Rename) {
        return true;
    }
    const bool bLocal = job.operation == TransferOperation::Upload;
    const std::optional<QString> relative
        = bLocal ? m_paths.RelativeOf(job.strLocalPath, SIDE_LEFT) : m_paths.RelativeOfRemote(RemotePathOf(job));
    std::lock_guard lock(m_viewLock);
    const CFileItem* pItem = relative ? FindByRelativePath(*relative, KIND_DIR) : nullptr;
    const int nSide = bLocal ? SIDE_LEFT : SIDE_RIGHT;
    if (pItem == nullptr || pItem->strPaths[nSide].IsEmpty()) {
        if (bLocal && !relative) {
            // A dropped folder from outside the compared one: read as it stands, links not followed.
            job.plan = PlanLocalFolder(job.strLocalPath);
            return true;
        }
        strWhyNot = FormatText("%s is no longer in the comparison; compare again before running it.",
            bLocal ? job.strLocalPath : RemotePathOf(job));
        return false;
    }
    const bool bDelete = job.operation == TransferOperation::Delete;
    job.bLink = pItem->bLink[nSide] || pItem->nRead[nSide] == SideRead::LinkNotFollowed;
    job.plan = PlanOfItem(*pItem, nSide, bDelete ? PlanPurpose::Delete : PlanPurpose::Copy);
    return true;
}

CFileItem* CQuorvelView::FindByRelativePath(const QString& strRelative, int nKind) const
{
    CFileItem* pItem = m_comparison->Tree().Root();
    if (strRelative.isEmpty()) {
        return pItem;
    }
    const QStringList parts = strRelative.split(QLatin1Char('/'));
    for (qsizetype i = 0; i < parts.size() && pItem != nullptr; ++i) {
        pItem = FindSibling(i + 1 == parts.size() ? nKind : KIND_DIR, parts[i], pItem->pFirstChild);
    }
    return pItem;
}

void CQuorvelView::CountResult(int nResult)
{
    std::lock_guard lock(m_totalsMutex);
    (nResult == TRANSFER_DONE               ? m_totals.nCompleted
            : nResult == TRANSFER_CANCELLED ? m_totals.nCancelled
                                            : m_totals.nFailed)++;
}

JobTotals CQuorvelView::Totals() const
{
    std::lock_guard lock(m_totalsMutex);
    return m_totals;
}

void CQuorvelView::CancelAllJobs()
{
    m_list.CancelAll();
}
