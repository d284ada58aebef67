#include <cstdio>
#include <functional>
#include <map>

#include <QCoreApplication>

#include "cli/CliCommands.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"
#include "support/Version.h"

namespace {

constexpr const char* kUsage = R"(Usage: quorvel-cli [GLOBAL OPTIONS] COMMAND [ARGUMENTS]

Compares a local folder with a folder on an FTP server and keeps the two in step.

Commands:
  sysinfo            write a diagnostic log with the system-information block and print where it is
  settings           list every setting with its current value, marking those left at their default

Global options:
  --settings DIR     keep the settings profile in DIR/Quorvel.ini instead of the user's own profile
  --log              write a diagnostic log for this run, whatever "LogEnabled" says, and print its path
  -h, --help         show this help
  --version          show the program's version

Exit status: 0 success, 1 differences found (comparing commands), 2 error.
)";

using CommandFunction = std::function<int(const QStringList&)>;

int Fail(const char* message)
{
    std::fprintf(stderr, "quorvel-cli: %s\n", message);
    return kExitError;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORVEL_VERSION));

    const std::map<QString, CommandFunction> commands {
        { QStringLiteral("sysinfo"), RunSysinfo },
        { QStringLiteral("settings"), RunSettings },
    };

    QStringList arguments = QCoreApplication::arguments().mid(1);
    bool bLog = false;
    while (!arguments.isEmpty() && arguments.first().startsWith(QLatin1Char('-'))) {
        const QString option = arguments.takeFirst();
        if (option == QStringLiteral("-h") || option == QStringLiteral("--help")) {
            std::fputs(kUsage, stdout);
            return kExitOk;
        }
        if (option == QStringLiteral("--version")) {
            std::printf("quorvel-cli %s\n", QUORVEL_VERSION);
            return kExitOk;
        }
        if (option == QStringLiteral("--log")) {
            bLog = true;
        } else if (option == QStringLiteral("--settings")) {
            if (arguments.isEmpty()) {
                return Fail("--settings needs a folder; see quorvel-cli --help.");
            }
            CSettingsStore::SetProfileFolder(arguments.takeFirst());
        } else {
            std::fprintf(stderr, "quorvel-cli: unknown option \"%s\"; see quorvel-cli --help.\n",
                option.toLocal8Bit().constData());
            return kExitError;
        }
    }
    if (arguments.isEmpty()) {
        std::fputs(kUsage, stderr);
        return kExitError;
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
