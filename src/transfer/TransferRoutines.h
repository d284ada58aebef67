#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <QString>

#include "ftp/ListingParser.h"

class CCurlConnection;
class CTraceBuffer;

// What every transfer routine returns.
inline constexpr int TRANSFER_DONE = 1;
inline constexpr int TRANSFER_CANCELLED = 0;
inline constexpr int TRANSFER_FAILED = -1;

// What a transfer routine works with: a connection of its own, where to report, how to know it should stop.
struct TransferContext
{
    CCurlConnection& connection;
    CTraceBuffer& trace;
    std::function<void(std::int64_t nBytes)> progress; // bytes moved since the last call
    const std::atomic<bool>* pCancel = nullptr;
    // Uploads go to a working name and are renamed into place, so that a failed upload never leaves a
    // truncated file under the real name; some servers refuse renames and need this off.
    bool bUploadThroughWorkingName = true;
    QString strFailure; // why the routine failed, in one sentence
};

// A name the FTP command channel can carry: no line break and no NUL.
bool IsSendableName(const QString& strName);

// Downloads strName of strRemoteFolder to strLocalPath through a working file beside it, put in place only
// when whole and, when nExpectedSize is known (>= 0), exactly that long; a server that sends more is cut
// off. A cancelled or failed download leaves strLocalPath as it was.
int DownloadFile(TransferContext& context, const QString& strRemoteFolder, const QString& strName,
    const QString& strLocalPath, std::int64_t nExpectedSize);
int UploadFile(
    TransferContext& context, const QString& strLocalPath, const QString& strRemoteFolder, const QString& strName);
// Whole folders, recursively; remote folders are made as needed.
int DownloadFolder(TransferContext& context, const QString& strRemoteFolder, const QString& strLocalFolder);
int UploadFolder(TransferContext& context, const QString& strLocalFolder, const QString& strRemoteFolder);
// Deletes a remote file, or a folder with everything in it; a folder is emptied only from a listing that
// succeeded in full.
int DeleteRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder);
int RenameRemote(
    TransferContext& context, const QString& strRemoteFolder, const QString& strFrom, const QString& strTo);
int MakeRemoteFolder(TransferContext& context, const QString& strRemoteFolder, const QString& strName);

// Copies a remote file or folder to strTargetPath on the same server: by the server's own copy commands
// (SITE CPFR and CPTO) where it has them, otherwise through a temporary local copy that is uploaded.
int CopyRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    const QString& strTargetPath, std::int64_t nExpectedSize);

// Copies a local file over strTargetPath, making missing folders first; the target is replaced only by a
// whole copy. An error sentence, or empty.
QString CopyLocalFile(const QString& strSourcePath, const QString& strTargetPath);

// Copies a local folder with everything in it, file by file as CopyLocalFile does.
QString CopyLocalFolder(const QString& strSourceFolder, const QString& strTargetFolder);

// The entries of a remote folder, or nothing when it could not be listed in full.
std::optional<std::vector<FtpListEntry>> ListRemoteFolder(TransferContext& context, const QString& strRemoteFolder);

// Bytes a local file or folder holds, for the progress of a job.
std::int64_t LocalSize(const QString& strPath);

// "/a/b" + "c" = "/a/b/c".
QString JoinRemotePath(const QString& strFolder, const QString& strName);
