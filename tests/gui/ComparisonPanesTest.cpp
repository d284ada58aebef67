#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"
#include "gui/StatusCounts.h"

namespace {

class ComparisonPanes : public GuiFixture
{
protected:
    void SetUp() override
    {
        GuiFixture::SetUp();
        ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    }
};

TEST_F(ComparisonPanes, TheModelAndFilterKeepQtsRulesThroughResetsAndFiltering)
{
    // The tester checks every index, parent and row count the views may ask for, after each change.
    QAbstractItemModelTester modelTester(&m_pFrame->Model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester filterTester(&m_pFrame->Filter(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    m_pFrame->Filter().SetOnlyDifferences(true);
    m_pFrame->Filter().SetNameFilter(QStringLiteral("*.txt"));
    m_pFrame->Filter().SetNameFilter({});
    m_pFrame->Filter().SetOnlyDifferences(false);
    m_pFrame->Model().SetSnapshot(m_pFrame->Model().SharedSnapshot());
    EXPECT_EQ(m_pFrame->Model().rowCount(), 5);
}

TEST_F(ComparisonPanes, BothPanesStayAlignedThroughExpandCollapseScrollAndFilter)
{
    CComparisonPanes& panes = m_pFrame->Panes();
    QTreeView* pLeft = panes.Pane(SIDE_LEFT);
    QTreeView* pRight = panes.Pane(SIDE_RIGHT);
    EXPECT_TRUE(PanesAligned());

    pLeft->expand(Find(QStringLiteral("docs")));
    EXPECT_TRUE(pRight->isExpanded(Find(QStringLiteral("docs")))) << "expanding one pane must expand the other";
    EXPECT_TRUE(PanesAligned());

    pRight->expand(Find(QStringLiteral("docs/deep")));
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("docs/deep"))));
    pRight->collapse(Find(QStringLiteral("docs")));
    EXPECT_FALSE(pLeft->isExpanded(Find(QStringLiteral("docs"))));
    EXPECT_TRUE(PanesAligned());

    panes.ExpandAll();
    pLeft->resize(pLeft->width(), 60);
    pRight->resize(pRight->width(), 60);
    pLeft->verticalScrollBar()->setValue(pLeft->verticalScrollBar()->maximum());
    EXPECT_GT(pRight->verticalScrollBar()->value(), 0) << "scrolling one pane must scroll the other";
    EXPECT_TRUE(PanesAligned());

    m_pFrame->Filter().SetNameFilter(QStringLiteral("c.txt"));
    EXPECT_TRUE(PanesAligned());
    m_pFrame->Filter().SetNameFilter({});

    // A column made wider in one pane is as wide in the other.
    pLeft->header()->resizeSection(COL_LEFT_SIZE, 133);
    EXPECT_EQ(pRight->header()->sectionSize(COL_RIGHT_SIZE), 133);
}

TEST_F(ComparisonPanes, NextAndPreviousDifferenceWalkDisplayOrderAcrossCollapsedFolders)
{
    CComparisonPanes& panes = m_pFrame->Panes();
    QTreeView* pLeft = panes.Pane(SIDE_LEFT);
    pLeft->setFocus();
    // From the top with every folder collapsed: folders come before files, so the first difference is the
    // local-only file two folders down.
    ASSERT_TRUE(panes.GoToDifference(true, false));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep/c.txt"));
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("docs/deep"))));
    ASSERT_TRUE(panes.GoToDifference(true, false));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/b.txt"));
    // old/ exists on the FTP side only; without folders the walk stops at the file inside it.
    ASSERT_TRUE(panes.GoToDifference(true, false));
    EXPECT_EQ(CurrentName(), QStringLiteral("old/x.txt"));
    ASSERT_TRUE(panes.GoToDifference(true, false));
    EXPECT_EQ(CurrentName(), QStringLiteral("zeta.txt"));
    EXPECT_FALSE(panes.GoToDifference(true, false)) << "nothing differs after zeta.txt";

    ASSERT_TRUE(panes.GoToDifference(false, true));
    EXPECT_EQ(CurrentName(), QStringLiteral("old/x.txt"));
    ASSERT_TRUE(panes.GoToDifference(false, true));
    EXPECT_EQ(CurrentName(), QStringLiteral("old")) << "with folders included, the one-sided folder is a stop";
    ASSERT_TRUE(panes.GoToDifference(false, true));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/b.txt"));
    ASSERT_TRUE(panes.GoToDifference(false, true));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep/c.txt"));
    ASSERT_TRUE(panes.GoToDifference(false, true));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep"));
}

