#include <atomic>
#include <random>

#include <QDir>
#include <QFile>
#include <QSet>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/LogFixture.h"
#include "tree/FileTexts.h"
#include "tree/FolderComparison.h"
#include "tree/NameRules.h"
#include "tree/PeImageBuilder.h"
#include "tree/TreeOperations.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

void Write(const QString& strPath, const QByteArray& bytes, std::time_t nModified = 0)
{
    QDir().mkpath(QFileInfo(strPath).path());
    WriteFileBytes(strPath, bytes);
    if (nModified != 0) {
        const timespec times[2] = { { nModified, 0 }, { nModified, 0 } };
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(strPath).constData(), times, 0), 0);
    }
}

class FolderComparison : public LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        const QString strCase = QString::fromUtf8(testing::UnitTest::GetInstance()->current_test_info()->name());
        m_strLeft = MakeTestFolder(strCase + QStringLiteral("/local"));
        m_strRight = MakeTestFolder(strCase + QStringLiteral("/mirror"));
    }

    QString Left(const QString& strRelative) const { return m_strLeft + QLatin1Char('/') + strRelative; }
    QString Right(const QString& strRelative) const { return m_strRight + QLatin1Char('/') + strRelative; }

    // Runs the comparison and returns the item at a relative path.
    CFileItem* Item(CFolderComparison& comparison, const QString& strRelative)
    {
        CFileItem* pItem = FindAnyByPath(Left(strRelative), comparison.Tree().Root());
        return pItem != nullptr ? pItem : FindAnyByPath(Right(strRelative), comparison.Tree().Root());
    }

    static QStringList Names(const CFileItem* pFolder)
    {
        QStringList names;
        for (const CFileItem* pItem = pFolder->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
            names.append(pItem->strName);
        }
        return names;
    }

    QString m_strLeft;
    QString m_strRight;
};

TEST_F(FolderComparison, ContentsDecideWhenVersionAndSizeAgreeAndTimesNeverDo)
{
    Write(Left(QStringLiteral("same.txt")), "identical", 1000000000);
    Write(Right(QStringLiteral("same.txt")), "identical", 1700000000);
    Write(Left(QStringLiteral("diff.txt")), "contents A");
    Write(Right(QStringLiteral("diff.txt")), "contents B");
    Write(Left(QStringLiteral("longer.txt")), "short");
    Write(Right(QStringLiteral("longer.txt")), "much longer");
    Write(Left(QStringLiteral("left.txt")), "l");
    Write(Right(QStringLiteral("sub/right.txt")), "r");
    CFolderComparison comparison(m_strLeft, m_strRight);
    ASSERT_TRUE(comparison.Run(1).bOk);

    EXPECT_EQ(Item(comparison, QStringLiteral("same.txt"))->status, FILE_SAME);
    EXPECT_NE(Item(comparison, QStringLiteral("same.txt"))->strTime[0],
        Item(comparison, QStringLiteral("same.txt"))->strTime[1]);
    EXPECT_EQ(Item(comparison, QStringLiteral("diff.txt"))->status, FILE_DIFF);
    EXPECT_EQ(Item(comparison, QStringLiteral("longer.txt"))->status, FILE_DIFF);
    EXPECT_EQ(Item(comparison, QStringLiteral("left.txt"))->status, FILE_LEFT_ONLY);
    EXPECT_EQ(Item(comparison, QStringLiteral("sub"))->status, DIR_RIGHT_ONLY);
    EXPECT_EQ(Item(comparison, QStringLiteral("sub/right.txt"))->status, FILE_RIGHT_ONLY);
    EXPECT_EQ(Item(comparison, QStringLiteral("sub/right.txt"))->indent, 1);
    EXPECT_EQ(
        Item(comparison, QStringLiteral("sub/right.txt"))->strShowPaths[SIDE_RIGHT], Right(QStringLiteral("sub")));
    EXPECT_EQ(comparison.Comparer().ComparedFiles(), 3);
    EXPECT_THAT(Names(comparison.Tree().Root()),
        ElementsAre(QStringLiteral("sub"), QStringLiteral("diff.txt"), QStringLiteral("left.txt"),
            QStringLiteral("longer.txt"), QStringLiteral("same.txt")));
}

