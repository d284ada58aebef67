#include "tree/FileTree.h"
#include "support/LogFixture.h"
#include "tree/ItemComparer.h"
#include "tree/TreeDump.h"
#include "tree/TreeOperations.h"

using testing::ElementsAre;

namespace {

CFileItem* Add(CFileItem* pParent, int nKind, const QString& strName, const QString& strLeft, const QString& strRight)
{
    CFileItemPtr pItem = NewItem();
    pItem->kind = nKind;
    pItem->strName = strName;
    pItem->strPaths[SIDE_LEFT] = strLeft;
    pItem->strPaths[SIDE_RIGHT] = strRight;
    pItem->status = nKind == KIND_DIR ? DIR_BOTH : FILE_UNKNOWN;
    return AddItem(std::move(pItem), pParent);
}

// A tree of /l (left) against /m (right): folder a on both sides holds folder b on the left only, which
// holds file f on the left only; folder x holds y, on the left only; file t is on both sides.
class TargetPaths : public LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        m_tree.SetRootPath(SIDE_LEFT, QStringLiteral("/l"));
        m_tree.SetRootPath(SIDE_RIGHT, QStringLiteral("/m/"));
        m_pA = Add(m_tree.Root(), KIND_DIR, QStringLiteral("a"), QStringLiteral("/l"), QStringLiteral("/m"));
        m_pB = Add(m_pA, KIND_DIR, QStringLiteral("b"), QStringLiteral("/l/a"), QString());
        m_pF = Add(m_pB, KIND_FILE, QStringLiteral("f"), QStringLiteral("/l/a/b"), QString());
        m_pX = Add(m_tree.Root(), KIND_DIR, QStringLiteral("x"), QStringLiteral("/l"), QString());
        m_pY = Add(m_pX, KIND_DIR, QStringLiteral("y"), QStringLiteral("/l/x"), QString());
        m_pG = Add(m_pY, KIND_FILE, QStringLiteral("g"), QStringLiteral("/l/x/y"), QString());
        m_pT = Add(m_tree.Root(), KIND_FILE, QStringLiteral("t"), QStringLiteral("/l"), QStringLiteral("/m"));
        NumberItems(m_tree.Root());
    }

    QString Target(const CFileItem* pItem, int nSide, bool& bDerived) const
    {
        return m_tree.FillOutTargetPath(pItem, nSide, bDerived);
    }

    CFileTree m_tree;
    CFileItem* m_pA = nullptr;
    CFileItem* m_pB = nullptr;
    CFileItem* m_pF = nullptr;
    CFileItem* m_pX = nullptr;
    CFileItem* m_pY = nullptr;
    CFileItem* m_pG = nullptr;
    CFileItem* m_pT = nullptr;
};

TEST_F(TargetPaths, OwnTargetFolderIsUsedAsItStands)
{
    bool bDerived = true;
    EXPECT_EQ(Target(m_pT, SIDE_RIGHT, bDerived), QStringLiteral("/m"));
    EXPECT_FALSE(bDerived);
}

TEST_F(TargetPaths, MissingFoldersAreFilledInBelowTheNearestOneThatExists)
{
    bool bDerived = false;
    EXPECT_EQ(Target(m_pF, SIDE_RIGHT, bDerived), QStringLiteral("/m/a/b"));
    EXPECT_TRUE(bDerived);
    EXPECT_EQ(Target(m_pB, SIDE_RIGHT, bDerived), QStringLiteral("/m/a"));
    EXPECT_EQ(Target(m_pG, SIDE_RIGHT, bDerived), QStringLiteral("/m/x/y")) << "no ancestor there: the side's root";
}

TEST_F(TargetPaths, TopLevelItemsTakeTheFolderOfTheirFirstSiblingThatHasOne)
{
    bool bDerived = false;
    EXPECT_EQ(Target(m_pX, SIDE_RIGHT, bDerived), QStringLiteral("/m"));
    DropDirSide(SIDE_RIGHT, m_pA);
    DropSide(SIDE_RIGHT, m_pT);
    EXPECT_EQ(Target(m_pX, SIDE_RIGHT, bDerived), QString());
}

TEST_F(TargetPaths, DetachedCopiesAreFoundInTheTreeByFullName)
{
    const QString strPath = NewLog();
    const CFileItemPtr pCopy = CloneItem(*m_pY);
    EXPECT_EQ(pCopy->fParent, nullptr);
    bool bDerived = false;
    EXPECT_EQ(Target(pCopy.get(), SIDE_RIGHT, bDerived), QStringLiteral("/m/x"));
    EXPECT_TRUE(bDerived);

    const CFileItemPtr pStranger = NewItem();
    pStranger->kind = KIND_FILE;
    pStranger->strName = QStringLiteral("nowhere");
    pStranger->strPaths[SIDE_LEFT] = QStringLiteral("/elsewhere");
    EXPECT_EQ(Target(pStranger.get(), SIDE_RIGHT, bDerived), QString());
    const QStringList lines = ReadFileLines(strPath);
    EXPECT_THAT(lines, testing::Contains(QHasSubstr("] pItemTmp->fParent is NULL.")));
    EXPECT_THAT(lines,
        testing::Contains(QHasSubstr("] FILE item. nIdx not found. Trying again from src view(=0), i.e. /elsewhere.")));
    EXPECT_THAT(lines, testing::Contains(QHasSubstr("] nIdx = -1. returning an empty string...")));
}

