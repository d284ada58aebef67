// quorvel-cli rename: many names at once, in a local folder or an FTP folder, by rules given in order.
#include <cstdio>
#include <optional>
#include <set>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include "cli/CliCommands.h"
#include "cli/RemoteSide.h"
#include "ftp/CurlConnection.h"
#include "ftp/FtpSession.h"
#include "ftp/MirrorRoot.h"
#include "rename/RenamePlan.h"
#include "support/LocalRename.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferRoutines.h"
#include "tree/WorkingNames.h"

namespace {

constexpr const char* kRenameUsage
    = R"(Usage: quorvel-cli rename (DIR | ftp://[user@]host[:port]/folder | site:NAME) [--glob PATTERN]
                          RULES... [--dry-run] [--save NAME]

Renames the files of a folder (not its sub-folders) by rules applied in the order given, and prints the plan:
old name, new name, verdict. Nothing is renamed while any new name clashes with another or with a name in
the folder, or is no valid name. A cycle (a -> b, b -> a) goes through a temporary name.

Rules:
  --prefix TEXT            TEXT before the name
  --suffix TEXT            TEXT after the name, before its extension
  --number PATTERN         the name from PATTERN, the extension kept: [N] counts from 1, [N:3] with three
                           digits; [Name], [Base] (no extension), [Ext], [Parent] and [Date] (yyyy-MM-dd)
  --fields DELIM:ORDER     split the name at DELIM and keep the fields in ORDER ("_:3,1,2")
  --replace OLD=NEW        every OLD becomes NEW
  --regex PATTERN=REPL     a regular expression; \1 to \9 in REPL name its groups
  --case lower|upper|title
  --load NAME              the rules saved as NAME (in the desktop program or with --save)

Options:
  --glob PATTERN           only names matching PATTERN ("*.jpg")
  --dry-run                print the plan, rename nothing
  --save NAME              keep the rules given under NAME
FTP options as for quorvel-cli compare (--password-file, --trace ...).

Exit status: 0 when every rename was done (or would be), 1 when some failed, 2 when the plan has a clash or
an invalid name (nothing is renamed then) or on error.
)";

const QString kSavedRules = QStringLiteral("RenameRules");

struct RenameOptions
{
    QString strFolder;
    QString strGlob;
    std::vector<RenameRule> rules;
    bool bDryRun = false;
    QString strSave;
    RemoteOptions remote;
};

QString ParseRenameOptions(const QStringList& arguments, RenameOptions& options, bool& bHelp)
{
    QStringList positional;
    static const QStringList kRuleOptions { QStringLiteral("--prefix"), QStringLiteral("--suffix"),
        QStringLiteral("--number"), QStringLiteral("--fields"), QStringLiteral("--replace"), QStringLiteral("--regex"),
        QStringLiteral("--case") };
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const bool bHasValue = i + 1 < arguments.size();
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            bHelp = true;
        } else if (argument == QStringLiteral("--dry-run")) {
            options.bDryRun = true;
        } else if (kRuleOptions.contains(argument) && bHasValue) {
            QString strError;
            const std::optional<RenameRule> rule = RuleFromOption(argument, arguments[++i], strError);
            if (!rule) {
                return strError;
            }
            options.rules.push_back(*rule);
        } else if (argument == QStringLiteral("--load") && bHasValue) {
            const QString& strName = arguments[++i];
            const std::optional<std::vector<RenameRule>> rules
                = RulesFromText(CSettingsStore().ReadValue(kSavedRules + QLatin1Char('/') + strName).toString());
            if (!rules) {
                return FormatText("there are no rules saved as \"%s\".", strName);
            }
            options.rules.insert(options.rules.end(), rules->begin(), rules->end());
        } else if (argument == QStringLiteral("--glob") && bHasValue) {
            options.strGlob = arguments[++i];
        } else if (argument == QStringLiteral("--save") && bHasValue) {
            options.strSave = arguments[++i];
        } else if (QString strError = TakeSharedArgument(arguments, i, options.remote, positional);
                   !strError.isEmpty()) {
            return strError;
        }
    }
    if (bHelp) {
        return {};
    }
    if (positional.size() != 1) {
        return QStringLiteral("give one folder: a local folder, an FTP URL or site:NAME.");
    }
    if (options.rules.empty()) {
        return QStringLiteral("give at least one rule.");
    }
    options.strFolder = positional.first();
    return {};
}

// The files of a local folder (or of the mirror of an FTP folder) that the glob takes, in name order.
std::vector<RenameSource> FilesOf(const QString& strFolder, const QString& strKey, const QString& strGlob)
{
    const QRegularExpression glob
        = QRegularExpression::fromWildcard(strGlob.isEmpty() ? QStringLiteral("*") : strGlob, Qt::CaseSensitive);
    std::vector<RenameSource> sources;
    const QDir folder(strFolder);
    for (const QFileInfo& entry : folder.entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::Name)) {
        if (IsWorkingName(entry.fileName()) || !glob.match(entry.fileName()).hasMatch()) {
            continue;
        }
        sources.push_back({ strKey, entry.fileName(),
            { static_cast<int>(sources.size()), QFileInfo(strFolder).fileName(), entry.lastModified() } });
    }
    return sources;
}

