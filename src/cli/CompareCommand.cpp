#include <cstdio>
#include <memory>
#include <optional>

#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "cli/CliCommands.h"
#include "cli/Interrupt.h"
#include "cli/RemoteSide.h"
#include "support/TextFormat.h"
#include "tree/FileTexts.h"
#include "tree/FolderComparison.h"
#include "tree/TreeDump.h"

namespace {

constexpr const char* kCompareUsage = R"(Usage: quorvel-cli compare [OPTIONS] LEFT RIGHT
       quorvel-cli compare [OPTIONS] LEFT ftp://[user@]host[:port]/folder

Scans LEFT (your folder) and RIGHT (a mirror folder, or an FTP folder that is first listed, with all its
sub-folders, into the site's mirror folder), merges them into one tree and marks every file
Same, Diff, Left (only on the left), Right (only on the right) or Unknown (on both sides, contents not
known: a file not downloaded into the mirror with the same size whose checksum the server would not
give, or a file that cannot be read).
Files are the same when their version and size texts agree and their contents have the same CRC-32;
modification times are shown, never compared.

Options:
  --only-diff     leave out items that are the same (and folders holding nothing else)
  --json          print the tree as JSON instead of text
  --threads N     read file contents on N threads (default: one per core, at most 4)
  --log           write a diagnostic log of every decision and print its path
  -h, --help      show this help

Options for an FTP folder (credentials as for quorvel-cli raw: QUORVEL_PASSWORD, --password-file,
~/.netrc, or a prompt; never on the command line):
  --cache-kb N        download remote files of at most N KiB into the mirror so their contents can be
                      compared (default: the "CacheDownloadSizeKB" setting); larger ones are compared
                      by size only
  --refresh-all       download every file within the limit again, even when the mirror copy is current
  --no-server-checksums
                      leave files that were not downloaded undecided rather than asking the server
                      for their checksums (HASH, XCRC ...; the "UseServerChecksums" setting)
  --trace             print every FTP command and reply to standard error
  --time-offset MIN   add MIN minutes to the times of day LIST gives (a server listing in another time
                      zone); without it, the offset is found once per session with MDTM
  --charset WORD      how the server writes names: auto (as sent, the default), utf-8, or latin-1 or
                      windows-1252 for a server that reads and lists names in that code page
  --password-file F, --active, --explicit-tls, --pin sha256//KEY, --retries N, --retry-delay S
                      as for quorvel-cli raw

Exit status: 0 when everything is the same, 1 when differences exist, 2 on error.
)";

struct CompareOptions
{
    QString strLeft;
    QString strRight;
    bool bOnlyDiff = false;
    bool bJson = false;
    int nThreads = DefaultComparisonThreads();
    RemoteOptions remote;
};

struct Summary
{
    int nSame = 0;
    int nDiff = 0;
    int nLeftOnly = 0;
    int nRightOnly = 0;
    int nUnknown = 0;
    int nFoldersOneSided = 0;

