#include <QDir>
#include <QFileInfo>

#include "ftp/FtpSessionFixture.h"
#include "support/SettingsStore.h"
#include "transfer/TransferList.h"
#include "transfer/TransferQueue.h"
#include "transfer/TransferRoutines.h"

namespace {

class Transfers : public FtpSessionFixture
{
protected:
    bool Open(const QStringList& arguments = {}, int nMaxConnections = 4)
    {
        CSettingsStore store;
        store.WriteInt("Settings", "MaxFtpConnections", nMaxConnections);
        store.WriteInt("Settings", "DeleteRowOfGoodXfer", 0);
        if (!store.Sync() || !StartServer(arguments)) {
            return false;
        }
        m_strLocal = MakeTestFolder(QStringLiteral("transfers-local"));
        m_pSession = std::make_unique<CFtpSession>(m_trace);
        return m_pSession->OpenFtpSite(Site(QStringLiteral("/")));
    }

    TransferTotals RunJobs(const std::vector<TransferJob>& jobs)
    {
        CTransferQueue queue(*m_pSession, m_trace, m_list);
        for (const TransferJob& job : jobs) {
            queue.Submit(job);
        }
        queue.WaitForAll();
        return queue.Totals();
    }

    QString Remote(const QString& strPath) const { return m_server.Root() + strPath; }

    QString m_strLocal;
    std::unique_ptr<CFtpSession> m_pSession;
    CTransferListView m_list;
};

TEST_F(Transfers, FilesAndFoldersGoBothWaysAndLeaveNoWorkingFiles)
{
    ASSERT_TRUE(Open());
    WriteFileBytes(m_strLocal + QStringLiteral("/up.txt"), "uploaded text");
    QDir().mkpath(m_strLocal + QStringLiteral("/tree/sub"));
    WriteFileBytes(m_strLocal + QStringLiteral("/tree/a.txt"), "a");
    WriteFileBytes(m_strLocal + QStringLiteral("/tree/sub/b.txt"), "bb");
    WriteFileBytes(Remote(QStringLiteral("/pub/file.txt")), "remote contents\n");
    const TransferTotals totals = RunJobs({
        { TransferOperation::Upload, false, QStringLiteral("up.txt"), m_strLocal + QStringLiteral("/up.txt"),
            QStringLiteral("/pub"), -1 },
        { TransferOperation::Upload, true, QStringLiteral("tree"), m_strLocal + QStringLiteral("/tree"),
            QStringLiteral("/pub"), -1 },
        { TransferOperation::Download, false, QStringLiteral("file.txt"), m_strLocal + QStringLiteral("/down.txt"),
            QStringLiteral("/pub"), 16 },
    });
    EXPECT_EQ(totals.nCompleted, 3) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/up.txt"))), QByteArray("uploaded text"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/tree/sub/b.txt"))), QByteArray("bb"));
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/down.txt")), QByteArray("remote contents\n"));
    EXPECT_TRUE(QDir(Remote(QStringLiteral("/pub")))
                    .entryList({ QStringLiteral(".quorvel-upload-*") }, QDir::Files | QDir::Hidden)
                    .isEmpty());

    const TransferTotals back = RunJobs({ { TransferOperation::Download, true, QStringLiteral("tree"),
        m_strLocal + QStringLiteral("/copy"), QStringLiteral("/pub"), -1 } });
    EXPECT_EQ(back.nCompleted, 1);
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/copy/sub/b.txt")), QByteArray("bb"));

    for (const TransferRow& row : m_list.Rows()) {
        EXPECT_EQ(row.columns[COL_STATUS], QStringLiteral("Completed"));
        EXPECT_EQ(row.columns[COL_MESSAGE], QStringLiteral("Complete."));
    }
}

