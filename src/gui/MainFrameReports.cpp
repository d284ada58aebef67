// The main window's reports: File > Report... chooses, a small one is previewed before it prints, and the
// report runner writes the file or prints on a worker.
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QStatusBar>

#include "app/QuorvelView.h"
#include "ftp/FtpSite.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/MainFrame.h"
#include "gui/ReportRunner.h"
#include "report/ReportPages.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
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
    if (m_pDocument->View() == nullptr || m_pReports->IsRunning()) {
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
    if (m_pReports->IsRunning()) {
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
    m_pReports->Start(*built, output, strPath, pPrinter, m_settings);
    UpdateCommands();
}

void CMainFrame::ReportWritten(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled)
{
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
