#include "app/QueuedJobs.h"

#include <QDir>
#include <QFileInfo>

#include "app/JobMaking.h"
#include "app/QuorvelView.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"

namespace {

// The trace lines of a job run again, and the Message of its failure.
struct AgainTexts
{
    const char* pRetry; // null: no RETRY line
    const char* pDone;
    const char* pCancelled;
    const char* pFailed;
    QString strFailure;
};

AgainTexts TextsFor(TransferOperation operation, bool bFolder)
{
    switch (operation) {
    case TransferOperation::Upload:
        // A file keeps the download's wording on purpose.
        return { "RETRY: uploading \"%s\".", "\"%s\" uploaded.", "Cancelled to upload \"%s\".",
            "failed to upload \"%s\".",
            bFolder ? QStringLiteral("Failed to upload a folder.") : QStringLiteral("Failed to download a file.") };
    case TransferOperation::Download:
        return { bFolder ? "RETRY: downloading \"%s\"." : "RETRY: downloding \"%s\".", "\"%s\" downloaded.",
            "Cancelled to download \"%s\".", "failed to download \"%s\".",
            bFolder ? QStringLiteral("Failed to download a folder.") : QStringLiteral("Failed to download a file.") };
    case TransferOperation::Delete:
        return { "RETRY: deleting \"%s\".", nullptr, nullptr, "failed to delete \"%s\".",
            QStringLiteral("Failed to delete.") };
    case TransferOperation::Rename:
        return { "RETRY: renaming \"%s\".", nullptr, nullptr, "failed to rename \"%s\".",
            QStringLiteral("Failed to rename.") };
    case TransferOperation::Copy:
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

// Before a job runs again: what it moves is counted now, and a folder job copies or deletes only what the
// comparison saw. False, with strWhyNot, when it cannot run.
bool PrepareAgain(CQuorvelView& view, int nJobId, TransferJob& job, QString& strWhyNot)
{
    TraceAbout(view, TRACE_PLAIN, TextsFor(job.operation, job.bFolder).pRetry, RemotePathOf(job));
    if (job.operation == TransferOperation::Upload) {
        view.List().SetJobTotal(nJobId, LocalSize(job.strLocalPath));
    } else if (job.operation == TransferOperation::Download || job.operation == TransferOperation::Copy) {
        const std::int64_t nTotal = view.RecordedSize(RemotePathOf(job));
        view.List().SetJobTotal(nJobId, nTotal);
        if (!job.bFolder && nTotal > 0) {
            job.nExpectedSize = nTotal;
        }
    }
    return view.PlanFolderJob(job, strWhyNot);
}

void RefreshAfterJob(CQuorvelView& view, const JobRecord& record)
{
    const TransferJob& job = record.job;
    switch (job.operation) {
    case TransferOperation::Upload:
        if (record.purpose == JobPurpose::Dropped) {
            view.RefreshAfterDrop(job.strLocalPath, SIDE_RIGHT, job.strRemoteFolder);
        } else {
            view.RefreshAfterCopy(job);
        }
        break;
    case TransferOperation::Download:
        if (record.purpose == JobPurpose::IntoMirror) {
            view.RefreshAfterCache(RemotePathOf(job), job.bFolder);
        } else {
            view.RefreshAfterCopy(job);
        }
        break;
    case TransferOperation::Delete:
        view.RefreshAfterDelete(job, SIDE_RIGHT);
        break;
    case TransferOperation::Rename:
        view.RefreshAfterRemoteRename(job);
        break;
    case TransferOperation::Copy:
        view.RefreshAfterServerCopy(job);
        break;
    }
}

} // namespace

void RunListedJob(CQuorvelView& view, int nJobId, bool bAgain, const std::function<void(int)>& whenDone)
{
    std::optional<JobRecord> record = view.List().Job(nJobId);
    int nResult = TRANSFER_FAILED;
    if (!record) {
        if (whenDone) {
            whenDone(nResult);
        }
        return;
    }
    TransferJob& job = record->job;
    const QString strRemote = RemotePathOf(job);
    QString strFailure;
    if (!bAgain || PrepareAgain(view, nJobId, job, strFailure)) {
        nResult = view.Runner().RunTransfer(nJobId, job, strFailure);
    } else {
        view.Trace().AddTraceText(TRACE_ERROR, strFailure);
    }
    if (nResult == TRANSFER_DONE) {
        RefreshAfterJob(view, *record);
    }
    const AgainTexts texts = TextsFor(job.operation, job.bFolder);
    if (bAgain && nResult == TRANSFER_DONE) {
        TraceAbout(view, TRACE_STATUS,
            record->purpose == JobPurpose::IntoMirror ? "\"%s\" downloaded to Cache location." : texts.pDone,
            strRemote);
    } else if (bAgain) {
        TraceAbout(view, nResult == TRANSFER_CANCELLED ? TRACE_STATUS : TRACE_ERROR,
            nResult == TRANSFER_CANCELLED ? texts.pCancelled : texts.pFailed, strRemote);
    }
    const bool bRemove = view.RemovesCompletedRows();
    Log("CopyEachItemExThread::[%ld] Progress_Deinit(idx #%d, cleanRowOption %d) for %s.", CurrentThreadId(), nJobId,
        bRemove ? 1 : 0, job.strName);
    view.List().FinishJob(nJobId, StateOfResult(nResult),
        FailureWithReason(bAgain ? texts.strFailure : FailureMessage(job), strFailure), bRemove);
    view.CountResult(nResult);
    if (whenDone) {
        whenDone(nResult);
    }
}

void CopyDroppedLocally(CQuorvelView& view, const DropHandOver& drop)
{
    Log("DropPasteCopyThread::[%ld] Entering...", CurrentThreadId());
    const QStringList roots { view.Folders().strLocal };
    for (const QString& strPath : drop.paths) {
        const QFileInfo source(strPath);
        const QString strTarget = QDir(drop.strTargetFolder).filePath(source.fileName());
        const QString strError
            = source.isDir() ? CopyLocalFolder(strPath, strTarget, roots) : CopyLocalFile(strPath, strTarget, roots);
        if (!strError.isEmpty()) {
            view.Trace().AddTraceText(TRACE_ERROR, strError);
            continue;
        }
        view.RefreshAfterDrop(strPath, SIDE_LEFT, drop.strTargetFolder);
    }
}
