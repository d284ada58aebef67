#pragma once

#include <atomic>
#include <functional>

#include <QPageSize>
#include <QString>

#include "report/Report.h"

class QLocale;
class QPagedPaintDevice;

// Called after each page with the page drawn and the count of pages.
using PageProgress = std::function<void(int nPage, int nPages)>;

// A4, or Letter where the locale measures in inches.
QPageSize PageSizeFor(const QLocale& locale);

// Draws the report on a paged device (a PDF writer or a printer): the header and the counts on the first
// page, then the lines, the running header and column titles repeated on every page, "Page n of m" below.
// False when cancelled.
bool PaintReport(const CReport& report, QPagedPaintDevice& device, const CPaneSettings& colours,
    const PageProgress& progress = {}, const std::atomic<bool>* pCancel = nullptr);

// Writes the report as a PDF file, through a temporary file put in place when whole. 0 when written, -1
// when cancelled, else an error code (a QFileDevice error) with strError saying what failed.
int WriteReportPdf(const CReport& report, const QString& strPath, const CPaneSettings& colours, QString& strError,
    const PageProgress& progress = {}, const std::atomic<bool>* pCancel = nullptr);

// What the user is told when the PDF could not be written: where to look, or that there is no log to look in.
QString PdfFailureMessage(int nCode, bool bLogEnabled, const QString& strLogFile);
