#pragma once

#include <QString>

#include "transfer/TransferJob.h"

class CQuorvelView;
struct ItemHandOver;
struct DropHandOver;

// The workers of a comparison view's jobs. Each gets what the view hands over, runs one job in its row of
// the transfer list, refreshes the tree when it completes, and returns 1 (0: it could not start).
int CopyEachItemExThread(CQuorvelView* pView, const ItemHandOver& handOver);
int CacheSelectedItems2CacheThread(CQuorvelView* pView, const ItemHandOver& handOver);
int ResubmitDownloadThread(CQuorvelView* pView, const QString& strJobLine);
int ResubmitUploadThread(CQuorvelView* pView, const QString& strJobLine);
int ResubmitFtpCopyThread(CQuorvelView* pView, const QString& strJobLine);
int DropPasteCopyThread(CQuorvelView* pView, const DropHandOver& drop);

// Deletions run at once on the calling thread, each in a row of its own; the result of the transfer routine.
int RunDeleteJob(CQuorvelView& view, const TransferJob& job);
void ResubmitDeleteJob(CQuorvelView& view, const QString& strJobLine);
