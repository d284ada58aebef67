#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>

#include <QGuiApplication>

#include "cli/CliCommands.h"
#include "cli/SavedSites.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"
#include "support/Version.h"

namespace {

constexpr const char* kUsage = R"(Usage: quorvel-cli [GLOBAL OPTIONS] COMMAND [ARGUMENTS]

Compares a local folder with a folder on an FTP server and keeps the two in step.

Commands:
  compare LEFT RIGHT   compare the folder LEFT (your files) with the folder RIGHT (a mirror folder) and
                       print the merged tree; see quorvel-cli compare --help
  raw URL COMMAND...   open an FTP site, send each command and print the replies; see quorvel-cli raw --help
  sync LOCAL URL --upload|--download
                       bring the FTP folder in step with LOCAL, or the reverse; see quorvel-cli sync --help
  sysinfo              write a diagnostic log with the system-information block and print where it is
  settings             list every setting with its current value, marking those left at their default
  sites                list, add and remove saved sites; see quorvel-cli sites --help
  report LOCAL RIGHT   the comparison as a text, HTML or PDF report; see quorvel-cli report --help
  rename FOLDER RULES  rename many files at once by rules, with a plan first; see quorvel-cli rename --help

Wherever a command takes an FTP URL, site:NAME names a saved site (the password from the system's secret
store when it keeps one).

Global options (anywhere on the line):
  --settings DIR       keep the settings profile in DIR/Quorvel.ini instead of your own profile
  --log                write a diagnostic log for this run, whatever "LogEnabled" says, and print its path
  -h, --help           show this help
  --version            show the program's version

Exit status: 0 success (compare: everything is the same), 1 differences found or a command refused,
2 error.
)";

using CommandFunction = std::function<int(const QStringList&)>;

} // namespace

int main(int argc, char* argv[])
{
    // A report draws PDF pages, which needs the GUI library's fonts, though never a display.
    const bool bDrawing
        = std::any_of(argv + 1, argv + argc, [](const char* pArgument) { return qstrcmp(pArgument, "report") == 0; });
    if (bDrawing) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        // Off screen, the platform's notes on its run-time folder concern nobody.
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& strMessage) {
            if (!strMessage.startsWith(QLatin1String("QStandardPaths: "))) {
                std::fprintf(stderr, "%s\n", qPrintable(strMessage));
            }
            if (type == QtFatalMsg) {
                std::abort();
            }
        });
    }
    const std::unique_ptr<QCoreApplication> pApplication
        = bDrawing ? std::make_unique<QGuiApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORVEL_VERSION));

    const std::map<QString, CommandFunction> commands {
        { QStringLiteral("compare"), RunCompare },
        { QStringLiteral("raw"), RunRaw },
        { QStringLiteral("sync"), RunSync },
        { QStringLiteral("sysinfo"), RunSysinfo },
        { QStringLiteral("settings"), RunSettings },
        { QStringLiteral("sites"), RunSites },
        { QStringLiteral("report"), RunReport },
        { QStringLiteral("rename"), RunRename },
    };

    const QStringList allArguments = QCoreApplication::arguments().mid(1);
    QStringList arguments;
    bool bLog = false;
    for (qsizetype i = 0; i < allArguments.size(); ++i) {
        const QString& argument = allArguments[i];
        if (argument == QStringLiteral("--log")) {
            bLog = true;
        } else if (argument == QStringLiteral("--settings")) {
            if (i + 1 >= allArguments.size()) {
                std::fputs("quorvel-cli: --settings needs a folder; see quorvel-cli --help.\n", stderr);
                return kExitError;
            }
            CSettingsStore::SetProfileFolder(allArguments[++i]);
        } else if (argument == QStringLiteral("--version")) {
            std::printf("quorvel-cli %s\n", QUORVEL_VERSION);
            return kExitOk;
        } else {
            arguments.append(argument);
        }
    }
    if (arguments.isEmpty() || arguments.first() == QStringLiteral("-h")
        || arguments.first() == QStringLiteral("--help")) {
        std::fputs(kUsage, arguments.isEmpty() ? stderr : stdout);
        return arguments.isEmpty() ? kExitError : kExitOk;
    }
    const QString commandName = arguments.takeFirst();
    const auto command = commands.find(commandName);
    if (command == commands.end()) {
        std::fprintf(stderr, "quorvel-cli: unknown command \"%s\"; see quorvel-cli --help.\n",
            commandName.toLocal8Bit().constData());
        return kExitError;
    }

    const CSettingsStore store;
    LoadLogSwitches(store);
    if (bLog) {
        SetLogEnabled(true);
    }
    const QString strLogPath = StartDiagnosticLog();
    Log("main::[%ld] quorvel-cli %s %s", CurrentThreadId(), QStringLiteral(QUORVEL_VERSION), commandName);
    const int nExit = command->second(arguments);
    if (bLog) {
        std::fprintf(stderr, "Diagnostic log: %s\n", strLogPath.toLocal8Bit().constData());
    }
    return nExit;
}
