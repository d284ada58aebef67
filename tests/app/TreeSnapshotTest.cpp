#include "app/TreeSnapshot.h"

#include "app/PaneCommandRules.h"

#include "common/TestFiles.h"
#include "tree/FolderComparison.h"

#include <QDir>
#include <QFile>

namespace {

// local: a/same.txt a/diff.txt a/left.txt b/ (empty)   right: a/same.txt a/diff.txt c/right.txt
std::unique_ptr<CFolderComparison> CompareSample()
{
    const QString strLeft = MakeTestFolder(QStringLiteral("snap-left"));
    const QString strRight = MakeTestFolder(QStringLiteral("snap-right"));
    WriteFileBytes(strLeft + QStringLiteral("/a/same.txt"), "same");
    WriteFileBytes(strRight + QStringLiteral("/a/same.txt"), "same");
    WriteFileBytes(strLeft + QStringLiteral("/a/diff.txt"), "left!");
    WriteFileBytes(strRight + QStringLiteral("/a/diff.txt"), "right");
    WriteFileBytes(strLeft + QStringLiteral("/a/left.txt"), "1234567");
    WriteFileBytes(strRight + QStringLiteral("/c/right.txt"), "r");
    QDir().mkpath(strLeft + QStringLiteral("/b"));
    auto comparison = std::make_unique<CFolderComparison>(strLeft, strRight);
    EXPECT_TRUE(comparison->Run(1).bOk);
    return comparison;
}

TEST(TreeSnapshot, ChildrenLieTogetherAndFoldersKnowWhatDiffersBelow)
{
    const auto comparison = CompareSample();
    const auto pSnapshot = CTreeSnapshot::Take(comparison->Tree().Root());
    const SnapshotNode& root = pSnapshot->Node(0);
    ASSERT_EQ(root.nChildCount, 3);
    const SnapshotNode& a = pSnapshot->Node(root.nFirstChild);
    EXPECT_EQ(a.strName, QStringLiteral("a"));
    EXPECT_EQ(a.nClass, CLASS_FOLDER_BOTH);
    EXPECT_TRUE(a.DiffersBelow());
    QStringList names;
    for (int i = a.nFirstChild; i < a.nFirstChild + a.nChildCount; ++i) {
        EXPECT_EQ(pSnapshot->Node(i).nParent, root.nFirstChild);
        EXPECT_EQ(pSnapshot->Node(i).nRow, i - a.nFirstChild);
        names.append(pSnapshot->Node(i).strName);
    }
    EXPECT_EQ(
        names, (QStringList { QStringLiteral("diff.txt"), QStringLiteral("left.txt"), QStringLiteral("same.txt") }));
    const SnapshotNode& b = pSnapshot->Node(root.nFirstChild + 1);
    EXPECT_EQ(b.nClass, CLASS_FOLDER_ONE_SIDE);
    EXPECT_TRUE(b.IsOn(SIDE_LEFT));
    EXPECT_FALSE(b.IsOn(SIDE_RIGHT));
}

TEST(TreeSnapshot, TotalsCountItemsAndBytesPerClass)
{
    const auto comparison = CompareSample();
    const auto pSnapshot = CTreeSnapshot::Take(comparison->Tree().Root());
    const auto& totals = pSnapshot->Totals();
    EXPECT_EQ(totals[CLASS_SAME].nItems, 1);
    EXPECT_EQ(totals[CLASS_DIFF].nItems, 1);
    EXPECT_EQ(totals[CLASS_LEFT_ONLY].nItems, 1);
    EXPECT_EQ(totals[CLASS_LEFT_ONLY].nBytes, 7);
    EXPECT_EQ(totals[CLASS_RIGHT_ONLY].nItems, 1);
    EXPECT_EQ(totals[CLASS_FOLDER_ONE_SIDE].nItems, 2);
    EXPECT_EQ(pSnapshot->FileCount(), 4);
}

int NodeNamed(const CTreeSnapshot& snapshot, const QString& strParent, const QString& strName)
{
    for (int i = 1; i < snapshot.Size(); ++i) {
        const SnapshotNode& node = snapshot.Node(i);
        if (node.strName == strName
            && (node.nParent == 0 ? QString() : snapshot.Node(node.nParent).strName) == strParent) {
            return i;
        }
    }
    return 0;
}

TEST(TreeSnapshot, NodesAreFoundAgainInTheSnapshotOfAChangedTree)
{
    const auto comparison = CompareSample();
    const auto pBefore = CTreeSnapshot::Take(comparison->Tree().Root());
    // A file that sorts first appears in a/, so every node after it moves.
    WriteFileBytes(TestRoot() + QStringLiteral("/work/snap-left/a/0new.txt"), "n");
    ASSERT_TRUE(comparison->Run(1).bOk);
    const auto pAfter = CTreeSnapshot::Take(comparison->Tree().Root());
    ASSERT_EQ(pAfter->Size(), pBefore->Size() + 1);

    const std::vector<int> nodes { NodeNamed(*pBefore, QStringLiteral("a"), QStringLiteral("same.txt")),
        NodeNamed(*pBefore, {}, QStringLiteral("c")),
        NodeNamed(*pBefore, QStringLiteral("c"), QStringLiteral("right.txt")),
        NodeNamed(*pBefore, QStringLiteral("a"), QStringLiteral("same.txt")), 0 };
    const std::vector<int> found = FindNodesAgain(*pBefore, nodes, *pAfter);
    ASSERT_EQ(found.size(), nodes.size());
    EXPECT_EQ(found[0], NodeNamed(*pAfter, QStringLiteral("a"), QStringLiteral("same.txt")));
    EXPECT_NE(found[0], nodes[0]) << "the node moved; the test must not pass by its old number";
    EXPECT_EQ(found[1], NodeNamed(*pAfter, {}, QStringLiteral("c")));
    EXPECT_EQ(found[2], NodeNamed(*pAfter, QStringLiteral("c"), QStringLiteral("right.txt")));
    EXPECT_EQ(found[3], found[0]) << "a node asked for twice is found twice";
    EXPECT_EQ(found[4], 0) << "the root is never a node to find";

    // A node whose item is gone is not found.
    QFile::remove(TestRoot() + QStringLiteral("/work/snap-left/a/left.txt"));
    ASSERT_TRUE(comparison->Run(1).bOk);
    const auto pGone = CTreeSnapshot::Take(comparison->Tree().Root());
    EXPECT_EQ(FindNodesAgain(*pAfter, { NodeNamed(*pAfter, QStringLiteral("a"), QStringLiteral("left.txt")) }, *pGone),
        std::vector<int> { 0 });
}

TEST(TreeSnapshot, CopyingDifferencesTakesDifferingFilesAndOneSidedFoldersWhole)
{
    const auto comparison = CompareSample();
    const auto pSnapshot = CTreeSnapshot::Take(comparison->Tree().Root());
    const SnapshotNode& root = pSnapshot->Node(0);
    std::vector<int> top;
    for (int i = root.nFirstChild; i < root.nFirstChild + root.nChildCount; ++i) {
        top.push_back(i);
    }
    // The same folder selected twice, and a file inside it, yield each item once.
    top.push_back(root.nFirstChild);
    top.push_back(NodeNamed(*pSnapshot, QStringLiteral("a"), QStringLiteral("diff.txt")));
    QStringList fromLeft;
    for (const int nNode : DifferencesBelow(*pSnapshot, top, SIDE_LEFT)) {
        fromLeft.append(RelativePathOf(*pSnapshot, nNode));
    }
    fromLeft.sort();
    EXPECT_EQ(
        fromLeft, (QStringList { QStringLiteral("a/diff.txt"), QStringLiteral("a/left.txt"), QStringLiteral("b") }));
    QStringList fromRight;
    for (const int nNode : DifferencesBelow(*pSnapshot, top, SIDE_RIGHT)) {
        fromRight.append(RelativePathOf(*pSnapshot, nNode));
    }
    fromRight.sort();
    EXPECT_EQ(fromRight, (QStringList { QStringLiteral("a/diff.txt"), QStringLiteral("c") }));
}

TEST(TreeSnapshot, SizeTextsThatAreNotNumbersCountNoBytes)
{
    EXPECT_EQ(BytesOfSizeText(QStringLiteral("1,234,567")), 1234567);
    EXPECT_EQ(BytesOfSizeText(QStringLiteral("-5")), -1);
    EXPECT_EQ(BytesOfSizeText(QStringLiteral("1e3")), -1);
    EXPECT_EQ(BytesOfSizeText(QStringLiteral("?")), -1);
    EXPECT_EQ(BytesOfSizeText(QStringLiteral("99999999999999999999999")), -1);
}

} // namespace
