// quorvel-cli report: the comparison as a text, HTML or PDF report.
#include <cstdio>
#include <optional>

#include "app/TreeSnapshot.h"
#include "cli/CliCommands.h"
#include "cli/Interrupt.h"
#include "cli/RemoteSide.h"
#include "ftp/FtpSession.h"
#include "report/Report.h"
#include "report/ReportFile.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "tree/FolderComparison.h"

namespace {

constexpr const char* kReportUsage
    = R"(Usage: quorvel-cli report [OPTIONS] LOCAL (DIR | ftp://[user@]host[:port]/folder | site:NAME)

Compares LOCAL with the folder or FTP folder as quorvel-cli compare does and writes a report of it: a
header with both folders, the time, the method and the counts and bytes per status, then the items.

Options:
  --layout L        summary (the header and counts), side-by-side (every item with both sides, indented by
                    folder; the default) or status (items grouped by status)
  --only-diff       leave out what is the same
  --name PATTERN    only names matching PATTERN ("*.html", or a part of a name)
  --format F        text (the default), html (one self-contained file) or pdf (paged; needs -o)
  -o FILE           write the report to FILE (text and html go to standard output without it)
  -h, --help        show this help
FTP options as for quorvel-cli compare (--cache-kb, --refresh-all, --trace, --password-file ...).

Exit status: 0 when the report was written, 2 on error.
)";

struct ReportCliOptions
{
    QString strLeft;
    QString strRight;
    ReportLayout layout = ReportLayout::SideBySide;
    bool bOnlyDiff = false;
    QString strName;
    QString strFormat = QStringLiteral("text");
    QString strOutput;
    RemoteOptions remote;
};

QString ParseReportOptions(const QStringList& arguments, ReportCliOptions& options, bool& bHelp)
{
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const auto value = [&]() -> std::optional<QString> {
            return i + 1 < arguments.size() ? std::optional<QString>(arguments[++i]) : std::nullopt;
        };
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            bHelp = true;
        } else if (argument == QStringLiteral("--only-diff")) {
            options.bOnlyDiff = true;
        } else if (argument == QStringLiteral("--layout")) {
            const std::optional<QString> layout = value();
            if (layout == QStringLiteral("summary")) {
                options.layout = ReportLayout::Summary;
            } else if (layout == QStringLiteral("side-by-side")) {
                options.layout = ReportLayout::SideBySide;
            } else if (layout == QStringLiteral("status")) {
                options.layout = ReportLayout::ByStatus;
            } else {
                return QStringLiteral("--layout is summary, side-by-side or status.");
            }
        } else if (argument == QStringLiteral("--format")) {
            options.strFormat = value().value_or(QString());
            if (options.strFormat != QLatin1String("text") && options.strFormat != QLatin1String("html")
                && options.strFormat != QLatin1String("pdf")) {
                return QStringLiteral("--format is text, html or pdf.");
            }
        } else if (argument == QStringLiteral("-o")) {
            options.strOutput = value().value_or(QString());
            if (options.strOutput.isEmpty()) {
                return QStringLiteral("-o needs a file.");
            }
        } else if (argument == QStringLiteral("--name")) {
            options.strName = value().value_or(QString());
        } else if (QString strError = TakeSharedArgument(arguments, i, options.remote, positional);
                   !strError.isEmpty()) {
            return strError;
        }
    }
    if (bHelp) {
        return {};
    }
    if (positional.size() != 2) {
        return QStringLiteral("give the local folder, and a folder, an FTP URL or site:NAME.");
    }
    if (options.strFormat == QLatin1String("pdf") && options.strOutput.isEmpty()) {
        return QStringLiteral("a PDF report needs a file: give -o FILE.");
    }
    options.strLeft = positional[0];
    options.strRight = positional[1];
    return {};
}

ReportFormat FormatOf(const QString& strFormat)
{
    return strFormat == QLatin1String("pdf") ? ReportFormat::Pdf
        : strFormat == QLatin1String("html") ? ReportFormat::Html
                                             : ReportFormat::Text;
}

} // namespace

int RunReport(const QStringList& arguments)
{
    ReportCliOptions options;
    bool bHelp = false;
    const QString strUsageError = ParseReportOptions(arguments, options, bHelp);
    if (const std::optional<int> nExit = AnswerHelpOrUsage("report", kReportUsage, bHelp, strUsageError)) {
        return *nExit;
    }
    CliComparison run;
    if (const QString strError
        = RunCliComparison(options.strLeft, options.strRight, options.remote, DefaultComparisonThreads(), run);
        !strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli report: ") + strError);
        return kExitError;
    }
    const CFolderComparison& comparison = *run.pComparison;
    ReportHeader header;
    header.strLocal = options.strLeft;
    header.strRemote = options.strRight;
    if (run.remote) {
        header.strRemote = run.remote->DisplayUrl();
        header.nCacheKb = options.remote.nCacheKb >= 0 ? options.remote.nCacheKb
                                                       : run.remote->Session().CacheDownloadLimit() / 1024;
    }
    header.made = QDateTime::currentDateTime();
    header.nComparedByContents = comparison.Comparer().ComparedFiles();
    ReportOptions reportOptions;
    reportOptions.layout = options.layout;
    reportOptions.rule.SetOnlyDifferences(options.bOnlyDiff);
    reportOptions.rule.SetNameFilter(options.strName);
    const std::optional<CReport> report
        = BuildReport(CTreeSnapshot::Take(comparison.Tree().Root()), header, reportOptions, {}, &InterruptFlag());
    if (!report) {
        PrintError(QStringLiteral("quorvel-cli report: cancelled; nothing was written."));
        return kExitError;
    }
    CSettingsStore store;
    const CPaneSettings colours = CPaneSettings::Read(store);
    if (options.strOutput.isEmpty()) {
        std::fputs(RenderReport(*report, FormatOf(options.strFormat), colours).toLocal8Bit().constData(), stdout);
        return kExitOk;
    }
    bool bCancelled = false;
    const QString strError = WriteReportFile(
        *report, FormatOf(options.strFormat), options.strOutput, colours, {}, &InterruptFlag(), bCancelled);
    if (bCancelled) {
        PrintError(QStringLiteral("quorvel-cli report: cancelled; nothing was written."));
        return kExitError;
    }
    if (!strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli report: ") + strError);
        return kExitError;
    }
    return kExitOk;
}
