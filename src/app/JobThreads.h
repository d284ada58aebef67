#pragma once

#include <QString>

#include "transfer/TransferJob.h"

class CQuorvelView;
struct PreparedJob;
struct DropHandOver;

// The workers of a comparison view's jobs. Each gets a job made whole by the view's command, runs it in its row of
// the transfer list, refreshes the tree when it completes, and returns 1 (0: it could not start).
int CopyEachItemExThread(CQuorvelView* pView, const PreparedJob& prepared);
int CacheSelectedItems2CacheThread(CQuorvelView* pView, const PreparedJob& prepared);
int ResubmitDownloadThread(CQuorvelView* pView, const QString& strJobLine);
int ResubmitUploadThread(CQuorvelView* pView, const QString& strJobLine);
int ResubmitFtpCopyThread(CQuorvelView* pView, const QString& strJobLine);
int DropPasteCopyThread(CQuorvelView* pView, const DropHandOver& drop);

// Deletions and renames run at once on the calling thread, each in a row of its own; the result of the
// transfer routine.
int RunJobHere(CQuorvelView& view, const PreparedJob& prepared);
void ResubmitJobHere(CQuorvelView& view, const QString& strJobLine);
