#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDragEnterEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "common/FtpTestServer.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"
#include "support/SettingsStore.h"

namespace {

// The window's local folder against a loopback server's "/www", which holds docs/ and down.txt.
class DragAndDrop : public GuiFixture
{
protected:
    void SetUp() override
    {
        GuiFixture::SetUp();
        ASSERT_TRUE(m_server.Start()) << m_server.Error().toStdString();
        WriteFileBytes(m_server.Root() + QStringLiteral("/www/docs/a.txt"), "same");
        WriteFileBytes(m_server.Root() + QStringLiteral("/www/down.txt"), "from the server");
        ASSERT_TRUE(OpenAndWait(RequestFor(m_server, m_strLeft)));
        // Which pane is active follows the focus, which only an active window gives.
        m_pFrame->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_pFrame.get()));
    }

    [[nodiscard]] QString Remote(const QString& strPath) const
    {
        return m_server.Root() + QStringLiteral("/www/") + strPath;
    }

    // Drags data over the pane to the row of strOver (the empty space below the rows when empty) and drops
    // it there as the desktop does; whether the pane took it.
    bool Drop(int nSide, const QMimeData& data, const QString& strOver = {})
    {
        CPaneView* pPane = m_pFrame->Panes().Pane(nSide);
        const QPoint pos = strOver.isEmpty() ? QPoint(10, pPane->viewport()->height() - 5)
                                             : pPane->visualRect(Find(strOver)).center();
        QDragEnterEvent enter(pos, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(pPane->viewport(), &enter);
        if (!enter.isAccepted()) {
            return false;
        }
        QDropEvent drop(QPointF(pos), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(pPane->viewport(), &drop);
        return drop.isAccepted();
    }

    [[nodiscard]] bool JobsEnd() const { return m_pFrame->Document().View()->WaitForJobs(30000); }

    CFtpTestServer m_server;
};

TEST_F(DragAndDrop, ItemsDraggedBetweenThePanesAreCopiedAndNeverOntoTheirOwnSide)
{
    CPaneView* pLeft = m_pFrame->Panes().Pane(SIDE_LEFT);
    const int nReadme = CComparisonModel::NodeOf(Find(QStringLiteral("readme.txt")));
    const int nDeep = CComparisonModel::NodeOf(Find(QStringLiteral("docs/deep")));
    std::unique_ptr<QMimeData> pData(pLeft->MakeDragData({ nReadme, nDeep }));
    // The file manager takes the local files themselves.
    EXPECT_EQ(LocalFilesOf(*pData),
        QStringList({ m_strLeft + QStringLiteral("/readme.txt"), m_strLeft + QStringLiteral("/docs/deep") }));
    EXPECT_FALSE(Drop(SIDE_LEFT, *pData)) << "a drop on its own pane would copy items onto themselves";

    ASSERT_TRUE(Drop(SIDE_RIGHT, *pData));
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("readme.txt"))), QByteArray("read me"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("docs/deep/c.txt"))), QByteArray("only here"));
    QTRY_COMPARE_WITH_TIMEOUT(Find(QStringLiteral("readme.txt")).data(RoleClass).toInt(), CLASS_SAME, 5000);

    // And back: an FTP-only file dragged to the local pane is downloaded.
    const int nDown = CComparisonModel::NodeOf(Find(QStringLiteral("down.txt")));
    std::unique_ptr<QMimeData> pBack(m_pFrame->Panes().Pane(SIDE_RIGHT)->MakeDragData({ nDown }));
    EXPECT_TRUE(LocalFilesOf(*pBack).isEmpty()) << "the FTP side has no local files to offer";
    ASSERT_TRUE(Drop(SIDE_LEFT, *pBack));
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(m_strLeft + QStringLiteral("/down.txt")), QByteArray("from the server"));
}

