#pragma once

#include <QString>

#include "transfer/TransferJob.h"

class CQuorvelView;

// The workers of a comparison view's jobs. Each takes what the view hands over, runs one job in its row of
// the transfer list, refreshes the tree when it completes, and returns 1 (0: it could not start).
int CopyEachItemExThread(CQuorvelView* pView);
int CacheSelectedItems2CacheThread(CQuorvelView* pView);
int ResubmitDownloadThread(CQuorvelView* pView);
int ResubmitUploadThread(CQuorvelView* pView);
int ResubmitFtpCopyThread(CQuorvelView* pView);
int DropPasteCopyThread(CQuorvelView* pView);

// Deletions run at once on the calling thread, each in a row of its own; the result of the transfer routine.
int RunDeleteJob(CQuorvelView& view, const TransferJob& job);
void ResubmitDeleteJob(CQuorvelView& view, const QString& strJobLine);