TEST_F(Transfers, ARefusedUploadOrAShortDownloadChangesNothing)
{
    ASSERT_TRUE(Open({ QStringLiteral("--refuse"), QStringLiteral("STOR:553 Could not create file.") }));
    WriteFileBytes(Remote(QStringLiteral("/pub/keep.txt")), "old remote");
    WriteFileBytes(m_strLocal + QStringLiteral("/keep.txt"), "new local");
    WriteFileBytes(m_strLocal + QStringLiteral("/mine.txt"), "my local copy");
    const TransferTotals totals = RunJobs({
        { TransferOperation::Upload, false, QStringLiteral("keep.txt"), m_strLocal + QStringLiteral("/keep.txt"),
            QStringLiteral("/pub"), -1 },
        // The listing promised more bytes than the file has: the download has failed.
        { TransferOperation::Download, false, QStringLiteral("keep.txt"), m_strLocal + QStringLiteral("/mine.txt"),
            QStringLiteral("/pub"), 50 },
        { TransferOperation::Download, false, QStringLiteral("bad\r\nDELE x"), m_strLocal + QStringLiteral("/x"),
            QStringLiteral("/pub"), -1 },
    });
    EXPECT_EQ(totals.nFailed, 3);
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/keep.txt"))), QByteArray("old remote"));
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/mine.txt")), QByteArray("my local copy"));
    EXPECT_FALSE(QFile::exists(m_strLocal + QStringLiteral("/x")));
    const std::vector<TransferRow> rows = m_list.Rows();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_THAT(rows[0].columns[COL_MESSAGE].toStdString(), testing::HasSubstr("553 Could not create file."));
    EXPECT_THAT(rows[1].columns[COL_MESSAGE].toStdString(), testing::HasSubstr("Only 10 of the 50 bytes"));
    EXPECT_THAT(rows[2].columns[COL_MESSAGE].toStdString(), testing::HasSubstr("holds a line break or NUL"));
    EXPECT_THAT(TraceTexts(), testing::Not(testing::Contains(QHasSubstr("> DELE x"))));
}

TEST_F(Transfers, ACancelledTransferLeavesTheTargetUntouched)
{
    ASSERT_TRUE(Open({ QStringLiteral("--throttle"), QStringLiteral("65536") }));
    WriteFileBytes(Remote(QStringLiteral("/pub/big.bin")), QByteArray(2 * 1024 * 1024, 'r'));
    WriteFileBytes(m_strLocal + QStringLiteral("/big.bin"), "the old local copy");
    CTransferQueue queue(*m_pSession, m_trace, m_list);
    queue.Submit({ TransferOperation::Download, false, QStringLiteral("big.bin"),
        m_strLocal + QStringLiteral("/big.bin"), QStringLiteral("/pub"), 2 * 1024 * 1024 });
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    queue.CancelAll();
    ASSERT_TRUE(queue.WaitForAll(10000));
    EXPECT_EQ(queue.Totals().nCancelled, 1);
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/big.bin")), QByteArray("the old local copy"));
    EXPECT_EQ(QDir(m_strLocal).entryList(QDir::Files | QDir::Hidden).size(), 1) << "no working file is left behind";
    EXPECT_EQ(m_list.Rows().front().columns[COL_STATUS], QStringLiteral("Cancelled"));
}