TEST_F(FolderComparison, PlaceholdersAreJudgedBySizeAloneAndNeverRead)
{
    Write(Left(QStringLiteral("big.bin")), QByteArray(1234, 'x'), 1000000000);
    Write(Right(QStringLiteral("big.bin")), QByteArray());
    Write(Right(MakeMarkerName(QStringLiteral("big.bin"), QStringLiteral("1234"), QStringLiteral("031520261430"))), {});
    Write(Left(QStringLiteral("grown.bin")), QByteArray(10, 'x'));
    Write(Right(QStringLiteral("grown.bin")), QByteArray());
    Write(Right(MakeMarkerName(QStringLiteral("grown.bin"), QStringLiteral("11"), QStringLiteral("031520261430"))), {});
    Write(Right(QStringLiteral("remote-only.zip")), QByteArray());
    Write(
        Right(MakeMarkerName(QStringLiteral("remote-only.zip"), QStringLiteral("99"), QStringLiteral("010520090000"))),
        {});
    Write(Left(QStringLiteral("empty.txt")), QByteArray());
    Write(Right(QStringLiteral("empty.txt")), QByteArray());

    std::atomic<int> nOpens { 0 };
    CFolderComparison comparison(m_strLeft, m_strRight, QStringLiteral("/pub"), [&](const QString& strPath) {
        ++nOpens;
        return OpenForSequentialRead(strPath);
    });
    ASSERT_TRUE(comparison.Run(2).bOk);

    const CFileItem* pBig = Item(comparison, QStringLiteral("big.bin"));
    EXPECT_EQ(pBig->status, FILE_UNKNOWN);
    EXPECT_EQ(pBig->strVersion[SIDE_RIGHT], QStringLiteral("UNKNOWN"));
    EXPECT_EQ(pBig->strSize[SIDE_RIGHT], pBig->strSize[SIDE_LEFT]) << "the marker's size takes the real file's form";
    EXPECT_EQ(pBig->strSize[SIDE_RIGHT], QStringLiteral("1,234"));
    EXPECT_EQ(pBig->strTime[SIDE_RIGHT], QStringLiteral("03/15/2026 14:30"));
    EXPECT_EQ(pBig->strTime[SIDE_LEFT].Text().size(), pBig->strTime[SIDE_RIGHT].Text().size());
    EXPECT_EQ(pBig->strShowPaths[SIDE_RIGHT], QStringLiteral("/pub"));
    EXPECT_EQ(Item(comparison, QStringLiteral("grown.bin"))->status, FILE_DIFF);
    const CFileItem* pRemote = Item(comparison, QStringLiteral("remote-only.zip"));
    EXPECT_EQ(pRemote->status, FILE_RIGHT_ONLY);
    EXPECT_EQ(pRemote->nAttrSource, ATTR_FROM_MARKER);
    EXPECT_EQ(pRemote->strTime[SIDE_RIGHT], QStringLiteral("01/05/2009 00:00"));
    EXPECT_EQ(Item(comparison, QStringLiteral("empty.txt"))->status, FILE_SAME)
        << "an empty file without a marker is real";
    EXPECT_EQ(Item(comparison, QStringLiteral("empty.txt"))->nAttrSource, ATTR_FROM_FILE);
    EXPECT_EQ(nOpens, 2) << "only the two empty files are read";
}

TEST_F(FolderComparison, WorkingNamesNeverAppearOnEitherSide)
{
    for (const QString& strRoot : { m_strLeft, m_strRight }) {
        Write(strRoot + QStringLiteral("/a$quorvelb.txt"), "hidden");
        Write(strRoot + QStringLiteral("/x$diffundo/inside.txt"), "hidden");
        Write(strRoot + QStringLiteral("/$quorvelquorvelupdated"), {});
        Write(strRoot + QStringLiteral("/shown.txt"), "shown");
    }
    CFolderComparison comparison(m_strLeft, m_strRight);
    ASSERT_TRUE(comparison.Run(1).bOk);
    EXPECT_THAT(Names(comparison.Tree().Root()), ElementsAre(QStringLiteral("shown.txt")));
}

