#include <QDir>
#include <QFileInfo>

#include "app/ViewFixture.h"
#include "tree/FileTexts.h"

namespace {

using Views = ViewFixture;

TEST_F(Views, CopiesInBothDirectionsLeaveTheTreeSameAndNoWorkingFiles)
{
    ASSERT_TRUE(Start());
    WriteFileBytes(Local(QStringLiteral("/up.txt")), "uploaded text");
    QDir().mkpath(Local(QStringLiteral("/tree/sub")));
    WriteFileBytes(Local(QStringLiteral("/tree/a.txt")), "a");
    WriteFileBytes(Local(QStringLiteral("/tree/sub/b.txt")), "bb");
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "the local version");
    WriteFileBytes(Remote(QStringLiteral("/pub/down.txt")), "x");
    ASSERT_TRUE(Compare());
    ASSERT_NE(Item(QStringLiteral("file.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("file.txt"))->status, FILE_DIFF);

    CFixedPrompt prompt(ConflictAnswer::Replace);
    m_pView->SetConflictPrompt(&prompt);
    EXPECT_EQ(
        m_pView->CopySelectedItems(PathsOfItems({ Item(QStringLiteral("up.txt")),
                                       Item(QStringLiteral("tree"), KIND_DIR), Item(QStringLiteral("file.txt")) }),
            SIDE_LEFT),
        3);
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems({ Item(QStringLiteral("down.txt")) }), SIDE_RIGHT), 1);
    ASSERT_TRUE(m_pView->WaitForJobs(60000));

    ASSERT_EQ(prompt.asked.size(), 1) << "only the file that exists on both sides is asked about";
    EXPECT_TRUE(prompt.asked.front().endsWith(QStringLiteral("/file.txt")));
    EXPECT_EQ(m_pView->Totals().nCompleted, 4) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/up.txt"))), QByteArray("uploaded text"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/tree/sub/b.txt"))), QByteArray("bb"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("the local version"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/down.txt"))), QByteArray("x"));
    EXPECT_TRUE(QDir(Remote(QStringLiteral("/pub")))
                    .entryList({ QStringLiteral(".quorvel-upload-*") }, QDir::Files | QDir::Hidden)
                    .isEmpty());
    EXPECT_TRUE(QDir(m_strLocal).entryList({ QStringLiteral("$quorvelpart-*") }, QDir::Files).isEmpty());

    // The tree was refreshed by the jobs themselves: no new comparison.
    for (const QString& strFile : { QStringLiteral("up.txt"), QStringLiteral("file.txt"), QStringLiteral("down.txt"),
             QStringLiteral("tree/a.txt"), QStringLiteral("tree/sub/b.txt") }) {
        ASSERT_NE(Item(strFile), nullptr) << strFile.toStdString();
        EXPECT_EQ(Item(strFile)->status, FILE_SAME) << strFile.toStdString();
    }
    EXPECT_EQ(Item(QStringLiteral("tree/sub"), KIND_DIR)->status, DIR_BOTH);
    for (const TransferRow& row : m_list.Rows()) {
        EXPECT_EQ(row.columns[COL_STATUS], QStringLiteral("Completed"));
    }

    // And a fresh comparison agrees.
    ASSERT_TRUE(Compare());
    EXPECT_EQ(Item(QStringLiteral("up.txt"))->status, FILE_SAME);
    EXPECT_EQ(Item(QStringLiteral("tree/sub/b.txt"))->status, FILE_SAME);
}

TEST_F(Views, ACopyFindsItsPlaceOnASideThatIsEmpty)
{
    ASSERT_TRUE(Start());
    QDir().mkpath(Remote(QStringLiteral("/pub/deep/er")));
    WriteFileBytes(Remote(QStringLiteral("/pub/deep/er/d.txt")), "d");
    ASSERT_TRUE(Compare());
    EXPECT_EQ(
        m_pView->CopySelectedItems(
            PathsOfItems({ Item(QStringLiteral("file.txt")), Item(QStringLiteral("deep/er/d.txt")) }), SIDE_RIGHT),
        2);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/file.txt"))), QByteArray("remote contents\n"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/deep/er/d.txt"))), QByteArray("d"));
    EXPECT_EQ(Item(QStringLiteral("deep/er/d.txt"))->status, FILE_SAME);
}

