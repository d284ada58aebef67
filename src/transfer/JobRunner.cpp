#include "transfer/JobRunner.h"

#include <memory>

#include "ftp/CurlConnection.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/SettingsStore.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"

CJobRunner::CJobRunner(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list)
    : m_session(session)
    , m_trace(trace)
    , m_list(list)
{
    const long long nLimitMb = CSettingsStore().ReadInt("Settings", "UnknownSizeDownloadLimitMB");
    m_nUnknownSizeLimit = nLimitMb > 0 ? nLimitMb * 1024 * 1024 : -1;
}

std::unique_ptr<CCurlConnection> CJobRunner::ConnectionIfFree(bool& bBusy)
{
    // Setting the flag when the pool would make us wait turns the wait into a cancellation.
    std::atomic<bool> bWouldWait { false };
    std::unique_ptr<CCurlConnection> pConnection
        = m_session.AcquireConnection(&bWouldWait, [&bWouldWait] { bWouldWait = true; });
    bBusy = !pConnection && bWouldWait.load();
    return pConnection;
}

int CJobRunner::RunTransfer(
    int nJobId, const TransferJob& job, QString& strFailure, std::unique_ptr<CCurlConnection> pConnection)
{
    const std::shared_ptr<const CProgressEntry> pRecord = m_list.ProgressRecord(nJobId);
    const std::atomic<bool>* pCancel = pRecord ? &pRecord->bCancelled : nullptr;
    if (!pConnection) {
        pConnection = m_session.AcquireConnection(pCancel);
    }
    if (!pConnection) {
        if (pCancel != nullptr && pCancel->load()) {
            return TRANSFER_CANCELLED;
        }
        strFailure = QStringLiteral("The FTP connection was lost.");
        m_trace.AddTraceText(TRACE_ERROR, strFailure);
        return TRANSFER_FAILED;
    }
    m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("In Progress.") }, {});
    TransferContext context { *pConnection, m_trace,
        [this, nJobId](std::int64_t nBytes) {
            m_nBytesMoved += nBytes;
            m_list.AdvanceProgress(nJobId, nBytes);
        },
        pCancel, m_bUploadThroughWorkingName, {}, m_localRoots, m_nUnknownSizeLimit };
    int nResult = TRANSFER_FAILED;
    switch (job.operation) {
    case TransferOperation::Upload:
        nResult = job.bFolder ? UploadFolder(context, job.strLocalPath, RemotePathOf(job), job.plan)
                              : UploadFile(context, job.strLocalPath, job.strRemoteFolder, job.strName);
        break;
    case TransferOperation::Download:
        nResult = job.bFolder
            ? DownloadFolder(context, RemotePathOf(job), job.strLocalPath, job.plan)
            : DownloadFile(context, job.strRemoteFolder, job.strName, job.strLocalPath, job.nExpectedSize);
        break;
    case TransferOperation::Delete:
        nResult = DeleteRemote(context, job.strRemoteFolder, job.strName, job.bFolder, job.bLink, job.plan);
        break;
    case TransferOperation::Rename:
        nResult = RenameRemote(context, job.strRemoteFolder, job.strName,
            job.strTargetRemotePath.mid(job.strTargetRemotePath.lastIndexOf(QLatin1Char('/')) + 1));
        break;
    case TransferOperation::Copy:
        nResult = CopyRemote(context, job.strRemoteFolder, job.strName, job.bFolder, job.strTargetRemotePath,
            job.nExpectedSize, job.plan);
        break;
    }
    strFailure = context.strFailure;
    m_session.ReleaseConnection(std::move(pConnection));
    return nResult;
}

void CJobRunner::ShowOutcome(
    int nJobId, const TransferJob& job, int nResult, const QString& strFailure, const QString& strFailureText)
{
    if (nResult == TRANSFER_DONE) {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("Complete.") }, QStringLiteral("Completed"));
    } else if (nResult == TRANSFER_CANCELLED) {
        m_list.UpdateJob(nJobId, { {}, {}, {}, {}, QStringLiteral("Cancelled.") }, QStringLiteral("Cancelled"));
    } else {
        m_list.UpdateJob(nJobId,
            { {}, {}, {}, {},
                FailureWithReason(strFailureText.isEmpty() ? FailureMessage(job) : strFailureText, strFailure) },
            QStringLiteral("Failed"));
    }
}

int CJobRunner::CopyItemEx(int nJobId, const TransferJob& job, std::unique_ptr<CCurlConnection> pConnection)
{
    QString strFailure;
    const int nResult = RunTransfer(nJobId, job, strFailure, std::move(pConnection));
    ShowOutcome(nJobId, job, nResult, strFailure);
    return nResult;
}
