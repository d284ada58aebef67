#include <QDir>
#include <QElapsedTimer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>

#include "common/FtpTestServer.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"
#include "gui/TraceView.h"
#include "gui/widgets/WaitDialog.h"
#include "support/SettingsStore.h"

namespace {

using MainFrame = GuiFixture;

TEST_F(MainFrame, WindowPosRoundTripsAndANineFieldValueIsIgnored)
{
    m_pFrame->setGeometry(QRect(40, 50, 900, 640));
    ASSERT_TRUE(m_pFrame->close());
    const QString strSaved = CSettingsStore().ReadString("Settings", "WindowPos");
    const std::optional<WindowPlacement> saved = ParseWindowPlacement(strSaved);
    ASSERT_TRUE(saved) << strSaved.toStdString();
    EXPECT_EQ(saved->nRight - saved->nLeft, 900);
    EXPECT_EQ(saved->nBottom - saved->nTop, 640);
    EXPECT_TRUE(ParseViewsHeights(CSettingsStore().ReadString("Settings", "ViewsHeights")));
    EXPECT_EQ(CSettingsStore().ReadString("Settings", "XferWidths").count(QLatin1Char(',')), 5);

    CMainFrame reopened;
    EXPECT_EQ(reopened.geometry().size(), QSize(900, 640));

    CSettingsStore store;
    store.WriteString("Settings", "WindowPos", QStringLiteral("0,1,-1,-1,-1,-1,10,20,410"));
    ASSERT_TRUE(store.Sync());
    CMainFrame defaulted;
    EXPECT_EQ(defaulted.size(), QSize(1280, 820)) << "nine fields must leave the default place";
}

TEST_F(MainFrame, QuittingWhileAJobRunsAsksAndNoKeepsTheWindow)
{
    QStringList asked;
    bool bAnswer = false;
    m_pFrame->SetQuitQuestion([&](const QString& strQuestion) {
        asked.append(strQuestion);
        return bAnswer;
    });
    EXPECT_TRUE(m_pFrame->close()) << "nothing runs: no question";
    EXPECT_TRUE(asked.isEmpty());
    m_pFrame->show();

    TransferJob job;
    job.strName = QStringLiteral("a");
    job.strRemoteFolder = QStringLiteral("/r");
    const int nJob = m_pFrame->Document().List().AddJob(job, JobPurpose::Transfer, 100);
    EXPECT_FALSE(m_pFrame->close());
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked.first(), QStringLiteral("File transfer isn't complete yet. Do you really want to quit?"));
    EXPECT_TRUE(m_pFrame->isVisible());
    bAnswer = true;
    EXPECT_TRUE(m_pFrame->close());
    m_pFrame->Document().List().FinishJob(nJob, JobState::Completed, {}, true);
}

TEST_F(MainFrame, AnFtpComparisonOpensOnAWorkerWithTheTraceFillingAndTheTreeShown)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start()) << server.Error().toStdString();
    const QString strRemote = server.Root() + QStringLiteral("/www");
    WriteFileBytes(strRemote + QStringLiteral("/same.txt"), "same");
    WriteFileBytes(strRemote + QStringLiteral("/remote-only.txt"), "remote");
    WriteFileBytes(m_strLeft + QStringLiteral("/same.txt"), "same");

    const OpenRequest request = RequestFor(server, m_strLeft);
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    m_pFrame->OpenComparison(request);
    EXPECT_TRUE(m_pFrame->IsBusy());
    EXPECT_NE(m_pFrame->findChild<CWaitDialog*>(), nullptr) << "the wait dialog shows while the worker runs";
    ASSERT_TRUE(shown.wait(20000));
    ASSERT_TRUE(shown.first().first().toBool());
    EXPECT_EQ(m_pFrame->findChild<CWaitDialog*>(), nullptr);
    EXPECT_TRUE(Find(QStringLiteral("remote-only.txt")).isValid());
    EXPECT_EQ(Find(QStringLiteral("same.txt")).data(RoleClass).toInt(), CLASS_SAME);

    m_pFrame->TracePane().Flush();
    m_pFrame->TracePane().clearSelection();
    const QString strTrace = m_pFrame->TracePane().SelectedText();
    EXPECT_THAT(strTrace, QHasSubstr("command> ["));
    EXPECT_THAT(strTrace, QHasSubstr("MLSD"));
    EXPECT_THAT(strTrace, testing::Not(QHasSubstr(CFtpTestServer::kPassword))) << "a password never shows";
}

TEST_F(MainFrame, FilesTooLargeToDownloadAreDecidedByTheServersChecksumUnlessTurnedOff)
{
    CFtpTestServer server;
    ASSERT_TRUE(
        server.Start(CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--checksums"), QStringLiteral("XCRC") }))
        << server.Error().toStdString();
    const QString strRemote = server.Root() + QStringLiteral("/www");
    const QByteArray big(100 * 1024, 'b');
    QByteArray changed = big;
    changed[5000] = 'c';
    WriteFileBytes(strRemote + QStringLiteral("/big.bin"), big);
    WriteFileBytes(strRemote + QStringLiteral("/changed.bin"), big);
    WriteFileBytes(m_strLeft + QStringLiteral("/big.bin"), big);
    WriteFileBytes(m_strLeft + QStringLiteral("/changed.bin"), changed);

    ASSERT_TRUE(OpenAndWait(RequestFor(server, m_strLeft)));
    const QModelIndex same = Find(QStringLiteral("big.bin"));
    EXPECT_EQ(same.data(RoleClass).toInt(), CLASS_SAME);
    EXPECT_THAT(same.data(Qt::ToolTipRole).toString(), QHasSubstr("Decided by: server checksum"));
    EXPECT_EQ(Find(QStringLiteral("changed.bin")).data(RoleClass).toInt(), CLASS_DIFF);
    m_pFrame->TracePane().Flush();
    m_pFrame->TracePane().clearSelection();
    EXPECT_THAT(m_pFrame->TracePane().SelectedText(), QHasSubstr("XCRC /www/big.bin"));

    CSettingsStore().WriteInt("Settings", "UseServerChecksums", 0);
    ASSERT_TRUE(OpenAndWait(RequestFor(server, m_strLeft)));
    CSettingsStore().WriteInt("Settings", "UseServerChecksums", 1);
    EXPECT_EQ(Find(QStringLiteral("big.bin")).data(RoleClass).toInt(), CLASS_UNKNOWN);
}

TEST_F(MainFrame, CancelStopsASlowOpeningWithinASecond)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start(CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--delay"), QStringLiteral("MLSD:30") }))
        << server.Error().toStdString();
    WriteFileBytes(server.Root() + QStringLiteral("/www/a.txt"), "a");
    const OpenRequest request = RequestFor(server, m_strLeft);
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    m_pFrame->OpenComparison(request);
    CWaitDialog* pWait = m_pFrame->findChild<CWaitDialog*>();
    ASSERT_NE(pWait, nullptr);
    // Let the worker reach the slow listing, then cancel as a user would.
    QTest::qWait(1500);
    QElapsedTimer clock;
    clock.start();
    QPushButton* pCancel = pWait->findChild<QPushButton*>();
    ASSERT_NE(pCancel, nullptr);
    QTest::mouseClick(pCancel, Qt::LeftButton);
    ASSERT_TRUE(shown.wait(5000));
    EXPECT_LT(clock.elapsed(), 1500);
    EXPECT_FALSE(shown.first().first().toBool());
    EXPECT_FALSE(m_pFrame->IsBusy());
}

} // namespace
