#include <algorithm>
#include <random>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "tree/FileTree.h"
#include "tree/NameRules.h"
#include "tree/ScannedMerge.h"
#include "tree/TreeOperations.h"

using testing::ElementsAre;

namespace {

// Runs a test under a given name-matching rule and restores the platform's afterwards.
class NameRuleScope
{
public:
    explicit NameRuleScope(NameMatching rule)
        : m_saved(CurrentNameMatching())
    {
        SetNameMatching(rule);
    }
    ~NameRuleScope() { SetNameMatching(m_saved); }

private:
    NameMatching m_saved;
};

CFileItemPtr Entry(int nKind, int nSide, const QString& strName, const QString& strFolder = QStringLiteral("/f"))
{
    CFileItemPtr pItem = NewItem();
    pItem->kind = nKind;
    pItem->strName = strName;
    pItem->strPaths[nSide] = strFolder;
    pItem->strSize[nSide] = QStringLiteral("1");
    if (nKind == KIND_FILE) {
        pItem->status = nSide == SIDE_LEFT ? FILE_LEFT_ONLY : FILE_RIGHT_ONLY;
    } else {
        pItem->status = nSide == SIDE_LEFT ? DIR_LEFT_ONLY : DIR_RIGHT_ONLY;
    }
    return pItem;
}

QStringList ChildNames(const CFileItem* pFolder)
{
    QStringList names;
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        names.append(pItem->kind == KIND_DIR ? pItem->strName + QLatin1Char('/') : pItem->strName);
    }
    return names;
}

// The links must agree in both directions, with the folder's ends, and with the folder's index.
void ExpectConsistentLinks(const CFileItem* pFolder)
{
    const CFileItem* pPrev = nullptr;
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        EXPECT_EQ(pItem->pPrev, pPrev);
        EXPECT_EQ(pItem->fParent, pFolder);
        EXPECT_EQ(FindSibling(pItem->kind, pItem->strName, pFolder->pFirstChild), pItem);
        pPrev = pItem;
    }
    EXPECT_EQ(pFolder->pLastChild, pPrev);
}

TEST(TreeMerge, IgnoringCaseTheRightSideGivesTheNameAndBothSidesAreToBeCompared)
{
    const NameRuleScope rule(NameMatching::CaseInsensitive);
    CFileTree tree;
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("Readme.txt")), tree.Root());
    CFileItem* pMerged
        = AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("README.TXT"), QStringLiteral("/m")), tree.Root());
    EXPECT_THAT(ChildNames(tree.Root()), ElementsAre(QStringLiteral("README.TXT")));
    EXPECT_EQ(pMerged->status, FILE_UNKNOWN);
    EXPECT_EQ(pMerged->strPaths[SIDE_LEFT], QStringLiteral("/f"));
    EXPECT_EQ(pMerged->strPaths[SIDE_RIGHT], QStringLiteral("/m"));

    // A later left entry of another case does not rename it: names come from the right only.
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("readme.TXT")), tree.Root());
    EXPECT_THAT(ChildNames(tree.Root()), ElementsAre(QStringLiteral("README.TXT")));
    ExpectConsistentLinks(tree.Root());
}

TEST(TreeMerge, HonouringCaseTwoSpellingsAreTwoFiles)
{
    const NameRuleScope rule(NameMatching::CaseSensitive);
    CFileTree tree;
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("Readme.txt")), tree.Root());
    AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("README.TXT")), tree.Root());
    AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("Readme.txt")), tree.Root());
    EXPECT_THAT(ChildNames(tree.Root()), ElementsAre(QStringLiteral("README.TXT"), QStringLiteral("Readme.txt")));
    EXPECT_EQ(tree.Root()->pFirstChild->status, FILE_RIGHT_ONLY);
    EXPECT_EQ(tree.Root()->pLastChild->status, FILE_UNKNOWN);
    ExpectConsistentLinks(tree.Root());
}

TEST(TreeMerge, FoldersComeFirstAndOrderIgnoresCase)
{
    for (const NameMatching matching : { NameMatching::CaseSensitive, NameMatching::CaseInsensitive }) {
        const NameRuleScope rule(matching);
        CFileTree tree;
        for (const char* name : { "b", "A", "c" }) {
            AddItem(Entry(KIND_FILE, SIDE_LEFT, QString::fromUtf8(name)), tree.Root());
        }
        AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("a2")), tree.Root());
        AddItem(Entry(KIND_DIR, SIDE_RIGHT, QStringLiteral("a")), tree.Root());
        AddItem(Entry(KIND_DIR, SIDE_LEFT, QStringLiteral("Z")), tree.Root());
        EXPECT_THAT(ChildNames(tree.Root()),
            ElementsAre(QStringLiteral("a/"), QStringLiteral("Z/"), QStringLiteral("A"), QStringLiteral("a2"),
                QStringLiteral("b"), QStringLiteral("c")));
        ExpectConsistentLinks(tree.Root());
    }
}

