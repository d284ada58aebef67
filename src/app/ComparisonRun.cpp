#include "app/ComparisonRun.h"

#include "app/ChecksumVerifier.h"
#include "ftp/FtpSession.h"
#include "tree/CrcCache.h"

ComparisonOutcome RunComparison(CFolderComparison& comparison, CFtpSession* pSession, CTraceBuffer* pTrace,
    bool bServerChecksums, int nThreads, const CFolderScanner::Progress& progress, const std::atomic<bool>* pCancel)
{
    comparison.SetCrcCacheFolder(DefaultCrcCacheFolder());
    ComparisonOutcome outcome = comparison.Run(nThreads, progress, pCancel);
    const bool bCancelled = pCancel != nullptr && pCancel->load();
    if (outcome.bOk && !bCancelled && bServerChecksums && pSession != nullptr && pTrace != nullptr
        && pSession->HasSite()) {
        CChecksumVerifier verifier(*pSession, *pTrace);
        verifier.SetProgress(progress);
        verifier.Verify(comparison.Tree().Root(), pCancel);
    }
    return outcome;
}