    [[nodiscard]] bool HasDifferences() const
    {
        return nDiff + nLeftOnly + nRightOnly + nUnknown + nFoldersOneSided > 0;
    }
};

// The status in the words of the command's help: "UNKNOWN" reads as a shout in a listing.
QString StatusWord(const CFileItem& item)
{
    const QString strText = StatusText(item).trimmed();
    return strText == QStringLiteral("UNKNOWN") ? QStringLiteral("Unknown") : strText;
}

bool IsSame(const CFileItem& item)
{
    return item.kind == KIND_FILE ? item.status == FILE_SAME : item.status == DIR_BOTH;
}

// Whether the item (or, for a folder, anything below it) is to be shown.
bool IsShown(const CFileItem& item, bool bOnlyDiff)
{
    if (!bOnlyDiff || !IsSame(item)) {
        return true;
    }
    for (const CFileItem* pChild = item.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (IsShown(*pChild, bOnlyDiff)) {
            return true;
        }
    }
    return false;
}

void Count(const CFileItem* pRoot, Summary& summary)
{
    for (const CFileItem* pItem = pRoot->pFirstChild; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        if (pItem->kind == KIND_DIR) {
            summary.nFoldersOneSided += pItem->status == DIR_BOTH ? 0 : 1;
            continue;
        }
        switch (pItem->status) {
        case FILE_SAME:
            ++summary.nSame;
            break;
        case FILE_DIFF:
            ++summary.nDiff;
            break;
        case FILE_LEFT_ONLY:
            ++summary.nLeftOnly;
            break;
        case FILE_RIGHT_ONLY:
            ++summary.nRightOnly;
            break;
        default:
            ++summary.nUnknown;
            break;
        }
    }
}

QString SideText(const CFileItem& item, int nSide)
{
    if (item.strPaths[nSide].IsEmpty()) {
        return QStringLiteral("-");
    }
    if (item.kind == KIND_DIR) {
        return QStringLiteral("folder");
    }
    QString text = item.strSize[nSide].Text() + QStringLiteral("  ") + item.strTime[nSide].Text();
    if (item.strVersion[nSide] == kUnknownVersion) {
        text += QStringLiteral("  (not downloaded)");
    } else if (!item.strVersion[nSide].IsEmpty()) {
        text += QStringLiteral("  v") + item.strVersion[nSide].Text();
    }
    return text;
}

void PrintText(const CFileItem* pFolder, int nDepth, bool bOnlyDiff)
{
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        if (!IsShown(*pItem, bOnlyDiff)) {
            continue;
        }
        const QString strName = QString(nDepth * 2, QLatin1Char(' ')) + pItem->strName
            + (pItem->kind == KIND_DIR ? QStringLiteral("/") : QString());
        PrintLine(
            FormatText("%-8s %-40s %-36s | %s", StatusWord(*pItem), strName, SideText(*pItem, 0), SideText(*pItem, 1)));
        PrintText(pItem, nDepth + 1, bOnlyDiff);
    }
}

QJsonValue SideJson(const CFileItem& item, int nSide)
{
    if (item.strPaths[nSide].IsEmpty()) {
        return QJsonValue::Null;
    }
    // The right side's path is the FTP path the user knows; its copy in the mirror is given beside it.
    const QString strPath = nSide == 1 && !item.strShowPaths[1].IsEmpty() ? JoinPath(item.strShowPaths[1], item.strName)
                                                                          : FullName(item, nSide);
    QJsonObject side { { QStringLiteral("path"), strPath } };
    if (item.kind == KIND_FILE) {
        side.insert(QStringLiteral("size"), item.strSize[nSide].Text());
        side.insert(QStringLiteral("time"), item.strTime[nSide].Text());
        side.insert(QStringLiteral("version"), item.strVersion[nSide].Text());
    }
    if (strPath != FullName(item, nSide)) {
        side.insert(QStringLiteral("localCopy"), FullName(item, nSide));
    }
    if (const char* pListedBy = ListedByText(ListingOf(item)); nSide == SIDE_RIGHT && *pListedBy != '\0') {
        side.insert(QStringLiteral("listedWith"), QLatin1String(pListedBy));
    }
    return side;
}

QJsonArray TreeJson(const CFileItem* pFolder, bool bOnlyDiff)
{
    QJsonArray items;
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        if (!IsShown(*pItem, bOnlyDiff)) {
            continue;
        }
        QJsonObject object {
            { QStringLiteral("name"), pItem->strName },
            { QStringLiteral("kind"), pItem->kind == KIND_DIR ? QStringLiteral("folder") : QStringLiteral("file") },
            { QStringLiteral("status"), StatusWord(*pItem) },
            { QStringLiteral("left"), SideJson(*pItem, 0) },
            { QStringLiteral("right"), SideJson(*pItem, 1) },
        };
        if (const char* pBasis = VerdictBasisText(pItem->nBasis); *pBasis != '\0') {
            object.insert(QStringLiteral("decidedBy"), QLatin1String(pBasis));
        }
        if (const char* pNote = MinuteTimeNote(*pItem); *pNote != '\0') {
            object.insert(QStringLiteral("note"), QLatin1String(pNote));
        }
        if (pItem->kind == KIND_DIR) {
            object.insert(QStringLiteral("children"), TreeJson(pItem, bOnlyDiff));
        }
        items.append(object);
    }
    return items;
}