TEST(TreeMerge, SameSideTwiceKeepsItsStatusAndTakesTheNewerValues)
{
    CFileTree tree;
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("a")), tree.Root());
    CFileItemPtr pSecond = Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("a"), QStringLiteral("/g"));
    pSecond->strSize[SIDE_LEFT] = QStringLiteral("2,048");
    CFileItem* pItem = AddItem(std::move(pSecond), tree.Root());
    EXPECT_EQ(pItem->status, FILE_LEFT_ONLY);
    EXPECT_EQ(pItem->strPaths[SIDE_LEFT], QStringLiteral("/g"));
    EXPECT_EQ(pItem->strSize[SIDE_LEFT], QStringLiteral("2,048"));

    CFileItem* pFolder = AddItem(Entry(KIND_DIR, SIDE_RIGHT, QStringLiteral("d")), tree.Root());
    AddItem(Entry(KIND_DIR, SIDE_RIGHT, QStringLiteral("d")), tree.Root());
    EXPECT_EQ(pFolder->status, DIR_RIGHT_ONLY);
    CFileItemPtr pLeft = Entry(KIND_DIR, SIDE_LEFT, QStringLiteral("d"));
    pLeft->bListed[SIDE_LEFT] = true;
    pLeft->bExpanded[SIDE_LEFT] = true;
    AddItem(std::move(pLeft), tree.Root());
    EXPECT_EQ(pFolder->status, DIR_BOTH);
    EXPECT_TRUE(pFolder->bListed[SIDE_LEFT] && pFolder->bExpanded[SIDE_LEFT]);
    EXPECT_THAT(ChildNames(tree.Root()), ElementsAre(QStringLiteral("d/"), QStringLiteral("a")));
}

TEST(TreeMerge, AFileAndAFolderOfOneNameAreTwoItems)
{
    CFileTree tree;
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("a")), tree.Root());
    AddItem(Entry(KIND_DIR, SIDE_LEFT, QStringLiteral("a")), tree.Root());
    AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("a")), tree.Root());
    EXPECT_THAT(ChildNames(tree.Root()), ElementsAre(QStringLiteral("a/"), QStringLiteral("a")));
    EXPECT_EQ(tree.Root()->pFirstChild->status, DIR_LEFT_ONLY);
    EXPECT_EQ(tree.Root()->pLastChild->status, FILE_UNKNOWN);
}

// Names that mix case and hold letters that fold to ASCII, to two letters, or to other non-ASCII ones.
QStringList RandomNames(std::mt19937& random, int nCount)
{
    static const QStringList kOdd { QStringLiteral("\u212A"), QStringLiteral("\u017F"), QStringLiteral("\u00DF"),
        QStringLiteral("\u00C9"), QStringLiteral("\u00E9"), QStringLiteral("k") };
    QStringList names;
    for (int i = 0; i < nCount; ++i) {
        QString name = QString::number(random() % 100000, 36);
        if (random() % 2 == 0) {
            name = name.toUpper();
        }
        if (random() % 4 == 0) {
            name.insert(static_cast<qsizetype>(random() % (name.size() + 1)), kOdd[random() % kOdd.size()]);
        }
        names.append(name);
    }
    return names;
}

// Every child, in order, with its kind, status and the folder it has on each side.
QStringList Describe(const CFileItem* pFolder)
{
    QStringList lines;
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        lines.append(QStringLiteral("%1 %2 %3 %4 %5")
                         .arg(pItem->strName)
                         .arg(pItem->kind)
                         .arg(pItem->status)
                         .arg(pItem->strPaths[SIDE_LEFT].Text(), pItem->strPaths[SIDE_RIGHT].Text()));
    }
    return lines;
}

