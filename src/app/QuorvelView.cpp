#include "app/QuorvelView.h"

#include <chrono>
#include <functional>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "app/JobThreads.h"
#include "ftp/TraceBuffer.h"
#include "support/FolderRemoval.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"
#include "tree/TreeOperations.h"

namespace {

std::int64_t SizeFromText(const QString& strSize)
{
    bool bOk = false;
    const std::int64_t nSize = QString(strSize).remove(QLatin1Char(',')).toLongLong(&bOk);
    return bOk ? nSize : -1;
}

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
    , m_folders(std::move(folders))
    , m_paneSettings(ReadPaneSettings())
    , m_runner(session, trace, list)
    , m_comparison(std::make_unique<CFolderComparison>(m_folders.strLocal, m_folders.strMirror, m_folders.strRemote))
{ }

CQuorvelView::~CQuorvelView()
{
    // A worker may add its row just after a round of cancelling: cancel again until every one has ended.
    do {
        CancelAllJobs();
    } while (!WaitForJobs(100));
}

ComparisonOutcome CQuorvelView::Compare(
    int nThreads, const CFolderScanner::Progress& progress, const std::atomic<bool>* pCancel)
{
    auto comparison = std::make_unique<CFolderComparison>(m_folders.strLocal, m_folders.strMirror, m_folders.strRemote);
    const ComparisonOutcome outcome = comparison->Run(nThreads, progress, pCancel);
    if (pCancel != nullptr && pCancel->load()) {
        return outcome;
    }
    AddComparedFiles(comparison->Comparer().ComparedFiles());
    const TreeChangeNotice notice(m_nTreeGeneration);
    std::lock_guard lock(m_viewLock);
    m_comparison = std::move(comparison);
    return outcome;
}

std::int64_t CQuorvelView::ItemBytes(const CFileItem& item, int nSide) const
{
    if (item.kind == KIND_FILE) {
        return std::max<std::int64_t>(0, SizeFromText(item.strSize[nSide]));
    }
    std::int64_t nTotal = 0;
    for (const CFileItem* pItem = NextInPreOrder(&item, &item); pItem != nullptr;
         pItem = NextInPreOrder(pItem, &item)) {
        if (pItem->kind == KIND_FILE && !pItem->strPaths[nSide].isEmpty()) {
            nTotal += std::max<std::int64_t>(0, SizeFromText(pItem->strSize[nSide]));
        }
    }
    return nTotal;
}

QString CQuorvelView::TargetFolderOf(const CFileItem* pItem, int nToSide) const
{
    bool bDerived = false;
    const QString strTarget = m_comparison->Tree().FillOutTargetPath(pItem, nToSide, bDerived);
    if (!strTarget.isEmpty()) {
        return strTarget;
    }
    // Nothing near the item has that side (a side that is empty at its top): the path follows the folders
    // from the nearest one that has it, or from the side's root folder.
    QString strRelative;
    for (const CFileItem* pFolder = pItem->fParent; pFolder != nullptr; pFolder = pFolder->fParent) {
        if (pFolder->fParent == nullptr) {
            const QString& strRoot = nToSide == SIDE_LEFT ? m_folders.strLocal : m_folders.strMirror;
            return strRelative.isEmpty() ? strRoot : JoinPath(strRoot, strRelative);
        }
        if (!pFolder->strPaths[nToSide].isEmpty()) {
            const QString strFolder = JoinPath(pFolder->strPaths[nToSide], pFolder->strName);
            return strRelative.isEmpty() ? strFolder : JoinPath(strFolder, strRelative);
        }
        strRelative = strRelative.isEmpty() ? pFolder->strName : JoinPath(pFolder->strName, strRelative);
    }
    return {};
}

void CQuorvelView::HandOver(ItemHandOver handOver, int (*procedure)(CQuorvelView*, const ItemHandOver&))
{
    // The worker owns its own copy of the item, so the next one can be prepared at once.
    StartWorker([this, procedure, handOver = std::move(handOver)] { procedure(this, handOver); });
}

int CQuorvelView::CopySelectedItems(const std::vector<ItemPath>& items, int nFromSide)
{
    const int nToSide = 1 - nFromSide;
    bool bReplaceAll = false;
    int nStarted = 0;
    for (const ItemPath& path : items) {
        ItemHandOver handOver;
        bool bTargetHasIt = false;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[nFromSide].isEmpty()) {
                continue;
            }
            const QString strTarget = TargetFolderOf(pItem, nToSide);
            if (strTarget.isEmpty()) {
                m_trace.AddTraceLine(TRACE_ERROR, "%s has no folder to go to on the other side; it was not copied.",
                    FullName(*pItem, nFromSide));
                continue;
            }
            bTargetHasIt = !pItem->strPaths[nToSide].isEmpty();
            handOver = { CloneItem(*pItem), nFromSide, strTarget, ItemBytes(*pItem, nFromSide) };
        }
        bool bStop = false;
        if (bTargetHasIt
            && !MayReplace(JoinPath(handOver.strText, handOver.pItem->strName), nToSide, bReplaceAll, bStop)) {
            if (bStop) {
                break;
            }
            continue;
        }
        HandOver(std::move(handOver), CopyEachItemExThread);
        ++nStarted;
    }
    return nStarted;
}