// Reads the command's arguments; returns an error sentence, or an empty text when they are usable.
QString ParseOptions(const QStringList& arguments, CompareOptions& options, bool& bHelp)
{
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            bHelp = true;
        } else if (argument == QStringLiteral("--only-diff")) {
            options.bOnlyDiff = true;
        } else if (argument == QStringLiteral("--json")) {
            options.bJson = true;
        } else if (argument == QStringLiteral("--threads")) {
            const std::optional<int> nThreads = TakeNumber(arguments, i, 1, 64);
            if (!nThreads) {
                return QStringLiteral("--threads needs a number from 1 to 64.");
            }
            options.nThreads = *nThreads;
        } else if (QString strError = TakeSharedArgument(arguments, i, options.remote, positional);
                   !strError.isEmpty()) {
            return strError;
        }
    }
    if (bHelp) {
        return {};
    }
    if (positional.size() != 2) {
        return QStringLiteral("give two folders: the local folder, and a mirror folder or an FTP URL.");
    }
    options.strLeft = positional[0];
    options.strRight = positional[1];
    return {};
}

} // namespace

int RunCompare(const QStringList& arguments)
{
    CompareOptions options;
    bool bHelp = false;
    const QString strUsageError = ParseOptions(arguments, options, bHelp);
    if (const std::optional<int> nExit = AnswerHelpOrUsage("compare", kCompareUsage, bHelp, strUsageError)) {
        return *nExit;
    }

    CliComparison run;
    if (const QString strError
        = RunCliComparison(options.strLeft, options.strRight, options.remote, options.nThreads, run);
        !strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli compare: ") + strError);
        return kExitError;
    }
    const CFolderComparison& comparison = *run.pComparison;
    const CFileItem* pRoot = comparison.Tree().Root();
    Summary summary;
    Count(pRoot, summary);

    if (options.bJson) {
        const QJsonObject document {
            { QStringLiteral("left"), options.strLeft },
            { QStringLiteral("right"), options.strRight },
            { QStringLiteral("summary"),
                QJsonObject {
                    { QStringLiteral("same"), summary.nSame },
                    { QStringLiteral("diff"), summary.nDiff },
                    { QStringLiteral("leftOnly"), summary.nLeftOnly },
                    { QStringLiteral("rightOnly"), summary.nRightOnly },
                    { QStringLiteral("unknown"), summary.nUnknown },
                    { QStringLiteral("foldersOnOneSide"), summary.nFoldersOneSided },
                    { QStringLiteral("comparedFiles"), comparison.Comparer().ComparedFiles() },
                } },
            { QStringLiteral("items"), TreeJson(pRoot, options.bOnlyDiff) },
        };
        std::fputs(QJsonDocument(document).toJson(QJsonDocument::Indented).constData(), stdout);
    } else {
        PrintLine(FormatText("%-8s %-40s %-36s | %s", "Status", "Name", QStringLiteral("Left: ") + options.strLeft,
            QStringLiteral("Right: ") + options.strRight));
        PrintText(pRoot, 0, options.bOnlyDiff);
        PrintLine(FormatText("%d same, %d different, %d only on the left, %d only on the right, %d undecided; "
                             "%d folders on one side only.",
            summary.nSame, summary.nDiff, summary.nLeftOnly, summary.nRightOnly, summary.nUnknown,
            summary.nFoldersOneSided));
    }
    if (comparison.HasReadErrors()) {
        PrintError(QStringLiteral("quorvel-cli compare: some folders or files could not be read (see above); the "
                                  "comparison is not whole."));
        return kExitError;
    }
    // A folder the server did not list in full is never reported as the same: what was not read may differ.
    if (ReportUnreadRemoteFolders(pRoot) > 0) {
        const SideRead nRootRead = pRoot->nRead[SIDE_RIGHT];
        if (nRootRead == SideRead::ListingPartial || nRootRead == SideRead::ListingFailed) {
            PrintError(QStringLiteral("quorvel-cli compare: the FTP folder itself was not read in full; the "
                                      "comparison is not whole."));
            return kExitError;
        }
        return kExitDifferences;
    }
    return summary.HasDifferences() ? kExitDifferences : kExitOk;
}