TEST(TreeMerge, ManyEntriesInRandomOrderEndSortedAndIndexed)
{
    for (const NameMatching matching : { NameMatching::CaseSensitive, NameMatching::CaseInsensitive }) {
        const NameRuleScope rule(matching);
        std::mt19937 random(42);
        const QStringList names = RandomNames(random, 3000);
        CFileTree tree;
        for (const QString& name : names) {
            AddItem(Entry(random() % 5 == 0 ? KIND_DIR : KIND_FILE, static_cast<int>(random() % 2), name), tree.Root());
        }
        ExpectConsistentLinks(tree.Root());
        for (const CFileItem* pItem = tree.Root()->pFirstChild; pItem && pItem->pNext; pItem = pItem->pNext) {
            const CFileItem* pNext = pItem->pNext;
            const bool bOrdered = pItem->kind != pNext->kind
                ? pItem->kind == KIND_DIR
                : NameOrderKey(pItem->strName) <= NameOrderKey(pNext->strName);
            ASSERT_TRUE(bOrdered) << pItem->strName.toStdString() << " before " << pNext->strName.toStdString();
            ASSERT_FALSE(pItem->kind == pNext->kind && NamesMatch(pItem->strName, pNext->strName))
                << "duplicate sibling";
        }
    }
}

TEST(TreeMerge, EntriesPlacedThroughACursorMergeAsOneByOne)
{
    // A side comes in sibling order, with now and then an entry out of order, case twins that merge into one
    // item, and right-side spellings that rename the item the cursor stands on.
    for (const NameMatching matching : { NameMatching::CaseSensitive, NameMatching::CaseInsensitive }) {
        const NameRuleScope rule(matching);
        std::mt19937 random(7);
        CFileTree oneByOne;
        CFileTree throughCursor;
        for (const int nSide : { SIDE_LEFT, SIDE_RIGHT }) {
            QStringList names = RandomNames(random, 2000);
            for (int i = 0; i < 200; ++i) {
                names.append(names[static_cast<qsizetype>(random() % names.size())].toLower());
            }
            std::vector<std::pair<int, QString>> entries;
            for (const QString& name : names) {
                entries.emplace_back(random() % 5 == 0 ? KIND_DIR : KIND_FILE, name);
            }
            std::sort(entries.begin(), entries.end(),
                [](const auto& a, const auto& b) { return PrecedesAsSibling(a.first, a.second, b.first, b.second); });
            for (int i = 0; i < 50; ++i) {
                std::swap(entries[random() % entries.size()], entries[random() % entries.size()]);
            }
            CSiblingIndex::Cursor cursor;
            const QString strFolder = nSide == SIDE_LEFT ? QStringLiteral("/l") : QStringLiteral("/r");
            for (const auto& [nKind, name] : entries) {
                AddItem(Entry(nKind, nSide, name, strFolder), oneByOne.Root());
                CFileItemPtr pNew = Entry(nKind, nSide, name, strFolder);
                const CSiblingIndex::Place place = LocateChild(throughCursor.Root(), cursor, nKind, name);
                if (place.pMatch != nullptr) {
                    MergeChild(place.pMatch, std::move(*pNew), cursor);
                } else {
                    LinkChild(std::move(pNew), throughCursor.Root(), place, cursor);
                }
            }
        }
        ExpectConsistentLinks(throughCursor.Root());
        ASSERT_EQ(Describe(throughCursor.Root()), Describe(oneByOne.Root()));
    }
}

// A side's scan of a random tree: names from a small set, so that the sides meet, and case twins that the
// name rules may merge into one item; nDepth limits how far folders go down.
RecordList RandomScan(std::mt19937& random, int nLevel, int nDepth)
{
    RecordList entries(nLevel == 0 ? 60 : random() % (16 / nLevel + 1));
    for (ScannedEntry& entry : entries) {
        entry.strName = QString::number(random() % 24, 36);
        if (random() % 3 == 0) {
            entry.strName = entry.strName.toUpper();
        }
        entry.bFolder = nLevel < nDepth && random() % 3 == 0;
        if (entry.bFolder) {
            entry.bListed = entry.bExpanded = random() % 8 != 0;
            if (entry.bExpanded) {
                entry.pChildren = std::make_unique<RecordList>(RandomScan(random, nLevel + 1, nDepth));
            }
        } else {
            entry.strSize = QString::number(random() % 4);
            entry.nRead = random() % 16 == 0 ? SideRead::Unreadable : SideRead::Full;
        }
    }
    std::sort(entries.begin(), entries.end(), [](const ScannedEntry& a, const ScannedEntry& b) {
        return PrecedesAsSibling(
            a.bFolder ? KIND_DIR : KIND_FILE, a.strName, b.bFolder ? KIND_DIR : KIND_FILE, b.strName);
    });
    return entries;
}

