#include "transfer/TransferQueue.h"

#include <chrono>

#include "ftp/CurlConnection.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"

namespace {

QString FailureMessage(const TransferJob& job)
{
    switch (job.operation) {
    case TransferOperation::Upload:
        return job.bFolder ? QStringLiteral("Failed to upload folder.") : QStringLiteral("Failed to upload file.");
    case TransferOperation::Download:
        return job.bFolder ? QStringLiteral("Download failed.") : QStringLiteral("Failed to download file.");
    case TransferOperation::Delete:
        return QStringLiteral("Failed to delete.");
    }
    return {};
}

} // namespace

QString OperationWord(TransferOperation operation)
{
    switch (operation) {
    case TransferOperation::Upload:
        return QStringLiteral("UPLOAD");
    case TransferOperation::Download:
        return QStringLiteral("DOWNLOAD");
    case TransferOperation::Delete:
        return QStringLiteral("DELETE");
    }
    return {};
}

CTransferQueue::CTransferQueue(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list)
    : m_session(session)
    , m_trace(trace)
    , m_list(list)
{ }

CTransferQueue::~CTransferQueue()
{
    CancelAll();
    WaitForAll();
}

int CTransferQueue::Submit(const TransferJob& job)
{
    const std::int64_t nTotal = job.operation == TransferOperation::Upload ? LocalSize(job.strLocalPath)
        : job.nExpectedSize > 0                                            ? job.nExpectedSize
                                                                           : 0;
    const QString strFilename = job.bFolder ? job.strName + QLatin1Char('/') : job.strName;
    Log("CopyEachItemExThread::[%ld] Progress_Init() for %s with %lld bytes...", CurrentThreadId(), job.strName,
        static_cast<long long>(nTotal));
    const int nJobId = m_list.AddJob(nTotal,
        { strFilename, job.strLocalPath, JoinRemotePath(job.strRemoteFolder, job.strName), OperationWord(job.operation),
            QStringLiteral("Waiting...") });
    Start(nJobId, job, false);
    return nJobId;
}

void CTransferQueue::Start(int nJobId, const TransferJob& job, bool bResubmitted)
{
    std::lock_guard lock(m_mutex);
    ++m_nRunning;
    m_jobIds.push_back(nJobId);
    m_workers.emplace_back([this, nJobId, job, bResubmitted] { Run(nJobId, job, bResubmitted); });
}

void CTransferQueue::ResubmitJob(int nJobId, const JobFields& fields)
{
    const std::optional<std::pair<int, JobFields>> parsed = ParseJobLine(FormatJobLine(nJobId, fields), fields);
    if (!parsed) {
        m_list.UpdateJob(nJobId,
            { {}, {}, {}, {},
                QStringLiteral("Not resubmitted: a name or path holds \";\", which the job line cannot carry.") },
            QStringLiteral("Failed"));
        return;
    }
    TransferJob job;
    const QString strOperation = fields.strOperation.toUpper();
    job.operation = strOperation == QLatin1String("UPLOAD") ? TransferOperation::Upload
        : strOperation == QLatin1String("DELETE")           ? TransferOperation::Delete
                                                            : TransferOperation::Download;
    job.bFolder = fields.strFilename.isEmpty() || fields.strFilename.endsWith(QLatin1Char('/'));
    job.strLocalPath = fields.strLocalPath;
    const qsizetype nCut = fields.strFtpPath.lastIndexOf(QLatin1Char('/'));
    job.strRemoteFolder = nCut <= 0 ? QStringLiteral("/") : fields.strFtpPath.left(nCut);
    job.strName = fields.strFtpPath.mid(nCut + 1);
    const std::int64_t nTotal = job.operation == TransferOperation::Upload ? LocalSize(job.strLocalPath) : 0;
    const QString strWord = job.operation == TransferOperation::Upload ? QStringLiteral("uploading")
        : job.operation == TransferOperation::Delete                   ? QStringLiteral("deleting")
        : job.bFolder                                                  ? QStringLiteral("downloading")
                                                                       : QStringLiteral("downloding");
    m_trace.AddTraceLine(TRACE_PLAIN, "RETRY: %s \"%s\".", strWord, fields.strFtpPath);
    JobFields waiting = fields;
    waiting.strMessage = QStringLiteral("Waiting...");
    if (m_list.ReopenJob(nJobId, nTotal, waiting) < 0) {
        m_trace.AddTraceLine(TRACE_ERROR,
            job.operation == TransferOperation::Upload ? "failed to upload \"%s\"." : "failed to download \"%s\".",
            fields.strFtpPath);
        m_list.FinishJob(nJobId, false);
        return;
    }
    Start(nJobId, job, true);
}