TEST_F(TargetPaths, FindIndexReportsWhichSideMatched)
{
    const QString strPath = NewLog();
    int nSide = 99;
    EXPECT_EQ(find_index_from_FileList(QString(), m_tree.Root(), KIND_ANY, nSide), -1);
    EXPECT_EQ(find_index_from_FileList(QStringLiteral("/l/a"), nullptr, KIND_ANY, nSide), -1);
    EXPECT_EQ(find_index_from_FileList(QStringLiteral("/l/a/b/f"), m_tree.Root(), KIND_FILE, nSide), m_pF->index);
    EXPECT_EQ(nSide, 0);
    EXPECT_EQ(find_index_from_FileList(QStringLiteral("/m/a"), m_tree.Root(), KIND_ANY, nSide), m_pA->index);
    EXPECT_EQ(nSide, 1);
    m_pT->strPaths[SIDE_RIGHT] = QStringLiteral("/l");
    EXPECT_EQ(find_index_from_FileList(QStringLiteral("/l/t"), m_tree.Root(), KIND_FILE, nSide), m_pT->index);
    EXPECT_EQ(nSide, 2);
    EXPECT_EQ(find_index_from_FileList(QStringLiteral("/l/a"), m_tree.Root(), KIND_FILE, nSide), -1) << "a is a folder";
    EXPECT_THAT(ReadFileLines(strPath),
        ElementsAre(QStringLiteral("find_index_from_FileList:: empty strFullName"),
            QStringLiteral("find_index_from_FileList:: pParent=NULL for strFullName=[/l/a]"),
            QStringLiteral("find_index_from_FileList:: Index found (=2) for strFullName=[/l/a/b/f]. View=0"),
            QStringLiteral("find_index_from_FileList:: Index found (=0) for strFullName=[/m/a]. View=1"),
            QStringLiteral("find_index_from_FileList:: Index found (=6) for strFullName=[/l/t]. View=2"),
            QStringLiteral("find_index_from_FileList:: returning Index(=-1) for strFullName=[/l/a]. View=-1")));
}

TEST_F(TargetPaths, RowLookupReportsRowsOutOfRange)
{
    const QString strPath = NewLog();
    EXPECT_EQ(m_tree.GetTreeItem(2), m_pF);
    EXPECT_EQ(m_tree.GetTreeItem(7), nullptr);
    EXPECT_EQ(m_tree.GetTreeItem(-1), nullptr);
    EXPECT_THAT(ReadFileLines(strPath),
        ElementsAre(QStringLiteral("GetTreeItem:: index passed in out of range. nIndex=7, total items=7"),
            QStringLiteral("GetTreeItem:: index passed in out of range. nIndex=-1, total items=7")));
    m_tree.SetRowLookup([this](int nIndex) { return nIndex == 0 ? m_pT : nullptr; });
    EXPECT_EQ(m_tree.GetTreeItem(0), m_pT);
}

TEST_F(TargetPaths, DumpShowsEveryItemWithItsStatusIconsAndPaths)
{
    const QString strPath = NewLog();
    SetFullLog(true);
    for (CFileItem* pItem = m_tree.Root()->pFirstChild; pItem != nullptr;
         pItem = NextInPreOrder(pItem, m_tree.Root())) {
        SetIconsFromStatus(pItem);
    }
    m_pA->bExpanded[SIDE_LEFT] = true;
    DumpTree(m_tree.Root());
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_EQ(lines.size(), 7 * 3);
    EXPECT_EQ(lines[0],
        QStringLiteral(
            "[0]=DIR[a], indent/index=[-1/0]  Both Left=ICON_CLOSE Right=ICON_CLOSE Left-Expand Right-Collapse"));
    EXPECT_EQ(lines[1], QStringLiteral("\tPath[0]=[/l]"));
    EXPECT_EQ(lines[2], QStringLiteral("\tPath[1]=[/m]"));
    EXPECT_EQ(lines[6],
        QStringLiteral("\t\t[2]=FILE[f], indent/index=[-1/2]  UNKNOWN Left=ICON_UNKNOWN_FILE Right=ICON_UNKNOWN_FILE"));
    EXPECT_EQ(lines[8], QStringLiteral("\t\t\tPath[1]=[]"));
}

} // namespace