RecordList CopyScan(const RecordList& entries)
{
    RecordList copy(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        copy[i].strName = entries[i].strName;
        copy[i].strSize = entries[i].strSize;
        copy[i].bFolder = entries[i].bFolder;
        copy[i].bListed = entries[i].bListed;
        copy[i].bExpanded = entries[i].bExpanded;
        copy[i].nRead = entries[i].nRead;
        if (entries[i].pChildren) {
            copy[i].pChildren = std::make_unique<RecordList>(CopyScan(*entries[i].pChildren));
        }
    }
    return copy;
}

// Every item below pFolder in pre-order, with what each side says of it.
void DescribeTree(const CFileItem* pFolder, QStringList& lines)
{
    for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
        lines.append(QStringLiteral("%1 %2 %3 %4 | %5 %6 %7 %8 | %9 %10 %11")
                         .arg(pItem->indent)
                         .arg(pItem->strName)
                         .arg(pItem->kind)
                         .arg(pItem->status)
                         .arg(pItem->strPaths[SIDE_LEFT].Text(), pItem->strPaths[SIDE_RIGHT].Text(),
                             pItem->strShowPaths[SIDE_RIGHT].Text(), pItem->strSize[SIDE_LEFT].Text(),
                             pItem->strSize[SIDE_RIGHT].Text())
                         .arg(static_cast<int>(pItem->nRead[SIDE_LEFT]))
                         .arg(static_cast<int>(pItem->nRead[SIDE_RIGHT])));
        ExpectConsistentLinks(pItem);
        DescribeTree(pItem, lines);
    }
}

TEST(TreeMerge, BothSidesMergedOnSeveralThreadsGiveTheTreeOfOneSideAfterTheOther)
{
    // Wide trees split at their top, a narrow one splits further down, and a chain of single folders deeper
    // than any split is merged whole.
    for (const NameMatching matching : { NameMatching::CaseSensitive, NameMatching::CaseInsensitive }) {
        const NameRuleScope rule(matching);
        for (const int nDepth : { 1, 5 }) {
            std::mt19937 random(static_cast<unsigned>(nDepth) * 11);
            std::array<RecordList, 2> scans;
            for (RecordList& scan : scans) {
                scan = RandomScan(random, 0, nDepth);
                RecordList* pLevel = &scan;
                for (int i = 0; i < 12; ++i) {
                    ScannedEntry& link = pLevel->emplace_back();
                    link.strName = i % 2 == 0 ? QStringLiteral("Chain") : QStringLiteral("chain");
                    link.bFolder = link.bListed = link.bExpanded = true;
                    link.pChildren = std::make_unique<RecordList>();
                    pLevel = link.pChildren.get();
                }
                pLevel->emplace_back().strName = QStringLiteral("end");
            }
            const std::array<QString, 2> roots { QStringLiteral("/left"), QStringLiteral("/mirror") };
            CFileTree serial;
            AddScannedEntries(
                { CopyScan(scans[SIDE_LEFT]) }, serial.Root(), roots[SIDE_LEFT], roots[SIDE_LEFT], -1, SIDE_LEFT);
            AddScannedEntries({ CopyScan(scans[SIDE_RIGHT]) }, serial.Root(), roots[SIDE_RIGHT], QStringLiteral("/www"),
                -1, SIDE_RIGHT);
            QStringList expected;
            DescribeTree(serial.Root(), expected);
            for (const int nThreads : { 1, 3 }) {
                CFileTree parallel;
                AddScannedSides(
                    { ScannedFolder { CopyScan(scans[SIDE_LEFT]) }, ScannedFolder { CopyScan(scans[SIDE_RIGHT]) } },
                    parallel.Root(), roots, QStringLiteral("/www"), nThreads);
                QStringList lines;
                DescribeTree(parallel.Root(), lines);
                ASSERT_EQ(lines, expected) << "threads " << nThreads << ", depth " << nDepth;
            }
        }
    }
}

