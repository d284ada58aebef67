#include "transfer/TransferRoutines.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ftp/CurlConnection.h"
#include "ftp/TraceBuffer.h"
#include "support/TextFormat.h"

namespace {

constexpr qint64 kMaxListingBytes = 64LL * 1024 * 1024;
constexpr int kMaxDepth = 32;
const QString kWorkingPrefix = QStringLiteral(".quorvel-upload-");

bool Cancelled(const TransferContext& context)
{
    return context.pCancel != nullptr && context.pCancel->load();
}

int Fail(TransferContext& context, const QString& strWhy)
{
    context.strFailure = strWhy;
    context.trace.AddTraceText(TRACE_ERROR, strWhy);
    return TRANSFER_FAILED;
}

bool CheckName(TransferContext& context, const QString& strName)
{
    if (IsSendableName(strName)) {
        return true;
    }
    Fail(context,
        FormatText("The name \"%s\" holds a line break or NUL, which an FTP command cannot carry; it was not sent.",
            QString(strName)
                .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
                .replace(QLatin1Char('\r'), QStringLiteral("\\r"))));
    return false;
}

int FolderDownload(TransferContext& context, const QString& strRemoteFolder, const QString& strLocalFolder, int nDepth)
{
    if (nDepth > kMaxDepth) {
        return Fail(context,
            FormatText("\"%s\" lies more than %d folders deep; it was not downloaded.", strRemoteFolder, kMaxDepth));
    }
    const std::optional<std::vector<FtpListEntry>> entries = ListRemoteFolder(context, strRemoteFolder);
    if (!entries) {
        return TRANSFER_FAILED;
    }
    if (!QDir().mkpath(strLocalFolder)) {
        return Fail(context, FormatText("The folder %s cannot be made.", strLocalFolder));
    }
    int nResult = TRANSFER_DONE;
    for (const FtpListEntry& entry : *entries) {
        if (Cancelled(context)) {
            return TRANSFER_CANCELLED;
        }
        if (!IsSafeEntryName(entry.name)) {
            context.trace.AddTraceLine(
                TRACE_ERROR, "\"%s\" in %s cannot be a local name; it was left out.", entry.name, strRemoteFolder);
            continue;
        }
        const QString strLocal = QDir(strLocalFolder).filePath(entry.name);
        const int nEntryResult = entry.isDirectory || entry.isLink
            ? FolderDownload(context, JoinRemotePath(strRemoteFolder, entry.name), strLocal, nDepth + 1)
            : DownloadFile(context, strRemoteFolder, entry.name, strLocal, entry.size < INT32_MAX ? entry.size : -1);
        if (nEntryResult == TRANSFER_CANCELLED) {
            return TRANSFER_CANCELLED;
        }
        if (nEntryResult != TRANSFER_DONE) {
            nResult = nEntryResult;
        }
    }
    return nResult;
}

} // namespace

bool IsSendableName(const QString& strName)
{
    return !strName.contains(QLatin1Char('\n')) && !strName.contains(QLatin1Char('\r')) && !strName.contains(QChar(0));
}

QString JoinRemotePath(const QString& strFolder, const QString& strName)
{
    return strFolder.endsWith(QLatin1Char('/')) ? QString(strFolder + strName)
                                                : QString(strFolder + QLatin1Char('/') + strName);
}

std::int64_t LocalSize(const QString& strPath)
{
    const QFileInfo info(strPath);
    if (!info.isDir()) {
        return info.size();
    }
    std::int64_t nTotal = 0;
    QDirIterator files(strPath, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        nTotal += files.fileInfo().size();
    }
    return nTotal;
}

std::optional<std::vector<FtpListEntry>> ListRemoteFolder(TransferContext& context, const QString& strRemoteFolder)
{
    QByteArray data;
    context.connection.SetReceiveLimit(kMaxListingBytes);
    const CurlOutcome outcome = context.connection.SendDataCommand(QStringLiteral("LIST"), strRemoteFolder, data);
    context.connection.SetReceiveLimit(0);
    if (!outcome.bOk) {
        Fail(context, FormatText("The listing of %s failed: %s", strRemoteFolder, outcome.strError.trimmed()));
        return std::nullopt;
    }
    ParsedListing parsed = ParseListing(QString::fromLocal8Bit(data), ListingYears::Now());
    if (parsed.UnreadLines() > 0) {
        Fail(context,
            FormatText("The listing of %s held %d lines that could not be read; the folder is not worked on from it.",
                strRemoteFolder, static_cast<int>(parsed.UnreadLines())));
        return std::nullopt;
    }
    return std::move(parsed.entries);
}

