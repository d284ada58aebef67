#include "report/ReportPages.h"

#include <QFontMetrics>
#include <QLocale>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>

#include "report/PaneColours.h"
#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/FileTexts.h"

namespace {

// One printed row: a section's title, its column titles, an item, or a transfer.
struct PrintRow
{
    enum Kind : unsigned char
    {
        SectionTitle,
        ColumnTitles,
        Item,
        JobsTitle,
        Job
    } kind;
    int nSection;
    int nIndex;
};

std::vector<PrintRow> RowsOf(const CReport& report)
{
    std::vector<PrintRow> rows;
    rows.reserve(static_cast<size_t>(report.LineCount()) + report.sections.size() * 2 + report.jobs.size() + 2);
    for (size_t nSection = 0; nSection < report.sections.size(); ++nSection) {
        const int nSectionIndex = static_cast<int>(nSection);
        rows.push_back({ PrintRow::SectionTitle, nSectionIndex, 0 });
        rows.push_back({ PrintRow::ColumnTitles, nSectionIndex, 0 });
        for (size_t i = 0; i < report.sections[nSection].lines.size(); ++i) {
            rows.push_back({ PrintRow::Item, nSectionIndex, static_cast<int>(i) });
        }
    }
    if (!report.jobs.empty()) {
        rows.push_back({ PrintRow::JobsTitle, -1, 0 });
        for (size_t i = 0; i < report.jobs.size(); ++i) {
            rows.push_back({ PrintRow::Job, -1, static_cast<int>(i) });
        }
    }
    return rows;
}

class CPagePainter
{
public:
    CPagePainter(const CReport& report, QPagedPaintDevice& device, const CPaneSettings& colours)
        : m_report(report)
        , m_device(device)
        , m_colours(colours)
    { }

    bool Paint(const PageProgress& progress, const std::atomic<bool>* pCancel)
    {
        QPainter painter(&m_device);
        if (!painter.isActive()) {
            return false;
        }
        m_pPainter = &painter;
        m_font = QFont(QStringLiteral("DejaVu Sans"), 8);
        // No ligatures: a name copied or searched in the PDF must read as it was written ("file", not "ﬁle").
        m_font.setStyleStrategy(QFont::PreferNoShaping);
        m_bold = m_font;
        m_bold.setBold(true);
        painter.setFont(m_font);
        const QFontMetrics metrics(m_font, &m_device);
        m_nLine = metrics.height() + metrics.height() / 5;
        m_nWidth = m_device.width();
        m_nHeight = m_device.height();
        const std::vector<PrintRow> rows = RowsOf(m_report);
        const int nHeaderLines = 4 + static_cast<int>(m_report.HeaderFields().size()) + 3 + kStatusClasses;
        const int nPerPage = std::max(5, m_nHeight / m_nLine - 3); // the running header, titles, the footer
        const int nFirst = std::max(0, nPerPage - nHeaderLines);
        const long long nRest = std::max<long long>(0, static_cast<long long>(rows.size()) - nFirst);
        const int nPages = 1 + static_cast<int>((nRest + nPerPage - 1) / nPerPage);
        size_t nRow = 0;
        for (int nPage = 1; nPage <= nPages; ++nPage) {
            if (pCancel != nullptr && pCancel->load()) {
                return false;
            }
            if (nPage > 1 && !m_device.newPage()) {
                return false;
            }
            int y = 0;
            int nCapacity = nPerPage;
            if (nPage == 1) {
                y = PaintFirstPageHeader();
                nCapacity = nFirst;
            } else {
                y = PaintRunningHeader(rows[nRow], y);
            }
            for (int n = 0; n < nCapacity && nRow < rows.size(); ++n, ++nRow) {
                y = PaintRow(rows[nRow], y);
            }
            PaintFooter(nPage, nPages);
            if (progress) {
                progress(nPage, nPages);
            }
        }
        return true;
    }

private:
    // Column edges as parts of the width.
    [[nodiscard]] std::vector<std::pair<int, int>> Columns() const
    {
        const std::vector<int> parts = m_report.bVersions ? std::vector<int> { 26, 8, 11, 7, 8, 11, 7, 22 }
                                                          : std::vector<int> { 32, 9, 13, 9, 13, 24 };
        std::vector<std::pair<int, int>> columns;
        int nLeft = 0;
        for (const int nPart : parts) {
            const int nColumn = m_nWidth * nPart / 100;
            columns.emplace_back(nLeft, nColumn - m_nLine / 3);
            nLeft += nColumn;
        }
        return columns;
    }

