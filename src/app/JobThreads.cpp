#include "app/JobThreads.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include "app/JobMaking.h"
#include "app/QuorvelView.h"
#include "ftp/CurlConnection.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"

namespace {

bool RemoveCompletedRows()
{
    return CSettingsStore().ReadInt("Settings", "DeleteRowOfGoodXfer") != 0;
}

void EndJob(CQuorvelView& view, int nJobId, const QString& strName, int nResult)
{
    const bool bRemove = RemoveCompletedRows();
    Log("CopyEachItemExThread::[%ld] Progress_Deinit(idx #%d, cleanRowOption %d) for %s.", CurrentThreadId(), nJobId,
        bRemove ? 1 : 0, strName);
    view.List().FinishJob(nJobId, bRemove);
    view.CountResult(nResult);
}

// A copy worker's job: to the other side, or into the mirror.
int RunItemJob(CQuorvelView* pView, const PreparedJob& prepared)
{
    Log("CopyEachItemExThread::[%ld] Entering...", CurrentThreadId());
    const auto tell = [&prepared](int nResult) {
        if (prepared.whenDone) {
            prepared.whenDone(nResult);
        }
    };
    if (!pView->Session().HasSite()) {
        pView->Trace().AddTraceText(TRACE_ERROR, QStringLiteral("The FTP connection was lost."));
        tell(TRANSFER_FAILED);
        return 1;
    }
    bool bBusy = false;
    std::unique_ptr<CCurlConnection> pConnection = pView->Runner().ConnectionIfFree(bBusy);
    if (!pConnection && !bBusy) {
        pView->Trace().AddTraceText(TRACE_ERROR, QStringLiteral("The FTP connection was lost."));
        tell(TRANSFER_FAILED);
        return 1;
    }
    const TransferJob& job = prepared.job;
    Log("CopyEachItemExThread::[%ld] Progress_Init() for %s with %lld bytes...", CurrentThreadId(), job.strName,
        static_cast<long long>(prepared.nTotalBytes));
    const int nJobId = pView->List().AddJob(prepared.nTotalBytes, prepared.row);
    const int nResult = pView->Runner().CopyItemEx(nJobId, job, std::move(pConnection));
    EndJob(*pView, nJobId, job.strName, nResult);
    if (nResult == TRANSFER_DONE) {
        if (prepared.bIntoMirror) {
            pView->RefreshAfterCache(RemotePathOf(job), job.bFolder);
        } else {
            pView->RefreshAfterCopy(job);
        }
    }
    tell(nResult);
    return 1;
}

// The job line taken from the slot, read back against its row. Nothing when it does not read back: a
// field holding ";" would shift the paths, and a job never runs on shifted paths.
std::optional<std::pair<int, JobFields>> TakeJobLine(CQuorvelView& view, const QString& strLine)
{
    bool bNumber = false;
    const int nJobId = strLine.section(QLatin1Char(';'), 0, 0).toInt(&bNumber);
    if (!bNumber) {
        return std::nullopt;
    }
    const std::optional<TransferRow> row = view.List().Row(nJobId);
    if (!row) {
        // The row is gone; the fields are only needed for the failure texts.
        const QStringList parts = strLine.split(QLatin1Char(';'));
        if (parts.size() != 6) {
            return std::nullopt;
        }
        return std::make_pair(nJobId, JobFields { parts[1], parts[2], parts[3], parts[4], parts[5] });
    }
    std::optional<std::pair<int, JobFields>> parsed = ParseJobLine(strLine, FieldsOf(*row));
    if (!parsed) {
        view.List().UpdateJob(nJobId,
            { {}, {}, {}, {},
                QStringLiteral("Not resubmitted: a name or path holds \";\", which the job line cannot carry.") },
            QStringLiteral("Failed"));
    }
    return parsed;
}

struct ResubmitTexts
{
    const char* pRetry; // null: no RETRY line
    const char* pDone;
    const char* pCancelled;
    const char* pFailed;
    QString strRowGone;
};

ResubmitTexts TextsFor(TransferOperation operation, bool bFolder)
{
    switch (operation) {
    case TransferOperation::Upload:
        // A file whose row vanished keeps the download's wording on purpose.
        return { "RETRY: uploading \"%s\".", "\"%s\" uploaded.", "Cancelled to upload \"%s\".",
            "failed to upload \"%s\".",
            bFolder ? QStringLiteral("Failed to upload a folder.") : QStringLiteral("Failed to download a file.") };
    case TransferOperation::Download:
        return { bFolder ? "RETRY: downloading \"%s\"." : "RETRY: downloding \"%s\".", "\"%s\" downloaded.",
            "Cancelled to download \"%s\".", "failed to download \"%s\".",
            bFolder ? QStringLiteral("Failed to download a folder.") : QStringLiteral("Failed to download a file.") };
    case TransferOperation::Delete:
    case TransferOperation::Copy:
    case TransferOperation::Rename:
        break;
    }
    return { nullptr, nullptr, nullptr, "failed to copy within FTP.", QStringLiteral("Failed to copy within FTP.") };
}

void TraceAbout(CQuorvelView& view, int nKind, const char* pText, const QString& strPath)
{
    if (pText != nullptr) {
        view.Trace().AddTraceLine(nKind, pText, strPath);
    }
}

int ResubmitThread(CQuorvelView* pView, const QString& strLine, TransferOperation operation)
{
    if (!pView->Session().HasSite()) {
        return 0;
    }
    const std::optional<std::pair<int, JobFields>> parsed = TakeJobLine(*pView, strLine);
    if (!parsed) {
        return 1;
    }
    const auto& [nJobId, fields] = *parsed;
    TransferJob job = JobFromRow(fields);
    job.operation = operation;
    const ResubmitTexts texts = TextsFor(operation, job.bFolder);
    const QString strRemote = RemotePathOf(job);
    const bool bToCache = IsCacheRow(fields);
    if (operation == TransferOperation::Download) {
        // Downloads go to the cache first; from there a copy goes to the local path.
        job.strLocalPath = pView->Paths().CachePathOf(strRemote);
    }
    const std::int64_t nTotal
        = operation == TransferOperation::Upload ? LocalSize(job.strLocalPath) : pView->RecordedSize(strRemote);
    TraceAbout(*pView, TRACE_PLAIN, texts.pRetry, strRemote);
    if (operation == TransferOperation::Download && !job.bFolder) {
        job.nExpectedSize = nTotal > 0 ? nTotal : -1;
    }
    JobFields waiting = fields;
    waiting.strMessage = QStringLiteral("Waiting...");
    if (pView->List().ReopenJob(nJobId, nTotal, waiting) < 0) {
        pView->List().UpdateJob(nJobId, { {}, {}, {}, {}, texts.strRowGone }, QStringLiteral("Failed"));
        pView->Trace().AddTraceLine(TRACE_ERROR, texts.pFailed, strRemote);
        pView->List().FinishJob(nJobId, RemoveCompletedRows());
        pView->CountResult(TRANSFER_FAILED);
        return 1;
    }
    QString strFailure;
    int nResult = TRANSFER_FAILED;
    if (operation == TransferOperation::Download && job.strLocalPath.isEmpty()) {
        strFailure = FormatText("%s lies outside the compared FTP folder; it has no place in the cache.", strRemote);
        pView->Trace().AddTraceText(TRACE_ERROR, strFailure);
    } else if (!pView->PlanFolderJob(job, strFailure)) {
        pView->Trace().AddTraceText(TRACE_ERROR, strFailure);
    } else {
        nResult = pView->Runner().RunTransfer(nJobId, job, strFailure);
    }
    if (nResult == TRANSFER_DONE && operation == TransferOperation::Download) {
        pView->RefreshAfterCache(strRemote, job.bFolder);
        if (bToCache) {
            pView->Trace().AddTraceLine(TRACE_STATUS, "\"%s\" downloaded to Cache location.", strRemote);
        } else {
            const QStringList roots { pView->Folders().strLocal };
            const QString strError = job.bFolder ? CopyLocalFolder(job.strLocalPath, fields.strLocalPath, roots)
                                                 : CopyLocalFile(job.strLocalPath, fields.strLocalPath, roots);
            if (strError.isEmpty()) {
                TransferJob copied = job;
                copied.strLocalPath = fields.strLocalPath;
                pView->RefreshAfterCopy(copied);
                pView->Trace().AddTraceLine(TRACE_STATUS, texts.pDone, strRemote);
            } else {
                nResult = TRANSFER_FAILED;
                strFailure = strError;
                pView->Trace().AddTraceText(TRACE_ERROR, strError);
            }
        }
    } else if (nResult == TRANSFER_DONE) {
        TraceAbout(*pView, TRACE_STATUS, texts.pDone, strRemote);
        if (operation == TransferOperation::Upload) {
            pView->RefreshAfterCopy(job);
        } else {
            pView->RefreshAfterServerCopy(job);
        }
    }
    if (nResult == TRANSFER_CANCELLED) {
        TraceAbout(*pView, TRACE_STATUS, texts.pCancelled, strRemote);
    } else if (nResult != TRANSFER_DONE) {
        pView->Trace().AddTraceLine(TRACE_ERROR, texts.pFailed, strRemote);
    }
    pView->Runner().ShowOutcome(nJobId, job, nResult, strFailure, texts.strRowGone);
    pView->List().FinishJob(nJobId, RemoveCompletedRows());
    pView->CountResult(nResult);
    return 1;
}

} // namespace

