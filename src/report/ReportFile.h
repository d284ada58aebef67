#pragma once

#include <atomic>

#include <QString>

#include "report/ReportPages.h"

enum class ReportFormat
{
    Text,
    Html,
    Pdf
};

// The report in a format as text (a PDF has none: empty).
QString RenderReport(const CReport& report, ReportFormat format, const CPaneSettings& colours);

// Writes the report to strPath in the format, through a file put in place when whole. A PDF's rendition logs
// into a log file of its own while it runs, whatever the log switch says. The error for the user (for a PDF
// with where to look), or empty; bCancelled when pCancel stopped it, and then nothing was written.
QString WriteReportFile(const CReport& report, ReportFormat format, const QString& strPath,
    const CPaneSettings& colours, const PageProgress& progress, const std::atomic<bool>* pCancel, bool& bCancelled);
