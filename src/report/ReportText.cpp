// The report as plain text: the header, the counts, then the lines in aligned columns.
#include "report/Report.h"

#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

constexpr qsizetype kNameWidthLimit = 60;

struct Column
{
    QString strTitle;
    qsizetype nWidth;
    bool bRight; // numbers line up on the right
};

QString Fit(const QString& strText, qsizetype nWidth, bool bRight)
{
    if (strText.size() > nWidth) {
        return strText.left(nWidth - 1) + QChar(0x2026);
    }
    return bRight ? strText.rightJustified(nWidth) : strText.leftJustified(nWidth);
}

void AppendRow(QString& strOut, const std::vector<Column>& columns, const QStringList& cells)
{
    QString strLine;
    for (size_t i = 0; i < columns.size(); ++i) {
        const bool bLast = i + 1 == columns.size();
        strLine += bLast
            ? cells[static_cast<qsizetype>(i)]
            : Fit(cells[static_cast<qsizetype>(i)], columns[i].nWidth, columns[i].bRight) + QStringLiteral("  ");
    }
    while (strLine.endsWith(QLatin1Char(' '))) {
        strLine.chop(1);
    }
    strOut += strLine + QLatin1Char('\n');
}

QStringList RowOf(const ReportCells& cells, bool bVersions)
{
    // A name may hold anything a file system allows, escape sequences included: none reaches a terminal.
    QStringList row { EscapeControlCharacters(cells.strName), cells.size[0], cells.time[0] };
    if (bVersions) {
        row.append(cells.version[0]);
    }
    row << cells.size[1] << cells.time[1];
    if (bVersions) {
        row.append(cells.version[1]);
    }
    row.append(cells.strVerdict);
    return row;
}

} // namespace

QString RenderReportText(const CReport& report)
{
    QString strOut = QStringLiteral("Quorvel comparison report\n\n");
    const auto fields = report.HeaderFields();
    qsizetype nLabel = 0;
    for (const auto& field : fields) {
        nLabel = std::max(nLabel, field.first.size() + 1);
    }
    for (const auto& [strName, strValue] : fields) {
        strOut += QString(strName + QLatin1Char(':')).leftJustified(nLabel + 1) + strValue + QLatin1Char('\n');
    }
    strOut += QLatin1Char('\n');
    const std::vector<Column> countColumns { { QStringLiteral("Status"), 22, false },
        { QStringLiteral("Items"), 10, true }, { QStringLiteral("Bytes"), 20, true } };
    AppendRow(strOut, countColumns, { QStringLiteral("Status"), QStringLiteral("Items"), QStringLiteral("Bytes") });
    for (const CReport::Count& count : report.Counts()) {
        AppendRow(strOut, countColumns,
            { count.strName, QString::number(count.nItems),
                count.nBytes > 0 ? MakeSizeText(static_cast<std::uint64_t>(count.nBytes)) : QString() });
    }

    qsizetype nName = 4;
    for (const ReportSection& section : report.sections) {
        for (const ReportLine& line : section.lines) {
            nName = std::max(nName, report.NameOf(line).size());
            if (nName >= kNameWidthLimit) {
                break;
            }
        }
    }
    nName = std::min(nName, kNameWidthLimit);
    std::vector<Column> columns { { QStringLiteral("Name"), nName, false }, { QStringLiteral("Local size"), 14, true },
        { QStringLiteral("Local time"), 16, false } };
    if (report.bVersions) {
        columns.push_back({ QStringLiteral("Local version"), 14, false });
    }
    columns.push_back({ QStringLiteral("FTP size"), 14, true });
    columns.push_back({ QStringLiteral("FTP time"), 16, false });
    if (report.bVersions) {
        columns.push_back({ QStringLiteral("FTP version"), 14, false });
    }
    columns.push_back({ QStringLiteral("Verdict"), 0, false });
    QStringList titles;
    for (const Column& column : columns) {
        titles.append(column.strTitle);
    }
    for (const ReportSection& section : report.sections) {
        strOut += QLatin1Char('\n');
        if (!section.strTitle.isEmpty()) {
            strOut += FormatText("%s (%lld)\n", section.strTitle, static_cast<long long>(section.lines.size()));
        }
        AppendRow(strOut, columns, titles);
        for (const ReportLine& line : section.lines) {
            AppendRow(strOut, columns, RowOf(report.CellsOf(line), report.bVersions));
        }
    }
    if (!report.jobs.empty()) {
        strOut += QStringLiteral("\nTransfers\n");
        const std::vector<Column> jobColumns { { QStringLiteral("Name"), 30, false },
            { QStringLiteral("Operation"), 10, false }, { QStringLiteral("Status"), 10, false },
            { QStringLiteral("Message"), 0, false } };
        AppendRow(strOut, jobColumns,
            { QStringLiteral("Name"), QStringLiteral("Operation"), QStringLiteral("Status"),
                QStringLiteral("Message") });
        for (const ReportJob& job : report.jobs) {
            AppendRow(strOut, jobColumns,
                { EscapeControlCharacters(job.strName), job.strOperation, job.strStatus,
                    EscapeControlCharacters(job.strMessage) });
        }
    }
    return strOut;
}
