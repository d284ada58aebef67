#include <atomic>
#include <cstdio>
#include <optional>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include "app/ChecksumVerifier.h"
#include "app/QuorvelView.h"
#include "app/SyncPlan.h"
#include "cli/CliCommands.h"
#include "cli/Interrupt.h"
#include "cli/RemoteSide.h"
#include "ftp/FtpSession.h"
#include "ftp/MirrorRoot.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferList.h"
#include "tree/FolderComparison.h"

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
  --cache-kb N, --refresh-all, --no-server-checksums, --trace, --time-offset MIN, --charset WORD, --password-file F, --active, --explicit-tls, --pin sha256//KEY,
  --retries N, --retry-delay S
                          as for quorvel-cli compare
  -h, --help              show this help

Exit status: 0 the two sides are in step, 1 some copies failed or were cancelled (or, with --dry-run,
there is something to do), 2 error.
)";

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

// The plan was made from the comparison: every copy in it is meant to replace what the target has.
class CReplaceAll : public IConflictPrompt
{
public:
    ConflictAnswer AskReplace(const QString&, int) override { return ConflictAnswer::ReplaceAll; }
};

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
        } else if (QString strError = TakeSharedArgument(arguments, i, options.remote, positional);
                   !strError.isEmpty()) {
            return strError;
        }
    }
    if (bHelp) {
        return {};
    }
    if (positional.size() != 2 || !IsFtpLocation(positional[1])) {
        return QStringLiteral("give the local folder and the FTP folder's URL.");
    }
    if (!options.bUpload) {
        return QStringLiteral("say which way to copy: --upload or --download.");
    }
    options.strLocal = positional[0];
    options.strUrl = positional[1];
    return {};
}

// A dot name missing from the listings of a server that may hide such names is sent after all when the server,
// asked for it by name, says it has no such file.
bool MissingOnServer(CRemoteSide& remote, const SyncStep& step)
{
    if (!step.bMaybeHiddenOnServer) {
        return false;
    }
    const qsizetype nCut = step.strRelative.lastIndexOf(QLatin1Char('/'));
    QString strFolder = remote.RemoteFolder();
    if (nCut > 0) {
        strFolder = (strFolder.endsWith(QLatin1Char('/')) ? strFolder : strFolder + QLatin1Char('/'))
            + step.strRelative.left(nCut);
    }
    return remote.Session().HoldsFile(strFolder, step.pItem->strName) == false;
}

// The steps of a sync, as planned and printed.
struct SyncSteps
{
    std::vector<CFileItem*> copies;
    std::vector<CFileItem*> deletions;
    int nKept = 0; // left as they are: kept or skipped
};

SyncSteps PrintPlan(CRemoteSide& remote, CQuorvelView& view, bool bUpload, bool bDelete)
{
    SyncSteps steps;
    const bool bHidesDotNames = !remote.Session().ListsHiddenNames().value_or(false);
    for (SyncStep& step : MakeSyncPlan(view.Tree().Root(), bUpload, bDelete, bHidesDotNames)) {
        if (step.action == SyncAction::Skip && MissingOnServer(remote, step)) {
            step.action = SyncAction::Copy;
            step.strWhy = QStringLiteral("missing: the server has no file of that name");
        }
        switch (step.action) {
        case SyncAction::Keep:
            ++steps.nKept;
            PrintLine(FormatText("%-12s %s (%s: not deleted)", QStringLiteral("KEEP"), step.strRelative, step.strWhy));
            continue;
        case SyncAction::Skip:
            ++steps.nKept;
            PrintLine(FormatText("%-12s %s (%s: not copied)", QStringLiteral("SKIP"), step.strRelative, step.strWhy));
            continue;
        case SyncAction::Copy:
            PrintLine(FormatText("%-12s %s (%s)", bUpload ? QStringLiteral("UPLOAD") : QStringLiteral("DOWNLOAD"),
                step.strRelative, step.strWhy));
            steps.copies.push_back(step.pItem);
            continue;
        case SyncAction::Delete:
            PrintLine(FormatText("%-12s %s (%s)", bUpload ? QStringLiteral("DELETE") : QStringLiteral("DELETE LOCAL"),
                step.strRelative, step.strWhy));
            steps.deletions.push_back(step.pItem);
            continue;
        }
    }
    return steps;
}

// Waits for the copies, with a line of progress on a terminal; an interrupt cancels them.
void WaitForCopies(CQuorvelView& view, int nJobs, bool bTerminal)
{
    QElapsedTimer clock;
    clock.start();
    bool bCancelling = false;
    while (!view.WaitForJobs(250)) {
        if (WasInterrupted() && !bCancelling) {
            bCancelling = true;
            view.CancelAllJobs();
            std::fputs("\nCancelling...\n", stderr);
        }
        if (bTerminal) {
            const JobTotals now = view.Totals();
            const std::int64_t nBytes = view.Runner().BytesMoved();
            const double dSeconds = std::max(0.001, static_cast<double>(clock.elapsed()) / 1000.0);
            std::fprintf(stderr, "\r\033[K%d of %d copies done, %s, %s/s",
                now.nCompleted + now.nFailed + now.nCancelled, nJobs, ByteCountText(nBytes).toLocal8Bit().constData(),
                ByteCountText(static_cast<std::int64_t>(static_cast<double>(nBytes) / dSeconds))
                    .toLocal8Bit()
                    .constData());
        }
    }
    if (bTerminal) {
        std::fputs("\r\033[K", stderr);
    }
}

} // namespace