    void Cell(const std::pair<int, int>& column, int y, const QString& strText, bool bRight = false)
    {
        const QFontMetrics metrics(m_pPainter->font(), &m_device);
        const QString strShown = metrics.elidedText(EscapeControlCharacters(strText), Qt::ElideMiddle, column.second);
        m_pPainter->drawText(QRect(column.first, y, column.second, m_nLine),
            (bRight ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter | Qt::TextSingleLine, strShown);
    }

    int PaintFirstPageHeader()
    {
        int y = 0;
        QFont title = m_bold;
        title.setPointSize(14);
        m_pPainter->setFont(title);
        m_pPainter->drawText(QRect(0, y, m_nWidth, m_nLine * 2), Qt::AlignLeft | Qt::AlignVCenter,
            QStringLiteral("Quorvel comparison report"));
        y += m_nLine * 3;
        for (const auto& [strName, strValue] : m_report.HeaderFields()) {
            m_pPainter->setFont(m_bold);
            Cell({ 0, m_nWidth / 6 }, y, strName);
            m_pPainter->setFont(m_font);
            Cell({ m_nWidth / 6, m_nWidth * 5 / 6 }, y, strValue);
            y += m_nLine;
        }
        y += m_nLine;
        m_pPainter->setFont(m_bold);
        const std::pair<int, int> name { 0, m_nWidth / 4 };
        const std::pair<int, int> items { m_nWidth / 4, m_nWidth / 10 };
        const std::pair<int, int> bytes { m_nWidth / 4 + m_nWidth / 10, m_nWidth / 6 };
        Cell(name, y, QStringLiteral("Status"));
        Cell(items, y, QStringLiteral("Items"), true);
        Cell(bytes, y, QStringLiteral("Bytes"), true);
        y += m_nLine;
        m_pPainter->setFont(m_font);
        for (const CReport::Count& count : m_report.Counts()) {
            Cell(name, y, count.strName);
            Cell(items, y, QString::number(count.nItems), true);
            Cell(bytes, y, count.nBytes > 0 ? MakeSizeText(static_cast<std::uint64_t>(count.nBytes)) : QString(), true);
            y += m_nLine;
        }
        return y + m_nLine;
    }

    // Each page after the first says what it belongs to and repeats the column titles of its section.
    int PaintRunningHeader(const PrintRow& first, int y)
    {
        m_pPainter->setFont(m_font);
        m_pPainter->setPen(Qt::darkGray);
        Cell({ 0, m_nWidth }, y,
            FormatText("Quorvel comparison report: %s and %s", m_report.header.strLocal, m_report.header.strRemote));
        m_pPainter->setPen(Qt::black);
        y += m_nLine;
        if (first.nSection >= 0 && first.kind == PrintRow::Item) {
            y = PaintRow({ PrintRow::ColumnTitles, first.nSection, 0 }, y);
        }
        return y;
    }

    int PaintRow(const PrintRow& row, int y)
    {
        const std::vector<std::pair<int, int>> columns = Columns();
        switch (row.kind) {
        case PrintRow::SectionTitle: {
            const ReportSection& section = m_report.sections[static_cast<size_t>(row.nSection)];
            m_pPainter->setFont(m_bold);
            Cell({ 0, m_nWidth }, y,
                section.strTitle.isEmpty()
                    ? QStringLiteral("Items")
                    : FormatText("%s (%lld)", section.strTitle, static_cast<long long>(section.lines.size())));
            break;
        }
        case PrintRow::ColumnTitles: {
            m_pPainter->setFont(m_bold);
            QStringList titles { QStringLiteral("Name"), QStringLiteral("Local size"), QStringLiteral("Local time") };
            if (m_report.bVersions) {
                titles.append(QStringLiteral("Local ver."));
            }
            titles << QStringLiteral("FTP size") << QStringLiteral("FTP time");
            if (m_report.bVersions) {
                titles.append(QStringLiteral("FTP ver."));
            }
            titles.append(QStringLiteral("Verdict"));
            for (size_t i = 0; i < columns.size(); ++i) {
                Cell(columns[i], y, titles[static_cast<qsizetype>(i)]);
            }
            m_pPainter->drawLine(0, y + m_nLine - 1, m_nWidth, y + m_nLine - 1);
            break;
        }
        case PrintRow::Item:
            PaintItem(m_report.sections[static_cast<size_t>(row.nSection)].lines[static_cast<size_t>(row.nIndex)],
                columns, y);
            break;
        case PrintRow::JobsTitle:
            m_pPainter->setFont(m_bold);
            Cell({ 0, m_nWidth }, y, QStringLiteral("Transfers"));
            break;
        case PrintRow::Job: {
            const ReportJob& job = m_report.jobs[static_cast<size_t>(row.nIndex)];
            m_pPainter->setFont(m_font);
            Cell({ 0, m_nWidth * 3 / 10 }, y, job.strName);
            Cell({ m_nWidth * 3 / 10, m_nWidth / 10 }, y, job.strOperation);
            Cell({ m_nWidth * 4 / 10, m_nWidth / 10 }, y, job.strStatus);
            Cell({ m_nWidth / 2, m_nWidth / 2 }, y, job.strMessage);
            break;
        }
        }
        m_pPainter->setFont(m_font);
        return y + m_nLine;
    }

    void PaintItem(const ReportLine& line, const std::vector<std::pair<int, int>>& columns, int y)
    {
        const ReportCells cells = m_report.CellsOf(line);
        const SnapshotNode& node = m_report.pSnapshot->Node(line.nNode);
        m_pPainter->setFont(node.nKind == KIND_DIR ? m_bold : m_font);
        m_pPainter->setPen(ColorFromRef(m_colours.ColourOf(node)));
        size_t i = 0;
        Cell(columns[i++], y, cells.strName);
        for (int nSide = 0; nSide < 2; ++nSide) {
            Cell(columns[i++], y, cells.size[static_cast<size_t>(nSide)], true);
            Cell(columns[i++], y, cells.time[static_cast<size_t>(nSide)]);
            if (m_report.bVersions) {
                Cell(columns[i++], y, cells.version[static_cast<size_t>(nSide)]);
            }
        }
        Cell(columns[i], y, cells.strVerdict);
        m_pPainter->setPen(Qt::black);
    }

    void PaintFooter(int nPage, int nPages)
    {
        m_pPainter->setFont(m_font);
        m_pPainter->setPen(Qt::darkGray);
        const int y = m_nHeight - m_nLine;
        Cell({ 0, m_nWidth / 2 }, y, QLocale::system().toString(m_report.header.made, QLocale::ShortFormat));
        Cell({ m_nWidth / 2, m_nWidth / 2 }, y, FormatText("Page %d of %d", nPage, nPages), true);
        m_pPainter->setPen(Qt::black);
    }

    const CReport& m_report;
    QPagedPaintDevice& m_device;
    const CPaneSettings& m_colours;
    QPainter* m_pPainter = nullptr;
    QFont m_font;
    QFont m_bold;
    int m_nLine = 1;
    int m_nWidth = 1;
    int m_nHeight = 1;
};

} // namespace

QPageSize PageSizeFor(const QLocale& locale)
{
    return QPageSize(locale.measurementSystem() == QLocale::ImperialUSSystem ? QPageSize::Letter : QPageSize::A4);
}

bool PaintReport(const CReport& report, QPagedPaintDevice& device, const CPaneSettings& colours,
    const PageProgress& progress, const std::atomic<bool>* pCancel)
{
    return CPagePainter(report, device, colours).Paint(progress, pCancel);
}

int WriteReportPdf(const CReport& report, const QString& strPath, const CPaneSettings& colours, QString& strError,
    const PageProgress& progress, const std::atomic<bool>* pCancel)
{
    Log("WriteReportPdf::[%ld] rendering %lld lines to %s", CurrentThreadId(), report.LineCount(), strPath);
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly)) {
        strError = FormatText("%s cannot be written: %s.", strPath, file.errorString());
        LogError(static_cast<int>(file.error()), "WriteReportPdf::[%ld] %s", CurrentThreadId(), strError);
        return static_cast<int>(file.error());
    }
    bool bPainted = false;
    {
        QPdfWriter writer(&file);
        writer.setTitle(QStringLiteral("Quorvel comparison report"));
        writer.setCreator(QStringLiteral("Quorvel"));
        writer.setResolution(300);
        writer.setPageSize(PageSizeFor(QLocale::system()));
        // Both sides' columns side by side want the page's long edge.
        writer.setPageOrientation(QPageLayout::Landscape);
        writer.setPageMargins(QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter);
        bPainted = PaintReport(report, writer, colours, progress, pCancel);
    }
    if (!bPainted) {
        file.cancelWriting();
        if (pCancel != nullptr && pCancel->load()) {
            Log("WriteReportPdf::[%ld] cancelled; nothing was written", CurrentThreadId());
            return -1;
        }
        strError = FormatText("the pages of %s could not be drawn.", strPath);
        LogError(QFileDevice::WriteError, "WriteReportPdf::[%ld] %s", CurrentThreadId(), strError);
        return QFileDevice::WriteError;
    }
    if (!file.commit()) {
        strError = FormatText("%s cannot be written: %s.", strPath, file.errorString());
        LogError(static_cast<int>(file.error()), "WriteReportPdf::[%ld] %s", CurrentThreadId(), strError);
        return static_cast<int>(file.error());
    }
    Log("WriteReportPdf::[%ld] written", CurrentThreadId());
    return 0;
}

QString PdfFailureMessage(int nCode, bool bLogEnabled, const QString& strLogFile)
{
    return bLogEnabled
        ? FormatText("Rendering to PDF failed with the error code[%d].\nThe logfile %s says more.", nCode, strLogFile)
        : FormatText("Rendering to PDF failed with the error code[%d].\nSince Logging is disabled, the logfile doesn't "
                     "exist.",
            nCode);
}
