#include <atomic>
#include <csignal>
#include <cstdio>
#include <optional>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include "cli/CliCommands.h"
#include "cli/RemoteSide.h"
#include "ftp/FtpSession.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferList.h"
#include "transfer/TransferQueue.h"
#include "transfer/TransferRoutines.h"
#include "tree/FileTexts.h"
#include "tree/FolderComparison.h"
#include "tree/TreeDump.h"

namespace {

constexpr const char* kSyncUsage
    = R"(Usage: quorvel-cli sync [OPTIONS] LOCAL ftp://[user@]host[:port]/folder (--upload | --download)

Compares LOCAL with the FTP folder as quorvel-cli compare does, then copies what differs or is missing in
the chosen direction: --upload makes the server like LOCAL, --download makes LOCAL like the server.
Files whose contents could not be compared (larger than the download limit, equal in size) are copied
too, so that both sides end in step. Every copy is safe: a file is only replaced once its new contents
arrived whole, and a cancelled or failed copy leaves the target as it was. Ctrl-C cancels the copies.

Options:
  --upload | --download   the direction (one of them is required)
  --dry-run               print what would be done and change nothing
  --delete                also delete what exists only on the target side (never the default)
  --jobs N                copy on N connections at once (default: the "MaxFtpConnections" setting less one)
  --cache-kb N, --refresh-all, --trace, --password-file F, --active, --explicit-tls, --pin sha256//KEY,
  --retries N, --retry-delay S
                          as for quorvel-cli compare
  -h, --help              show this help

Exit status: 0 the two sides are in step, 1 some copies failed or were cancelled (or, with --dry-run,
there is something to do), 2 error.
)";

std::atomic<bool> g_bInterrupted { false };

void OnInterrupt(int)
{
    g_bInterrupted = true;
}

struct SyncOptions
{
    QString strLocal;
    QString strUrl;
    std::optional<bool> bUpload;
    bool bDryRun = false;
    bool bDelete = false;
    int nJobs = 0;
    RemoteOptions remote;
};

// One step of the plan: a transfer job, or (downloading with --delete) a local item to remove.
struct PlanStep
{
    QString strWhy;
    QString strRelative;
    std::optional<TransferJob> job;
    QString strLocalToDelete;
};

std::int64_t SizeFromText(const QString& strSize)
{
    bool bOk = false;
    const std::int64_t nSize = QString(strSize).remove(QLatin1Char(',')).toLongLong(&bOk);
    return bOk ? nSize : -1;
}

// Removing what exists only on the target: on the server as a job, locally at once.
PlanStep DeletionStep(PlanStep step, TransferJob job, bool bUpload)
{
    step.strWhy = QStringLiteral("only on the target");
    if (bUpload) {
        job.operation = TransferOperation::Delete;
        step.job = job;
    } else {
        step.strLocalToDelete = job.strLocalPath;
    }
    return step;
}

// The step (if any) for one item, and whether its children are covered by it.
std::optional<PlanStep> StepFor(const CFileItem& item, const SyncOptions& options, const QString& strRemoteRoot,
    const QString& strRelative, bool& bWholeFolder)
{
    bWholeFolder = false;
    const bool bUpload = *options.bUpload;
    const bool bHasLeft = !item.strPaths[SIDE_LEFT].isEmpty();
    const bool bHasRight = !item.strPaths[SIDE_RIGHT].isEmpty();
    const qsizetype nCut = strRelative.lastIndexOf(QLatin1Char('/'));
    const QString strRemoteFolder = nCut < 0 ? strRemoteRoot : JoinRemotePath(strRemoteRoot, strRelative.left(nCut));
    const QString strLocalPath = QDir(options.strLocal).filePath(strRelative);
    PlanStep step;
    step.strRelative = strRelative;
    TransferJob job;
    job.strName = item.strName;
    job.strRemoteFolder = strRemoteFolder;
    job.strLocalPath = strLocalPath;
    job.bFolder = item.kind == KIND_DIR;

    if (item.kind == KIND_DIR) {
        const bool bMissingOnTarget = bUpload ? (bHasLeft && !bHasRight) : (bHasRight && !bHasLeft);
        const bool bOnlyOnTarget = bUpload ? (bHasRight && !bHasLeft) : (bHasLeft && !bHasRight);
        if (bMissingOnTarget) {
            bWholeFolder = true;
            job.operation = bUpload ? TransferOperation::Upload : TransferOperation::Download;
            step.strWhy = QStringLiteral("missing");
            step.job = job;
            return step;
        }
        if (bOnlyOnTarget && options.bDelete) {
            bWholeFolder = true;
            return DeletionStep(step, job, bUpload);
        }
        return std::nullopt;
    }

    const bool bSourceHasIt = bUpload ? bHasLeft : bHasRight;
    const bool bTargetHasIt = bUpload ? bHasRight : bHasLeft;
    if (!bSourceHasIt) {
        return options.bDelete ? std::optional<PlanStep>(DeletionStep(step, job, bUpload)) : std::nullopt;
    }
    if (item.status == FILE_SAME) {
        return std::nullopt;
    }
    step.strWhy = !bTargetHasIt    ? QStringLiteral("missing")
        : item.status == FILE_DIFF ? QStringLiteral("different")
                                   : QStringLiteral("not compared");
    job.operation = bUpload ? TransferOperation::Upload : TransferOperation::Download;
    job.nExpectedSize = bUpload ? -1 : SizeFromText(item.strSize[SIDE_RIGHT]);
    if (job.nExpectedSize >= INT32_MAX) {
        job.nExpectedSize = -1;
    }
    step.job = job;
    return step;
}