int RunSync(const QStringList& arguments)
{
    SyncOptions options;
    bool bHelp = false;
    const QString strUsageError = ParseSyncOptions(arguments, options, bHelp);
    if (const std::optional<int> nExit = AnswerHelpOrUsage("sync", kSyncUsage, bHelp, strUsageError)) {
        return *nExit;
    }
    if (options.nJobs > 0) {
        options.remote.site.nMaxConnections = options.nJobs + 1;
    }
    InstallInterruptHandlers();
    CRemoteSide remote;
    const QString strError = remote.Mirror(options.strUrl, options.remote);
    if (!strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli sync: ") + strError);
        return kExitError;
    }
    CTransferListView list;
    CQuorvelView view(
        remote.Session(), remote.Trace(), list, { options.strLocal, remote.MirrorFolder(), remote.RemoteFolder() });
    view.UseServerChecksums(options.remote.bServerChecksums && ServerChecksumsEnabled());
    const ComparisonOutcome outcome = view.Compare(DefaultComparisonThreads());
    if (!outcome.bOk) {
        PrintError(QStringLiteral("quorvel-cli sync: ") + outcome.strError);
        return kExitError;
    }
    const bool bUpload = *options.bUpload;
    PrintNotices(remote.Warnings(), view.Comparison());
    SyncSteps steps = PrintPlan(remote, view, bUpload, options.bDelete);
    const int nUnread = ReportUnreadRemoteFolders(view.Tree().Root());
    if (steps.copies.empty() && steps.deletions.empty()) {
        const bool bInStep = steps.nKept == 0 && nUnread == 0 && !view.Comparison().HasReadErrors();
        PrintLine(bInStep ? QStringLiteral("Nothing to do: the two sides are in step.")
                          : QStringLiteral("Nothing was changed."));
        return bInStep ? kExitOk : kExitDifferences;
    }
    if (options.bDryRun) {
        PrintLine(FormatText("%d steps planned; nothing was changed (--dry-run).",
            static_cast<int>(steps.copies.size() + steps.deletions.size())));
        return kExitDifferences;
    }

    CReplaceAll replaceAll;
    view.SetConflictPrompt(&replaceAll);
    const int nSourceSide = bUpload ? SIDE_LEFT : SIDE_RIGHT;
    // Named by their paths now: the copies' refreshes replace items of the tree as they end.
    const std::vector<ItemPath> deletionPaths = PathsOfItems(steps.deletions);
    const int nJobs = view.CopySelectedItems(PathsOfItems(steps.copies), nSourceSide);
    WaitForCopies(view, nJobs, ::isatty(STDERR_FILENO) != 0 && !options.remote.bTrace);
    // Deletions come last, and only after every copy went through: a deletion never follows a copy that
    // failed, since what it removes may be the only copy left of what the failed one was to carry.
    const JobTotals copied = view.Totals();
    int nDeleted = 0;
    int nDeleteFailures = 0;
    if (copied.nFailed + copied.nCancelled > 0 || WasInterrupted()) {
        for (const ItemPath& path : deletionPaths) {
            PrintLine(FormatText("%-12s %s (a copy failed or was cancelled, and nothing is deleted after that: not "
                                 "deleted)",
                QStringLiteral("KEEP"), path.strRelative));
        }
        steps.nKept += static_cast<int>(deletionPaths.size());
    } else if (!deletionPaths.empty()) {
        nDeleted = view.DeleteSelectedItems(deletionPaths, 1 - nSourceSide);
        nDeleteFailures = static_cast<int>(deletionPaths.size()) - nDeleted;
    }
    for (const JobRecord& record : list.Jobs()) {
        if (record.state == JobState::Failed) {
            PrintError(FormatText("%s: %s: %s", StatusText(record.state), RemotePathOf(record.job), record.strFailure));
        }
    }
    const JobTotals totals = view.Totals();
    // Remote deletions ran as jobs and are counted there; local ones are not.
    const int nCopied = totals.nCompleted - (bUpload ? nDeleted : 0);
    PrintLine(FormatText("%d copied, %d deleted, %d failed, %d cancelled; %s moved.", nCopied, nDeleted,
        bUpload ? totals.nFailed : totals.nFailed + nDeleteFailures, totals.nCancelled,
        ByteCountText(view.Runner().BytesMoved())));
    const bool bWhole = !view.Comparison().HasReadErrors() && nUnread == 0;
    return totals.nFailed + totals.nCancelled + nDeleteFailures + steps.nKept == 0 && bWhole ? kExitOk
                                                                                             : kExitDifferences;
}