int CopyEachItemExThread(CQuorvelView* pView, const PreparedJob& prepared)
{
    return RunItemJob(pView, prepared);
}

int CacheSelectedItems2CacheThread(CQuorvelView* pView, const PreparedJob& prepared)
{
    return RunItemJob(pView, prepared);
}

int ResubmitDownloadThread(CQuorvelView* pView, const QString& strJobLine)
{
    return ResubmitThread(pView, strJobLine, TransferOperation::Download);
}

int ResubmitUploadThread(CQuorvelView* pView, const QString& strJobLine)
{
    return ResubmitThread(pView, strJobLine, TransferOperation::Upload);
}

int ResubmitFtpCopyThread(CQuorvelView* pView, const QString& strJobLine)
{
    return ResubmitThread(pView, strJobLine, TransferOperation::Copy);
}

int DropPasteCopyThread(CQuorvelView* pView, const DropHandOver& drop)
{
    Log("DropPasteCopyThread::[%ld] Entering...", CurrentThreadId());
    for (const QString& strPath : drop.paths) {
        const QFileInfo source(strPath);
        if (drop.nToSide == SIDE_LEFT) {
            const QString strTarget = QDir(drop.strTargetFolder).filePath(source.fileName());
            const QStringList roots { pView->Folders().strLocal };
            const QString strError = source.isDir() ? CopyLocalFolder(strPath, strTarget, roots)
                                                    : CopyLocalFile(strPath, strTarget, roots);
            if (!strError.isEmpty()) {
                pView->Trace().AddTraceText(TRACE_ERROR, strError);
                continue;
            }
        } else {
            if (!pView->Session().HasSite()) {
                pView->Trace().AddTraceText(TRACE_ERROR, QStringLiteral("The FTP connection was lost."));
                return 1;
            }
            const PreparedJob prepared = MakeDropJob(strPath, drop.strTargetFolder);
            const int nJobId = pView->List().AddJob(prepared.nTotalBytes, prepared.row);
            const int nResult = pView->Runner().CopyItemEx(nJobId, prepared.job);
            EndJob(*pView, nJobId, prepared.job.strName, nResult);
            if (nResult != TRANSFER_DONE) {
                continue;
            }
        }
        pView->RefreshAfterDrop(strPath, drop.nToSide, drop.strTargetFolder);
    }
    return 1;
}