std::vector<PlanStep> MakePlan(const CFileItem* pRoot, const SyncOptions& options, const QString& strRemoteRoot)
{
    std::vector<PlanStep> plan;
    std::function<void(const CFileItem*, const QString&)> walk = [&](const CFileItem* pFolder,
                                                                     const QString& strPrefix) {
        for (const CFileItem* pChild = pFolder->pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            const QString strRelative
                = strPrefix.isEmpty() ? pChild->strName : strPrefix + QLatin1Char('/') + pChild->strName;
            bool bWholeFolder = false;
            if (std::optional<PlanStep> step = StepFor(*pChild, options, strRemoteRoot, strRelative, bWholeFolder)) {
                plan.push_back(std::move(*step));
            }
            if (pChild->kind == KIND_DIR && !bWholeFolder) {
                walk(pChild, strRelative);
            }
        }
    };
    walk(pRoot, QString());
    return plan;
}

QString ParseSyncOptions(const QStringList& arguments, SyncOptions& options, bool& bHelp)
{
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            bHelp = true;
        } else if (argument == QStringLiteral("--upload") || argument == QStringLiteral("--download")) {
            const bool bUpload = argument == QStringLiteral("--upload");
            if (options.bUpload && *options.bUpload != bUpload) {
                return QStringLiteral("give --upload or --download, not both.");
            }
            options.bUpload = bUpload;
        } else if (argument == QStringLiteral("--dry-run")) {
            options.bDryRun = true;
        } else if (argument == QStringLiteral("--delete")) {
            options.bDelete = true;
        } else if (argument == QStringLiteral("--jobs")) {
            const std::optional<int> nJobs = TakeNumber(arguments, i, 1, 32);
            if (!nJobs) {
                return QStringLiteral("--jobs needs a number from 1 to 32.");
            }
            options.nJobs = *nJobs;
        } else if (const QString strError = TakeSharedArgument(arguments, i, options.remote, positional);
                   !strError.isEmpty()) {
            return strError;
        }
    }
    if (bHelp) {
        return {};
    }
    if (positional.size() != 2 || !IsRemote(positional[1])) {
        return QStringLiteral("give the local folder and the FTP folder's URL.");
    }
    if (!options.bUpload) {
        return QStringLiteral("say which way to copy: --upload or --download.");
    }
    options.strLocal = positional[0];
    options.strUrl = positional[1];
    return {};
}

// After a job has changed the server, the mirror's copy of what it touched no longer stands for it (and a
// listing with minutes only may not show the change): it goes, and the next scan fetches the truth.
void ForgetMirrorCopy(const QString& strMirrorFolder, const QString& strRemoteRoot, const TransferJob& job)
{
    QString strRelative = JoinRemotePath(job.strRemoteFolder, job.strName).mid(strRemoteRoot.size());
    while (strRelative.startsWith(QLatin1Char('/'))) {
        strRelative.remove(0, 1);
    }
    const QFileInfo copy(QDir(strMirrorFolder).filePath(strRelative));
    if (copy.isDir() && !copy.isSymLink()) {
        QDir(copy.filePath()).removeRecursively();
        return;
    }
    QFile::remove(copy.filePath());
    const QDir folder = copy.dir();
    for (const QString& strName : folder.entryList(QDir::Files | QDir::Hidden)) {
        const std::optional<MarkerInfo> marker = ParseMarkerName(strName);
        if (marker && marker->strFileName == job.strName) {
            QFile::remove(folder.filePath(strName));
        }
    }
}

QString Bytes(std::int64_t nBytes)
{
    if (nBytes < 1024) {
        return FormatText("%lld bytes", static_cast<long long>(nBytes));
    }
    if (nBytes < 1024 * 1024) {
        return FormatText("%.1f KiB", static_cast<double>(nBytes) / 1024.0);
    }
    return FormatText("%.1f MiB", static_cast<double>(nBytes) / (1024.0 * 1024.0));
}

} // namespace

