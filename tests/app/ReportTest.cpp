#include <QRegularExpression>

#include <gmock/gmock.h>

#include "app/TreeSnapshot.h"
#include "common/TestFiles.h"
#include "report/Report.h"
#include "support/SettingsStore.h"
#include "tree/FolderComparison.h"

namespace {

// A small comparison of two local folders: a file the same, one different, one on each side only, a folder
// only on the right, and a name with a terminal escape in it.
class Reports : public testing::Test
{
protected:
    void SetUp() override
    {
        const QString strLeft = MakeTestFolder(QStringLiteral("report-left"));
        const QString strRight = MakeTestFolder(QStringLiteral("report-right"));
        WriteFileBytes(strLeft + QStringLiteral("/docs/same.txt"), "same");
        WriteFileBytes(strRight + QStringLiteral("/docs/same.txt"), "same");
        WriteFileBytes(strLeft + QStringLiteral("/docs/changed.css"), "old");
        WriteFileBytes(strRight + QStringLiteral("/docs/changed.css"), "new!");
        WriteFileBytes(strLeft + QStringLiteral("/new.html"), "new");
        WriteFileBytes(strRight + QStringLiteral("/gone/old.txt"), "old");
        WriteFileBytes(strLeft + QStringLiteral("/odd\x1b[31mname.txt"), "odd");
        m_pComparison = std::make_unique<CFolderComparison>(strLeft, strRight, QString());
        ASSERT_TRUE(m_pComparison->Run(1).bOk);
        m_header = { strLeft, QStringLiteral("ftp://me@ftp.example.com/www"),
            QDateTime(QDate(2026, 11, 22), QTime(10, 30)), 10, 2 };
    }

    CReport Make(ReportLayout layout, bool bOnlyDiff = false) const
    {
        ReportOptions options;
        options.layout = layout;
        options.rule.SetOnlyDifferences(bOnlyDiff);
        return *BuildReport(CTreeSnapshot::Take(m_pComparison->Tree().Root()), m_header, options,
            { { QStringLiteral("new.html"), QStringLiteral("UPLOAD"), QStringLiteral("Failed"),
                QStringLiteral("550 Denied") } });
    }

    std::unique_ptr<CFolderComparison> m_pComparison;
    ReportHeader m_header;
};

QStringList LinesOf(const QString& strText)
{
    return strText.split(QLatin1Char('\n'));
}

TEST_F(Reports, TextSideBySideShowsEveryItemIndentedWithItsVerdictAndTheHeader)
{
    const QString strText = RenderReportText(Make(ReportLayout::SideBySide));
    EXPECT_THAT(strText, QHasSubstr("FTP folder:   ftp://me@ftp.example.com/www"));
    EXPECT_THAT(strText, QHasSubstr("up to 10 KB downloaded and compared by CRC-32 (2 files)"));
    const QStringList lines = LinesOf(strText);
    const auto line = [&lines](const QString& strStart) {
        for (const QString& strLine : lines) {
            if (strLine.startsWith(strStart)) {
                return strLine;
            }
        }
        return QString();
    };
    EXPECT_THAT(line(QStringLiteral("docs/ ")), QHasSubstr("something below it differs"));
    EXPECT_THAT(line(QStringLiteral("  changed.css ")), QHasSubstr("Different: the sizes differ"));
    EXPECT_THAT(line(QStringLiteral("  same.txt ")), QHasSubstr("Same"));
    EXPECT_THAT(line(QStringLiteral("gone/ ")), QHasSubstr("Folder only on the FTP side"));
    EXPECT_THAT(line(QStringLiteral("  old.txt ")), QHasSubstr("Only on the FTP side"));
    EXPECT_THAT(line(QStringLiteral("new.html ")), QHasSubstr("Only on the local side"));
    EXPECT_FALSE(strText.contains(QChar(0x1b))) << "no escape sequence reaches a terminal";
    EXPECT_FALSE(strText.contains(QStringLiteral("Transfers"))) << "jobs without the appendix asked for";
}

TEST_F(Reports, TheFilterTheLayoutsAndTheAppendixAreHonoured)
{
    ReportOptions options;
    options.rule.SetOnlyDifferences(true);
    options.bAppendix = true;
    const std::optional<CReport> report
        = BuildReport(CTreeSnapshot::Take(m_pComparison->Tree().Root()), m_header, options,
            { { QStringLiteral("new.html"), QStringLiteral("UPLOAD"), QStringLiteral("Failed"),
                QStringLiteral("550 Denied") } });
    ASSERT_TRUE(report);
    const QString strText = RenderReportText(*report);
    EXPECT_FALSE(strText.contains(QStringLiteral("same.txt")));
    EXPECT_THAT(strText, QHasSubstr("changed.css"));
    EXPECT_THAT(strText, QHasSubstr("Shown:        differences only"));
    EXPECT_THAT(strText, QHasSubstr("550 Denied"));

    const QString strStatus = RenderReportText(Make(ReportLayout::ByStatus));
    const qsizetype nDiff = strStatus.indexOf(QStringLiteral("\nDifferent (1)"));
    const qsizetype nLocal = strStatus.indexOf(QStringLiteral("\nOnly on the local side (2)"));
    const qsizetype nFtp = strStatus.indexOf(QStringLiteral("\nOnly on the FTP side (1)"));
    const qsizetype nSame = strStatus.indexOf(QStringLiteral("\nSame (1)"));
    EXPECT_TRUE(nDiff > 0 && nDiff < nLocal && nLocal < nFtp && nFtp < nSame) << strStatus.toStdString();
    EXPECT_THAT(strStatus, QHasSubstr("docs/changed.css")) << "by status, items are named by their path";
    EXPECT_FALSE(strStatus.contains(QStringLiteral("gone/old.txt"))) << "a folder on one side goes whole";

    const QString strSummary = RenderReportText(Make(ReportLayout::Summary));
    EXPECT_FALSE(strSummary.contains(QStringLiteral("changed.css")));
    EXPECT_THAT(strSummary, QHasSubstr("\nDiff "));
}

TEST_F(Reports, HtmlIsOneFileWithARowPerItemColouredAndEscaped)
{
    const QString strHtml
        = RenderReportHtml(Make(ReportLayout::SideBySide), CPaneSettings::Read(*std::make_unique<CSettingsStore>()));
    EXPECT_FALSE(strHtml.contains(QStringLiteral("<script"))) << "nothing runs";
    EXPECT_FALSE(strHtml.contains(QStringLiteral(" src="))) << "nothing is fetched";
    EXPECT_THAT(strHtml, QHasSubstr(".diff{color:#ff0000}"));
    const QRegularExpression row(QStringLiteral("<tr class=\"(\\w+)[^\"]*\"><td class=\"name\">([^<]*)</td>"));
    QStringList rows;
    for (auto match = row.globalMatch(strHtml); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        rows.append(found.captured(1) + QLatin1Char(' ') + found.captured(2).trimmed());
    }
    EXPECT_EQ(rows,
        QStringList({ QStringLiteral("diff docs/"), QStringLiteral("diff changed.css"), QStringLiteral("same same.txt"),
            QStringLiteral("onefolder gone/"), QStringLiteral("right old.txt"), QStringLiteral("left new.html"),
            QStringLiteral("left odd\\x1b[31mname.txt") }));
}

} // namespace