int DownloadFile(TransferContext& context, const QString& strRemoteFolder, const QString& strName,
    const QString& strLocalPath, std::int64_t nExpectedSize)
{
    if (!CheckName(context, strName)) {
        return TRANSFER_FAILED;
    }
    // The working file sits beside the target under a name the scanner never shows, and replaces the
    // target by a rename only when whole. No fsync per file: it serialises parallel downloads on the
    // file system's journal, and ext4 and its kin flush a file renamed over another before the rename.
    const QFileInfo target(strLocalPath);
    if (!QDir().mkpath(target.path())) {
        return Fail(context, FormatText("The folder %s cannot be made.", target.path()));
    }
    QFile file(target.dir().filePath(
        QStringLiteral("$quorvelpart-%1").arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'))));
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        return Fail(context, FormatText("%s cannot be written: %s.", strLocalPath, file.errorString()));
    }
    auto discard = [&file] {
        file.close();
        file.remove();
    };
    std::int64_t nReceived = 0;
    bool bTooLong = false;
    bool bWriteFailed = false;
    const CurlOutcome outcome = context.connection.Download(
        strRemoteFolder, strName,
        [&](const char* pData, size_t nSize) {
            nReceived += static_cast<std::int64_t>(nSize);
            if (nExpectedSize >= 0 && nReceived > nExpectedSize) {
                bTooLong = true;
                return false;
            }
            if (file.write(pData, static_cast<qint64>(nSize)) != static_cast<qint64>(nSize)) {
                bWriteFailed = true;
                return false;
            }
            if (context.progress) {
                context.progress(static_cast<std::int64_t>(nSize));
            }
            return true;
        },
        context.pCancel);
    const QString strRemote = JoinRemotePath(strRemoteFolder, strName);
    if (outcome.bCancelled || Cancelled(context)) {
        discard();
        return TRANSFER_CANCELLED;
    }
    if (bWriteFailed) {
        const QString strError = file.errorString();
        discard();
        return Fail(
            context, FormatText("%s could not be written (%s); %s is as it was.", strRemote, strError, strLocalPath));
    }
    if (bTooLong) {
        discard();
        return Fail(context,
            FormatText("The server sent more of %s than the %lld bytes it listed; the download was stopped.", strRemote,
                static_cast<long long>(nExpectedSize)));
    }
    if (!outcome.bOk) {
        discard();
        return Fail(context, FormatText("The download of %s failed: %s", strRemote, outcome.strError.trimmed()));
    }
    if (nExpectedSize >= 0 && nReceived != nExpectedSize) {
        discard();
        return Fail(context,
            FormatText("Only %lld of the %lld bytes of %s arrived; %s is as it was.", static_cast<long long>(nReceived),
                static_cast<long long>(nExpectedSize), strRemote, strLocalPath));
    }
    file.close();
    if (::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(strLocalPath).constData()) != 0) {
        const QString strError = QString::fromLocal8Bit(std::strerror(errno));
        file.remove();
        return Fail(context, FormatText("%s cannot be put in place: %s.", strLocalPath, strError));
    }
    return TRANSFER_DONE;
}

int UploadFile(
    TransferContext& context, const QString& strLocalPath, const QString& strRemoteFolder, const QString& strName)
{
    if (!CheckName(context, strName)) {
        return TRANSFER_FAILED;
    }
    QFile file(strLocalPath);
    // libcurl asks for large pieces; a buffer of our own in between would only copy them once more.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return Fail(context, FormatText("%s cannot be read: %s.", strLocalPath, file.errorString()));
    }
    const QString strTarget = context.bUploadThroughWorkingName ? kWorkingPrefix + strName : strName;
    bool bReadFailed = false;
    const CurlOutcome outcome = context.connection.Upload(
        strRemoteFolder, strTarget, file.size(),
        [&](char* pBuffer, size_t nMax) -> qint64 {
            const qint64 nRead = file.read(pBuffer, static_cast<qint64>(nMax));
            if (nRead < 0) {
                bReadFailed = true;
                return -1;
            }
            if (context.progress && nRead > 0) {
                context.progress(nRead);
            }
            return nRead;
        },
        context.pCancel);
    const QString strRemote = JoinRemotePath(strRemoteFolder, strName);
    auto removeWorking = [&] {
        if (context.bUploadThroughWorkingName) {
            (void)context.connection.SendCommands({ QStringLiteral("DELE ") + strTarget }, strRemoteFolder);
        }
    };
    if (outcome.bCancelled || Cancelled(context)) {
        removeWorking();
        return TRANSFER_CANCELLED;
    }
    if (!outcome.bOk || bReadFailed) {
        removeWorking();
        return Fail(context,
            bReadFailed ? FormatText("%s could not be read to the end: %s.", strLocalPath, file.errorString())
                        : FormatText("The upload of %s failed: %s", strRemote, outcome.strError.trimmed()));
    }
    if (context.bUploadThroughWorkingName) {
        const CurlOutcome renamed = context.connection.SendCommands(
            { QStringLiteral("RNFR ") + strTarget, QStringLiteral("RNTO ") + strName }, strRemoteFolder);
        if (!renamed.bOk) {
            removeWorking();
            return Fail(context,
                FormatText("The uploaded %s could not be renamed into place: %s (turn off uploading "
                           "through a working name for this server).",
                    strRemote, renamed.strError.trimmed()));
        }
    }
    return TRANSFER_DONE;
}

