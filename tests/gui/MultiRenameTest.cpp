#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTest>

#include "common/FtpTestServer.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"
#include "gui/dialogs/MultiRenameDialog.h"

namespace {

using MultiRename = GuiFixture;

CMultiRenameDialog* OpenDialog(CMainFrame& frame)
{
    frame.Action(QStringLiteral("multiRename"))->trigger();
    QApplication::processEvents();
    return frame.findChild<CMultiRenameDialog*>();
}

TEST_F(MultiRename, ThePreviewShowsEveryNameAndVerdictAndARenameCanBeUndone)
{
    ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    m_pFrame->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pFrame.get()));
    m_pFrame->Panes().FocusPane(SIDE_LEFT);
    QItemSelectionModel* pSelection = m_pFrame->Panes().Selection();
    for (const char* pName : { "docs/a.txt", "docs/b.txt" }) {
        pSelection->select(Find(QLatin1String(pName)), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    QApplication::processEvents();

    CMultiRenameDialog* pDialog = OpenDialog(*m_pFrame);
    ASSERT_NE(pDialog, nullptr);
    QString strError;
    // Both would become "x.txt": a clash, and Rename stays off.
    pDialog->SetRules({ *RuleFromOption(QStringLiteral("--number"), QStringLiteral("x"), strError) });
    QTableWidget* pPreview = pDialog->Preview();
    ASSERT_EQ(pPreview->rowCount(), 2);
    EXPECT_THAT(pPreview->item(0, 2)->text(), QHasSubstr("clash with another new name"));
    EXPECT_FALSE(pDialog->findChild<QPushButton*>(QStringLiteral("rename"))->isEnabled());

    pDialog->SetRules({ *RuleFromOption(QStringLiteral("--prefix"), QStringLiteral("new-"), strError) });
    EXPECT_EQ(pPreview->item(0, 1)->text(), QStringLiteral("new-a.txt"));
    EXPECT_EQ(pPreview->item(1, 1)->text(), QStringLiteral("new-b.txt"));
    EXPECT_EQ(pPreview->item(1, 2)->text(), QStringLiteral("fine"));
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    pDialog->findChild<QPushButton*>(QStringLiteral("rename"))->click();
    ASSERT_TRUE(shown.wait(20000));
    EXPECT_TRUE(QFile::exists(m_strLeft + QStringLiteral("/docs/new-a.txt")));
    EXPECT_TRUE(QFile::exists(m_strLeft + QStringLiteral("/docs/new-b.txt")));
    EXPECT_FALSE(QFile::exists(m_strLeft + QStringLiteral("/docs/a.txt")));
    EXPECT_TRUE(Find(QStringLiteral("docs/new-a.txt")).isValid()) << "the tree shows the new names";

    pDialog = OpenDialog(*m_pFrame);
    ASSERT_NE(pDialog, nullptr);
    pDialog->findChild<QPushButton*>(QStringLiteral("undo"))->click();
    ASSERT_TRUE(shown.wait(20000));
    EXPECT_EQ(ReadFileBytes(m_strLeft + QStringLiteral("/docs/b.txt")), QByteArray("left side"));
    EXPECT_FALSE(QFile::exists(m_strLeft + QStringLiteral("/docs/new-b.txt")));
}

TEST_F(MultiRename, TwinsOnTheFtpSideAreRenamedTooWhenAskedAsJobsOfTheTransferList)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start()) << server.Error().toStdString();
    WriteFileBytes(server.Root() + QStringLiteral("/www/docs/a.txt"), "same");
    ASSERT_TRUE(OpenAndWait(RequestFor(server, m_strLeft)));
    m_pFrame->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pFrame.get()));
    m_pFrame->Panes().FocusPane(SIDE_LEFT);
    m_pFrame->Panes().Selection()->select(
        Find(QStringLiteral("docs/a.txt")), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QApplication::processEvents();

    CMultiRenameDialog* pDialog = OpenDialog(*m_pFrame);
    ASSERT_NE(pDialog, nullptr);
    QCheckBox* pBoth = pDialog->findChild<QCheckBox*>(QStringLiteral("bothSides"));
    ASSERT_FALSE(pBoth->isHidden());
    pBoth->setChecked(true);
    QString strError;
    pDialog->SetRules({ *RuleFromOption(QStringLiteral("--suffix"), QStringLiteral("-v2"), strError) });
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    pDialog->findChild<QPushButton*>(QStringLiteral("rename"))->click();
    ASSERT_TRUE(shown.wait(30000));
    EXPECT_TRUE(shown.last().first().toBool());
    EXPECT_TRUE(QFile::exists(m_strLeft + QStringLiteral("/docs/a-v2.txt")));
    EXPECT_EQ(ReadFileBytes(server.Root() + QStringLiteral("/www/docs/a-v2.txt")), QByteArray("same"));
    EXPECT_FALSE(QFile::exists(server.Root() + QStringLiteral("/www/docs/a.txt")));
    const QModelIndex renamed = Find(QStringLiteral("docs/a-v2.txt"));
    ASSERT_TRUE(renamed.isValid());
    EXPECT_EQ(renamed.data(RoleClass).toInt(), CLASS_SAME) << "both sides follow, and compare as before";
}

} // namespace
