#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include <QString>

class CFtpSession;
class CTraceBuffer;
class CTransferListView;
struct JobFields;

enum class TransferOperation
{
    Upload,
    Download,
    Delete
};

// One job: what to do with which item. Remote items are named by the folder that holds them and their name.
struct TransferJob
{
    TransferOperation operation = TransferOperation::Upload;
    bool bFolder = false;
    QString strName;
    QString strLocalPath; // the local file or folder itself
    QString strRemoteFolder;
    std::int64_t nExpectedSize = -1; // of a remote file to download, when the listing gave it
};

struct TransferTotals
{
    int nCompleted = 0;
    int nCancelled = 0;
    int nFailed = 0;
    std::int64_t nBytes = 0;
};

// Runs jobs, one worker thread each. Every worker borrows a connection from the session's bounded pool
// (its row says "Waiting..." until one is free), reports into the transfer list, and ends its row as
// Completed, Cancelled or Failed. Destroying the queue cancels what still runs and joins every worker.
class CTransferQueue
{
public:
    CTransferQueue(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list);
    ~CTransferQueue();
    CTransferQueue(const CTransferQueue&) = delete;
    CTransferQueue& operator=(const CTransferQueue&) = delete;

    void SetUploadThroughWorkingName(bool bOn) { m_bUploadThroughWorkingName = bOn; }
    // Told on the worker's thread when a job has ended (to refresh the comparison tree).
    void SetOnFinished(std::function<void(const TransferJob&, int nResult)> onFinished)
    {
        m_onFinished = std::move(onFinished);
    }

    // Adds the job's row and starts its worker; returns the job id.
    int Submit(const TransferJob& job);
    // Runs a row's job again in the same row (Resubmit). A row whose job line does not read back (a field
    // holding ";") ends as Failed, saying why, and nothing is transferred.
    void ResubmitJob(int nJobId, const JobFields& fields);
    void CancelAll();
    // Waits for every worker to end; false when nMilliseconds passed first (negative: wait as long as it takes).
    bool WaitForAll(int nMilliseconds = -1);

    [[nodiscard]] TransferTotals Totals() const;

private:
    void Run(int nJobId, TransferJob job, bool bResubmitted);
    void Start(int nJobId, const TransferJob& job, bool bResubmitted);

    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    CTransferListView& m_list;
    bool m_bUploadThroughWorkingName = true;
    std::function<void(const TransferJob&, int)> m_onFinished;
    mutable std::mutex m_mutex;
    std::vector<std::thread> m_workers;
    std::vector<int> m_jobIds;
    int m_nRunning = 0;
    TransferTotals m_totals;
};

// The word a job shows in its Operation column.
QString OperationWord(TransferOperation operation);
