#pragma once

#include <memory>

#include <QObject>
#include <QString>

#include "app/PaneSettings.h"
#include "gui/dialogs/ReportDialog.h"
#include "report/Report.h"

class CWaitDialog;
class QPrinter;
class QThread;
class QWidget;

// Writes or prints one report on a worker, behind a wait dialog with the page it is at and Cancel. A PDF's
// rendition logs into a log file of its own while it runs.
class CReportRunner : public QObject
{
    Q_OBJECT

public:
    explicit CReportRunner(QWidget* pWindow);
    ~CReportRunner() override;

    [[nodiscard]] bool IsRunning() const { return m_pThread != nullptr; }
    // Starts the report (a printer's report prints on pPrinter, set up already); false while one runs.
    bool Start(const CReport& report, ReportOutput output, const QString& strPath,
        const std::shared_ptr<QPrinter>& pPrinter, const CPaneSettings& colours);

signals:
    // The report was written or printed, or failed (strError), or was cancelled; the worker has ended.
    void Finished(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled);

private:
    void Ended(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled);

    QWidget* m_pWindow;
    QThread* m_pThread = nullptr;
    CWaitDialog* m_pWait = nullptr;
};
