#include <atomic>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "support/SettingsStore.h"
#include "transfer/TransferList.h"

namespace {

JobFields Fields(const char* name, const char* message = "Waiting...", const char* ftp = "/pub")
{
    return { QString::fromUtf8(name), QStringLiteral("/home/me/site"), QString::fromUtf8(ftp), QStringLiteral("UPLOAD"),
        QString::fromUtf8(message) };
}

TEST(TransferList, JobsGetRowsIdsAndRecordsAndIdsRestartWhenTheListEmpties)
{
    CTransferListView list;
    EXPECT_EQ(CTransferListView::ColumnTitles(),
        (std::array<QString, kTransferColumns> { QStringLiteral("Filename"), QStringLiteral("Status"),
            QStringLiteral("Local Path"), QStringLiteral("FTP Path"), QStringLiteral("Operation"),
            QStringLiteral("Message") }));
    EXPECT_EQ(list.AddJob(1000, Fields("a.html")), 0);
    EXPECT_EQ(list.AddJob(1000, Fields("b.html")), 1);
    EXPECT_EQ(list.ActiveJobs(), 2);
    EXPECT_EQ(list.FindCurListCtrlIndex(1), 1);
    EXPECT_EQ(list.FindCurListCtrlIndex(7), -1);
    EXPECT_EQ(list.FindCurListCtrlIndex(-1), -1);

    list.UpdateJob(0, { {}, {}, {}, {}, QStringLiteral("Complete.") }, QStringLiteral("Completed"));
    EXPECT_EQ(list.Row(0)->columns[COL_FILENAME], QStringLiteral("a.html")) << "empty texts leave their columns";
    list.FinishJob(0, true);
    EXPECT_FALSE(list.Row(0).has_value()) << "a completed row goes when DeleteRowOfGoodXfer is set";
    list.UpdateJob(1, { {}, {}, {}, {}, QStringLiteral("Complete.") }, QStringLiteral("Completed"));
    list.FinishJob(1, false);
    EXPECT_TRUE(list.Row(1).has_value()) << "and stays when it is not";
    EXPECT_EQ(list.ActiveJobs(), 0);

    list.DeleteSelected({ 0 });
    EXPECT_TRUE(list.Rows().empty());
    EXPECT_EQ(list.AddJob(5, Fields("c.html")), 0) << "the next job after an emptied list is 0 again";
}

TEST(TransferList, ProgressFollowsTheStepRules)
{
    CTransferListView list;
    const int nSmall = list.AddJob(50, Fields("small"));
    list.AdvanceProgress(nSmall, 20);
    EXPECT_EQ(list.BarPosition(nSmall), 20) << "under 100 bytes the step is 1";
    list.AdvanceProgress(nSmall, 0);
    EXPECT_EQ(list.BarPosition(nSmall), 21) << "0 bytes advances one step";
    list.AdvanceProgress(nSmall, 1000);
    EXPECT_EQ(list.BarPosition(nSmall), 50) << "never past the total, so the bar never fills";

    const int nEmpty = list.AddJob(0, Fields("empty"));
    list.AdvanceProgress(nEmpty, 10);
    EXPECT_EQ(list.BarPosition(nEmpty), 0);

    const int nLarge = list.AddJob(1'000'000, Fields("large"));
    list.AdvanceProgress(nLarge, 250'000);
    EXPECT_EQ(list.BarPosition(nLarge), 25);
    list.SetProgress(nLarge, 500'000);
    EXPECT_EQ(list.BarPosition(nLarge), 50);
    list.CancelSelected({ list.FindCurListCtrlIndex(nLarge) });
    EXPECT_TRUE(list.IsJobCancelled(nLarge));
    list.AdvanceProgress(nLarge, 100'000);
    EXPECT_EQ(list.BarPosition(nLarge), 50) << "a cancelled job's bar stands still";

    const std::shared_ptr<const CProgressEntry> pRecord = list.ProgressRecord(nLarge);
    list.FinishJob(nLarge, true);
    EXPECT_FALSE(list.BarPosition(nLarge).has_value());
    EXPECT_TRUE(pRecord->bCancelled) << "a worker's record outlives the job's end";
    EXPECT_EQ(pRecord->nRow, -1);
}

TEST(TransferList, MenuCommandsFollowTheSelection)
{
    CTransferListView list;
    const int nRunning = list.AddJob(10, Fields("running", "In Progress."));
    const int nWaiting = list.AddJob(10, Fields("waiting", "WAITING..."));
    const int nFailed = list.AddJob(10, Fields("failed", "Failed to upload file."));
    const int nCompleted = list.AddJob(10, Fields("done", "Complete."));
    const int nNoPath = list.AddJob(10, Fields("nopath", "Failed to upload file.", ""));
    list.UpdateJob(nFailed, {}, QStringLiteral("Failed"));
    list.UpdateJob(nCompleted, {}, QStringLiteral("Completed"));
    const auto row = [&](int nJobId) { return list.FindCurListCtrlIndex(nJobId); };

    EXPECT_TRUE(list.CanCancel({ row(nRunning), row(nFailed) }));
    EXPECT_FALSE(list.CanDelete({ row(nRunning), row(nFailed) }));
    EXPECT_FALSE(list.CanResubmit({ row(nRunning), row(nFailed) }));
    EXPECT_TRUE(list.CanResubmit({ row(nWaiting), row(nFailed) })) << "a waiting row may be resubmitted";
    EXPECT_FALSE(list.CanDelete({ row(nWaiting) }));
    EXPECT_FALSE(list.CanResubmit({ row(nFailed), row(nCompleted) }));
    EXPECT_FALSE(list.CanResubmit({ row(nNoPath) }));
    EXPECT_TRUE(list.CanDelete({ row(nFailed), row(nCompleted) }));
    EXPECT_FALSE(list.CanCancel({ row(nFailed), row(nCompleted) }));
    EXPECT_FALSE(list.CanDelete({}));

    std::vector<int> resubmitted;
    list.ResubmitSelected({ row(nFailed), row(nWaiting) }, [&](int nJobId, const JobFields& fields) {
        resubmitted.push_back(nJobId);
        EXPECT_EQ(fields.strLocalPath, QStringLiteral("/home/me/site"));
    });
    EXPECT_EQ(resubmitted, (std::vector<int> { nWaiting, nFailed })) << "from the top";
}

TEST(TransferList, JobLinesReadBackOrAreRefused)
{
    const JobFields fields = Fields("index.html", "Failed to upload file.");
    const QString strLine = FormatJobLine(7, fields);
    EXPECT_EQ(strLine, QStringLiteral("7;index.html;/home/me/site;/pub;UPLOAD;Failed to upload file."));
    const auto parsed = ParseJobLine(strLine, fields);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->first, 7);

    JobFields semicolon = fields;
    semicolon.strLocalPath = QStringLiteral("/home/me/a;b");
    EXPECT_FALSE(ParseJobLine(FormatJobLine(7, semicolon), semicolon).has_value()) << "a shifted path never transfers";
}

TEST(TransferList, ColumnWidthsComeFromTheSettingOrTheWindow)
{
    CSettingsStore store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("xfer-widths")));
    EXPECT_EQ(CTransferListView::ColumnWidths(store, 600),
        (std::array<int, kTransferColumns> { 100, 100, 200, 140, 80, 100 }));
    store.WriteString("Settings", "XferWidths", QStringLiteral("1,2,3,4,5"));
    EXPECT_EQ(CTransferListView::ColumnWidths(store, 600)[2], 200) << "five numbers are not a width set";
    CTransferListView::SaveColumnWidths(store, { 10, 20, 30, 40, 50, 60 });
    EXPECT_EQ(store.ReadString("Settings", "XferWidths"), QStringLiteral("10,20,30,40,50,60"));
    EXPECT_EQ(
        CTransferListView::ColumnWidths(store, 600), (std::array<int, kTransferColumns> { 10, 20, 30, 40, 50, 60 }));
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
                const int nJobId = list.AddJob(1'000'000, Fields("file"));
                for (int j = 0; j < 100; ++j) {
                    list.AdvanceProgress(nJobId, 10'000);
                }
                list.UpdateJob(nJobId, {}, QStringLiteral("Completed"));
                list.FinishJob(nJobId, false);
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

} // namespace
