#include <QDir>

#include "app/ViewFixture.h"

namespace {

class Resubmit : public ViewFixture
{
protected:
    // A finished, failed job, as an earlier attempt would have left it.
    int FailedJob(TransferOperation operation, const QString& strName, const QString& strLocal, bool bFolder = false,
        JobPurpose purpose = JobPurpose::Transfer)
    {
        TransferJob job;
        job.operation = operation;
        job.bFolder = bFolder;
        job.strName = strName;
        job.strLocalPath = strLocal;
        job.strRemoteFolder = QStringLiteral("/pub");
        const int nJobId = m_list.AddJob(job, purpose, 0);
        m_list.FinishJob(nJobId, JobState::Failed, QStringLiteral("Failed to download file."), false);
        return nJobId;
    }

    void ResubmitAndWait(int nJobId)
    {
        ASSERT_TRUE(m_list.CanResubmit({ m_list.FindCurListCtrlIndex(nJobId) }));
        m_list.ResubmitSelected(
            { m_list.FindCurListCtrlIndex(nJobId) }, [this](int nId) { m_pView->ResubmitJob(nId); });
        ASSERT_TRUE(m_pView->WaitForJobs(30000));
    }

    QString Status(int nJobId) const { return m_list.Row(nJobId)->columns[COL_STATUS]; }
};

TEST_F(Resubmit, ADroppedDownloadFailsKeepsTheTargetAndSucceedsInTheSameRow)
{
    // The worker's connection says USER, PASS, PWD, CWD, the two OPTS the server's features call for, EPSV and
    // TYPE: its RETR is dropped.
    ASSERT_TRUE(Start({ QStringLiteral("--drop-after"), QStringLiteral("8"), QStringLiteral("--drop-once") }));
    MakeView(MakeTestFolder(QStringLiteral("resubmit-mirror")));
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "my old copy");
    const int nJobId
        = FailedJob(TransferOperation::Download, QStringLiteral("file.txt"), Local(QStringLiteral("/file.txt")));

    ResubmitAndWait(nJobId);
    EXPECT_EQ(Status(nJobId), QStringLiteral("Failed"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/file.txt"))), QByteArray("my old copy"));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("failed to download \"/pub/file.txt\".")));

    ResubmitAndWait(nJobId);
    EXPECT_EQ(Status(nJobId), QStringLiteral("Completed")) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(m_list.Rows().size(), 1u) << "the same row, the same id";
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/file.txt"))), QByteArray("remote contents\n"));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("RETRY: downloding \"/pub/file.txt\".")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("\"/pub/file.txt\" downloaded.")));
    EXPECT_EQ(m_list.ActiveJobs(), 0);
}

TEST_F(Resubmit, ADroppedUploadLeavesTheServerCopyAndACompletedRowGoesWhenAsked)
{
    // The worker's connection says USER, PASS, PWD, CWD, the two OPTS the server's features call for, EPSV and
    // TYPE: its STOR is dropped.
    ASSERT_TRUE(Start({ QStringLiteral("--drop-after"), QStringLiteral("8"), QStringLiteral("--drop-once") }));
    MakeView(MakeTestFolder(QStringLiteral("resubmit-mirror")));
    WriteFileBytes(Local(QStringLiteral("/file.txt")), "new local text");
    const int nJobId
        = FailedJob(TransferOperation::Upload, QStringLiteral("file.txt"), Local(QStringLiteral("/file.txt")));
    ResubmitAndWait(nJobId);
    EXPECT_EQ(Status(nJobId), QStringLiteral("Failed"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("remote contents\n"));

    m_pView->SetRemoveCompletedRows(true);
    ResubmitAndWait(nJobId);
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/pub/file.txt"))), QByteArray("new local text"));
    EXPECT_TRUE(m_list.Rows().empty()) << "a completed row goes at once when DeleteRowOfGoodXfer is set";
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("\"/pub/file.txt\" uploaded.")));
}

TEST_F(Resubmit, ACacheRowDownloadsIntoTheCacheOnlyAndAFolderRowRunsAFolderJob)
{
    ASSERT_TRUE(Start());
    QDir().mkpath(Remote(QStringLiteral("/pub/sub/deeper")));
    WriteFileBytes(Remote(QStringLiteral("/pub/sub/deeper/d.txt")), "deep");
    // A folder job runs on what the comparison saw of the folder, so the comparison comes first.
    ASSERT_TRUE(Compare());
    const int nCache = FailedJob(TransferOperation::Download, QStringLiteral("file.txt"),
        m_pView->Paths().CachePathOf(QStringLiteral("/pub/file.txt")), false, JobPurpose::IntoMirror);
    const int nFolder
        = FailedJob(TransferOperation::Download, QStringLiteral("sub"), Local(QStringLiteral("/sub")), true);
    ResubmitAndWait(nCache);
    ResubmitAndWait(nFolder);
    EXPECT_EQ(Status(nCache), QStringLiteral("Completed"));
    EXPECT_EQ(Status(nFolder), QStringLiteral("Completed")) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("\"/pub/file.txt\" downloaded to Cache location.")));
    EXPECT_FALSE(QFile::exists(Local(QStringLiteral("/file.txt"))));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("RETRY: downloading \"/pub/sub\".")));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/sub/deeper/d.txt"))), QByteArray("deep"));
}

TEST_F(Resubmit, AJobWhoseNameHoldsASemicolonRunsAgainWhole)
{
    ASSERT_TRUE(Start());
    MakeView(MakeTestFolder(QStringLiteral("resubmit-mirror")));
    WriteFileBytes(Remote(QStringLiteral("/pub/a;b.txt")), "semicolon");
    const int nJobId
        = FailedJob(TransferOperation::Download, QStringLiteral("a;b.txt"), Local(QStringLiteral("/a;b.txt")));
    ResubmitAndWait(nJobId);
    EXPECT_EQ(Status(nJobId), QStringLiteral("Completed")) << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/a;b.txt"))), QByteArray("semicolon"));
    EXPECT_EQ(m_list.ActiveJobs(), 0);
}

} // namespace