int RunSync(const QStringList& arguments)
{
    SyncOptions options;
    bool bHelp = false;
    const QString strUsageError = ParseSyncOptions(arguments, options, bHelp);
    if (bHelp) {
        std::fputs(kSyncUsage, stdout);
        return kExitOk;
    }
    if (!strUsageError.isEmpty()) {
        PrintError(
            QStringLiteral("quorvel-cli sync: ") + strUsageError + QStringLiteral(" See quorvel-cli sync --help."));
        return kExitError;
    }
    if (options.nJobs > 0) {
        options.remote.site.nMaxConnections = options.nJobs + 1;
    }
    CRemoteSide remote;
    const QString strError = remote.Mirror(options.strUrl, options.remote);
    if (!strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli sync: ") + strError);
        return kExitError;
    }
    CFolderComparison comparison(options.strLocal, remote.MirrorFolder(), remote.RemoteFolder());
    const ComparisonOutcome outcome = comparison.Run(DefaultComparisonThreads());
    if (!outcome.bOk) {
        PrintError(QStringLiteral("quorvel-cli sync: ") + outcome.strError);
        return kExitError;
    }
    const std::vector<PlanStep> plan = MakePlan(comparison.Tree().Root(), options, remote.RemoteFolder());
    for (const PlanStep& step : plan) {
        const QString strWhat = step.job ? OperationWord(step.job->operation) : QStringLiteral("DELETE LOCAL");
        PrintLine(FormatText("%-12s %s (%s)", strWhat, step.strRelative, step.strWhy));
    }
    if (plan.empty()) {
        PrintLine(QStringLiteral("Nothing to do: the two sides are in step."));
        return kExitOk;
    }
    if (options.bDryRun) {
        PrintLine(FormatText("%d steps planned; nothing was changed (--dry-run).", static_cast<int>(plan.size())));
        return kExitDifferences;
    }

    struct sigaction action
    { };
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    int nLocalFailures = 0;
    CTransferListView list;
    TransferTotals totals;
    {
        CTransferQueue queue(remote.Session(), remote.Trace(), list);
        if (*options.bUpload) {
            const QString strMirror = remote.MirrorFolder();
            const QString strRemoteRoot = remote.RemoteFolder();
            queue.SetOnFinished([strMirror, strRemoteRoot](
                                    const TransferJob& job, int) { ForgetMirrorCopy(strMirror, strRemoteRoot, job); });
        }
        int nJobs = 0;
        for (const PlanStep& step : plan) {
            if (step.job) {
                queue.Submit(*step.job);
                ++nJobs;
            } else {
                const bool bRemoved = QFileInfo(step.strLocalToDelete).isDir()
                    ? QDir(step.strLocalToDelete).removeRecursively()
                    : QFile::remove(step.strLocalToDelete);
                if (!bRemoved) {
                    PrintError(FormatText("quorvel-cli sync: %s could not be deleted.", step.strLocalToDelete));
                    ++nLocalFailures;
                }
            }
        }
        const bool bTerminal = ::isatty(STDERR_FILENO) != 0 && !options.remote.bTrace;
        QElapsedTimer clock;
        clock.start();
        bool bCancelling = false;
        while (!queue.WaitForAll(250)) {
            if (g_bInterrupted && !bCancelling) {
                bCancelling = true;
                queue.CancelAll();
                std::fputs("\nCancelling...\n", stderr);
            }
            if (bTerminal) {
                const TransferTotals now = queue.Totals();
                const double dSeconds = std::max(0.001, static_cast<double>(clock.elapsed()) / 1000.0);
                std::fprintf(stderr, "\r\033[K%d of %d copies done, %s, %s/s",
                    now.nCompleted + now.nFailed + now.nCancelled, nJobs, Bytes(now.nBytes).toLocal8Bit().constData(),
                    Bytes(static_cast<std::int64_t>(static_cast<double>(now.nBytes) / dSeconds))
                        .toLocal8Bit()
                        .constData());
            }
        }
        if (bTerminal) {
            std::fputs("\r\033[K", stderr);
        }
        totals = queue.Totals();
    }
    for (const TransferRow& row : list.Rows()) {
        if (row.columns[COL_STATUS] == QStringLiteral("Failed")) {
            PrintError(FormatText("Failed: %s: %s", row.columns[COL_FTP_PATH], row.columns[COL_MESSAGE]));
        }
    }
    PrintLine(FormatText("%d copied, %d failed, %d cancelled; %s moved.", totals.nCompleted,
        totals.nFailed + nLocalFailures, totals.nCancelled, Bytes(totals.nBytes)));
    return totals.nFailed + totals.nCancelled + nLocalFailures == 0 ? kExitOk : kExitDifferences;
}
