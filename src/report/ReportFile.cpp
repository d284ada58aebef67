#include "report/ReportFile.h"

#include "support/DiagnosticLog.h"
#include "support/WholeFile.h"

QString RenderReport(const CReport& report, ReportFormat format, const CPaneSettings& colours)
{
    switch (format) {
    case ReportFormat::Text:
        return RenderReportText(report);
    case ReportFormat::Html:
        return RenderReportHtml(report, colours);
    case ReportFormat::Pdf:
        break;
    }
    return {};
}

QString WriteReportFile(const CReport& report, ReportFormat format, const QString& strPath,
    const CPaneSettings& colours, const PageProgress& progress, const std::atomic<bool>* pCancel, bool& bCancelled)
{
    bCancelled = false;
    if (format != ReportFormat::Pdf) {
        return WriteWholeFile(strPath, RenderReport(report, format, colours).toUtf8());
    }
    // Where the user is sent to look: the log as the switch had it, or the rendition's own.
    const bool bLogEnabled = IsLogEnabled();
    RedirectLog(false, QStringLiteral("pdf"));
    const QString strLogFile = LogFilePath();
    QString strError;
    const int nCode = WriteReportPdf(report, strPath, colours, strError, progress, pCancel);
    RedirectLog(true);
    bCancelled = nCode == -1;
    if (nCode == 0 || bCancelled) {
        return {};
    }
    const QString strWhere = PdfFailureMessage(nCode, bLogEnabled, strLogFile);
    return strError.isEmpty() ? strWhere : strError + QLatin1Char('\n') + strWhere;
}
