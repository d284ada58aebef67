#include <atomic>
#include <csignal>
#include <cstdio>
#include <optional>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include "app/QuorvelView.h"
#include "cli/CliCommands.h"
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

// One step of the plan: copy an item to the target side, or delete it there.
struct PlanStep
{
    CFileItem* pItem = nullptr;
    bool bDelete = false;
    QString strWhy;
    QString strRelative;
};

// The step (if any) for one item, and whether its children are covered by it.
std::optional<PlanStep> StepFor(
    CFileItem& item, const SyncOptions& options, const QString& strRelative, bool& bWholeFolder)
{
    bWholeFolder = false;
    const bool bUpload = *options.bUpload;
    const bool bSourceHasIt = !item.strPaths[bUpload ? SIDE_LEFT : SIDE_RIGHT].isEmpty();
    const bool bTargetHasIt = !item.strPaths[bUpload ? SIDE_RIGHT : SIDE_LEFT].isEmpty();
    PlanStep step { &item, false, {}, strRelative };
    if (!bSourceHasIt) {
        if (!options.bDelete) {
            return std::nullopt;
        }
        bWholeFolder = true;
        step.bDelete = true;
        step.strWhy = QStringLiteral("only on the target");
        return step;
    }
    if (item.kind == KIND_DIR) {
        if (bTargetHasIt) {
            return std::nullopt;
        }
        bWholeFolder = true;
        step.strWhy = QStringLiteral("missing");
        return step;
    }
    if (item.status == FILE_SAME) {
        return std::nullopt;
    }
    step.strWhy = !bTargetHasIt    ? QStringLiteral("missing")
        : item.status == FILE_DIFF ? QStringLiteral("different")
                                   : QStringLiteral("not compared");
    return step;
}

std::vector<PlanStep> MakePlan(CFileItem* pRoot, const SyncOptions& options)
{
    std::vector<PlanStep> plan;
    std::function<void(CFileItem*, const QString&)> walk = [&](CFileItem* pFolder, const QString& strPrefix) {
        for (CFileItem* pChild = pFolder->pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            const QString strRelative
                = strPrefix.isEmpty() ? pChild->strName : strPrefix + QLatin1Char('/') + pChild->strName;
            bool bWholeFolder = false;
            if (std::optional<PlanStep> step = StepFor(*pChild, options, strRelative, bWholeFolder)) {
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

// Whether the server's listing of the folder that holds strRelative came back empty.
bool ListedAsEmpty(const QString& strMirror, const QString& strRelative)
{
    const qsizetype nCut = strRelative.lastIndexOf(QLatin1Char('/'));
    const QString strFolder = nCut < 0 ? strMirror : QDir(strMirror).filePath(strRelative.left(nCut));
    return QFile::exists(QDir(strFolder).filePath(QString::fromLatin1(kEmptyListingMarker)));
}

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
    CTransferListView list;
    CQuorvelView view(
        remote.Session(), remote.Trace(), list, { options.strLocal, remote.MirrorFolder(), remote.RemoteFolder() });
    const ComparisonOutcome outcome = view.Compare(DefaultComparisonThreads());
    if (!outcome.bOk) {
        PrintError(QStringLiteral("quorvel-cli sync: ") + outcome.strError);
        return kExitError;
    }
    const bool bUpload = *options.bUpload;
    const std::vector<PlanStep> plan = MakePlan(view.Tree().Root(), options);
    std::vector<CFileItem*> copies;
    std::vector<CFileItem*> deletions;
    int nKept = 0;
    for (const PlanStep& step : plan) {
        if (step.bDelete && !bUpload && ListedAsEmpty(remote.MirrorFolder(), step.strRelative)) {
            ++nKept;
            PrintLine(FormatText("%-12s %s (the server listed its folder as empty, which a failed listing also "
                                 "does: not deleted)",
                QStringLiteral("KEEP"), step.strRelative));
            continue;
        }
        const QString strWhat = !step.bDelete ? (bUpload ? QStringLiteral("UPLOAD") : QStringLiteral("DOWNLOAD"))
            : bUpload                         ? QStringLiteral("DELETE")
                                              : QStringLiteral("DELETE LOCAL");
        PrintLine(FormatText("%-12s %s (%s)", strWhat, step.strRelative, step.strWhy));
        (step.bDelete ? deletions : copies).push_back(step.pItem);
    }
    if (copies.empty() && deletions.empty()) {
        PrintLine(nKept == 0 ? QStringLiteral("Nothing to do: the two sides are in step.")
                             : QStringLiteral("Nothing was changed."));
        return nKept == 0 ? kExitOk : kExitDifferences;
    }
    if (options.bDryRun) {
        PrintLine(FormatText(
            "%d steps planned; nothing was changed (--dry-run).", static_cast<int>(copies.size() + deletions.size())));
        return kExitDifferences;
    }

    struct sigaction action
    { };
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    CReplaceAll replaceAll;
    view.SetConflictPrompt(&replaceAll);
    const int nSourceSide = bUpload ? SIDE_LEFT : SIDE_RIGHT;
    const int nJobs = view.CopySelectedItems(copies, nSourceSide);
    const int nDeleted = view.DeleteSelectedItems(deletions, 1 - nSourceSide);
    const int nDeleteFailures = static_cast<int>(deletions.size()) - nDeleted;
    const bool bTerminal = ::isatty(STDERR_FILENO) != 0 && !options.remote.bTrace;
    QElapsedTimer clock;
    clock.start();
    bool bCancelling = false;
    while (!view.WaitForJobs(250)) {
        if (g_bInterrupted && !bCancelling) {
            bCancelling = true;
            view.CancelAllJobs();
            std::fputs("\nCancelling...\n", stderr);
        }
        if (bTerminal) {
            const JobTotals now = view.Totals();
            const std::int64_t nBytes = view.Runner().BytesMoved();
            const double dSeconds = std::max(0.001, static_cast<double>(clock.elapsed()) / 1000.0);
            std::fprintf(stderr, "\r\033[K%d of %d copies done, %s, %s/s",
                now.nCompleted + now.nFailed + now.nCancelled, nJobs, Bytes(nBytes).toLocal8Bit().constData(),
                Bytes(static_cast<std::int64_t>(static_cast<double>(nBytes) / dSeconds)).toLocal8Bit().constData());
        }
    }
    if (bTerminal) {
        std::fputs("\r\033[K", stderr);
    }
    for (const TransferRow& row : list.Rows()) {
        if (row.columns[COL_STATUS] == QStringLiteral("Failed")) {
            PrintError(FormatText("Failed: %s: %s", row.columns[COL_FTP_PATH], row.columns[COL_MESSAGE]));
        }
    }
    const JobTotals totals = view.Totals();
    // Remote deletions ran as jobs and are counted there; local ones are not.
    const int nCopied = totals.nCompleted - (bUpload ? nDeleted : 0);
    PrintLine(FormatText("%d copied, %d deleted, %d failed, %d cancelled; %s moved.", nCopied, nDeleted,
        bUpload ? totals.nFailed : totals.nFailed + nDeleteFailures, totals.nCancelled,
        Bytes(view.Runner().BytesMoved())));
    return totals.nFailed + totals.nCancelled + nDeleteFailures + nKept == 0 ? kExitOk : kExitDifferences;
}
