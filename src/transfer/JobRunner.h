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

// Runs one job in its row of the transfer list: borrows a connection of its own from the session's bounded
// pool (the row says "Waiting..." until one is free), says "In Progress.", runs the transfer routine with
// progress and the row's cancel flag, and writes the outcome. Any number of workers share one runner.
class CJobRunner
{
public:
    CJobRunner(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list);

    // Some servers refuse renames: uploads then go straight to their names.
    void SetUploadThroughWorkingName(bool bOn) { m_bUploadThroughWorkingName = bOn; }
    // The local folders below which no job writes through a link; set before any job runs.
    void SetLocalRoots(const QStringList& roots) { m_localRoots = roots; }

    // The transfer alone: 1 done, 0 cancelled, other failed (strFailure then says why, when it can). It
    // runs on pConnection when given, otherwise on one borrowed for it.
    int RunTransfer(int nJobId, const TransferJob& job, QString& strFailure,
        std::unique_ptr<CCurlConnection> pConnection = nullptr);
    // Status and Message of a finished job. A failure's Message is strFailureText (the job's own failure
    // text when empty) followed by the reason strFailure.
    void ShowOutcome(
        int nJobId, const TransferJob& job, int nResult, const QString& strFailure, const QString& strFailureText = {});
    // Both, as the copy workers want them.
    int CopyItemEx(int nJobId, const TransferJob& job, std::unique_ptr<CCurlConnection> pConnection = nullptr);
    // For a worker about to add its row: a connection when one is free, or none with bBusy set when every
    // allowed one is in use (the site is reachable then). None without bBusy: the site cannot be reached.
    std::unique_ptr<CCurlConnection> ConnectionIfFree(bool& bBusy);

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
