#pragma once

#include <atomic>

#include "tree/FolderComparison.h"

class CFtpSession;
class CTraceBuffer;

// One comparison, the way the window and every command run it: both sides scanned and compared with the CRC
// cache of this user, then, with a session, its trace and bServerChecksums, the files left undecided asked of the
// server by checksum. A cancelled run asks nothing.
ComparisonOutcome RunComparison(CFolderComparison& comparison, CFtpSession* pSession, CTraceBuffer* pTrace,
    bool bServerChecksums, int nThreads, const CFolderScanner::Progress& progress, const std::atomic<bool>* pCancel);