TEST_F(Views, NothingIsReplacedUnlessThePromptAllowsIt)
{
    ASSERT_TRUE(Start());
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "local one");
    WriteFileBytes(Local(QStringLiteral("/other.txt")), "local two");
    WriteFileBytes(Remote(QStringLiteral("/pub/other.txt")), "remote two");
    ASSERT_TRUE(Compare());
    const std::vector<CFileItem*> both { Item(QStringLiteral("file.txt")), Item(QStringLiteral("other.txt")) };

    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(both), SIDE_LEFT), 0) << "without a prompt nothing is replaced";
    CFixedPrompt skip(ConflictAnswer::Skip);
    m_pView->SetConflictPrompt(&skip);
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(both), SIDE_LEFT), 0);
    EXPECT_EQ(skip.asked.size(), 2);
    CFixedPrompt stop(ConflictAnswer::Stop);
    m_pView->SetConflictPrompt(&stop);
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(both), SIDE_LEFT), 0);
    EXPECT_EQ(stop.asked.size(), 1) << "Stop ends the whole copy";
    ASSERT_TRUE(m_pView->WaitForJobs(10000));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("remote contents\n"));

    CFixedPrompt all(ConflictAnswer::ReplaceAll);
    m_pView->SetConflictPrompt(&all);
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(both), SIDE_RIGHT), 2);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(all.asked.size(), 1) << "Replace all is asked once";
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/other.txt"))), QByteArray("remote two"));
}

TEST_F(Views, ARefusedUploadAShortDownloadAndAnUnsendableNameChangeNothing)
{
    ASSERT_TRUE(Start({ QStringLiteral("--refuse"), QStringLiteral("STOR:553 Could not create file.") }));
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "new local");
    WriteFileBytes(Local(QStringLiteral("/bad\r\nDELE file.txt")), "x");
    WriteFileBytes(Remote(QStringLiteral("/pub/short.txt")), "ten bytes!");
    WriteFileBytes(Local(QStringLiteral("/short.txt")), "my local copy");
    ASSERT_TRUE(Compare());
    CFixedPrompt prompt(ConflictAnswer::ReplaceAll);
    m_pView->SetConflictPrompt(&prompt);

    m_pView->CopySelectedItems(
        PathsOfItems({ Item(QStringLiteral("file.txt")), Item(QStringLiteral("bad\r\nDELE file.txt")) }), SIDE_LEFT);
    // The listing promised more bytes than the file has: the download has failed.
    Item(QStringLiteral("short.txt"))->strSize[SIDE_RIGHT] = QStringLiteral("50");
    m_pView->CopySelectedItems(PathsOfItems({ Item(QStringLiteral("short.txt")) }), SIDE_RIGHT);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));

    EXPECT_EQ(m_pView->Totals().nFailed, 3);
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("remote contents\n"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/short.txt"))), QByteArray("my local copy"));
    EXPECT_TRUE(QFile::exists(Remote(QStringLiteral("/pub/file.txt"))));
    EXPECT_EQ(Item(QStringLiteral("file.txt"))->status, FILE_DIFF) << "a failed job leaves the tree as it was";
    QStringList messages;
    for (const TransferRow& row : m_list.Rows()) {
        EXPECT_EQ(row.columns[COL_STATUS], QStringLiteral("Failed"));
        messages.append(row.columns[COL_MESSAGE]);
    }
    // The job list's own text first, the reason after it.
    EXPECT_THAT(
        messages, testing::Contains(QHasSubstr("Failed to upload file. The upload of /pub/file.txt failed: 553")));
    EXPECT_THAT(messages, testing::Contains(QHasSubstr("Failed to download file. Only 10 of the 50 bytes")));
    EXPECT_THAT(messages, testing::Contains(QHasSubstr("holds a line break or NUL")));
    EXPECT_THAT(TraceTexts(), testing::Not(testing::Contains(QHasSubstr("> DELE file.txt"))));
}