void CTransferQueue::Run(int nJobId, TransferJob job, bool bResubmitted)
{
    Log("CopyEachItemExThread::[%ld] Entering...", CurrentThreadId());
    const std::shared_ptr<const CProgressEntry> pRecord = m_list.ProgressRecord(nJobId);
    const std::atomic<bool>* pCancel = pRecord ? &pRecord->bCancelled : nullptr;
    int nResult = TRANSFER_FAILED;
    QString strMessage;
    std::unique_ptr<CCurlConnection> pConnection = m_session.AcquireConnection(pCancel);
    if (!pConnection) {
        nResult = pCancel != nullptr && pCancel->load() ? TRANSFER_CANCELLED : TRANSFER_FAILED;
        if (nResult == TRANSFER_FAILED) {
            m_trace.AddTraceText(TRACE_ERROR, QStringLiteral("The FTP connection was lost."));
            strMessage = QStringLiteral("The FTP connection was lost.");
        }
    } else {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("In Progress.") }, {});
        std::int64_t nMoved = 0;
        TransferContext context { *pConnection, m_trace,
            [&](std::int64_t nBytes) {
                nMoved += nBytes;
                m_list.AdvanceProgress(nJobId, nBytes);
            },
            pCancel, m_bUploadThroughWorkingName, {} };
        switch (job.operation) {
        case TransferOperation::Upload:
            nResult = job.bFolder
                ? UploadFolder(context, job.strLocalPath, JoinRemotePath(job.strRemoteFolder, job.strName))
                : UploadFile(context, job.strLocalPath, job.strRemoteFolder, job.strName);
            break;
        case TransferOperation::Download:
            nResult = job.bFolder
                ? DownloadFolder(context, JoinRemotePath(job.strRemoteFolder, job.strName), job.strLocalPath)
                : DownloadFile(context, job.strRemoteFolder, job.strName, job.strLocalPath, job.nExpectedSize);
            break;
        case TransferOperation::Delete:
            nResult = DeleteRemote(context, job.strRemoteFolder, job.strName, job.bFolder);
            break;
        }
        strMessage = context.strFailure;
        m_session.ReleaseConnection(std::move(pConnection));
        std::lock_guard lock(m_mutex);
        m_totals.nBytes += nMoved;
    }

    if (bResubmitted) {
        const QString strPath = JoinRemotePath(job.strRemoteFolder, job.strName);
        const bool bUpload = job.operation == TransferOperation::Upload;
        if (nResult == TRANSFER_DONE) {
            m_trace.AddTraceLine(TRACE_STATUS, bUpload ? "\"%s\" uploaded." : "\"%s\" downloaded.", strPath);
        } else if (nResult == TRANSFER_CANCELLED) {
            m_trace.AddTraceLine(
                TRACE_STATUS, bUpload ? "Cancelled to upload \"%s\"." : "Cancelled to download \"%s\".", strPath);
        } else {
            m_trace.AddTraceLine(
                TRACE_ERROR, bUpload ? "failed to upload \"%s\"." : "failed to download \"%s\".", strPath);
        }
    }
    if (nResult == TRANSFER_DONE) {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("Complete.") }, QStringLiteral("Completed"));
    } else if (nResult == TRANSFER_CANCELLED) {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("Cancelled.") }, QStringLiteral("Cancelled"));
    } else {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, strMessage.isEmpty() ? FailureMessage(job) : strMessage },
            QStringLiteral("Failed"));
    }
    const bool bRemoveCompleted = CSettingsStore().ReadInt("Settings", "DeleteRowOfGoodXfer") != 0;
    Log("CopyEachItemExThread::[%ld] Progress_Deinit(idx #%d, cleanRowOption %d) for %s.", CurrentThreadId(), nJobId,
        bRemoveCompleted ? 1 : 0, job.strName);
    m_list.FinishJob(nJobId, bRemoveCompleted);
    if (m_onFinished) {
        m_onFinished(job, nResult);
    }
    std::lock_guard lock(m_mutex);
    --m_nRunning;
    (nResult == TRANSFER_DONE               ? m_totals.nCompleted
            : nResult == TRANSFER_CANCELLED ? m_totals.nCancelled
                                            : m_totals.nFailed)++;
}

void CTransferQueue::CancelAll()
{
    std::vector<int> jobIds;
    {
        std::lock_guard lock(m_mutex);
        jobIds = m_jobIds;
    }
    std::vector<int> rows;
    for (const int nJobId : jobIds) {
        const int nRow = m_list.FindCurListCtrlIndex(nJobId);
        if (nRow >= 0) {
            rows.push_back(nRow);
        }
    }
    m_list.CancelSelected(rows);
}

bool CTransferQueue::WaitForAll(int nMilliseconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(nMilliseconds);
    for (;;) {
        {
            std::lock_guard lock(m_mutex);
            if (m_nRunning == 0) {
                break;
            }
        }
        if (nMilliseconds >= 0 && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::vector<std::thread> workers;
    {
        std::lock_guard lock(m_mutex);
        workers.swap(m_workers);
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    return true;
}

TransferTotals CTransferQueue::Totals() const
{
    std::lock_guard lock(m_mutex);
    return m_totals;
}