TEST_F(Transfers, ManyJobsNeverHoldMoreConnectionsThanAllowed)
{
    ASSERT_TRUE(Open({}, 5));
    std::vector<TransferJob> jobs;
    for (int i = 0; i < 20; ++i) {
        const QString strName = QStringLiteral("f%1.txt").arg(i);
        WriteFileBytes(m_strLocal + QLatin1Char('/') + strName, QByteArray(1000 + i, 'x'));
        jobs.push_back({ TransferOperation::Upload, false, strName, m_strLocal + QLatin1Char('/') + strName,
            QStringLiteral("/pub"), -1 });
    }
    std::atomic<bool> bDone { false };
    std::atomic<int> nMost { 0 };
    std::thread watcher([&] {
        while (!bDone) {
            nMost = std::max(nMost.load(), m_pSession->ConnectionsInUse());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const TransferTotals totals = RunJobs(jobs);
    bDone = true;
    watcher.join();
    EXPECT_EQ(totals.nCompleted, 20);
    EXPECT_LE(nMost.load(), 4) << "five connections in all: the view's own and four for workers";
    EXPECT_GE(nMost.load(), 2);
    EXPECT_EQ(
        QDir(Remote(QStringLiteral("/pub"))).entryList({ QStringLiteral("f[0-9]*.txt") }, QDir::Files).size(), 20);
}

} // namespace

namespace {

TEST_F(Transfers, ADroppedDownloadFailsKeepsTheTargetAndSucceedsWhenResubmitted)
{
    // The worker's connection says USER, PASS, PWD and CWD, then CWD, EPSV, TYPE and SIZE: its RETR is dropped.
    ASSERT_TRUE(Open({ QStringLiteral("--drop-after"), QStringLiteral("8"), QStringLiteral("--drop-once") }));
    WriteFileBytes(m_strLocal + QStringLiteral("/file.txt"), "my old copy");
    CTransferQueue queue(*m_pSession, m_trace, m_list);
    const int nJobId = queue.Submit({ TransferOperation::Download, false, QStringLiteral("file.txt"),
        m_strLocal + QStringLiteral("/file.txt"), QStringLiteral("/pub"), 16 });
    ASSERT_TRUE(queue.WaitForAll(20000));
    EXPECT_EQ(m_list.Row(nJobId)->columns[COL_STATUS], QStringLiteral("Failed"));
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/file.txt")), QByteArray("my old copy"));

    const std::optional<TransferRow> row = m_list.Row(nJobId);
    ASSERT_TRUE(m_list.CanResubmit({ m_list.FindCurListCtrlIndex(nJobId) }));
    queue.ResubmitJob(nJobId,
        { row->columns[COL_FILENAME], row->columns[COL_LOCAL_PATH], row->columns[COL_FTP_PATH],
            row->columns[COL_OPERATION], row->columns[COL_MESSAGE] });
    ASSERT_TRUE(queue.WaitForAll(20000));
    EXPECT_EQ(m_list.Row(nJobId)->columns[COL_STATUS], QStringLiteral("Completed")) << "the same row, the same id";
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/file.txt")), QByteArray("remote contents\n"));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("RETRY: downloding \"/pub/file.txt\".")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("\"/pub/file.txt\" downloaded.")));
}

TEST_F(Transfers, AJobWhosePathHoldsASemicolonIsNotResubmitted)
{
    ASSERT_TRUE(Open());
    CTransferQueue queue(*m_pSession, m_trace, m_list);
    const int nJobId = m_list.AddJob(0,
        { QStringLiteral("a;b.txt"), m_strLocal + QStringLiteral("/a;b.txt"), QStringLiteral("/pub/a;b.txt"),
            QStringLiteral("DOWNLOAD"), QStringLiteral("Failed.") });
    m_list.FinishJob(nJobId, false);
    const TransferRow row = *m_list.Row(nJobId);
    queue.ResubmitJob(nJobId,
        { row.columns[COL_FILENAME], row.columns[COL_LOCAL_PATH], row.columns[COL_FTP_PATH], row.columns[COL_OPERATION],
            row.columns[COL_MESSAGE] });
    ASSERT_TRUE(queue.WaitForAll(5000));
    EXPECT_EQ(m_list.Row(nJobId)->columns[COL_STATUS], QStringLiteral("Failed"));
    EXPECT_THAT(m_list.Row(nJobId)->columns[COL_MESSAGE].toStdString(), testing::HasSubstr("holds \";\""));
    EXPECT_FALSE(QFile::exists(m_strLocal + QStringLiteral("/a;b.txt")));
}

} // namespace

namespace {

TEST_F(Transfers, ADroppedUploadLeavesTheServerCopyAndCompletedRowsGoWhenAsked)
{
    // The worker's STOR (its eighth command) is dropped.
    ASSERT_TRUE(Open({ QStringLiteral("--drop-after"), QStringLiteral("7"), QStringLiteral("--drop-once") }));
    WriteFileBytes(m_strLocal + QStringLiteral("/file.txt"), "new local text");
    CSettingsStore store;
    store.WriteInt("Settings", "DeleteRowOfGoodXfer", 1);
    ASSERT_TRUE(store.Sync());
    const TransferJob upload { TransferOperation::Upload, false, QStringLiteral("file.txt"),
        m_strLocal + QStringLiteral("/file.txt"), QStringLiteral("/pub"), -1 };
    EXPECT_EQ(RunJobs({ upload }).nFailed, 1);
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("remote contents\n"));
    EXPECT_EQ(m_list.Rows().size(), 1u) << "a failed row stays";

    EXPECT_EQ(RunJobs({ upload }).nCompleted, 1);
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("new local text"));
    EXPECT_EQ(m_list.Rows().size(), 1u) << "a completed row goes at once when DeleteRowOfGoodXfer is set";
}

} // namespace