int RunJobHere(CQuorvelView& view, const PreparedJob& prepared)
{
    const int nJobId = view.List().AddJob(0, prepared.row);
    const int nResult = view.Runner().CopyItemEx(nJobId, prepared.job);
    EndJob(view, nJobId, prepared.job.strName, nResult);
    return nResult;
}

void ResubmitJobHere(CQuorvelView& view, const QString& strJobLine)
{
    const std::optional<std::pair<int, JobFields>> parsed = TakeJobLine(view, strJobLine);
    if (!parsed) {
        return;
    }
    const auto& [nJobId, fields] = *parsed;
    TransferJob job = JobFromRow(fields);
    JobFields waiting = fields;
    waiting.strMessage = QStringLiteral("Waiting...");
    if (view.List().ReopenJob(nJobId, 0, waiting) < 0) {
        return;
    }
    QString strWhyNot;
    if (!view.PlanFolderJob(job, strWhyNot)) {
        view.Trace().AddTraceText(TRACE_ERROR, strWhyNot);
        view.Runner().ShowOutcome(nJobId, job, TRANSFER_FAILED, strWhyNot);
        EndJob(view, nJobId, job.strName, TRANSFER_FAILED);
        return;
    }
    const int nResult = view.Runner().CopyItemEx(nJobId, job);
    EndJob(view, nJobId, job.strName, nResult);
    if (nResult == TRANSFER_DONE && job.operation == TransferOperation::Rename) {
        view.RefreshAfterRemoteRename(job);
    } else if (nResult == TRANSFER_DONE) {
        view.RefreshAfterDelete(job, SIDE_RIGHT);
    }
}