TEST_F(Views, AJobThatCannotConnectAddsNoRowAndTheViewCountsEveryComparison)
{
    ASSERT_TRUE(Start());
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "remote contents\n");
    ASSERT_TRUE(Compare());
    EXPECT_TRUE(CSettingsStore().Contains("Misc.", "GridlinesEnabled")) << "the view reads its settings when made";
    EXPECT_TRUE(CSettingsStore().Contains("Settings", "IncludeFoldersForDiffs"));
    const int nFirst = m_pView->ComparedFiles();
    ASSERT_TRUE(Compare());
    EXPECT_EQ(m_pView->ComparedFiles(), 2 * nFirst) << "a count per view, not per comparison";

    m_server.Stop();
    CFixedPrompt prompt(ConflictAnswer::ReplaceAll);
    m_pView->SetConflictPrompt(&prompt);
    ASSERT_EQ(m_pView->CopySelectedItems(PathsOfItems({ Item(QStringLiteral("file.txt")) }), SIDE_RIGHT), 1);
    ASSERT_TRUE(m_pView->WaitForJobs(60000));
    EXPECT_EQ(Statuses(), std::vector<QString> { QStringLiteral("Failed") })
        << "the job waits in its row and fails there";
    EXPECT_THAT(m_list.Rows().front().columns[COL_MESSAGE].toStdString(), testing::HasSubstr("connection was lost"));
}

TEST_F(Views, ACancelledDownloadLeavesTheTargetUntouched)
{
    ASSERT_TRUE(Start({ QStringLiteral("--throttle"), QStringLiteral("65536") }));
    WriteFileBytes(Remote(QStringLiteral("/pub/big.bin")), QByteArray(2 * 1024 * 1024, 'r'));
    WriteFileBytes(Local(QStringLiteral("/big.bin")), "the old local copy");
    ASSERT_TRUE(Compare());
    CFixedPrompt prompt(ConflictAnswer::Replace);
    m_pView->SetConflictPrompt(&prompt);
    ASSERT_EQ(m_pView->CopySelectedItems(PathsOfItems({ Item(QStringLiteral("big.bin")) }), SIDE_RIGHT), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    m_pView->CancelAllJobs();
    ASSERT_TRUE(m_pView->WaitForJobs(10000));
    EXPECT_EQ(m_pView->Totals().nCancelled, 1);
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/big.bin"))), QByteArray("the old local copy"));
    EXPECT_EQ(QDir(m_strLocal).entryList(QDir::Files | QDir::Hidden).size(), 1) << "no working file is left behind";
    EXPECT_EQ(Statuses(), std::vector<QString> { QStringLiteral("Cancelled") });
}

// Threads of this process now, as the kernel counts them.
int ProcessThreads()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("Threads:")) {
            return line.mid(8).trimmed().toInt();
        }
    }
    return -1;
}

TEST_F(Views, FiveThousandUploadsWaitInTheQueueRatherThanInThreadsOfTheirOwn)
{
    ASSERT_TRUE(Start({}, 4));
    for (int i = 0; i < 5000; ++i) {
        WriteFileBytes(Local(QStringLiteral("/s%1.txt").arg(i)), QByteArray(1 + i % 7, 'x'));
    }
    ASSERT_TRUE(Compare());
    std::vector<CFileItem*> items;
    for (int i = 0; i < 5000; ++i) {
        items.push_back(Item(QStringLiteral("s%1.txt").arg(i)));
    }
    const int nBefore = ProcessThreads();
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(items), SIDE_LEFT), 5000);
    int nMost = 0;
    for (int i = 0; i < 40 && m_pView->Totals().nCompleted < 100; ++i) {
        nMost = std::max(nMost, ProcessThreads());
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_pView->CancelAllJobs();
    ASSERT_TRUE(m_pView->WaitForJobs(60000));
    const JobTotals totals = m_pView->Totals();
    EXPECT_GT(totals.nCompleted, 0) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(totals.nCompleted + totals.nCancelled, 5000);
    EXPECT_EQ(totals.nFailed, 0);
    EXPECT_LE(m_pView->JobThreadsStarted(), 3) << "four connections: the view's own and three for workers";
    EXPECT_LE(nMost - nBefore, 6) << "three job threads and no more than a few of the libraries' own";
    EXPECT_EQ(m_list.ActiveJobs(), 0);
}

