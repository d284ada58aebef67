#include <QDir>
#include <QFileInfo>

#include "app/ViewFixture.h"
#include "tree/FileTexts.h"

namespace {

using ViewEdits = ViewFixture;

TEST_F(ViewEdits, LocalRenamesMoveTheItemInTheTreeAndNeverReplaceAnything)
{
    ASSERT_TRUE(Start());
    WriteFileBytes(Local(QStringLiteral("/old.txt")), "same");
    WriteFileBytes(Remote(QStringLiteral("/pub/new.txt")), "same");
    WriteFileBytes(Local(QStringLiteral("/keep.txt")), "mine");
    WriteFileBytes(Local(QStringLiteral("/dir/inner.txt")), "inner");
    ASSERT_TRUE(Compare());

    // The new name meets the FTP side's file of that name: one item, compared.
    EXPECT_EQ(
        m_pView->RenameItem({ QStringLiteral("old.txt"), KIND_FILE }, SIDE_LEFT, QStringLiteral("new.txt")), QString());
    EXPECT_TRUE(QFile::exists(Local(QStringLiteral("/new.txt"))));
    EXPECT_EQ(Item(QStringLiteral("old.txt")), nullptr);
    ASSERT_NE(Item(QStringLiteral("new.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("new.txt"))->status, FILE_SAME);

    // A name taken on that side is refused, and the file that has it keeps its contents.
    EXPECT_NE(m_pView->RenameItem({ QStringLiteral("new.txt"), KIND_FILE }, SIDE_LEFT, QStringLiteral("keep.txt")),
        QString());
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/keep.txt"))), QByteArray("mine"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/new.txt"))), QByteArray("same"));
    // Even when the tree does not know the file yet.
    WriteFileBytes(Local(QStringLiteral("/sneaked.txt")), "arrived after the comparison");
    EXPECT_NE(m_pView->RenameItem({ QStringLiteral("keep.txt"), KIND_FILE }, SIDE_LEFT, QStringLiteral("sneaked.txt")),
        QString());
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/sneaked.txt"))), QByteArray("arrived after the comparison"));

    for (const QString& strBad : { QString(), QStringLiteral(".."), QStringLiteral("a/b"), QStringLiteral("x\ny"),
             QStringLiteral("$quorvelmine"), QString(300, QLatin1Char('n')) }) {
        EXPECT_NE(m_pView->RenameItem({ QStringLiteral("keep.txt"), KIND_FILE }, SIDE_LEFT, strBad), QString())
            << strBad.toStdString();
    }
    EXPECT_TRUE(QFile::exists(Local(QStringLiteral("/keep.txt"))));

