#include "gui/ReportRunner.h"

#include <QPointer>
#include <QPrinter>
#include <QThread>

#include "gui/widgets/WaitDialog.h"
#include "report/ReportFile.h"
#include "support/TextFormat.h"

namespace {

// The report's file or printout; the error, or empty. bCancelled when the user stopped it.
QString WriteReport(const CReport& report, ReportOutput output, const QString& strPath, QPrinter* pPrinter,
    const CPaneSettings& colours, const PageProgress& progress, const std::atomic<bool>* pCancel, bool& bCancelled)
{
    if (output == ReportOutput::Printer) {
        bCancelled = !PaintReport(report, *pPrinter, colours, progress, pCancel) && pCancel->load();
        return {};
    }
    const ReportFormat format = output == ReportOutput::Pdf ? ReportFormat::Pdf
        : output == ReportOutput::Html                      ? ReportFormat::Html
                                                            : ReportFormat::Text;
    return WriteReportFile(report, format, strPath, colours, progress, pCancel, bCancelled);
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
    const std::shared_ptr<QPrinter>& pPrinter, const CPaneSettings& colours)
{
    if (m_pThread != nullptr) {
        return false;
    }
    m_pWait = new CWaitDialog(QStringLiteral("Report"), m_pWindow);
    m_pWait->SetText(QStringLiteral("Writing the report..."));
    auto pCancel = std::make_shared<std::atomic<bool>>(false);
    connect(m_pWait, &CWaitDialog::CancelRequested, this, [pCancel] { *pCancel = true; });
    QPointer<CWaitDialog> pWait = m_pWait;
    m_pThread = QThread::create([this, report, output, strPath, pPrinter, colours, pCancel, pWait] {
        const auto progress = [this, pWait](int nPage, int nPages) {
            QMetaObject::invokeMethod(this, [pWait, nPage, nPages] {
                if (pWait) {
                    pWait->SetText(FormatText("Page %d of %d...", nPage, nPages));
                }
            });
        };
        bool bCancelled = false;
        const QString strError
            = WriteReport(report, output, strPath, pPrinter.get(), colours, progress, pCancel.get(), bCancelled);
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
    emit Finished(output, strPath, strError, bCancelled);
}
