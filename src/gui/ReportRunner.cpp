#include "gui/ReportRunner.h"

#include <QPointer>
#include <QPrinter>
#include <QThread>

#include "gui/widgets/WaitDialog.h"
#include "report/ReportPages.h"
#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/WholeFile.h"

namespace {

// Where a failed PDF's user is sent to look: the log as it was before the rendition took it over.
struct PdfLog
{
    bool bEnabled = false;
    QString strFile;
};

// The report's text, page or printout; the error, or empty. bCancelled when the user stopped it.
QString WriteReport(const CReport& report, ReportOutput output, const QString& strPath, QPrinter* pPrinter,
    const CPaneSettings& colours, const PdfLog& log, const PageProgress& progress, const std::atomic<bool>* pCancel,
    bool& bCancelled)
{
    switch (output) {
    case ReportOutput::Text:
        return WriteWholeFile(strPath, RenderReportText(report).toUtf8());
    case ReportOutput::Html:
        return WriteWholeFile(strPath, RenderReportHtml(report, colours).toUtf8());
    case ReportOutput::Pdf: {
        QString strError;
        const int nCode = WriteReportPdf(report, strPath, colours, strError, progress, pCancel);
        bCancelled = nCode == -1;
        return nCode == 0 || bCancelled ? strError : PdfFailureMessage(nCode, log.bEnabled, log.strFile);
    }
    case ReportOutput::Printer:
        bCancelled = !PaintReport(report, *pPrinter, colours, progress, pCancel) && pCancel->load();
        return {};
    }
    return {};
}

} // namespace

CReportRunner::CReportRunner(QWidget* pWindow)
    : QObject(pWindow)
    , m_pWindow(pWindow)
{ }

CReportRunner::~CReportRunner()
{
    if (m_pThread != nullptr) {
        m_pThread->wait();
        delete m_pThread;
    }
}

bool CReportRunner::Start(const CReport& report, ReportOutput output, const QString& strPath,
    std::shared_ptr<QPrinter> pPrinter, const CPaneSettings& colours)
{
    if (m_pThread != nullptr) {
        return false;
    }
    PdfLog log { IsLogEnabled(), {} };
    if (output == ReportOutput::Pdf) {
        // The rendition's trace lands in a log file of its own, whatever the log switch says.
        RedirectLog(false, QStringLiteral("pdf"));
    }
    log.strFile = LogFilePath();
    m_pWait = new CWaitDialog(QStringLiteral("Report"), m_pWindow);
    m_pWait->SetText(QStringLiteral("Writing the report..."));
    auto pCancel = std::make_shared<std::atomic<bool>>(false);
    connect(m_pWait, &CWaitDialog::CancelRequested, this, [pCancel] { *pCancel = true; });
    QPointer<CWaitDialog> pWait = m_pWait;
    m_pThread = QThread::create([this, report, output, strPath, pPrinter, colours, log, pCancel, pWait] {
        const auto progress = [this, pWait](int nPage, int nPages) {
            QMetaObject::invokeMethod(this, [pWait, nPage, nPages] {
                if (pWait) {
                    pWait->SetText(FormatText("Page %d of %d...", nPage, nPages));
                }
            });
        };
        bool bCancelled = false;
        const QString strError
            = WriteReport(report, output, strPath, pPrinter.get(), colours, log, progress, pCancel.get(), bCancelled);
        QMetaObject::invokeMethod(
            this, [this, output, strPath, strError, bCancelled] { Ended(output, strPath, strError, bCancelled); });
    });
    m_pThread->start();
    m_pWait->show();
    return true;
}

void CReportRunner::Ended(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled)
{
    m_pThread->wait();
    delete m_pThread;
    m_pThread = nullptr;
    delete m_pWait;
    m_pWait = nullptr;
    if (output == ReportOutput::Pdf) {
        RedirectLog(true);
    }
    emit Finished(output, strPath, strError, bCancelled);
}