int DownloadFolder(TransferContext& context, const QString& strRemoteFolder, const QString& strLocalFolder)
{
    return FolderDownload(context, strRemoteFolder, strLocalFolder, 0);
}

int UploadFolder(TransferContext& context, const QString& strLocalFolder, const QString& strRemoteFolder)
{
    const qsizetype nCut = strRemoteFolder.lastIndexOf(QLatin1Char('/'));
    const QString strParent = nCut <= 0 ? QStringLiteral("/") : strRemoteFolder.left(nCut);
    const int nMade = MakeRemoteFolder(context, strParent, strRemoteFolder.mid(nCut + 1));
    if (nMade != TRANSFER_DONE) {
        return nMade;
    }
    int nResult = TRANSFER_DONE;
    const QFileInfoList entries
        = QDir(strLocalFolder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        if (Cancelled(context)) {
            return TRANSFER_CANCELLED;
        }
        const int nEntryResult = entry.isDir()
            ? UploadFolder(context, entry.filePath(), JoinRemotePath(strRemoteFolder, entry.fileName()))
            : UploadFile(context, entry.filePath(), strRemoteFolder, entry.fileName());
        if (nEntryResult == TRANSFER_CANCELLED) {
            return TRANSFER_CANCELLED;
        }
        if (nEntryResult != TRANSFER_DONE) {
            nResult = nEntryResult;
        }
    }
    return nResult;
}

int MakeRemoteFolder(TransferContext& context, const QString& strRemoteFolder, const QString& strName)
{
    if (!CheckName(context, strName)) {
        return TRANSFER_FAILED;
    }
    // A folder that is there already is what was wanted.
    if (context.connection.SendCommands({}, JoinRemotePath(strRemoteFolder, strName)).bOk) {
        return TRANSFER_DONE;
    }
    const CurlOutcome outcome = context.connection.SendCommands({ QStringLiteral("MKD ") + strName }, strRemoteFolder);
    if (!outcome.bOk) {
        return Fail(context,
            FormatText("The folder %s cannot be made: %s", JoinRemotePath(strRemoteFolder, strName),
                outcome.strError.trimmed()));
    }
    return TRANSFER_DONE;
}

int DeleteRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder)
{
    if (!CheckName(context, strName)) {
        return TRANSFER_FAILED;
    }
    const QString strPath = JoinRemotePath(strRemoteFolder, strName);
    if (bFolder) {
        const std::optional<std::vector<FtpListEntry>> entries = ListRemoteFolder(context, strPath);
        if (!entries) {
            return Fail(context, FormatText("%s was not deleted: it could not be listed in full.", strPath));
        }
        for (const FtpListEntry& entry : *entries) {
            if (Cancelled(context)) {
                return TRANSFER_CANCELLED;
            }
            if (!IsSafeEntryName(entry.name)) {
                return Fail(context,
                    FormatText("%s was not deleted: it holds an entry whose name cannot be handled.", strPath));
            }
            const int nResult = DeleteRemote(context, strPath, entry.name, entry.isDirectory);
            if (nResult != TRANSFER_DONE) {
                return nResult;
            }
        }
    }
    const CurlOutcome outcome = context.connection.SendCommands(
        { (bFolder ? QStringLiteral("RMD ") : QStringLiteral("DELE ")) + strName }, strRemoteFolder);
    if (!outcome.bOk) {
        return Fail(context, FormatText("%s was not deleted: %s", strPath, outcome.strError.trimmed()));
    }
    return TRANSFER_DONE;
}

int RenameRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strFrom, const QString& strTo)
{
    if (!CheckName(context, strFrom) || !CheckName(context, strTo)) {
        return TRANSFER_FAILED;
    }
    const CurlOutcome outcome = context.connection.SendCommands(
        { QStringLiteral("RNFR ") + strFrom, QStringLiteral("RNTO ") + strTo }, strRemoteFolder);
    if (!outcome.bOk) {
        return Fail(context,
            FormatText("%s could not be renamed to %s: %s", JoinRemotePath(strRemoteFolder, strFrom), strTo,
                outcome.strError.trimmed()));
    }
    return TRANSFER_DONE;
}

int CopyRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    const QString& strTargetPath, std::int64_t nExpectedSize)
{
    if (!CheckName(context, strName) || !CheckName(context, strTargetPath)) {
        return TRANSFER_FAILED;
    }
    const QString strSource = JoinRemotePath(strRemoteFolder, strName);
    if (strTargetPath == strSource) {
        return Fail(context, FormatText("%s cannot be copied onto itself.", strSource));
    }
    const qsizetype nCut = strTargetPath.lastIndexOf(QLatin1Char('/'));
    const QString strTargetFolder = nCut <= 0 ? QStringLiteral("/") : strTargetPath.left(nCut);
    const QString strTargetName = strTargetPath.mid(nCut + 1);
    // Copying on the server moves no bytes over the network; servers without it refuse the first command.
    if (context.connection
            .SendCommands({ QStringLiteral("SITE CPFR ") + strSource, QStringLiteral("SITE CPTO ") + strTargetPath },
                strRemoteFolder)
            .bOk) {
        if (context.progress && nExpectedSize > 0) {
            context.progress(nExpectedSize);
        }
        return TRANSFER_DONE;
    }
    QTemporaryDir staging(QDir::temp().filePath(QStringLiteral("quorvel-copy-XXXXXX")));
    if (!staging.isValid()) {
        return Fail(
            context, FormatText("No temporary folder could be made to copy %s: %s.", strSource, staging.errorString()));
    }
    const QString strLocal = staging.filePath(QStringLiteral("item"));
    // Progress counts both legs, so the bar crosses the row twice as slowly rather than twice over.
    std::function<void(std::int64_t)> progress = context.progress;
    context.progress = [progress](std::int64_t nBytes) {
        if (progress) {
            progress(nBytes / 2);
        }
    };
    int nResult = bFolder ? DownloadFolder(context, strSource, strLocal)
                          : DownloadFile(context, strRemoteFolder, strName, strLocal, nExpectedSize);
    if (nResult == TRANSFER_DONE) {
        nResult = bFolder ? UploadFolder(context, strLocal, strTargetPath)
                          : UploadFile(context, strLocal, strTargetFolder, strTargetName);
    }
    context.progress = progress;
    return nResult;
}

QString CopyLocalFile(const QString& strSourcePath, const QString& strTargetPath)
{
    const QFileInfo target(strTargetPath);
    if (!QDir().mkpath(target.path())) {
        return FormatText("The folder %s cannot be made.", target.path());
    }
    const QString strWorking = target.dir().filePath(
        QStringLiteral("$quorvelpart-%1").arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0')));
    QFile source(strSourcePath);
    if (!source.copy(strWorking)) {
        const QString strError = source.errorString();
        QFile::remove(strWorking);
        return FormatText("%s could not be copied to %s: %s.", strSourcePath, strTargetPath, strError);
    }
    if (::rename(QFile::encodeName(strWorking).constData(), QFile::encodeName(strTargetPath).constData()) != 0) {
        const QString strError = QString::fromLocal8Bit(std::strerror(errno));
        QFile::remove(strWorking);
        return FormatText("%s cannot be put in place: %s.", strTargetPath, strError);
    }
    return {};
}

QString CopyLocalFolder(const QString& strSourceFolder, const QString& strTargetFolder)
{
    const QDir source(strSourceFolder);
    if (QString(QDir::cleanPath(strTargetFolder) + QLatin1Char('/'))
            .startsWith(QDir::cleanPath(strSourceFolder) + QLatin1Char('/'))) {
        return FormatText("%s cannot be copied into itself.", strSourceFolder);
    }
    if (!QDir().mkpath(strTargetFolder)) {
        return FormatText("The folder %s cannot be made.", strTargetFolder);
    }
    QDirIterator entries(
        strSourceFolder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        entries.next();
        const QFileInfo entry = entries.fileInfo();
        const QString strTarget = QDir(strTargetFolder).filePath(source.relativeFilePath(entry.filePath()));
        const QString strError = entry.isDir()
            ? (QDir().mkpath(strTarget) ? QString() : FormatText("The folder %s cannot be made.", strTarget))
            : CopyLocalFile(entry.filePath(), strTarget);
        if (!strError.isEmpty()) {
            return strError;
        }
    }
    return {};
}