TEST_F(FolderComparison, AFileThatCannotBeReadIsUndecidedNotDifferent)
{
    Write(Left(QStringLiteral("locked.txt")), "same text");
    Write(Right(QStringLiteral("locked.txt")), "same text");
    const QString strLocked = Left(QStringLiteral("locked.txt"));
    CFolderComparison comparison(m_strLeft, m_strRight, {},
        [&](const QString& strPath) { return strPath == strLocked ? -EACCES : OpenForSequentialRead(strPath); });
    ASSERT_TRUE(comparison.Run(1).bOk);
    const CFileItem* pItem = Item(comparison, QStringLiteral("locked.txt"));
    EXPECT_EQ(pItem->status, FILE_UNKNOWN);
    EXPECT_EQ(pItem->icon[SIDE_LEFT], ICON_UNKNOWN_FILE);
    EXPECT_EQ(pItem->icon[SIDE_RIGHT], ICON_UNKNOWN_FILE);

    std::uint32_t nCrc = 0;
    EXPECT_EQ(FileCrc(strLocked, nCrc, [](const QString&) { return -EACCES; }), EACCES);
}

TEST_F(FolderComparison, AFileGoneSinceTheScanBecomesOneSided)
{
    Write(Left(QStringLiteral("a.txt")), "text");
    Write(Right(QStringLiteral("a.txt")), "text");
    CFolderComparison comparison(m_strLeft, m_strRight);
    ASSERT_TRUE(comparison.Run(1).bOk);
    CFileItem* pItem = Item(comparison, QStringLiteral("a.txt"));
    ASSERT_EQ(pItem->status, FILE_SAME);
    QFile::remove(Right(QStringLiteral("a.txt")));
    CItemComparer comparer;
    comparer.CompareItem(pItem);
    EXPECT_EQ(pItem->status, FILE_LEFT_ONLY);
    EXPECT_EQ(comparer.ComparedFiles(), 1);
}

TEST_F(FolderComparison, ProgramVersionsAreComparedBeforeContents)
{
    PeImageSpec spec;
    Write(Left(QStringLiteral("tool.exe")), BuildPeImage(spec));
    spec.version[3] = 5;
    Write(Right(QStringLiteral("tool.exe")), BuildPeImage(spec));
    Write(Left(QStringLiteral("same.dll")), BuildPeImage(spec));
    Write(Right(QStringLiteral("same.dll")), BuildPeImage(spec));
    const QString strLog = NewLog();
    CFolderComparison comparison(m_strLeft, m_strRight);
    ASSERT_TRUE(comparison.Run(1).bOk);
    const CFileItem* pTool = Item(comparison, QStringLiteral("tool.exe"));
    EXPECT_EQ(pTool->strVersion[SIDE_LEFT], QStringLiteral("1.2.3.4"));
    EXPECT_EQ(pTool->strVersion[SIDE_RIGHT], QStringLiteral("1.2.3.5"));
    EXPECT_EQ(pTool->status, FILE_DIFF);
    EXPECT_EQ(Item(comparison, QStringLiteral("same.dll"))->status, FILE_SAME);
    EXPECT_THAT(ReadFileLines(strLog), Contains(QHasSubstr("/tool.exe] Diff: versions differ")));
    EXPECT_THAT(ReadFileLines(strLog), Contains(QHasSubstr("/same.dll] Same: contents have the same CRC-32")));
}

TEST_F(FolderComparison, UnlistedMirrorFoldersAreNotDescendedAndLoopsEnd)
{
    Write(Right(QStringLiteral("unlisted/$quorveldummy01")), {});
    Write(Right(QStringLiteral("unlisted/$quorveldummy02")), {});
    Write(Left(QStringLiteral("unlisted/local.txt")), "l");
    Write(Left(QStringLiteral("loop/file.txt")), "f");
    ASSERT_EQ(::symlink("..", QFile::encodeName(Left(QStringLiteral("loop/up"))).constData()), 0);
    Write(Left(QStringLiteral("Readme.txt")), "one");
    Write(Left(QStringLiteral("README.TXT")), "two");

    CFolderComparison comparison(m_strLeft, m_strRight);
    ASSERT_TRUE(comparison.Run(1).bOk);
    const CFileItem* pUnlisted = Item(comparison, QStringLiteral("unlisted"));
    EXPECT_EQ(pUnlisted->status, DIR_BOTH);
    EXPECT_TRUE(pUnlisted->bListed[SIDE_LEFT] && pUnlisted->bExpanded[SIDE_LEFT]);
    EXPECT_FALSE(pUnlisted->bListed[SIDE_RIGHT] || pUnlisted->bExpanded[SIDE_RIGHT]);
    EXPECT_THAT(Names(pUnlisted), ElementsAre(QStringLiteral("local.txt")));

    const CFileItem* pUp = Item(comparison, QStringLiteral("loop/up"));
    ASSERT_NE(pUp, nullptr);
    EXPECT_EQ(pUp->kind, KIND_DIR);
    EXPECT_EQ(pUp->pFirstChild, nullptr) << "a link back to an ancestor is shown, not followed";

    if (CurrentNameMatching() == NameMatching::CaseSensitive) {
        EXPECT_EQ(Item(comparison, QStringLiteral("Readme.txt"))->status, FILE_LEFT_ONLY);
        EXPECT_EQ(Item(comparison, QStringLiteral("README.TXT"))->status, FILE_LEFT_ONLY);
    }
}