TEST_F(Views, TwentyJobsNeverHoldMoreConnectionsThanAllowed)
{
    ASSERT_TRUE(Start({}, 5));
    for (int i = 0; i < 20; ++i) {
        WriteFileBytes(Local(QStringLiteral("/f%1.txt").arg(i)), QByteArray(1000 + i, 'x'));
    }
    ASSERT_TRUE(Compare());
    std::vector<CFileItem*> items;
    for (int i = 0; i < 20; ++i) {
        items.push_back(Item(QStringLiteral("f%1.txt").arg(i)));
    }
    std::atomic<bool> bDone { false };
    std::atomic<int> nMost { 0 };
    std::thread watcher([&] {
        while (!bDone) {
            nMost = std::max(nMost.load(), m_pSession->ConnectionsInUse());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_EQ(m_pView->CopySelectedItems(PathsOfItems(items), SIDE_LEFT), 20);
    ASSERT_TRUE(m_pView->WaitForJobs(60000));
    bDone = true;
    watcher.join();
    EXPECT_EQ(m_pView->Totals().nCompleted, 20);
    EXPECT_LE(nMost.load(), 4) << "five connections in all: the view's own and four for workers";
    EXPECT_GE(nMost.load(), 2);
    EXPECT_EQ(
        QDir(Remote(QStringLiteral("/pub"))).entryList({ QStringLiteral("f[0-9]*.txt") }, QDir::Files).size(), 20);
}

TEST_F(Views, CachingAPlaceholderLetsItBeCompared)
{
    ASSERT_TRUE(Start());
    const QByteArray big(64 * 1024, 'b');
    WriteFileBytes(Local(QStringLiteral("/big.bin")), big);
    WriteFileBytes(Remote(QStringLiteral("/pub/big.bin")), big);
    ASSERT_TRUE(Compare());
    CFileItem* pItem = Item(QStringLiteral("big.bin"));
    ASSERT_NE(pItem, nullptr);
    EXPECT_EQ(pItem->strVersion[SIDE_RIGHT], kUnknownVersion) << "beyond the cache limit: a placeholder";
    EXPECT_EQ(pItem->status, FILE_UNKNOWN);

    EXPECT_EQ(m_pView->CacheSelectedItems(PathsOfItems({ pItem })), 1);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(pItem->status, FILE_SAME);
    ASSERT_EQ(m_list.Rows().size(), 1u);
    EXPECT_EQ(m_list.Rows().front().columns[COL_LOCAL_PATH], QStringLiteral("Cache"));
    ASSERT_TRUE(Compare());
    EXPECT_EQ(Item(QStringLiteral("big.bin"))->status, FILE_SAME) << "the mirror holds the real contents now";
}

TEST_F(Views, DroppedFilesAreUploadedOrCopiedAndDeletionsFollow)
{
    ASSERT_TRUE(Start());
    const QString strOutside = MakeTestFolder(QStringLiteral("view-outside"));
    WriteFileBytes(strOutside + QStringLiteral("/dropped.txt"), "dropped");
    QDir().mkpath(strOutside + QStringLiteral("/folder"));
    WriteFileBytes(strOutside + QStringLiteral("/folder/inner.txt"), "inner");
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "remote contents\n");
    ASSERT_TRUE(Compare());

    m_pView->DropFiles({ strOutside + QStringLiteral("/dropped.txt"), strOutside + QStringLiteral("/folder") },
        SIDE_RIGHT, QStringLiteral("/pub"));
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/folder/inner.txt"))), QByteArray("inner"));
    ASSERT_NE(Item(QStringLiteral("dropped.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("dropped.txt"))->status, FILE_RIGHT_ONLY);

    // Dropping onto the local side copies; a file that is there already is kept unless the prompt agrees.
    WriteFileBytes(Local(QStringLiteral("/dropped.txt")), "mine");
    CFixedPrompt skip(ConflictAnswer::Skip);
    m_pView->SetConflictPrompt(&skip);
    m_pView->DropFiles(
        { strOutside + QStringLiteral("/dropped.txt"), strOutside + QStringLiteral("/folder") }, SIDE_LEFT, m_strLocal);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/dropped.txt"))), QByteArray("mine"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/folder/inner.txt"))), QByteArray("inner"));
    EXPECT_EQ(Item(QStringLiteral("folder/inner.txt"))->strPaths[SIDE_LEFT], Local(QStringLiteral("/folder")));

    EXPECT_EQ(m_pView->DeleteSelectedItems(PathsOfItems({ Item(QStringLiteral("file.txt")) }), SIDE_RIGHT), 1);
    EXPECT_FALSE(QFile::exists(Remote(QStringLiteral("/pub/file.txt"))));
    ASSERT_NE(Item(QStringLiteral("file.txt")), nullptr);
    EXPECT_EQ(Item(QStringLiteral("file.txt"))->status, FILE_LEFT_ONLY);
    EXPECT_EQ(m_pView->DeleteSelectedItems(PathsOfItems({ Item(QStringLiteral("file.txt")) }), SIDE_LEFT), 1);
    EXPECT_EQ(Item(QStringLiteral("file.txt")), nullptr) << "gone from both sides, gone from the tree";
}

TEST_F(Views, ADeleteTheServerRefusesHalfWayKeepsWhatRemainsAndSaysWhy)
{
    // The server deletes files but keeps folders: the folder's files go, the folder stays.
    ASSERT_TRUE(Start({ QStringLiteral("--refuse"), QStringLiteral("RMD:550 Permission denied") }));
    WriteFileBytes(Remote(QStringLiteral("/pub/tree/a.txt")), "a");
    WriteFileBytes(Remote(QStringLiteral("/pub/tree/b.txt")), "b");
    ASSERT_TRUE(Compare());
    EXPECT_EQ(
        m_pView->DeleteSelectedItems(
            PathsOfItems({ Item(QStringLiteral("tree"), KIND_DIR), Item(QStringLiteral("file.txt")) }), SIDE_RIGHT),
        1);
    EXPECT_FALSE(QFile::exists(Remote(QStringLiteral("/pub/file.txt"))));
    EXPECT_TRUE(QFileInfo(Remote(QStringLiteral("/pub/tree"))).isDir());
    EXPECT_EQ(Item(QStringLiteral("file.txt")), nullptr);
    ASSERT_NE(Item(QStringLiteral("tree"), KIND_DIR), nullptr) << "a folder the server kept stays in the tree";
    ASSERT_EQ(m_list.Rows().size(), 2u);
    EXPECT_EQ(m_list.Rows().front().columns[COL_STATUS], QStringLiteral("Failed"));
    EXPECT_THAT(m_list.Rows().front().columns[COL_MESSAGE], QHasSubstr("550 Permission denied"));
    EXPECT_EQ(m_list.Rows().back().columns[COL_STATUS], QStringLiteral("Completed"));
}

// A folder's deletion once listed the folder again and deleted whatever that showed, another upload's working
// file among it. It removes what the comparison saw, bottom up, and keeps the rest with the folders above it.
TEST_F(Views, DeletingAFolderOnEitherSideRemovesOnlyWhatTheComparisonSaw)
{
    ASSERT_TRUE(Start());
    for (const QString& strBase :
        QStringList { Remote(QStringLiteral("/pub/tree")), m_strLocal + QStringLiteral("/tree") }) {
        WriteFileBytes(strBase + QStringLiteral("/a.txt"), "a");
        WriteFileBytes(strBase + QStringLiteral("/deep/b.txt"), "b");
        WriteFileBytes(strBase + QStringLiteral("/gone/c.txt"), "c");
    }
    ASSERT_TRUE(Compare());
    WriteFileBytes(Remote(QStringLiteral("/pub/tree/deep/arrived-since.txt")), "new");
    WriteFileBytes(m_strLocal + QStringLiteral("/tree/deep/arrived-since.txt"), "new");

    for (const int nSide : { SIDE_RIGHT, SIDE_LEFT }) {
        EXPECT_EQ(m_pView->DeleteSelectedItems(PathsOfItems({ Item(QStringLiteral("tree"), KIND_DIR) }), nSide), 0);
        const QString strBase
            = nSide == SIDE_RIGHT ? Remote(QStringLiteral("/pub/tree")) : QString(m_strLocal + QStringLiteral("/tree"));
        EXPECT_EQ(ReadFileBytes(strBase + QStringLiteral("/deep/arrived-since.txt")), QByteArray("new")) << nSide;
        EXPECT_FALSE(QFile::exists(strBase + QStringLiteral("/a.txt"))) << nSide;
        EXPECT_FALSE(QFile::exists(strBase + QStringLiteral("/deep/b.txt"))) << nSide;
        EXPECT_FALSE(QFileInfo::exists(strBase + QStringLiteral("/gone"))) << "a folder whose contents all went, goes";
    }
    EXPECT_THAT(TraceTexts().join(QLatin1Char('\n')), QHasSubstr("what the comparison did not see in it is kept"));
}

TEST_F(Views, AnInServerCopyWorksWithoutAServerCopyCommand)
{
    ASSERT_TRUE(Start());
    QDir().mkpath(Remote(QStringLiteral("/pub/copies")));
    ASSERT_TRUE(Compare());
    m_pView->CopyWithinFtp({ PathOfItem(*Item(QStringLiteral("file.txt"))) }, QStringLiteral("/pub/copies"));
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/copies/file.txt"))), QByteArray("remote contents\n"));
    ASSERT_EQ(m_list.Rows().size(), 1u);
    EXPECT_EQ(m_list.Rows().front().columns[COL_OPERATION], QStringLiteral("COPY"));
    EXPECT_EQ(m_list.Rows().front().columns[COL_STATUS], QStringLiteral("Completed"));
    EXPECT_EQ(m_list.ActiveJobs(), 0);
    ASSERT_NE(Item(QStringLiteral("copies/file.txt")), nullptr) << "the tree shows the copy at once";
    EXPECT_EQ(Item(QStringLiteral("copies/file.txt"))->status, FILE_RIGHT_ONLY);

    // Nothing is copied onto what the folder has unless the prompt agrees, nor into its own folder, nor a
    // folder into itself.
    CFixedPrompt skip(ConflictAnswer::Skip);
    m_pView->SetConflictPrompt(&skip);
    EXPECT_EQ(
        m_pView->CopyWithinFtp({ PathOfItem(*Item(QStringLiteral("file.txt"))) }, QStringLiteral("/pub/copies")), 0);
    EXPECT_EQ(m_pView->CopyWithinFtp({ PathOfItem(*Item(QStringLiteral("file.txt"))) }, QStringLiteral("/pub")), 0);
    EXPECT_EQ(m_pView->CopyWithinFtp(
                  { PathOfItem(*Item(QStringLiteral("copies"), KIND_DIR)) }, QStringLiteral("/pub/copies/deeper")),
        0);
    EXPECT_EQ(m_pView->CopyWithinFtp({ PathOfItem(*Item(QStringLiteral("file.txt"))) }, QStringLiteral("pub")), 0);
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(m_list.Rows().size(), 1u);
}

TEST_F(Views, AnInServerCopyUsesTheServersOwnCopyWhereItHasOne)
{
    ASSERT_TRUE(Start({ QStringLiteral("--site-copy") }));
    QDir().mkpath(Remote(QStringLiteral("/pub/copies")));
    ASSERT_TRUE(Compare());
    auto retrievals = [this] {
        const QStringList texts = TraceTexts();
        return std::count_if(texts.begin(), texts.end(),
            [](const QString& strText) { return strText.contains(QStringLiteral("> RETR")); });
    };
    const auto nBefore = retrievals();
    m_pView->CopyWithinFtp({ PathOfItem(*Item(QStringLiteral("file.txt"))) }, QStringLiteral("/pub/copies"));
    ASSERT_TRUE(m_pView->WaitForJobs(30000));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/copies/file.txt"))), QByteArray("remote contents\n"));
    EXPECT_THAT(TraceTexts(), testing::Contains(QHasSubstr("> SITE CPTO /pub/copies/file.txt")));
    EXPECT_LE(retrievals(), nBefore) << "no byte of the file crossed the network";
}

} // namespace