TEST(TreeEdit, DeleteRenameAndSideChangesKeepTheTreeWhole)
{
    CFileTree tree;
    CFileItem* pFolder = AddItem(Entry(KIND_DIR, SIDE_LEFT, QStringLiteral("d")), tree.Root());
    for (const char* name : { "a", "b", "c", "d" }) {
        AddItem(Entry(KIND_FILE, SIDE_LEFT, QString::fromUtf8(name), QStringLiteral("/f/d")), pFolder);
    }
    CFileItem* pB = FindSibling(KIND_FILE, QStringLiteral("b"), pFolder->pFirstChild);
    DeleteItem(pB);
    DeleteItem(pFolder->pFirstChild);
    DeleteItem(pFolder->pLastChild);
    EXPECT_THAT(ChildNames(pFolder), ElementsAre(QStringLiteral("c")));
    EXPECT_EQ(FindSibling(KIND_FILE, QStringLiteral("a"), pFolder->pFirstChild), nullptr);
    AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("a"), QStringLiteral("/m/d")), pFolder);
    EXPECT_THAT(ChildNames(pFolder), ElementsAre(QStringLiteral("a"), QStringLiteral("c")));
    EXPECT_EQ(pFolder->pFirstChild->status, FILE_RIGHT_ONLY) << "a deleted item must not be merged into";

    RenameItem(pFolder->pFirstChild, QStringLiteral("z"));
    EXPECT_THAT(ChildNames(pFolder), ElementsAre(QStringLiteral("c"), QStringLiteral("z")));
    ExpectConsistentLinks(pFolder);

    CFileItem* pC = pFolder->pFirstChild;
    pC->strPaths[SIDE_RIGHT] = QStringLiteral("/m/d");
    pC->strTime[SIDE_LEFT] = QStringLiteral("01/02/2026 03:04");
    CopySide(SIDE_LEFT, SIDE_RIGHT, pC);
    EXPECT_EQ(pC->status, FILE_SAME);
    EXPECT_EQ(pC->strTime[SIDE_RIGHT], QStringLiteral("01/02/2026 03:04"));
    DropSide(SIDE_LEFT, pC);
    EXPECT_EQ(pC->status, FILE_RIGHT_ONLY);
    EXPECT_TRUE(pC->strPaths[SIDE_LEFT].IsEmpty() && pC->strTime[SIDE_LEFT].IsEmpty());
    EXPECT_EQ(pC->strPaths[SIDE_RIGHT], QStringLiteral("/m/d"));

    pFolder->bExpanded[SIDE_LEFT] = pFolder->bListed[SIDE_LEFT] = true;
    DropDirSide(SIDE_LEFT, pFolder);
    EXPECT_EQ(pFolder->status, DIR_RIGHT_ONLY);
    EXPECT_FALSE(pFolder->bExpanded[SIDE_LEFT] || pFolder->bListed[SIDE_LEFT]);

    DeleteChildren(pFolder);
    EXPECT_EQ(pFolder->pFirstChild, nullptr);
    EXPECT_EQ(pFolder->pLastChild, nullptr);
    AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("c")), pFolder);
    EXPECT_EQ(pFolder->pFirstChild->status, FILE_LEFT_ONLY);
}

TEST(TreeWalk, NumberingLookUpsAndAncestry)
{
    CFileTree tree;
    CFileItem* pA = AddItem(Entry(KIND_DIR, SIDE_LEFT, QStringLiteral("a"), QStringLiteral("/l")), tree.Root());
    CFileItem* pB = AddItem(Entry(KIND_DIR, SIDE_RIGHT, QStringLiteral("b"), QStringLiteral("/r/a")), pA);
    CFileItem* pFile = AddItem(Entry(KIND_FILE, SIDE_RIGHT, QStringLiteral("f.txt"), QStringLiteral("/r/a/b")), pB);
    CFileItem* pTop = AddItem(Entry(KIND_FILE, SIDE_LEFT, QStringLiteral("top"), QStringLiteral("/l")), tree.Root());

    EXPECT_EQ(NumberItems(tree.Root()), pA);
    EXPECT_EQ(pA->index, 0);
    EXPECT_EQ(pB->index, 1);
    EXPECT_EQ(pFile->index, 2);
    EXPECT_EQ(pTop->index, 3);
    EXPECT_EQ(FindItemByIndex(tree.Root(), 2), pFile);
    EXPECT_EQ(FindItemByIndex(tree.Root(), 4), nullptr);
    EXPECT_EQ(LastSibling(pA), pTop);
    EXPECT_TRUE(IsDescendantOf(pFile, pA));
    EXPECT_FALSE(IsDescendantOf(pA, pFile));

    EXPECT_EQ(FindFileByPath(QStringLiteral("/r/a/b/f.txt"), tree.Root()), pFile);
    EXPECT_EQ(FindFileByPath(QStringLiteral("/r/a/b"), tree.Root()), nullptr) << "b is a folder";
    EXPECT_EQ(FindAnyByPath(QStringLiteral("/r/a/b"), tree.Root()), pB);
    EXPECT_EQ(FindDirByPath(QStringLiteral("/l/a"), pTop), pA);
    EXPECT_EQ(FindDirByPath(QStringLiteral("/r/a/b"), pTop), nullptr) << "only the item's own siblings are searched";
    EXPECT_EQ(FindFileByPath(QStringLiteral("no-separator"), tree.Root()), nullptr);
}

} // namespace