TEST_F(FolderComparison, ThreadsGiveTheSameStatusesAndLogAsOneByOne)
{
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        const QString strName = QStringLiteral("d%1/f%2.dat").arg(i % 7).arg(i);
        const QByteArray contents(100 + static_cast<int>(random() % 5000), static_cast<char>('a' + i % 26));
        const int nKind = static_cast<int>(random() % 6);
        if (nKind != 1) {
            Write(Left(strName), contents);
        }
        if (nKind != 2) {
            QByteArray other = contents;
            if (nKind == 3) {
                other[other.size() - 1] = '!';
            }
            Write(Right(strName), other);
        }
    }
    // Large enough for both files of a pair to be read at once.
    const QByteArray big(9 * 1024 * 1024, 'b');
    Write(Left(QStringLiteral("big.iso")), big);
    QByteArray bigOther = big;
    bigOther[bigOther.size() - 1] = 'c';
    Write(Right(QStringLiteral("big.iso")), bigOther);

    auto run = [&](int nThreads, QStringList& statuses, QStringList& logLines) {
        const QString strLog = NewLog();
        QFile::remove(strLog);
        CFolderComparison comparison(m_strLeft, m_strRight);
        ASSERT_TRUE(comparison.Run(nThreads).bOk);
        for (const CFileItem* pItem = comparison.Tree().Root()->pFirstChild; pItem != nullptr;
             pItem = NextInPreOrder(pItem, comparison.Tree().Root())) {
            statuses.append(pItem->strName + QLatin1Char('=') + QString::number(pItem->status));
        }
        for (const QString& line : ReadFileLines(strLog)) {
            const qsizetype nCut = line.indexOf(QLatin1Char(']'));
            logLines.append(line.mid(nCut));
        }
    };
    QStringList sequential;
    QStringList sequentialLog;
    QStringList parallel;
    QStringList parallelLog;
    run(1, sequential, sequentialLog);
    run(4, parallel, parallelLog);
    EXPECT_EQ(parallel, sequential);
    EXPECT_EQ(parallelLog, sequentialLog);
    EXPECT_THAT(sequential, Contains(QStringLiteral("big.iso=1")));
    EXPECT_GT(sequential.filter(QStringLiteral("=0")).size(), 100);
    EXPECT_GT(sequential.filter(QStringLiteral("=1")).size(), 10);
}

TEST_F(FolderComparison, MissingOrWrongFoldersGiveOneClearSentence)
{
    Write(Left(QStringLiteral("file.txt")), "x");
    const struct
    {
        QString strLeft;
        QString strRight;
        QString strError;
    } cases[] = {
        { Left(QStringLiteral("nope")), m_strRight,
            QStringLiteral("The left folder \"") + Left(QStringLiteral("nope"))
                + QStringLiteral("\" does not exist.") },
        { m_strLeft, Right(QStringLiteral("nope")),
            QStringLiteral("The right folder \"") + Right(QStringLiteral("nope"))
                + QStringLiteral("\" does not exist.") },
        { Left(QStringLiteral("file.txt")), m_strRight,
            QStringLiteral("The left folder \"") + Left(QStringLiteral("file.txt"))
                + QStringLiteral("\" is a file, not a folder.") },
    };
    for (const auto& c : cases) {
        CFolderComparison comparison(c.strLeft, c.strRight);
        const ComparisonOutcome outcome = comparison.Run(1);
        EXPECT_FALSE(outcome.bOk);
        EXPECT_EQ(outcome.strError, c.strError);
    }
}

} // namespace