TEST_F(ComparisonPanes, TheNavigationKeysReachTheWindowsCommands)
{
    QTreeView* pLeft = m_pFrame->Panes().Pane(SIDE_LEFT);
    // Window shortcuts reach only the active window.
    m_pFrame->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pFrame.get()));
    pLeft->setFocus();
    // "Include Folders to Diffs" is on by default: the local-only folder is the first stop.
    QTest::keyClick(pLeft, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep"));
    QTest::keyClick(pLeft, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep/c.txt"));
    QTest::keyClick(pLeft, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/deep"));
}

TEST_F(ComparisonPanes, OpenFoldersAndTheSelectionSurviveFilteringAndARefresh)
{
    CComparisonPanes& panes = m_pFrame->Panes();
    QTreeView* pLeft = panes.Pane(SIDE_LEFT);
    pLeft->expand(Find(QStringLiteral("docs")));
    pLeft->expand(Find(QStringLiteral("img")));
    panes.Selection()->setCurrentIndex(
        Find(QStringLiteral("docs/b.txt")), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);

    // img/ holds only what is the same: it goes, and comes back open.
    m_pFrame->Filter().SetOnlyDifferences(true);
    EXPECT_FALSE(Find(QStringLiteral("img")).isValid());
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("docs"))));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/b.txt"));
    EXPECT_TRUE(PanesAligned());
    m_pFrame->Filter().SetOnlyDifferences(false);
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("img"))));
    EXPECT_TRUE(panes.Pane(SIDE_RIGHT)->isExpanded(Find(QStringLiteral("img"))));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/b.txt"));
    EXPECT_EQ(panes.Selection()->selectedRows().size(), 1);

    // A refresh brings a new snapshot in which a new file moves every row after it.
    WriteFileBytes(m_strLeft + QStringLiteral("/docs/0first.txt"), "new");
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    m_pFrame->Action(QStringLiteral("refresh"))->trigger();
    ASSERT_TRUE(shown.wait(20000));
    EXPECT_TRUE(Find(QStringLiteral("docs/0first.txt")).isValid());
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("docs"))));
    EXPECT_TRUE(pLeft->isExpanded(Find(QStringLiteral("img"))));
    EXPECT_EQ(CurrentName(), QStringLiteral("docs/b.txt"));
    EXPECT_TRUE(PanesAligned());
}

TEST_F(ComparisonPanes, StatusTogglesHideAndShowRowsInBothPanes)
{
    CStatusCounts& counts = m_pFrame->Counts();
    EXPECT_EQ(counts.Toggle(CLASS_SAME)->text(), QStringLiteral("Same 3"));
    EXPECT_EQ(counts.Toggle(CLASS_DIFF)->text(), QStringLiteral("Diff 2"));
    m_pFrame->Panes().ExpandAll();
    const int nAll = VisibleRows(m_pFrame->Panes().Pane(SIDE_LEFT));
    EXPECT_EQ(nAll, 11);

    QTest::mouseClick(counts.Toggle(CLASS_SAME), Qt::LeftButton);
    EXPECT_FALSE(Find(QStringLiteral("readme.txt")).isValid());
    EXPECT_FALSE(Find(QStringLiteral("img")).isValid()) << "a folder with nothing shown below it goes too";
    EXPECT_TRUE(Find(QStringLiteral("zeta.txt")).isValid());
    EXPECT_EQ(VisibleRows(m_pFrame->Panes().Pane(SIDE_LEFT)), VisibleRows(m_pFrame->Panes().Pane(SIDE_RIGHT)));

    QTest::mouseClick(counts.Toggle(CLASS_SAME), Qt::LeftButton);
    EXPECT_TRUE(Find(QStringLiteral("readme.txt")).isValid());

    // "Only differences" leaves exactly the differing files and the folders on the way to them.
    m_pFrame->Action(QStringLiteral("onlyDiff"))->trigger();
    EXPECT_FALSE(Find(QStringLiteral("docs/a.txt")).isValid());
    EXPECT_TRUE(Find(QStringLiteral("docs/b.txt")).isValid());
    EXPECT_TRUE(Find(QStringLiteral("old")).isValid());
}

} // namespace