int CQuorvelView::CacheSelectedItems(const std::vector<ItemPath>& items)
{
    int nStarted = 0;
    for (const ItemPath& path : items) {
        ItemHandOver handOver;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[SIDE_RIGHT].isEmpty()) {
                continue;
            }
            handOver = { CloneItem(*pItem), SIDE_RIGHT, pItem->strPaths[SIDE_RIGHT], ItemBytes(*pItem, SIDE_RIGHT) };
        }
        HandOver(std::move(handOver), CacheSelectedItems2CacheThread);
        ++nStarted;
    }
    return nStarted;
}

int CQuorvelView::DeleteSelectedItems(const std::vector<ItemPath>& items, int nSide, bool bLocalToTrash)
{
    int nDeleted = 0;
    for (const ItemPath& path : items) {
        ItemHandOver handOver;
        {
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
            if (pItem == nullptr || pItem->strPaths[nSide].isEmpty()) {
                continue;
            }
            handOver = { CloneItem(*pItem), nSide, pItem->strPaths[nSide], 0 };
        }
        TransferJob job = JobForHandOver(handOver, true);
        job.operation = TransferOperation::Delete;
        if (nSide == SIDE_LEFT) {
            // A local item: no connection, no row; the trace says what failed.
            job.strLocalPath = FullName(*handOver.pItem, SIDE_LEFT);
            const QString strError = !bLocalToTrash ? RemoveLocalEntry(job.strLocalPath)
                : QFile::moveToTrash(job.strLocalPath)
                ? QString()
                : FormatText("\"%s\" could not be moved to the trash; it was left as it is.", job.strLocalPath);
            if (!strError.isEmpty()) {
                m_trace.AddTraceText(TRACE_ERROR, strError);
                continue;
            }
        } else if (RunDeleteJob(*this, job) != TRANSFER_DONE) {
            continue;
        }
        RefreshAfterDelete(job, nSide);
        ++nDeleted;
    }
    return nDeleted;
}

