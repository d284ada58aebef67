#include <atomic>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "transfer/JobQueue.h"
#include "transfer/TransferList.h"
#include "transfer/TransferRoutines.h"

namespace {

TransferJob Upload(const QString& strName, const QString& strFolder = QStringLiteral("/pub"))
{
    TransferJob job;
    job.strName = strName;
    job.strLocalPath = QStringLiteral("/home/me/site/") + strName;
    job.strRemoteFolder = strFolder;
    return job;
}

TEST(TransferList, RowsShowTheJobsAndIdsOnlyGrow)
{
    CTransferListView list;
    EXPECT_EQ(list.AddJob(Upload(QStringLiteral("a.html")), JobPurpose::Transfer, 1000), 0);
    TransferJob folder = Upload(QStringLiteral("docs"));
    folder.operation = TransferOperation::Download;
    folder.bFolder = true;
    EXPECT_EQ(list.AddJob(folder, JobPurpose::IntoMirror, 1000), 1);
    EXPECT_EQ(list.ActiveJobs(), 2);
    EXPECT_EQ(list.FindCurListCtrlIndex(1), 1);
    EXPECT_EQ(list.FindCurListCtrlIndex(7), -1);
    EXPECT_EQ(list.Row(0)->columns,
        (std::array<QString, kTransferColumns> { QStringLiteral("a.html"), QString(),
            QStringLiteral("/home/me/site/a.html"), QStringLiteral("/pub/a.html"), QStringLiteral("UPLOAD"),
            QStringLiteral("Waiting...") }));
    EXPECT_EQ(list.Row(1)->columns[COL_FILENAME], QStringLiteral("docs/"));
    EXPECT_EQ(list.Row(1)->columns[COL_LOCAL_PATH], QStringLiteral("Cache"));

    list.SetRunning(0);
    EXPECT_EQ(list.Row(0)->columns[COL_MESSAGE], QStringLiteral("In Progress."));
    list.FinishJob(0, JobState::Completed, {}, true);
    EXPECT_FALSE(list.Row(0).has_value()) << "a completed row goes when DeleteRowOfGoodXfer is set";
    list.FinishJob(1, JobState::Failed, QStringLiteral("Download failed. 550 Gone"), true);
    EXPECT_EQ(list.Row(1)->columns[COL_STATUS], QStringLiteral("Failed")) << "a failed one stays";
    EXPECT_EQ(list.Row(1)->columns[COL_MESSAGE], QStringLiteral("Download failed. 550 Gone"));
    EXPECT_EQ(list.ActiveJobs(), 0);

    list.DeleteSelected({ 0 });
    EXPECT_TRUE(list.Rows().empty());
    EXPECT_EQ(list.AddJob(Upload(QStringLiteral("c.html")), JobPurpose::Transfer, 5), 2)
        << "an emptied list does not hand out an id a stale worker may still hold";
    list.FinishJob(0, JobState::Failed, QStringLiteral("late"), false);
    EXPECT_EQ(list.Row(2)->state, JobState::Waiting) << "a worker of a deleted row never reaches another job";
}

TEST(TransferList, ProgressFollowsTheStepRules)
{
    CTransferListView list;
    const int nSmall = list.AddJob(Upload(QStringLiteral("small")), JobPurpose::Transfer, 50);
    list.AdvanceProgress(nSmall, 20);
    EXPECT_EQ(list.BarPosition(nSmall), 20) << "under 100 bytes the step is 1";
    list.AdvanceProgress(nSmall, 0);
    EXPECT_EQ(list.BarPosition(nSmall), 21) << "0 bytes advances one step";
    list.AdvanceProgress(nSmall, 1000);
    EXPECT_EQ(list.BarPosition(nSmall), 50) << "never past the total, so the bar never fills";

    const int nEmpty = list.AddJob(Upload(QStringLiteral("empty")), JobPurpose::Transfer, 0);
    list.AdvanceProgress(nEmpty, 10);
    EXPECT_EQ(list.BarPosition(nEmpty), 0);
    list.SetJobTotal(nEmpty, 1000);
    list.AdvanceProgress(nEmpty, 500);
    EXPECT_EQ(list.BarPosition(nEmpty), 50) << "a total counted once the job runs";

    const int nLarge = list.AddJob(Upload(QStringLiteral("large")), JobPurpose::Transfer, 1'000'000);
    list.AdvanceProgress(nLarge, 250'000);
    EXPECT_EQ(list.BarPosition(nLarge), 25);
    list.SetProgress(nLarge, 500'000);
    EXPECT_EQ(list.BarPosition(nLarge), 50);
    list.CancelSelected({ list.FindCurListCtrlIndex(nLarge) });
    EXPECT_TRUE(list.IsJobCancelled(nLarge));
    list.AdvanceProgress(nLarge, 100'000);
    EXPECT_EQ(list.BarPosition(nLarge), 50) << "a cancelled job's bar stands still";

    const std::shared_ptr<const CProgressEntry> pRecord = list.ProgressRecord(nLarge);
    list.FinishJob(nLarge, JobState::Cancelled, {}, true);
    EXPECT_FALSE(list.BarPosition(nLarge).has_value());
    EXPECT_TRUE(pRecord->bCancelled) << "a worker's record outlives the job's end";
    EXPECT_EQ(pRecord->nRow, -1);
    EXPECT_EQ(list.Row(nLarge)->columns[COL_STATUS], QStringLiteral("Cancelled"));
}

TEST(TransferList, MenuCommandsAndResubmissionFollowTheStates)
{
    CTransferListView list;
    // Names that no line of text could carry whole: the job itself is kept, not its texts.
    const int nRunning = list.AddJob(Upload(QStringLiteral("running")), JobPurpose::Transfer, 10);
    const int nWaiting = list.AddJob(Upload(QStringLiteral("waiting")), JobPurpose::Transfer, 10);
    const int nFailed
        = list.AddJob(Upload(QStringLiteral("a;b.txt"), QStringLiteral("/x;y")), JobPurpose::Transfer, 10);
    const int nCompleted = list.AddJob(Upload(QStringLiteral("done")), JobPurpose::Transfer, 10);
    list.SetRunning(nRunning);
    list.FinishJob(nFailed, JobState::Failed, QStringLiteral("Completed? No: Failed to upload file."), false);
    list.FinishJob(nCompleted, JobState::Completed, {}, false);
    const auto row = [&](int nJobId) { return list.FindCurListCtrlIndex(nJobId); };

    EXPECT_TRUE(list.CanCancel({ row(nRunning), row(nFailed) }));
    EXPECT_FALSE(list.CanDelete({ row(nRunning), row(nFailed) }));
    EXPECT_FALSE(list.CanResubmit({ row(nRunning), row(nFailed) }));
    EXPECT_TRUE(list.CanResubmit({ row(nWaiting), row(nFailed) })) << "a failed message naming Completed is no status";
    EXPECT_FALSE(list.CanDelete({ row(nWaiting) }));
    EXPECT_FALSE(list.CanResubmit({ row(nFailed), row(nCompleted) }));
    EXPECT_TRUE(list.CanDelete({ row(nFailed), row(nCompleted) }));
    EXPECT_FALSE(list.CanCancel({ row(nFailed), row(nCompleted) }));
    EXPECT_FALSE(list.CanDelete({}));

    list.DeleteSelected({ row(nRunning), row(nCompleted) });
    EXPECT_TRUE(list.Row(nRunning).has_value()) << "a running job keeps its row";
    EXPECT_FALSE(list.Row(nCompleted).has_value());

    std::vector<int> resubmitted;
    list.ResubmitSelected({ row(nFailed), row(nWaiting) }, [&](int nJobId) { resubmitted.push_back(nJobId); });
    EXPECT_EQ(resubmitted, (std::vector<int> { nWaiting, nFailed })) << "from the top";
    EXPECT_FALSE(list.ReopenJob(nWaiting, 0)) << "a waiting job is queued once";
    EXPECT_FALSE(list.ReopenJob(nRunning, 0));
    ASSERT_TRUE(list.ReopenJob(nFailed, 0));
    const std::optional<JobRecord> again = list.Job(nFailed);
    EXPECT_EQ(again->state, JobState::Waiting);
    EXPECT_EQ(RemotePathOf(again->job), QStringLiteral("/x;y/a;b.txt"));
    EXPECT_EQ(again->job.strLocalPath, QStringLiteral("/home/me/site/a;b.txt"));
    EXPECT_EQ(list.ActiveJobs(), 3);
}

TEST(TransferList, WorkersAddAndReportAtOnceAndProgressNoticesAreCoalesced)
{
    CTransferListView list;
    std::atomic<int> nNotices { 0 };
    list.SetObserver([&] { ++nNotices; });
    std::vector<std::thread> workers;
    std::mutex idsMutex;
    std::set<int> ids;
    for (int t = 0; t < 8; ++t) {
        workers.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                const int nJobId = list.AddJob(Upload(QStringLiteral("file")), JobPurpose::Transfer, 1'000'000);
                for (int j = 0; j < 100; ++j) {
                    list.AdvanceProgress(nJobId, 10'000);
                }
                list.FinishJob(nJobId, JobState::Completed, {}, false);
                std::lock_guard lock(idsMutex);
                ids.insert(nJobId);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(ids.size(), 400u) << "every job gets an id of its own";
    EXPECT_EQ(list.ActiveJobs(), 0);
    EXPECT_LT(nNotices.load(), 400 * 3 + 400 * 5) << "40,000 progress steps must not make 40,000 notices";
}

TEST(JobQueue, RunsEverythingInOrderOnNoMoreThreadsThanAllowedAndStopsAfterTheQueue)
{
    std::atomic<int> nAtOnce { 0 };
    std::atomic<int> nMost { 0 };
    std::atomic<int> nRun { 0 };
    CJobQueue queue(3);
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(queue.Submit([&] {
            const int nNow = ++nAtOnce;
            int nSeen = nMost.load();
            while (nNow > nSeen && !nMost.compare_exchange_weak(nSeen, nNow)) { }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            --nAtOnce;
            ++nRun;
        }));
    }
    EXPECT_LE(queue.ThreadsStarted(), 3);
    queue.Stop();
    EXPECT_EQ(nRun.load(), 200) << "what was queued runs before the workers end";
    EXPECT_LE(nMost.load(), 3);
    EXPECT_FALSE(queue.Submit([] {})) << "nothing runs after the queue stopped";

    CJobQueue single(1);
    std::vector<int> order;
    for (int i = 0; i < 20; ++i) {
        single.Submit([&order, i] { order.push_back(i); });
    }
    EXPECT_TRUE(single.WaitIdle(10000));
    EXPECT_EQ(order.size(), 20u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

} // namespace
