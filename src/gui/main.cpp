// The desktop program: the main window, opened on a comparison when a local folder and an FTP URL (or a
// second folder) are given, as "quorvel LOCAL ftp://user@host/folder". The password of such a URL comes
// from QUORVEL_PASSWORD; the window asks for anything else.
#include <QApplication>
#include <QTimer>

#include "gui/MainFrame.h"
#include "support/DiagnosticLog.h"

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Tesselon"));
    QApplication::setApplicationName(QStringLiteral("Quorvel"));
    QApplication::setDesktopFileName(QStringLiteral("quorvel"));
    StartDiagnosticLog();

    CMainFrame frame;
    frame.show();
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() >= 3) {
        OpenRequest request;
        request.strLocalFolder = arguments[1];
        request.strRight = arguments[2];
        request.site.strPassword = qEnvironmentVariable("QUORVEL_PASSWORD");
        QTimer::singleShot(0, &frame, [&frame, request] { frame.OpenComparison(request); });
    }
    return QApplication::exec();
}
