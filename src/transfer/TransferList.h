#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QString>

#include "transfer/ProgressEntry.h"
#include "transfer/TransferJob.h"

// Columns of the transfer list, in order.
enum TransferColumn : int
{
    COL_FILENAME = 0,
    COL_STATUS = 1,
    COL_LOCAL_PATH = 2,
    COL_FTP_PATH = 3,
    COL_OPERATION = 4,
    COL_MESSAGE = 5
};
inline constexpr int kTransferColumns = 6;

enum class JobState
{
    Waiting, // queued for a worker
    Running,
    Completed,
    Cancelled,
    Failed
};

// The word for a job's state, as the list's Status column and the command line show it: empty while the job
// waits or runs.
QString StatusText(JobState state);
// The state a transfer routine's result (TRANSFER_DONE ...) leaves a job in.
JobState StateOfResult(int nResult);
[[nodiscard]] inline bool IsLive(JobState state)
{
    return state == JobState::Waiting || state == JobState::Running;
}

// Where a job's result shows beside the server.
enum class JobPurpose
{
    Transfer, // to the other side of the comparison, within the server, or a deletion or rename there
    IntoMirror, // a download into the mirror only, where it can be compared and opened ("Cache")
    Dropped // an upload of a file or folder dropped or pasted from outside the compared folder
};

// One job as the list keeps it. The rows' texts are made from it; nothing is decided by them.
struct JobRecord
{
    int nJobId = -1;
    JobState state = JobState::Waiting;
    TransferJob job;
    JobPurpose purpose = JobPurpose::Transfer;
    QString strFailure; // the Message of a failed job
};

// One row as a view shows it: the job's id and state, and its six texts.
struct TransferRow
{
    int nJobId = -1;
    JobState state = JobState::Waiting;
    std::array<QString, kTransferColumns> columns;
};
TransferRow RowOf(const JobRecord& record);

// A live job's progress as a view draws it.
struct JobProgress
{
    int nBarPosition = 0;
    std::int64_t nDone = 0;
    std::int64_t nTotal = 0;
};

// The transfer list's data: one record per job, one progress record per live job. Worker threads and the
// user-interface thread call it at once, so every operation takes its lock. Job ids only grow, so a worker
// that outlives its row never finds another job under its id. Observers hear of changes, progress at most
// a few times a second per job.
class CTransferListView
{
public:
    CTransferListView();

    // Called after each change, on the thread that made it; it must not block.
    void SetObserver(std::function<void()> changed);

    // The row index of a job; -1 when it has none.
    int FindCurListCtrlIndex(int nJobId) const;
    // A new job, waiting, with its progress record; its id.
    int AddJob(const TransferJob& job, JobPurpose purpose, std::int64_t nTotalBytes);
    // A finished job waits again in its row with a fresh progress record; false when it is gone, still
    // waits or runs, or completed.
    bool ReopenJob(int nJobId, std::int64_t nTotalBytes);
    // The bytes a waiting job expects to move, once they are counted.
    void SetJobTotal(int nJobId, std::int64_t nTotalBytes);
    void SetRunning(int nJobId);
    // A job's outcome (strFailure: the Message of a failure); its progress record ends. A completed job's
    // row goes when bRemoveIfCompleted.
    void FinishJob(int nJobId, JobState outcome, const QString& strFailure, bool bRemoveIfCompleted);
    void AdvanceProgress(int nJobId, std::int64_t nBytes);
    void SetProgress(int nJobId, std::int64_t nPosition);
    [[nodiscard]] bool IsJobCancelled(int nJobId) const;
    // The job's record, kept alive for as long as the caller holds it (a transfer loop polls its cancel
    // flag); null when the job has none.
    [[nodiscard]] std::shared_ptr<const CProgressEntry> ProgressRecord(int nJobId) const;

    // The context menu's rules over a selection of row indices.
    [[nodiscard]] bool CanDelete(const std::vector<int>& selection) const;
    [[nodiscard]] bool CanCancel(const std::vector<int>& selection) const;
    [[nodiscard]] bool CanResubmit(const std::vector<int>& selection) const;
    // Removes the selected rows, never one whose job waits or runs.
    void DeleteSelected(std::vector<int> selection);
    void CancelSelected(const std::vector<int>& selection);
    void CancelAll();
    // Hands the id of each selected job, from the top, to resubmit (the comparison view's ResubmitJob).
    void ResubmitSelected(const std::vector<int>& selection, const std::function<void(int nJobId)>& resubmit);

    [[nodiscard]] std::optional<JobRecord> Job(int nJobId) const;
    [[nodiscard]] std::vector<JobRecord> Jobs() const;
    [[nodiscard]] std::vector<TransferRow> Rows() const;
    [[nodiscard]] std::optional<TransferRow> Row(int nJobId) const;
    [[nodiscard]] std::optional<int> BarPosition(int nJobId) const;
    // The bar and byte counts of every live job, read at once.
    [[nodiscard]] std::map<int, JobProgress> ProgressOfJobs() const;
    // Jobs waiting or running.
    [[nodiscard]] int ActiveJobs() const;

private:
    int RowIndexLocked(int nJobId) const;
    JobRecord* RecordLocked(int nJobId);
    [[nodiscard]] bool IsLiveRowLocked(int nRow) const;
    void Notify(int nJobId, bool bProgressOnly);

    mutable std::mutex m_mutex;
    std::vector<JobRecord> m_jobs;
    std::map<int, std::shared_ptr<CProgressEntry>> m_progress;
    int m_nLastJobId = -1;
    std::function<void()> m_changed;
    std::map<int, std::chrono::steady_clock::time_point> m_lastProgressNotice;
};
