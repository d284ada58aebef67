// The main window's reports: File > Report... chooses, a worker writes the file or prints, behind the wait
// dialog with its progress and Cancel.
#include <QMessageBox>
#include <QPointer>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QStatusBar>
#include <QThread>

#include "app/QuorvelView.h"
#include "ftp/FtpSite.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/MainFrame.h"
#include "gui/widgets/WaitDialog.h"
#include "report/ReportPages.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "support/WholeFile.h"
#include "transfer/TransferList.h"

namespace {

// Reports up to this many lines get a print preview.
constexpr long long kPreviewedLines = 3000;

} // namespace

ReportHeader CMainFrame::CurrentReportHeader() const
{
    ReportHeader header;
    const OpenRequest& request = m_pDocument->Request();
    header.strLocal = request.strLocalFolder;
    header.strRemote = request.strRight;
    // The FTP side as its address, never with a password.
    if (const std::optional<FtpUrl> url
        = IsFtpLocation(request.strRight) ? ParseFtpUrl(request.strRight) : std::nullopt) {
        header.strRemote = DisplayUrl(*url, request.site.strUser.isEmpty() ? url->strUser : request.site.strUser);
        header.nCacheKb
            = request.nCacheKb >= 0 ? request.nCacheKb : CSettingsStore().ReadInt("Settings", "CacheDownloadSizeKB");
    }
    header.made = QDateTime::currentDateTime();
    header.nComparedByContents = m_pDocument->View() != nullptr ? m_pDocument->View()->ComparedFiles() : 0;
    return header;
}

void CMainFrame::ShowReportDialog()
{
    if (m_pDocument->View() == nullptr || m_pReportThread != nullptr) {
        return;
    }
    auto* pDialog = new CReportDialog(m_pModel->SharedSnapshot(), CurrentReportHeader(), m_pFilter->Rule(), this);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(pDialog, &QDialog::accepted, this,
        [this, pDialog] { StartReport(pDialog->Options(), pDialog->Output(), pDialog->FilePath()); });
    pDialog->open();
}

void CMainFrame::StartReport(const ReportOptions& options, ReportOutput output, const QString& strPath)
{
    if (m_pReportThread != nullptr) {
        return;
    }
    std::vector<ReportJob> jobs;
    for (const TransferRow& row : m_pDocument->List().Rows()) {
        jobs.push_back({ row.columns[COL_FILENAME], row.columns[COL_OPERATION], row.columns[COL_STATUS],
            row.columns[COL_MESSAGE] });
    }
    // Working the report out is one walk over the snapshot; writing it is the slow part.
    const std::optional<CReport> built
        = BuildReport(m_pModel->SharedSnapshot(), CurrentReportHeader(), options, std::move(jobs));
    if (!built) {
        return;
    }
    std::shared_ptr<QPrinter> pPrinter;
    if (output == ReportOutput::Printer) {
        pPrinter = std::make_shared<QPrinter>(QPrinter::HighResolution);
        pPrinter->setPageOrientation(QPageLayout::Landscape);
        // A report of a few dozen pages is previewed before it prints; drawing a preview holds the window,
        // so a bigger one goes through the print dialog and prints on a worker with progress and Cancel.
        if (built->LineCount() <= kPreviewedLines) {
            QPrintPreviewDialog preview(pPrinter.get(), this);
            const CPaneSettings colours = m_settings;
            connect(&preview, &QPrintPreviewDialog::paintRequested, this,
                [&built, colours](QPrinter* pTarget) { PaintReport(*built, *pTarget, colours); });
            const bool bPrinted = preview.exec() == QDialog::Accepted;
            statusBar()->showMessage(bPrinted ? QStringLiteral("The report was sent to the printer.")
                                              : QStringLiteral("Nothing was printed."),
                10000);
            emit ReportFinished(bPrinted,
                bPrinted ? QStringLiteral("The report was sent to the printer.")
                         : QStringLiteral("Nothing was printed."));
            return;
        }
        QPrintDialog dialog(pPrinter.get(), this);
        if (dialog.exec() != QDialog::Accepted) {
            return;
        }
    }
    const bool bLogEnabled = IsLogEnabled();
    if (output == ReportOutput::Pdf) {
        // The rendition's trace lands in a log file of its own, whatever the log switch says.
        RedirectLog(false, QStringLiteral("pdf"));
    }
    const QString strLogFile = LogFilePath();
    m_pWait = new CWaitDialog(QStringLiteral("Report"), this);
    m_pWait->SetText(QStringLiteral("Writing the report..."));
    auto pCancel = std::make_shared<std::atomic<bool>>(false);
    connect(m_pWait, &CWaitDialog::CancelRequested, this, [pCancel] { *pCancel = true; });
    const CPaneSettings colours = m_settings;
    QPointer<CWaitDialog> pWait = m_pWait;
    m_pReportThread = QThread::create(
        [this, report = *built, output, strPath, pPrinter, colours, pCancel, pWait, bLogEnabled, strLogFile] {
            const auto progress = [this, pWait](int nPage, int nPages) {
                QMetaObject::invokeMethod(this, [pWait, nPage, nPages] {
                    if (pWait) {
                        pWait->SetText(FormatText("Page %d of %d...", nPage, nPages));
                    }
                });
            };
            QString strError;
            bool bCancelled = false;
            switch (output) {
            case ReportOutput::Text:
                strError = WriteWholeFile(strPath, RenderReportText(report).toUtf8());
                break;
            case ReportOutput::Html:
                strError = WriteWholeFile(strPath, RenderReportHtml(report, colours).toUtf8());
                break;
            case ReportOutput::Pdf:
                if (const int nCode = WriteReportPdf(report, strPath, colours, strError, progress, pCancel.get());
                    nCode == -1) {
                    bCancelled = true;
                } else if (nCode != 0) {
                    strError = PdfFailureMessage(nCode, bLogEnabled, strLogFile);
                }
                break;
            case ReportOutput::Printer:
                bCancelled = !PaintReport(report, *pPrinter, colours, progress, pCancel.get()) && pCancel->load();
                break;
            }
            QMetaObject::invokeMethod(this, [this, output, strPath, strError, bCancelled] {
                ReportWritten(output, strPath, strError, bCancelled);
            });
        });
    m_pReportThread->start();
    m_pWait->show();
    UpdateCommands();
}

void CMainFrame::ReportWritten(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled)
{
    m_pReportThread->wait();
    delete m_pReportThread;
    m_pReportThread = nullptr;
    delete m_pWait;
    m_pWait = nullptr;
    if (output == ReportOutput::Pdf) {
        RedirectLog(true);
    }
    const QString strOutcome = bCancelled ? QStringLiteral("The report was cancelled; nothing was written.")
        : !strError.isEmpty()             ? strError
        : output == ReportOutput::Printer ? QStringLiteral("The report was sent to the printer.")
                                          : FormatText("The report was written to %s.", strPath);
    statusBar()->showMessage(strOutcome.section(QLatin1Char('\n'), 0, 0), 10000);
    if (!strError.isEmpty() && !bCancelled) {
        auto* pBox = new QMessageBox(QMessageBox::Warning, QStringLiteral("Report"), strError, QMessageBox::Ok, this);
        pBox->setAttribute(Qt::WA_DeleteOnClose);
        pBox->open();
    }
    UpdateCommands();
    emit ReportFinished(strError.isEmpty() && !bCancelled, strOutcome);
}
