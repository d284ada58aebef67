#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <QString>
#include <QStringList>

#include "transfer/TransferJob.h"

class CCurlConnection;
class CFtpSession;
class CTraceBuffer;
class CTransferListView;

// Runs the transfer of one job of the transfer list: borrows a connection of its own from the session's
// bounded pool, marks the job running, and runs the transfer routine with the job's progress and cancel
// flag. Any number of workers share one runner.
class CJobRunner
{
public:
    CJobRunner(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list);

    // Some servers refuse renames: uploads then go straight to their names.
    void SetUploadThroughWorkingName(bool bOn) { m_bUploadThroughWorkingName = bOn; }
    // The local folders below which no job writes through a link; set before any job runs.
    void SetLocalRoots(const QStringList& roots) { m_localRoots = roots; }

    // Runs a job of the list on a connection borrowed for it: 1 done, 0 cancelled, other failed (strFailure
    // then says why, when it can). The job runs once a connection is free.
    int RunTransfer(int nJobId, const TransferJob& job, QString& strFailure);

    // Bytes moved by every job so far.
    [[nodiscard]] std::int64_t BytesMoved() const { return m_nBytesMoved; }

private:
    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    CTransferListView& m_list;
    std::atomic<bool> m_bUploadThroughWorkingName { true };
    QStringList m_localRoots;
    std::int64_t m_nUnknownSizeLimit = -1;
    std::atomic<std::int64_t> m_nBytesMoved { 0 };
};
