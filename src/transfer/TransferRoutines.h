#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

#include "ftp/ListingParser.h"
#include "transfer/TransferJob.h"

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
    // Local folders below which nothing is written through a link (the user's folder, the mirror).
    QStringList localRoots;
    // A download whose size the listing did not give stops past this many bytes; -1: no bound.
    std::int64_t nUnknownSizeLimit = -1;
};

// A name the FTP command channel can carry: no line break and no NUL.
bool IsSendableName(const QString& strName);

// Downloads strName of strRemoteFolder to strLocalPath through a working file beside it, put in place only
// when whole and, when nExpectedSize is known (>= 0), exactly that long; a server that sends more is cut
// off, and a file of unknown size stops at the context's bound. A cancelled or failed download leaves
// strLocalPath as it was.
int DownloadFile(TransferContext& context, const QString& strRemoteFolder, const QString& strName,
    const QString& strLocalPath, std::int64_t nExpectedSize);
int UploadFile(
    TransferContext& context, const QString& strLocalPath, const QString& strRemoteFolder, const QString& strName);
// Whole folders, as their plans name them; folders are made as needed.
int DownloadFolder(
    TransferContext& context, const QString& strRemoteFolder, const QString& strLocalFolder, const FolderPlan& plan);
int UploadFolder(
    TransferContext& context, const QString& strLocalFolder, const QString& strRemoteFolder, const FolderPlan& plan);
// Deletes a remote file, a link (as a link, never what it leads to), or a folder with exactly what its plan
// names, bottom up: whatever else is found there stays, and so do the folders that hold it.
int DeleteRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    bool bLink, const FolderPlan& plan);
int RenameRemote(
    TransferContext& context, const QString& strRemoteFolder, const QString& strFrom, const QString& strTo);
int MakeRemoteFolder(TransferContext& context, const QString& strRemoteFolder, const QString& strName);

// Copies a remote file or folder to strTargetPath on the same server: by the server's own copy commands
// (SITE CPFR and CPTO) where it has them, otherwise through a temporary local copy that is uploaded.
int CopyRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    const QString& strTargetPath, std::int64_t nExpectedSize, const FolderPlan& plan);

// Deletes a local file, a link (as a link), or a folder with exactly what its plan names, bottom up:
// whatever else is found there stays, and so do the folders that hold it. An error sentence, or empty.
QString DeleteLocal(const QString& strPath, bool bFolder, bool bLink, const FolderPlan& plan);

// Copies a local file over strTargetPath, making missing folders first; the target is replaced only by a
// whole copy, and nothing is written through a link below one of localRoots. An error sentence, or empty.
QString CopyLocalFile(const QString& strSourcePath, const QString& strTargetPath, const QStringList& localRoots = {});

// Copies a local folder with everything in it, file by file as CopyLocalFile does; links to folders are
// not followed.
QString CopyLocalFolder(
    const QString& strSourceFolder, const QString& strTargetFolder, const QStringList& localRoots = {});

// The plan of a local folder that is not in the comparison (a dropped one): every file and folder below it,
// links to folders left out (and told of through skipped).
FolderPlan PlanLocalFolder(const QString& strFolder, QStringList* pSkipped = nullptr);

// Bytes a local file or folder holds, for the progress of a job.
std::int64_t LocalSize(const QString& strPath);

// "/a/b" + "c" = "/a/b/c".
QString JoinRemotePath(const QString& strFolder, const QString& strName);
