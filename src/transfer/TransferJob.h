#pragma once

#include <cstdint>

#include <QString>

enum class TransferOperation
{
    Upload,
    Download,
    Delete,
    Copy, // within the server
    Rename // on the server, within its folder (strTargetRemotePath is the new path)
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
    QString strTargetRemotePath; // where an in-server copy goes
};

// The word a job shows in its Operation column, and the operation a word stands for (any word but UPLOAD,
// DOWNLOAD, DELETE and RENAME is an in-server copy).
QString OperationWord(TransferOperation operation);
TransferOperation OperationFromWord(const QString& strWord);

// The Message of a job that failed without saying why.
// A failure text of the job list followed by why it failed: "Failed to download file. 550 Permission denied".
QString FailureWithReason(const QString& strFailure, const QString& strReason);
QString FailureMessage(const TransferJob& job);

// The remote file or folder the job works on.
QString RemotePathOf(const TransferJob& job);