TEST_F(DragAndDrop, FilesFromTheFileManagerGoIntoTheFolderUnderTheCursorAndPasteDoesTheSame)
{
    const QString strOutside = MakeTestFolder(QStringLiteral("gui-outside"));
    WriteFileBytes(strOutside + QStringLiteral("/new.txt"), "new");
    WriteFileBytes(strOutside + QStringLiteral("/bundle/inner.txt"), "inner");
    QMimeData files;
    files.setUrls({ QUrl::fromLocalFile(strOutside + QStringLiteral("/new.txt")),
        QUrl::fromLocalFile(strOutside + QStringLiteral("/bundle")) });

    // Over a file, the drop goes into the file's folder.
    ASSERT_TRUE(Drop(SIDE_RIGHT, files, QStringLiteral("docs/a.txt")));
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("docs/new.txt"))), QByteArray("new"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("docs/bundle/inner.txt"))), QByteArray("inner"));

    ASSERT_TRUE(Drop(SIDE_LEFT, files, QStringLiteral("img")));
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(m_strLeft + QStringLiteral("/img/new.txt")), QByteArray("new"));
    EXPECT_EQ(ReadFileBytes(m_strLeft + QStringLiteral("/img/bundle/inner.txt")), QByteArray("inner"));
    QTRY_VERIFY_WITH_TIMEOUT(Find(QStringLiteral("img/bundle/inner.txt")).isValid(), 5000);

    // Text is not a file: nothing is taken.
    QMimeData text;
    text.setText(QStringLiteral("just words"));
    EXPECT_FALSE(Drop(SIDE_LEFT, text));

    // Paste into the folder of the current item on the active side.
    QApplication::clipboard()->setMimeData(new QMimeData);
    QApplication::processEvents();
    EXPECT_FALSE(m_pFrame->Action(QStringLiteral("pasteFiles"))->isEnabled());
    auto* pClip = new QMimeData;
    pClip->setUrls({ QUrl::fromLocalFile(strOutside + QStringLiteral("/new.txt")) });
    QApplication::clipboard()->setMimeData(pClip);
    m_pFrame->Panes().FocusPane(SIDE_LEFT);
    m_pFrame->Panes().Selection()->setCurrentIndex(
        Find(QStringLiteral("docs/deep/c.txt")), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    QApplication::processEvents();
    ASSERT_TRUE(m_pFrame->Action(QStringLiteral("pasteFiles"))->isEnabled());
    m_pFrame->Action(QStringLiteral("pasteFiles"))->trigger();
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(m_strLeft + QStringLiteral("/docs/deep/new.txt")), QByteArray("new"));
}

TEST_F(DragAndDrop, AnFtpFileIsDownloadedToBeEditedAndSentBackWhenSavedIfTheUserSaysSo)
{
    // The editor records the file it was given, whole or not at all: the test polls for the record and must
    // never read it half written.
    const QString strTools = MakeTestFolder(QStringLiteral("gui-editor"));
    const QString strRecord = strTools + QStringLiteral("/edited");
    WriteFileBytes(strTools + QStringLiteral("/editor"),
        "#!/bin/sh\nprintf '%s' \"$1\" > " + strRecord.toUtf8() + ".part && mv " + strRecord.toUtf8() + ".part "
            + strRecord.toUtf8() + "\n");
    QFile::setPermissions(strTools + QStringLiteral("/editor"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    CSettingsStore store;
    store.WriteString("Settings", "EditorProgram", strTools + QStringLiteral("/editor"));
    ASSERT_TRUE(store.Sync());

    m_pFrame->Panes().FocusPane(SIDE_RIGHT);
    m_pFrame->Panes().Selection()->setCurrentIndex(
        Find(QStringLiteral("down.txt")), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    QApplication::processEvents();
    QAction* pEdit = m_pFrame->Action(QStringLiteral("editItem"));
    ASSERT_TRUE(pEdit->isEnabled()) << pEdit->toolTip().toStdString();
    pEdit->trigger();
    // The file was only listed: it is downloaded (a job) before the editor gets a copy of it.
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(strRecord), 10000);
    const QString strCopy = QString::fromUtf8(ReadFileBytes(strRecord));
    EXPECT_EQ(ReadFileBytes(strCopy), QByteArray("from the server"));
    EXPECT_FALSE(strCopy.startsWith(m_pFrame->Document().View()->Folders().strMirror))
        << "edits never live in the mirror";

    // Saving offers the upload; the first answer is No, the second Yes.
    int nAsked = 0;
    QTimer answer;
    answer.setInterval(50);
    QObject::connect(&answer, &QTimer::timeout, [&] {
        if (auto* pBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            ++nAsked;
            pBox->button(nAsked == 1 ? QMessageBox::No : QMessageBox::Yes)->click();
        }
    });
    answer.start();
    WriteFileBytes(strCopy, "edited once");
    QTRY_COMPARE_WITH_TIMEOUT(nAsked, 1, 10000);
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("down.txt"))), QByteArray("from the server"));
    WriteFileBytes(strCopy, "edited twice");
    QTRY_COMPARE_WITH_TIMEOUT(nAsked, 2, 10000);
    QTest::qWait(100);
    ASSERT_TRUE(JobsEnd());
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("down.txt"))), QByteArray("edited twice"));
}

} // namespace
