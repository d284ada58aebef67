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

int CJobRunner::RunTransfer(int nJobId, const TransferJob& job, QString& strFailure)
{
    const std::shared_ptr<const CProgressEntry> pRecord = m_list.ProgressRecord(nJobId);
    const std::atomic<bool>* pCancel = pRecord ? &pRecord->bCancelled : nullptr;
    if (pCancel != nullptr && pCancel->load()) {
        return TRANSFER_CANCELLED;
    }
    std::unique_ptr<CCurlConnection> pConnection = m_session.AcquireConnection(pCancel);
    if (!pConnection) {
        if (pCancel != nullptr && pCancel->load()) {
            return TRANSFER_CANCELLED;
        }
        strFailure = QStringLiteral("The FTP connection was lost.");
        m_trace.AddTraceText(TRACE_ERROR, strFailure);
        return TRANSFER_FAILED;
    }
    m_list.SetRunning(nJobId);
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
