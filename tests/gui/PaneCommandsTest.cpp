#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>

#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"

namespace {

class PaneCommands : public GuiFixture
{
protected:
    void SetUp() override
    {
        GuiFixture::SetUp();
        ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
        // Which pane is active follows the focus, which only an active window gives.
        m_pFrame->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_pFrame.get()));
    }

    void Select(const QStringList& names, int nActiveSide)
    {
        m_pFrame->Panes().FocusPane(nActiveSide);
        QItemSelectionModel* pSelection = m_pFrame->Panes().Selection();
        pSelection->clearSelection();
        for (const QString& strName : names) {
            const QModelIndex index = Find(strName);
            pSelection->setCurrentIndex(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        QApplication::processEvents();
    }

    [[nodiscard]] bool Enabled(const char* pName) const { return m_pFrame->Action(QLatin1String(pName))->isEnabled(); }
    [[nodiscard]] QString Tip(const char* pName) const { return m_pFrame->Action(QLatin1String(pName))->toolTip(); }
};

TEST_F(PaneCommands, CommandsAreEnabledByWhatTheSelectionHoldsAndSayWhyNot)
{
    // The right side here is a local folder, not a server: nothing goes to it.
    Select({ QStringLiteral("docs/b.txt") }, SIDE_LEFT);
    EXPECT_FALSE(Enabled("upload"));
    EXPECT_EQ(Tip("upload"), QStringLiteral("The FTP server is not connected."));
    EXPECT_TRUE(Enabled("renameItem"));
    EXPECT_TRUE(Enabled("deleteItems"));
    EXPECT_TRUE(Enabled("openItem"));
    EXPECT_TRUE(Enabled("viewBoth"));
    EXPECT_TRUE(Enabled("showInFolder"));

    // A mixed selection: one item on both sides, one on the FTP side only.
    Select({ QStringLiteral("docs/b.txt"), QStringLiteral("old/x.txt") }, SIDE_LEFT);
    EXPECT_TRUE(Enabled("deleteItems"));
    EXPECT_FALSE(Enabled("renameItem"));
    EXPECT_EQ(Tip("renameItem"), QStringLiteral("Select one item to rename."));
    EXPECT_FALSE(Enabled("viewBoth"));

    Select({ QStringLiteral("old/x.txt") }, SIDE_LEFT);
    EXPECT_FALSE(Enabled("deleteItems"));
    EXPECT_EQ(Tip("deleteItems"), QStringLiteral("Nothing selected is on this side."));
    EXPECT_FALSE(Enabled("showInFolder"));
    EXPECT_FALSE(Enabled("openItem"));
    EXPECT_EQ(Tip("openItem"), QStringLiteral("The file is not on this side."));

    m_pFrame->Panes().Selection()->clearSelection();
    QApplication::processEvents();
    EXPECT_FALSE(Enabled("deleteItems"));
    EXPECT_EQ(Tip("deleteItems"), QStringLiteral("Select the items first."));
}

TEST_F(PaneCommands, F2RenamesInPlaceAndTheTreeShowsTheNewName)
{
    Select({ QStringLiteral("readme.txt") }, SIDE_LEFT);
    QTreeView* pLeft = m_pFrame->Panes().Pane(SIDE_LEFT);
    m_pFrame->Action(QStringLiteral("renameItem"))->trigger();
    auto* pEditor = pLeft->findChild<QLineEdit*>();
    ASSERT_NE(pEditor, nullptr) << "F2 opens an editor on the name";
    EXPECT_EQ(pEditor->text(), QStringLiteral("readme.txt"));
    pEditor->selectAll();
    QTest::keyClicks(pEditor, QStringLiteral("read-me.txt"));
    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    QTest::keyClick(pEditor, Qt::Key_Return);
    ASSERT_TRUE(shown.wait(20000));
    EXPECT_TRUE(QFile::exists(m_strLeft + QStringLiteral("/read-me.txt")));
    EXPECT_FALSE(QFile::exists(m_strLeft + QStringLiteral("/readme.txt")));
    EXPECT_TRUE(Find(QStringLiteral("read-me.txt")).isValid());
    EXPECT_TRUE(Find(QStringLiteral("readme.txt")).isValid()) << "the other side keeps its file under the old name";
}

} // namespace