QStringList NamesIn(const QString& strFolder)
{
    QStringList names
        = QDir(strFolder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    names.removeIf([](const QString& strName) { return strName.contains(QLatin1String("$quorvel")); });
    return names;
}

void PrintPlan(const RenamePlan& plan)
{
    qsizetype nWidth = 8;
    for (const RenameEntry& entry : plan.entries) {
        nWidth = std::max(nWidth, entry.source.strName.size());
    }
    nWidth = std::min<qsizetype>(nWidth, 50);
    for (const RenameEntry& entry : plan.entries) {
        PrintLine(EscapeControlCharacters(entry.source.strName).leftJustified(nWidth) + QStringLiteral("  ->  ")
            + EscapeControlCharacters(entry.strNewName) + QStringLiteral("  [") + VerdictWord(entry.verdict)
            + (entry.strWhy.isEmpty() ? QString() : QStringLiteral(": ") + entry.strWhy) + QLatin1Char(']'));
    }
    PrintLine(FormatText("%d to rename, %d unchanged, %d clashes, %d invalid.",
        plan.Count(RenameVerdict::Fine) + plan.Count(RenameVerdict::ThroughTemporaryName),
        plan.Count(RenameVerdict::Unchanged),
        plan.Count(RenameVerdict::ClashWithNew) + plan.Count(RenameVerdict::ClashWithExisting),
        plan.Count(RenameVerdict::Invalid)));
}

// Runs the steps; a failed step stops the items it leads to, the rest go on. The number that failed.
int RunSteps(const std::vector<RenameStep>& steps, const std::function<QString(const RenameStep&)>& rename)
{
    int nFailed = 0;
    std::set<QString> blocked; // names whose step failed: a step from them cannot run
    for (const RenameStep& step : steps) {
        if (blocked.count(step.strFrom) != 0) {
            blocked.insert(step.strTo);
            ++nFailed;
            continue;
        }
        if (const QString strError = rename(step); !strError.isEmpty()) {
            PrintError(FormatText("quorvel-cli rename: %s -> %s: %s", step.strFrom, step.strTo, strError));
            blocked.insert(step.strTo);
            ++nFailed;
        }
    }
    return nFailed;
}

} // namespace

int RunRename(const QStringList& arguments)
{
    RenameOptions options;
    bool bHelp = false;
    const QString strUsageError = ParseRenameOptions(arguments, options, bHelp);
    if (const std::optional<int> nExit = AnswerHelpOrUsage("rename", kRenameUsage, bHelp, strUsageError)) {
        return *nExit;
    }
    if (!options.strSave.isEmpty()) {
        CSettingsStore store;
        store.WriteValue(kSavedRules + QLatin1Char('/') + options.strSave, RulesToText(options.rules));
        (void)store.Sync();
    }
    const bool bRemote = IsFtpLocation(options.strFolder);
    CRemoteSide remote;
    QString strListed = options.strFolder;
    if (bRemote) {
        if (const QString strError = remote.Mirror(options.strFolder, options.remote); !strError.isEmpty()) {
            PrintError(QStringLiteral("quorvel-cli rename: ") + strError);
            return kExitError;
        }
        strListed = remote.MirrorFolder();
    } else if (!QFileInfo(strListed).isDir()) {
        PrintError(FormatText("quorvel-cli rename: %s is not a folder.", strListed));
        return kExitError;
    }
    const RenamePlan plan = MakeRenamePlan(FilesOf(strListed, strListed, options.strGlob), options.rules,
        [](const QString& strFolder) { return NamesIn(strFolder); });
    PrintPlan(plan);
    if (!plan.CanRun()) {
        PrintError(QStringLiteral("quorvel-cli rename: the plan has clashes or invalid names; nothing was renamed."));
        return kExitError;
    }
    if (options.bDryRun) {
        return kExitOk;
    }
    int nFailed = 0;
    if (!bRemote) {
        nFailed = RunSteps(plan.Steps(), [](const RenameStep& step) {
            return RenameLocalEntry(
                QDir(step.strFolder).filePath(step.strFrom), QDir(step.strFolder).filePath(step.strTo));
        });
    } else {
        std::unique_ptr<CCurlConnection> pConnection = remote.Session().AcquireConnection(nullptr);
        if (!pConnection) {
            PrintError(QStringLiteral("quorvel-cli rename: the FTP connection was lost."));
            return kExitError;
        }
        TransferContext context { *pConnection, remote.Trace(), {}, nullptr, true, {}, {}, -1 };
        const QString strRemote = remote.RemoteFolder();
        nFailed = RunSteps(plan.Steps(), [&](const RenameStep& step) {
            return RenameRemote(context, strRemote, step.strFrom, step.strTo) == TRANSFER_DONE ? QString()
                                                                                               : context.strFailure;
        });
        remote.Session().ReleaseConnection(std::move(pConnection));
        // The mirror's names are the old ones now: the next listing reads the folder again.
        QFile::remove(QDir(strListed).filePath(QString::fromLatin1(kFolderCurrentMarker)));
    }
    if (nFailed > 0) {
        PrintError(FormatText("quorvel-cli rename: %d renames failed; the others were done.", nFailed));
        return kExitDifferences;
    }
    return kExitOk;
}