void CQuorvelView::CopyWithinFtp(const ItemPath& path, const QString& strTargetRemoteFolder)
{
    TransferJob job;
    {
        std::lock_guard lock(m_viewLock);
        const CFileItem* pItem = FindByRelativePath(path.strRelative, path.nKind);
        if (pItem == nullptr || pItem->strPaths[SIDE_RIGHT].isEmpty()) {
            return;
        }
        job = JobForHandOver({ CloneItem(*pItem), SIDE_RIGHT, pItem->strPaths[SIDE_RIGHT], 0 }, true);
    }
    job.operation = TransferOperation::Copy;
    job.strTargetRemotePath = JoinRemotePath(strTargetRemoteFolder, job.strName);
    // The row is made here and the FTP-copy worker runs it as it runs a resubmitted one.
    const int nJobId
        = m_list.AddThis({ job.bFolder ? job.strName + QLatin1Char('/') : job.strName, job.strTargetRemotePath,
                             RemotePathOf(job), OperationWord(job.operation), QStringLiteral("Waiting...") },
            {});
    if (const std::optional<TransferRow> row = m_list.Row(nJobId)) {
        ResubmitJob(nJobId, FieldsOf(*row));
    }
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
        bool bExists = false;
        if (nToSide == SIDE_LEFT) {
            bExists = QFileInfo::exists(QDir(strTargetFolder).filePath(strName));
        } else {
            const QString strCache = CachePathOf(JoinRemotePath(strTargetFolder, strName));
            const std::optional<QString> relative
                = strCache.isEmpty() ? std::nullopt : RelativeOf(strCache, SIDE_RIGHT);
            std::lock_guard lock(m_viewLock);
            const CFileItem* pItem = relative ? FindByRelativePath(*relative, KIND_FILE) : nullptr;
            const CFileItem* pFolder = relative ? FindByRelativePath(*relative, KIND_DIR) : nullptr;
            bExists = (pItem != nullptr && !pItem->strPaths[SIDE_RIGHT].isEmpty())
                || (pFolder != nullptr && !pFolder->strPaths[SIDE_RIGHT].isEmpty());
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
    StartWorker(
        [this, drop = DropHandOver { accepted, nToSide, strTargetFolder }] { DropPasteCopyThread(this, drop); });
}

bool CQuorvelView::ResubmitJob(int nJobId, const JobFields& fields)
{
    const QString strLine = FormatJobLine(nJobId, fields);
    const TransferOperation operation = OperationFromWord(fields.strOperation);
    if (operation == TransferOperation::Delete) {
        m_trace.AddTraceLine(TRACE_PLAIN, "RETRY: deleting \"%s\".", fields.strFtpPath);
        ResubmitDeleteJob(*this, strLine);
        return false;
    }
    int (*procedure)(CQuorvelView*, const QString&) = operation == TransferOperation::Download ? ResubmitDownloadThread
        : operation == TransferOperation::Upload                                               ? ResubmitUploadThread
                                                                                               : ResubmitFtpCopyThread;
    StartWorker([this, procedure, strLine] { procedure(this, strLine); });
    return false;
}

std::optional<QString> CQuorvelView::RelativeOf(const QString& strPath, int nSide) const
{
    const QString& strRoot = nSide == SIDE_LEFT ? m_folders.strLocal : m_folders.strMirror;
    const QString strClean = QDir::cleanPath(strPath);
    const QString strCleanRoot = QDir::cleanPath(strRoot);
    if (strClean == strCleanRoot) {
        return QString();
    }
    const QString strPrefix = strCleanRoot.endsWith(QLatin1Char('/')) ? strCleanRoot : strCleanRoot + QLatin1Char('/');
    if (!strClean.startsWith(strPrefix)) {
        return std::nullopt;
    }
    return strClean.mid(strPrefix.size());
}

QString CQuorvelView::RemoteFolderOf(const QString& strMirrorFolder) const
{
    const std::optional<QString> relative = RelativeOf(strMirrorFolder, SIDE_RIGHT);
    if (!relative) {
        return {};
    }
    return relative->isEmpty() ? m_folders.strRemote : JoinRemotePath(m_folders.strRemote, *relative);
}

QString CQuorvelView::CachePathOf(const QString& strRemotePath) const
{
    const QString strRoot
        = m_folders.strRemote.endsWith(QLatin1Char('/')) ? m_folders.strRemote : m_folders.strRemote + QLatin1Char('/');
    if (strRemotePath == m_folders.strRemote || strRemotePath + QLatin1Char('/') == strRoot) {
        return m_folders.strMirror;
    }
    if (!strRemotePath.startsWith(strRoot)) {
        return {};
    }
    const QString strRelative = strRemotePath.mid(strRoot.size());
    // The mirror holds only names a listing could have given: nothing climbs out of it.
    for (const QString& strPart : strRelative.split(QLatin1Char('/'))) {
        if (!IsSafeEntryName(strPart)) {
            return {};
        }
    }
    return QDir(m_folders.strMirror).filePath(strRelative);
}

TransferJob CQuorvelView::JobForHandOver(const ItemHandOver& handOver, bool bToCache) const
{
    const CFileItem& item = *handOver.pItem;
    TransferJob job;
    job.bFolder = item.kind == KIND_DIR;
    job.strName = item.strName;
    if (handOver.nFromSide == SIDE_LEFT) {
        job.operation = TransferOperation::Upload;
        job.strLocalPath = FullName(item, SIDE_LEFT);
        job.strRemoteFolder = RemoteFolderOf(handOver.strText);
        return job;
    }
    job.operation = TransferOperation::Download;
    job.strRemoteFolder = RemoteFolderOf(item.strPaths[SIDE_RIGHT]);
    job.strLocalPath = bToCache ? FullName(item, SIDE_RIGHT) : JoinPath(handOver.strText, item.strName);
    if (!job.bFolder) {
        job.nExpectedSize = SizeFromText(item.strSize[SIDE_RIGHT]);
        // Sizes beyond what a listing can say for certain are not held against the download.
        if (job.nExpectedSize >= INT32_MAX) {
            job.nExpectedSize = -1;
        }
    }
    return job;
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

std::optional<QString> CQuorvelView::RelativeOfJob(const TransferJob& job) const
{
    const QString strRemote = RemotePathOf(job);
    const QString strCache = CachePathOf(strRemote);
    return strCache.isEmpty() ? std::nullopt : RelativeOf(strCache, SIDE_RIGHT);
}

void CQuorvelView::CountResult(int nResult)
{
    std::lock_guard lock(m_workersMutex);
    (nResult == TRANSFER_DONE               ? m_totals.nCompleted
            : nResult == TRANSFER_CANCELLED ? m_totals.nCancelled
                                            : m_totals.nFailed)++;
}

JobTotals CQuorvelView::Totals() const
{
    std::lock_guard lock(m_workersMutex);
    return m_totals;
}

void CQuorvelView::WorkerEnded()
{
    std::lock_guard lock(m_workersMutex);
    --m_nRunning;
}

void CQuorvelView::CancelAllJobs()
{
    std::vector<int> rows(m_list.Rows().size());
    for (size_t i = 0; i < rows.size(); ++i) {
        rows[i] = static_cast<int>(i);
    }
    m_list.CancelSelected(rows);
}

bool CQuorvelView::WaitForJobs(int nMilliseconds)
{
    // Polled: a few milliseconds of latency cost nothing at the end of a job, and the timed wait of a
    // condition variable in this C++ library is one that ThreadSanitizer cannot follow.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(nMilliseconds, 0));
    std::vector<std::thread> workers;
    for (;;) {
        {
            std::lock_guard lock(m_workersMutex);
            if (m_nRunning.load() == 0) {
                workers.swap(m_workers);
                break;
            }
        }
        if (nMilliseconds >= 0 && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    return true;
}
