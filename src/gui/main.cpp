// The desktop program. Its command line takes the licence options only: "--licence FILE" installs a licence
// file, "--licence-info" says what is installed and whether it holds. Comparisons are opened from the window.
#include <cstdio>

#include <QApplication>
#include <QCoreApplication>
#include <QDate>

#include "gui/MainFrame.h"
#include "support/DiagnosticLog.h"
#include "support/Licence.h"

namespace {

constexpr const char* kUsage = R"(Usage: quorvel [--licence FILE | --licence-info]

Compares a local folder with a folder on an FTP server and keeps the two in step. Open a comparison from
the window (File > Open Comparison, or File > Site Manager); quorvel-cli does the same from a terminal.

  --licence FILE    check the licence file and install it
  --licence-info    show the installed licence and whether it holds
)";

int LicenceOption(const QStringList& arguments)
{
    if (arguments.size() == 2 && arguments[1] == QStringLiteral("--licence-info")) {
        const LicenceState state = CheckLicence(DefaultLicencePlugin(), InstalledLicencePath(), QDate::currentDate());
        std::printf("%s: %s\n", state.bRegistered ? "Registered" : "Evaluation use", qPrintable(state.strSummary));
        return state.bRegistered ? 0 : 1;
    }
    if (arguments.size() == 3 && arguments[1] == QStringLiteral("--licence")) {
        const LicenceState state = InstallLicence(DefaultLicencePlugin(), arguments[2], InstalledLicencePath());
        std::printf("%s\n",
            qPrintable(state.bRegistered
                    ? QStringLiteral("Installed in %1: %2").arg(InstalledLicencePath(), state.strSummary)
                    : QStringLiteral("The licence was %1.").arg(state.strSummary)));
        return state.bRegistered ? 0 : 1;
    }
    std::fputs(kUsage, stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication::setOrganizationName(QStringLiteral("Tesselon"));
    QCoreApplication::setApplicationName(QStringLiteral("Quorvel"));
    if (argc > 1) {
        // The options need no window, and so no display.
        const QCoreApplication core(argc, argv);
        return LicenceOption(QCoreApplication::arguments());
    }
    QApplication app(argc, argv);
    QApplication::setDesktopFileName(QStringLiteral("quorvel"));
    StartDiagnosticLog();

    CMainFrame frame;
    frame.StartLicenceChecks(
        [] { return CheckLicence(DefaultLicencePlugin(), InstalledLicencePath(), QDate::currentDate()); });
    frame.show();
    return QApplication::exec();
}
