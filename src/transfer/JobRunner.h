#pragma once

#include <atomic>
#include <cstdint>

#include <QString>

#include "transfer/TransferJob.h"

class CFtpSession;
class CTraceBuffer;
class CTransferListView;

// Runs one job in its row of the transfer list: borrows a connection of its own from the session's bounded
// pool (the row says "Waiting..." until one is free), says "In Progress.", runs the transfer routine with
// progress and the row's cancel flag, and writes the outcome. Any number of workers share one runner.
class CJobRunner
{
public:
    CJobRunner(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list);

    // Some servers refuse renames: uploads then go straight to their names.
    void SetUploadThroughWorkingName(bool bOn) { m_bUploadThroughWorkingName = bOn; }

    // The transfer alone: 1 done, 0 cancelled, other failed (strFailure then says why, when it can).
    int RunTransfer(int nJobId, const TransferJob& job, QString& strFailure);
    // Status and Message of a finished job.
    void ShowOutcome(int nJobId, const TransferJob& job, int nResult, const QString& strFailure);
    // Both, as the copy workers want them.
    int CopyItemEx(int nJobId, const TransferJob& job);

    // Bytes moved by every job so far.
    [[nodiscard]] std::int64_t BytesMoved() const { return m_nBytesMoved; }

private:
    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    CTransferListView& m_list;
    std::atomic<bool> m_bUploadThroughWorkingName { true };
    std::atomic<std::int64_t> m_nBytesMoved { 0 };
};
