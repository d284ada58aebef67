// Takes the pictures of the window for the documentation: "quorvel-shots OUTDIR LOCAL URL" opens the
// comparison, selects a few differences, puts a running and a failed job in the transfer list, and saves
// the main window and the main dialogs as PNG files in OUTDIR.
#include <cstdio>

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QTimer>
#include <QTreeView>

#include "app/SiteRecords.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "gui/dialogs/ConflictPrompt.h"
#include "gui/dialogs/MultiRenameDialog.h"
#include "gui/dialogs/OpenComparisonDialog.h"
#include "gui/dialogs/PreferencesDialog.h"
#include "gui/dialogs/ReportDialog.h"
#include "gui/dialogs/SiteManagerDialog.h"
#include "gui/dialogs/TimerIntervalDialog.h"
#include "gui/widgets/WaitDialog.h"
#include "report/ReportPages.h"
#include "support/CredentialStore.h"
#include "support/SettingsStore.h"
#include "transfer/TransferList.h"

namespace {

void Save(QWidget& widget, const QString& strPath)
{
    if (widget.grab().save(strPath)) {
        std::printf("%s\n", qPrintable(strPath));
    } else {
        std::fprintf(stderr, "quorvel-shots: could not write %s\n", qPrintable(strPath));
    }
}

void FillTransfers(CTransferListView& list, const QString& strLocal, const QString& strRemote)
{
    TransferJob backup;
    backup.strName = QStringLiteral("backup.zip");
    backup.strLocalPath = strLocal + QStringLiteral("/backup.zip");
    backup.strRemoteFolder = strRemote;
    const int nRunning = list.AddJob(backup, JobPurpose::Transfer, 4'200'000);
    list.SetRunning(nRunning);
    list.AdvanceProgress(nRunning, 2'700'000);
    TransferJob denied = backup;
    denied.operation = TransferOperation::Download;
    denied.strName = QStringLiteral("private.txt");
    denied.strLocalPath = strLocal + QStringLiteral("/private.txt");
    const int nFailed = list.AddJob(denied, JobPurpose::Transfer, 1200);
    list.FinishJob(nFailed, JobState::Failed, QStringLiteral("Failed to download file. 550 Permission denied"), true);
}

// The demo comparison as a saved site, so that the site manager shows something real.
void SaveDemoSite(const OpenRequest& request, ICredentialStore& secrets)
{
    QString strError;
    std::optional<SiteRecord> record = SiteFromUrl(QStringLiteral("Demo site"), request.strRight, strError);
    if (!record) {
        return;
    }
    record->strLocalFolder = request.strLocalFolder;
    CSettingsStore store;
    CSiteStore(store).Write(*record);
    CSiteStore(store).Write(SiteRecord { QStringLiteral("Shop (staging)"), QStringLiteral("staging.shop.example"), 21,
        true, QStringLiteral("deploy"), false, QStringLiteral("/htdocs"), 3, 10, 100, {}, SiteSecurity::ExplicitTls, {},
        {} });
    (void)store.Sync();
    (void)secrets.Write(SitePasswordKey(record->strName), request.site.strPassword, strError);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 4) {
        std::fprintf(stderr, "usage: quorvel-shots OUTDIR LOCAL URL\n");
        return 2;
    }
    const QDir out(arguments[1]);
    QDir().mkpath(out.path());
    CMainFrame frame;
    frame.resize(1400, 860);
    frame.show();
    OpenRequest request;
    request.strLocalFolder = arguments[2];
    request.strRight = arguments[3];
    request.site.strPassword = qEnvironmentVariable("QUORVEL_PASSWORD");
    int nStatus = 0;
    QObject::connect(&frame, &CMainFrame::ComparisonShown, &frame, [&](bool bOk) {
        if (!bOk) {
            std::fprintf(stderr, "quorvel-shots: the comparison could not be opened\n");
            nStatus = 1;
        }
        frame.Panes().ExpandAll();
        frame.Panes().GoToDifference(true, true);
        frame.Panes().GoToDifference(true, true);
        FillTransfers(frame.Document().List(), request.strLocalFolder, QStringLiteral("/www"));
        QTimer::singleShot(700, &frame, [&] {
            Save(frame, out.filePath(QStringLiteral("main-window.png")));
            COpenComparisonDialog open(&frame);
            open.SetRequest(request);
            open.show();
            Save(open, out.filePath(QStringLiteral("open-comparison.png")));
            CTimerIntervalDialog timer(60, &frame);
            timer.show();
            Save(timer, out.filePath(QStringLiteral("timer-interval.png")));
            const std::unique_ptr<QMessageBox> pConflict
                = CConflictPrompt::MakeBox(QStringLiteral("/www/index.html"), SIDE_RIGHT, &frame);
            pConflict->show();
            Save(*pConflict, out.filePath(QStringLiteral("replace-question.png")));
            CMemoryCredentialStore secrets;
            SaveDemoSite(request, secrets);
            CSiteManagerDialog sites(secrets, &frame);
            sites.SelectSite(QStringLiteral("Demo site"));
            sites.show();
            Save(sites, out.filePath(QStringLiteral("site-manager.png")));
            CPreferencesDialog preferences(&frame);
            preferences.show();
            Save(preferences, out.filePath(QStringLiteral("preferences.png")));
            CReportDialog reportDialog(frame.Model().SharedSnapshot(),
                ReportHeader { request.strLocalFolder, QStringLiteral("ftp://demo@127.0.0.1/www"),
                    QDateTime::currentDateTime(), 256, 0 },
                {}, &frame);
            reportDialog.show();
            Save(reportDialog, out.filePath(QStringLiteral("report-dialog.png")));
            // A page of the PDF report; the script turns it into a picture.
            ReportOptions byStatus;
            byStatus.layout = ReportLayout::ByStatus;
            if (const std::optional<CReport> report = BuildReport(frame.Model().SharedSnapshot(),
                    ReportHeader { request.strLocalFolder, QStringLiteral("ftp://demo@127.0.0.1/www"),
                        QDateTime::currentDateTime(), 256, 0 },
                    byStatus)) {
                QString strError;
                CSettingsStore colours;
                if (WriteReportPdf(
                        *report, out.filePath(QStringLiteral("report.pdf")), CPaneSettings::Read(colours), strError)
                    == 0) {
                    std::printf("%s\n", qPrintable(out.filePath(QStringLiteral("report.pdf"))));
                }
            }
            std::vector<RenameSource> photos;
            for (const char* pName :
                { "IMG_0412.JPG", "IMG_0413.JPG", "IMG_0414.JPG", "holiday map.png", "photo-002.jpg" }) {
                photos.push_back({ QStringLiteral("/www/img"), QLatin1String(pName),
                    { static_cast<int>(photos.size()), QStringLiteral("img"), {} } });
            }
            CMultiRenameDialog renamer(
                photos,
                [](const QString&) {
                    return QStringList { QStringLiteral("photo-005.jpg"), QStringLiteral("logo.png") };
                },
                false, &frame);
            QString strRuleError;
            renamer.SetRules({ *RuleFromOption(QStringLiteral("--case"), QStringLiteral("lower"), strRuleError),
                *RuleFromOption(QStringLiteral("--number"), QStringLiteral("photo-[N:3]"), strRuleError) });
            renamer.show();
            Save(renamer, out.filePath(QStringLiteral("multi-rename.png")));
            CWaitDialog wait(QStringLiteral("Opening the comparison"), &frame);
            wait.SetText(QStringLiteral("Scanning /www/img..."));
            wait.show();
            Save(wait, out.filePath(QStringLiteral("wait-dialog.png")));
            // The running job is a picture only: quit without asking.
            frame.SetQuitQuestion([](const QString&) { return true; });
            frame.close();
            QApplication::exit(nStatus);
        });
    });
    frame.OpenComparison(request);
    return QApplication::exec();
}