    // A folder takes what is inside it along.
    EXPECT_EQ(m_pView->RenameItem({ QStringLiteral("dir"), KIND_DIR }, SIDE_LEFT, QStringLiteral("folder")), QString());
    ASSERT_NE(Item(QStringLiteral("folder/inner.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("folder/inner.txt"))->status, FILE_LEFT_ONLY);
    EXPECT_EQ(Item(QStringLiteral("dir"), KIND_DIR), nullptr);
}

TEST_F(ViewEdits, RemoteRenamesGoThroughTheServerAndARefusalChangesNothing)
{
    ASSERT_TRUE(Start({ QStringLiteral("--refuse"), QStringLiteral("RNTO:550 Not allowed here.") }));
    WriteFileBytes(Remote(QStringLiteral("/pub/a.txt")), "remote");
    WriteFileBytes(Local(QStringLiteral("/a.txt")), "remote");
    ASSERT_TRUE(Compare());
    ASSERT_EQ(Item(QStringLiteral("a.txt"))->status, FILE_SAME);

    const QString strError
        = m_pView->RenameItem({ QStringLiteral("a.txt"), KIND_FILE }, SIDE_RIGHT, QStringLiteral("b.txt"));
    EXPECT_TRUE(strError.contains(QStringLiteral("Not allowed here"))) << strError.toStdString();
    EXPECT_TRUE(QFile::exists(Remote(QStringLiteral("/pub/a.txt"))));
    EXPECT_EQ(Item(QStringLiteral("a.txt"))->status, FILE_SAME) << "the tree shows what the server still has";
    EXPECT_EQ(Item(QStringLiteral("b.txt")), nullptr);

    // A batch's remote rename is a job of its own in the transfer list, refused there with the reason.
    EXPECT_FALSE(
        m_pView->RenameInFolder(SIDE_RIGHT, QStringLiteral("/pub"), QStringLiteral("a.txt"), QStringLiteral("c.txt"))
            .isEmpty());
    ASSERT_EQ(m_list.Rows().size(), 1u);
    EXPECT_EQ(m_list.Rows().front().columns[COL_OPERATION], QStringLiteral("RENAME"));
    EXPECT_EQ(m_list.Rows().front().columns[COL_STATUS], QStringLiteral("Failed"));
    EXPECT_THAT(m_list.Rows().front().columns[COL_MESSAGE], QHasSubstr("Not allowed here"));
    EXPECT_TRUE(QFile::exists(Remote(QStringLiteral("/pub/a.txt"))));
}

TEST_F(ViewEdits, RemoteRenameAndNewFoldersOnBothSidesShowInTheTreeAndSurviveAComparison)
{
    ASSERT_TRUE(Start());
    WriteFileBytes(Remote(QStringLiteral("/pub/a.txt")), "remote");
    WriteFileBytes(Local(QStringLiteral("/a.txt")), "remote");
    ASSERT_TRUE(Compare());

    EXPECT_EQ(
        m_pView->RenameInFolder(SIDE_RIGHT, QStringLiteral("/pub"), QStringLiteral("a.txt"), QStringLiteral("z.txt")),
        QString());
    EXPECT_EQ(
        m_pView->RenameInFolder(SIDE_RIGHT, QStringLiteral("/pub"), QStringLiteral("z.txt"), QStringLiteral("a.txt")),
        QString());
    for (const TransferRow& row : m_list.Rows()) {
        EXPECT_EQ(row.columns[COL_STATUS], QStringLiteral("Completed"));
    }
    EXPECT_EQ(
        m_pView->RenameItem({ QStringLiteral("a.txt"), KIND_FILE }, SIDE_RIGHT, QStringLiteral("b.txt")), QString());
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/b.txt"))), QByteArray("remote"));
    EXPECT_FALSE(QFile::exists(Remote(QStringLiteral("/pub/a.txt"))));
    ASSERT_NE(Item(QStringLiteral("a.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("a.txt"))->status, FILE_LEFT_ONLY);
    ASSERT_NE(Item(QStringLiteral("b.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("b.txt"))->status, FILE_RIGHT_ONLY);

    EXPECT_EQ(m_pView->MakeFolder({ QString(), KIND_DIR }, SIDE_RIGHT, QStringLiteral("made")), QString());
    EXPECT_TRUE(QFileInfo(Remote(QStringLiteral("/pub/made"))).isDir());
    EXPECT_EQ(m_pView->MakeFolder({ QString(), KIND_DIR }, SIDE_LEFT, QStringLiteral("made")), QString());
    EXPECT_TRUE(QFileInfo(Local(QStringLiteral("/made"))).isDir());
    ASSERT_NE(Item(QStringLiteral("made"), KIND_DIR), nullptr);
    EXPECT_EQ(Item(QStringLiteral("made"), KIND_DIR)->status, DIR_BOTH);
    EXPECT_NE(m_pView->MakeFolder({ QString(), KIND_DIR }, SIDE_LEFT, QStringLiteral("made")), QString())
        << "an existing folder is not taken over";
    EXPECT_EQ(
        m_pView->MakeFolder({ QStringLiteral("made"), KIND_DIR }, SIDE_RIGHT, QStringLiteral("inner")), QString());
    EXPECT_TRUE(QFileInfo(Remote(QStringLiteral("/pub/made/inner"))).isDir());

    // The server's truth, listed again, agrees with what the tree showed.
    ASSERT_TRUE(Compare());
    EXPECT_EQ(Item(QStringLiteral("b.txt"))->status, FILE_RIGHT_ONLY);
    EXPECT_EQ(Item(QStringLiteral("made/inner"), KIND_DIR)->status, DIR_RIGHT_ONLY);
}

} // namespace
