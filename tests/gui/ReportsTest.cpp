#include <QApplication>
#include <QComboBox>
#include <QPlainTextEdit>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QProcess>
#include <QSignalSpy>
#include <QTimer>

#include "app/TreeSnapshot.h"
#include "gui/ComparisonModel.h"
#include "gui/GuiFixture.h"
#include "gui/dialogs/ReportDialog.h"
#include "report/ReportPages.h"
#include "support/SettingsStore.h"
#include "tree/FolderComparison.h"

namespace {

using Reports = GuiFixture;

QString PdfText(const QString& strPath)
{
    QProcess process;
    process.start(QStringLiteral("pdftotext"), { QStringLiteral("-layout"), strPath, QStringLiteral("-") });
    process.waitForFinished(60000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

TEST_F(Reports, ThePdfHasTheHeaderEveryItemAndItsPageNumbers)
{
    ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    const QString strPdf = MakeTestFolder(QStringLiteral("gui-report")) + QStringLiteral("/report.pdf");
    QSignalSpy finished(m_pFrame.get(), &CMainFrame::ReportFinished);
    m_pFrame->StartReport(ReportOptions {}, ReportOutput::Pdf, strPdf);
    ASSERT_TRUE(finished.wait(60000));
    EXPECT_TRUE(finished.first().first().toBool()) << finished.first().last().toString().toStdString();
    const QString strText = PdfText(strPdf);
    EXPECT_THAT(strText, QHasSubstr("Quorvel comparison report"));
    EXPECT_TRUE(strText.contains(m_strLeft));
    for (const char* pName : { "docs/", "a.txt", "b.txt", "deep/", "c.txt", "img/", "logo.png", "old/", "x.txt",
             "readme.txt", "zeta.txt" }) {
        EXPECT_THAT(strText, QHasSubstr(pName));
    }
    EXPECT_THAT(strText, QHasSubstr("Page 1 of 1"));

    // A target that cannot be written gives the message, and nothing is left behind.
    const QString strBad = m_strLeft + QStringLiteral("/readme.txt/report.pdf");
    m_pFrame->StartReport(ReportOptions {}, ReportOutput::Pdf, strBad);
    ASSERT_TRUE(finished.wait(60000));
    EXPECT_FALSE(finished.last().first().toBool());
    EXPECT_THAT(finished.last().last().toString(), QHasSubstr("Rendering to PDF failed with the error code["));
}

TEST_F(Reports, ManyItemsMakeManyPagesEachNumberedWithTheHeaderRepeated)
{
    const QString strLeft = MakeTestFolder(QStringLiteral("gui-report-many"));
    for (int i = 0; i < 400; ++i) {
        WriteFileBytes(strLeft + QStringLiteral("/f/file-%1.txt").arg(i, 4, 10, QLatin1Char('0')), "x");
    }
    CFolderComparison comparison(strLeft, MakeTestFolder(QStringLiteral("gui-report-empty")), QString());
    ASSERT_TRUE(comparison.Run(1).bOk);
    ReportHeader header { strLeft, QStringLiteral("/empty"), QDateTime::currentDateTime(), -1, 0 };
    const std::optional<CReport> report = BuildReport(CTreeSnapshot::Take(comparison.Tree().Root()), header, {});
    ASSERT_TRUE(report);
    const QString strPdf = MakeTestFolder(QStringLiteral("gui-report-out")) + QStringLiteral("/many.pdf");
    QString strError;
    int nPages = 0;
    CSettingsStore store;
    ASSERT_EQ(WriteReportPdf(*report, strPdf, CPaneSettings::Read(store), strError,
                  [&nPages](int, int nCount) { nPages = nCount; }),
        0)
        << strError.toStdString();
    ASSERT_GT(nPages, 3);
    const QString strText = PdfText(strPdf);
    for (int nPage = 1; nPage <= nPages; ++nPage) {
        EXPECT_TRUE(strText.contains(QStringLiteral("Page %1 of %2").arg(nPage).arg(nPages))) << nPage;
    }
    EXPECT_EQ(strText.count(QStringLiteral("Quorvel comparison report: ")), nPages - 1) << "the running header";
    for (int i = 0; i < 400; i += 37) {
        EXPECT_TRUE(strText.contains(QStringLiteral("file-%1.txt").arg(i, 4, 10, QLatin1Char('0'))));
    }
}

TEST_F(Reports, ASmallReportIsPreviewedBeforeItPrints)
{
    ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    int nPages = -1;
    auto* pTimer = new QTimer(m_pFrame.get());
    pTimer->setInterval(20);
    QObject::connect(pTimer, &QTimer::timeout, [pTimer, &nPages] {
        if (auto* pPreview = qobject_cast<QPrintPreviewDialog*>(QApplication::activeModalWidget())) {
            pTimer->stop();
            QApplication::processEvents();
            nPages = pPreview->findChild<QPrintPreviewWidget*>()->pageCount();
            pPreview->reject();
        }
    });
    pTimer->start();
    QSignalSpy finished(m_pFrame.get(), &CMainFrame::ReportFinished);
    m_pFrame->StartReport(ReportOptions {}, ReportOutput::Printer, {});
    ASSERT_EQ(finished.size(), 1);
    EXPECT_FALSE(finished.first().first().toBool()) << "closed without printing";
    EXPECT_EQ(nPages, 1);
}

TEST_F(Reports, TheDialogPreviewsWhatItWouldWrite)
{
    ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    CReportDialog dialog(m_pFrame->Model().SharedSnapshot(), ReportHeader { m_strLeft, m_strRight, {}, -1, 0 }, {});
    EXPECT_THAT(dialog.PreviewText(), QHasSubstr("zeta.txt"));
    EXPECT_THAT(dialog.PreviewText(), QHasSubstr("readme.txt"));
    dialog.findChild<QComboBox*>(QStringLiteral("filter"))->setCurrentIndex(2);
    EXPECT_THAT(dialog.PreviewText(), QHasSubstr("zeta.txt"));
    EXPECT_FALSE(dialog.PreviewText().contains(QStringLiteral("readme.txt"))) << "differences only";
    dialog.findChild<QComboBox*>(QStringLiteral("layout"))->setCurrentIndex(0);
    EXPECT_FALSE(dialog.PreviewText().contains(QStringLiteral("zeta.txt"))) << "the summary has no items";
}

} // namespace
