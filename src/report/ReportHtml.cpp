// The report as one self-contained HTML file: no script, no external style sheet or image. Every row also
// says its status in words, so the colours are a help and never the only sign.
#include "report/Report.h"

#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

QString Escaped(const QString& strText)
{
    return EscapeControlCharacters(strText).toHtmlEscaped();
}

QString CssColour(ColorRef color)
{
    return QStringLiteral("#%1%2%3")
        .arg(color & 0xFF, 2, 16, QLatin1Char('0'))
        .arg((color >> 8) & 0xFF, 2, 16, QLatin1Char('0'))
        .arg((color >> 16) & 0xFF, 2, 16, QLatin1Char('0'));
}

const char* CssClass(StatusClass nClass)
{
    switch (nClass) {
    case CLASS_SAME:
        return "same";
    case CLASS_DIFF:
        return "diff";
    case CLASS_LEFT_ONLY:
        return "left";
    case CLASS_RIGHT_ONLY:
        return "right";
    case CLASS_UNKNOWN:
        return "unknown";
    case CLASS_FOLDER_ONE_SIDE:
        return "onefolder";
    default:
        return "folder";
    }
}

} // namespace

QString RenderReportHtml(const CReport& report, const CPaneSettings& colours)
{
    QString strOut;
    strOut.reserve(static_cast<qsizetype>(report.LineCount()) * 300 + 4096);
    strOut += QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                             "<title>Quorvel comparison report</title>\n<style>\n"
                             "body{font-family:sans-serif;font-size:13px;margin:2em}\n"
                             "table{border-collapse:collapse}\n"
                             "th,td{padding:2px 8px;text-align:left;vertical-align:top}\n"
                             "th{border-bottom:1px solid #888}\n"
                             "td.n{text-align:right;white-space:nowrap}\n"
                             "tr.folder td:first-child,tr.onefolder td:first-child{font-weight:bold}\n"
                             "td.name{white-space:pre}\n");
    strOut
        += FormatText(".same{color:%s}\n.diff{color:%s}\n.left,.onefolder.l{color:%s}\n.right,.onefolder.r{color:%s}\n"
                      ".unknown{color:%s}\n",
            CssColour(colours.colorSame), CssColour(colours.colorDiff), CssColour(colours.colorLeftOnly),
            CssColour(colours.colorRightOnly), CssColour(colours.colorUnknown));
    strOut += QStringLiteral("</style></head><body>\n<h1>Quorvel comparison report</h1>\n<table class=\"header\">\n");
    for (const auto& [strName, strValue] : report.HeaderFields()) {
        strOut += QStringLiteral("<tr><th scope=\"row\">") + Escaped(strName) + QStringLiteral("</th><td>")
            + Escaped(strValue) + QStringLiteral("</td></tr>\n");
    }
    strOut += QStringLiteral("</table>\n<h2>Counts</h2>\n<table class=\"counts\">\n"
                             "<tr><th>Status</th><th>Items</th><th>Bytes</th></tr>\n");
    for (const CReport::Count& count : report.Counts()) {
        strOut += QStringLiteral("<tr><td>") + Escaped(count.strName) + QStringLiteral("</td><td class=\"n\">")
            + QString::number(count.nItems) + QStringLiteral("</td><td class=\"n\">")
            + (count.nBytes > 0 ? MakeSizeText(static_cast<std::uint64_t>(count.nBytes)) : QString())
            + QStringLiteral("</td></tr>\n");
    }
    strOut += QStringLiteral("</table>\n");
    QString strHead = QStringLiteral("<tr><th>Name</th><th>Local size</th><th>Local time</th>");
    if (report.bVersions) {
        strHead += QStringLiteral("<th>Local version</th>");
    }
    strHead += QStringLiteral("<th>FTP size</th><th>FTP time</th>");
    if (report.bVersions) {
        strHead += QStringLiteral("<th>FTP version</th>");
    }
    strHead += QStringLiteral("<th>Verdict</th></tr>\n");
    for (const ReportSection& section : report.sections) {
        strOut += section.strTitle.isEmpty() ? QStringLiteral("<h2>Items</h2>\n")
                                             : FormatText("<h2>%s (%lld)</h2>\n", Escaped(section.strTitle),
                                                 static_cast<long long>(section.lines.size()));
        strOut += QStringLiteral("<table class=\"items\">\n") + strHead;
        for (const ReportLine& line : section.lines) {
            const ReportCells cells = report.CellsOf(line);
            const SnapshotNode& node = report.pSnapshot->Node(line.nNode);
            // A folder on both sides takes the colour of what lies below it, as in the panes.
            const StatusClass nColour
                = cells.nClass == CLASS_FOLDER_BOTH ? (node.DiffersBelow() ? CLASS_DIFF : CLASS_SAME) : cells.nClass;
            strOut += QStringLiteral("<tr class=\"") + QLatin1String(CssClass(nColour))
                + (cells.nClass == CLASS_FOLDER_BOTH ? QStringLiteral(" folder") : QString())
                + (cells.nClass == CLASS_FOLDER_ONE_SIDE
                        ? (node.IsOn(SIDE_LEFT) ? QStringLiteral(" l") : QStringLiteral(" r"))
                        : QString())
                + QStringLiteral("\"><td class=\"name\">") + Escaped(cells.strName)
                + QStringLiteral("</td><td class=\"n\">") + cells.size[0] + QStringLiteral("</td><td>") + cells.time[0]
                + QStringLiteral("</td>");
            if (report.bVersions) {
                strOut += QStringLiteral("<td>") + Escaped(cells.version[0]) + QStringLiteral("</td>");
            }
            strOut += QStringLiteral("<td class=\"n\">") + cells.size[1] + QStringLiteral("</td><td>") + cells.time[1]
                + QStringLiteral("</td>");
            if (report.bVersions) {
                strOut += QStringLiteral("<td>") + Escaped(cells.version[1]) + QStringLiteral("</td>");
            }
            strOut += QStringLiteral("<td>") + Escaped(cells.strVerdict) + QStringLiteral("</td></tr>\n");
        }
        strOut += QStringLiteral("</table>\n");
    }
    if (!report.jobs.empty()) {
        strOut += QStringLiteral("<h2>Transfers</h2>\n<table class=\"jobs\">\n"
                                 "<tr><th>Name</th><th>Operation</th><th>Status</th><th>Message</th></tr>\n");
        for (const ReportJob& job : report.jobs) {
            strOut += QStringLiteral("<tr><td>") + Escaped(job.strName) + QStringLiteral("</td><td>")
                + Escaped(job.strOperation) + QStringLiteral("</td><td>") + Escaped(job.strStatus)
                + QStringLiteral("</td><td>") + Escaped(job.strMessage) + QStringLiteral("</td></tr>\n");
        }
        strOut += QStringLiteral("</table>\n");
    }
    strOut += QStringLiteral("</body></html>\n");
    return strOut;
}
