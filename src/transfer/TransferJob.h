#pragma once

#include <cstdint>
#include <vector>

#include <QString>

enum class TransferOperation
{
    Upload,
    Download,
    Delete,
    Copy, // within the server
    Rename // on the server, within its folder (strTargetRemotePath is the new path)
};

// One entry below a folder that a folder job works on, as the comparison saw it: the job touches these and
// nothing else, so that what appeared since (another upload in flight, a file the listing hid) is never
// copied or deleted on the strength of a listing read at the time of the job.
struct PlannedEntry
{
    QString strRelative; // below the job's folder, "/" between the parts
    bool bFolder = false;
    bool bLink = false; // a link on the job's side: removed as a link, never entered
    std::int64_t nSize = -1; // a file's size on the side it is read from, when known
};

// A folder job's entries: every folder before what it holds (the order a copy makes them in); a deletion
// walks it backwards, so that a folder comes after what it holds.
using FolderPlan = std::vector<PlannedEntry>;

// One job: what to do with which item. Remote items are named by the folder that holds them and their name.
struct TransferJob
{
    TransferOperation operation = TransferOperation::Upload;
    bool bFolder = false;
    QString strName;
    QString strLocalPath; // the local file or folder itself
    QString strRemoteFolder;
    std::int64_t nExpectedSize = -1; // of a remote file to download, when the listing gave it
    QString strTargetRemotePath; // where an in-server copy goes
    bool bLink = false; // the item itself is a link on the side the job works on
    FolderPlan plan; // what a folder job copies or deletes below the folder
};

// The word a job shows in its Operation column.
QString OperationWord(TransferOperation operation);

// The Message of a job that failed without saying why.
// A failure text of the job list followed by why it failed: "Failed to download file. 550 Permission denied".
QString FailureWithReason(const QString& strFailure, const QString& strReason);
QString FailureMessage(const TransferJob& job);

// The remote file or folder the job works on.
QString RemotePathOf(const TransferJob& job);
