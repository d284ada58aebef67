#include "transfer/TransferRoutines.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "ftp/CurlConnection.h"
#include "ftp/TraceBuffer.h"
#include "support/FolderRemoval.h"
#include "support/LocalLinks.h"
#include "support/NameBytes.h"
#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

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

// A folder and a name from a path relative to a job's folder: "a/b/c.txt" below "/www" is "/www/a/b", "c.txt".
std::pair<QString, QString> SplitBelow(const QString& strFolder, const QString& strRelative)
{
    const qsizetype nCut = strRelative.lastIndexOf(QLatin1Char('/'));
    return { nCut < 0 ? strFolder : JoinRemotePath(strFolder, strRelative.left(nCut)), strRelative.mid(nCut + 1) };
}

// Makes a local folder, never through a link below one of the roots.
QString MakeLocalFolder(const QString& strFolder, const QStringList& localRoots)
{
    if (const QString strLink = LinkOnTheWay(localRoots, strFolder); !strLink.isEmpty()) {
        return RefusedThroughLink(strFolder, strLink);
    }
    return MakeLocalFolders(strFolder)
        ? QString()
        : FormatText("The folder %s cannot be made: %s.", strFolder, QString::fromLocal8Bit(std::strerror(errno)));
}

// The reason a local write failed, in words ("No space left on device").
QString WriteErrorText(int nError, const QString& strFallback)
{
    return nError != 0 ? QString::fromLocal8Bit(std::strerror(nError)) : strFallback;
}

// Copies a local file's bytes into a new file; an error text, or empty.
QString CopyBytes(const QString& strSource, const QString& strTarget)
{
    QFile source;
    QFile target;
    if (!OpenLocalFile(source, strSource, O_RDONLY, QIODevice::ReadOnly | QIODevice::Unbuffered)
        || !OpenLocalFile(
            target, strTarget, O_WRONLY | O_CREAT | O_EXCL, QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return QString::fromLocal8Bit(std::strerror(errno));
    }
    QByteArray buffer(1024 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 nRead = source.read(buffer.data(), buffer.size());
        if (nRead < 0) {
            return source.errorString();
        }
        if (nRead == 0) {
            return {};
        }
        errno = 0;
        if (target.write(buffer.constData(), nRead) != nRead) {
            return WriteErrorText(errno, target.errorString());
        }
    }
}

// A command with a remote path as its argument; the path is checked first.
CurlOutcome SendPathCommand(TransferContext& context, const QString& strVerb, const QString& strPath)
{
    return context.connection.SendCommands({ strVerb + QLatin1Char(' ') + strPath });
}

// Names that some servers store otherwise than sent: spaces or a dot at either end, and anything beyond plain
// ASCII, which a server in another character set turns into other bytes.
bool ServerMayChangeName(const QString& strName)
{
    if (strName.startsWith(QLatin1Char(' ')) || strName.endsWith(QLatin1Char(' '))
        || strName.endsWith(QLatin1Char('.'))) {
        return true;
    }
    return std::any_of(strName.begin(), strName.end(), [](QChar ch) { return ch.unicode() > 0x7e; });
}

// After an upload of such a name, whether the server holds the file under it: SIZE answers "no such file" when
// the server changed the name (the connection is in binary mode after the transfer, where SIZE is reliable).
bool ServerKeptName(TransferContext& context, const QString& strRemote)
{
    return context.connection.AskAboutFile(QStringLiteral("SIZE ") + strRemote) != false;
}

// Removes a remote link as a link: DELE names the link itself on every server that keeps links; RMD is for
// the few that list a link to a folder as a folder and remove it only that way. Neither enters it.
int RemoveRemoteLink(TransferContext& context, const QString& strPath)
{
    const CurlOutcome deleted = SendPathCommand(context, QStringLiteral("DELE"), strPath);
    if (deleted.bOk) {
        return TRANSFER_DONE;
    }
    if (!deleted.bServerRefused) {
        return Fail(context, FormatText("The link %s was not deleted: %s", strPath, deleted.strError.trimmed()));
    }
    const CurlOutcome removed = SendPathCommand(context, QStringLiteral("RMD"), strPath);
    if (removed.bOk) {
        return TRANSFER_DONE;
    }
    return Fail(context,
        FormatText("The link %s was left in place: the server would not remove it as a link (%s), and it is never "
                   "deleted through.",
            strPath, deleted.strError.trimmed()));
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
    if (const QString strError = MakeLocalFolder(target.path(), context.localRoots); !strError.isEmpty()) {
        return Fail(context, strError);
    }
    const QString strWorking = target.dir().filePath(LocalWorkingName());
    QFile file;
    if (!OpenLocalFile(file, strWorking, O_WRONLY | O_CREAT | O_EXCL, QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return Fail(context,
            FormatText("%s cannot be written: %s.", strLocalPath, QString::fromLocal8Bit(std::strerror(errno))));
    }
    auto discard = [&file, &strWorking] {
        file.close();
        ::unlink(NameToBytes(strWorking).constData());
    };
    // What the listing did not size is bounded all the same: a server that never stops cannot fill the disk.
    const std::int64_t nLimit = nExpectedSize >= 0 ? nExpectedSize : context.nUnknownSizeLimit;
    std::int64_t nReceived = 0;
    bool bTooLong = false;
    bool bWriteFailed = false;
    int nWriteError = 0;
    const CurlOutcome outcome = context.connection.Download(
        strRemoteFolder, strName,
        [&](const char* pData, size_t nSize) {
            nReceived += static_cast<std::int64_t>(nSize);
            if (nLimit >= 0 && nReceived > nLimit) {
                bTooLong = true;
                return false;
            }
            errno = 0;
            if (file.write(pData, static_cast<qint64>(nSize)) != static_cast<qint64>(nSize)) {
                nWriteError = errno;
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
        const QString strError = WriteErrorText(nWriteError, QStringLiteral("an input/output error"));
        discard();
        return Fail(
            context, FormatText("%s could not be written (%s); %s is as it was.", strRemote, strError, strLocalPath));
    }
    if (bTooLong && nExpectedSize >= 0) {
        discard();
        return Fail(context,
            FormatText("The server sent more of %s than the %lld bytes it listed; the download was stopped.", strRemote,
                static_cast<long long>(nExpectedSize)));
    }
    if (bTooLong) {
        discard();
        return Fail(context,
            FormatText("The server listed no size for %s and sent more than %lld bytes of it, the bound on such "
                       "downloads (\"UnknownSizeDownloadLimitMB\"); the download was stopped and %s is as it was.",
                strRemote, static_cast<long long>(nLimit), strLocalPath));
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
    if (::rename(NameToBytes(strWorking).constData(), NameToBytes(strLocalPath).constData()) != 0) {
        const QString strError = QString::fromLocal8Bit(std::strerror(errno));
        ::unlink(NameToBytes(strWorking).constData());
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
    QFile file;
    // libcurl asks for large pieces; a buffer of our own in between would only copy them once more.
    if (!OpenLocalFile(file, strLocalPath, O_RDONLY, QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return Fail(
            context, FormatText("%s cannot be read: %s.", strLocalPath, QString::fromLocal8Bit(std::strerror(errno))));
    }
    const QString strTarget = context.bUploadThroughWorkingName ? UploadWorkingName(strName) : strName;
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
    const QString strWorking = JoinRemotePath(strRemoteFolder, strTarget);
    auto removeWorking = [&] {
        if (context.bUploadThroughWorkingName) {
            (void)SendPathCommand(context, QStringLiteral("DELE"), strWorking);
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
            { QStringLiteral("RNFR ") + strWorking, QStringLiteral("RNTO ") + strRemote });
        if (!renamed.bOk) {
            removeWorking();
            return Fail(context,
                FormatText("The uploaded %s could not be renamed into place: %s (if this server refuses every "
                           "rename, turn off uploading through a working name for it).",
                    strRemote, renamed.strError.trimmed()));
        }
    }
    if (ServerMayChangeName(strName) && !ServerKeptName(context, strRemote)) {
        return Fail(context,
            FormatText("The server stored the upload of %s under another name: it does not keep this name as it is "
                       "(spaces or a dot at an end, or letters of another character set). Look for the file in %s "
                       "and give it a name the server keeps.",
                strRemote, strRemoteFolder));
    }
    return TRANSFER_DONE;
}

int DownloadFolder(
    TransferContext& context, const QString& strRemoteFolder, const QString& strLocalFolder, const FolderPlan& plan)
{
    if (const QString strError = MakeLocalFolder(strLocalFolder, context.localRoots); !strError.isEmpty()) {
        return Fail(context, strError);
    }
    int nResult = TRANSFER_DONE;
    for (const PlannedEntry& entry : plan) {
        if (Cancelled(context)) {
            return TRANSFER_CANCELLED;
        }
        if (entry.bLink) {
            continue;
        }
        const QString strLocal = QDir(strLocalFolder).filePath(entry.strRelative);
        int nEntryResult = TRANSFER_DONE;
        if (entry.bFolder) {
            const QString strError = MakeLocalFolder(strLocal, context.localRoots);
            nEntryResult = strError.isEmpty() ? TRANSFER_DONE : Fail(context, strError);
        } else {
            const auto [strFolder, strName] = SplitBelow(strRemoteFolder, entry.strRelative);
            nEntryResult = DownloadFile(context, strFolder, strName, strLocal, entry.nSize);
        }
        if (nEntryResult == TRANSFER_CANCELLED) {
            return TRANSFER_CANCELLED;
        }
        if (nEntryResult != TRANSFER_DONE) {
            nResult = nEntryResult;
        }
    }
    return nResult;
}

int UploadFolder(
    TransferContext& context, const QString& strLocalFolder, const QString& strRemoteFolder, const FolderPlan& plan)
{
    const qsizetype nCut = strRemoteFolder.lastIndexOf(QLatin1Char('/'));
    const QString strParent = nCut <= 0 ? QStringLiteral("/") : strRemoteFolder.left(nCut);
    const int nMade = MakeRemoteFolder(context, strParent, strRemoteFolder.mid(nCut + 1));
    if (nMade != TRANSFER_DONE) {
        return nMade;
    }
    int nResult = TRANSFER_DONE;
    for (const PlannedEntry& entry : plan) {
        if (Cancelled(context)) {
            return TRANSFER_CANCELLED;
        }
        if (entry.bLink && entry.bFolder) {
            continue;
        }
        const auto [strFolder, strName] = SplitBelow(strRemoteFolder, entry.strRelative);
        const int nEntryResult = entry.bFolder
            ? MakeRemoteFolder(context, strFolder, strName)
            : UploadFile(context, QDir(strLocalFolder).filePath(entry.strRelative), strFolder, strName);
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
    const QString strPath = JoinRemotePath(strRemoteFolder, strName);
    // A folder that is there already is what was wanted.
    if (SendPathCommand(context, QStringLiteral("CWD"), strPath).bOk) {
        return TRANSFER_DONE;
    }
    const CurlOutcome outcome = SendPathCommand(context, QStringLiteral("MKD"), strPath);
    if (!outcome.bOk) {
        return Fail(context, FormatText("The folder %s cannot be made: %s", strPath, outcome.strError.trimmed()));
    }
    return TRANSFER_DONE;
}

int DeleteRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    bool bLink, const FolderPlan& plan)
{
    if (!CheckName(context, strName)) {
        return TRANSFER_FAILED;
    }
    const QString strPath = JoinRemotePath(strRemoteFolder, strName);
    if (bLink) {
        return RemoveRemoteLink(context, strPath);
    }
    if (!bFolder) {
        const CurlOutcome outcome = SendPathCommand(context, QStringLiteral("DELE"), strPath);
        return outcome.bOk ? TRANSFER_DONE
                           : Fail(context, FormatText("%s was not deleted: %s", strPath, outcome.strError.trimmed()));
    }
    // Bottom up, exactly what the comparison saw: a folder goes only once everything planned in it went,
    // and the server refuses to remove one that still holds what the plan did not know.
    QSet<QString> keptFolders;
    const auto keepParents = [&keptFolders](const QString& strRelative) {
        for (qsizetype nCut = strRelative.lastIndexOf(QLatin1Char('/')); nCut > 0;
             nCut = strRelative.lastIndexOf(QLatin1Char('/'), nCut - 1)) {
            keptFolders.insert(strRelative.left(nCut));
        }
        keptFolders.insert(QString());
    };
    int nResult = TRANSFER_DONE;
    for (auto it = plan.rbegin(); it != plan.rend(); ++it) {
        if (Cancelled(context)) {
            return TRANSFER_CANCELLED;
        }
        const QString strEntry = JoinRemotePath(strPath, it->strRelative);
        if (it->bFolder && !it->bLink && keptFolders.contains(it->strRelative)) {
            continue;
        }
        int nEntryResult = TRANSFER_DONE;
        if (it->bLink) {
            nEntryResult = RemoveRemoteLink(context, strEntry);
        } else {
            const CurlOutcome outcome
                = SendPathCommand(context, it->bFolder ? QStringLiteral("RMD") : QStringLiteral("DELE"), strEntry);
            if (!outcome.bOk) {
                nEntryResult
                    = Fail(context, FormatText("%s was not deleted: %s", strEntry, outcome.strError.trimmed()));
            }
        }
        if (nEntryResult != TRANSFER_DONE) {
            nResult = nEntryResult;
            keepParents(it->strRelative);
        }
    }
    if (keptFolders.contains(QString())) {
        return Fail(context, FormatText("%s was kept: not everything in it could be deleted (see above).", strPath));
    }
    const CurlOutcome removed = SendPathCommand(context, QStringLiteral("RMD"), strPath);
    if (!removed.bOk) {
        return Fail(context,
            FormatText("%s was not deleted: %s (what the comparison did not see in it is kept).", strPath,
                removed.strError.trimmed()));
    }
    return nResult;
}

int RenameRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strFrom, const QString& strTo)
{
    if (!CheckName(context, strFrom) || !CheckName(context, strTo)) {
        return TRANSFER_FAILED;
    }
    const CurlOutcome outcome
        = context.connection.SendCommands({ QStringLiteral("RNFR ") + JoinRemotePath(strRemoteFolder, strFrom),
            QStringLiteral("RNTO ") + JoinRemotePath(strRemoteFolder, strTo) });
    if (!outcome.bOk) {
        return Fail(context,
            FormatText("%s could not be renamed to %s: %s", JoinRemotePath(strRemoteFolder, strFrom), strTo,
                outcome.strError.trimmed()));
    }
    return TRANSFER_DONE;
}

int CopyRemote(TransferContext& context, const QString& strRemoteFolder, const QString& strName, bool bFolder,
    const QString& strTargetPath, std::int64_t nExpectedSize, const FolderPlan& plan)
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
            .SendCommands({ QStringLiteral("SITE CPFR ") + strSource, QStringLiteral("SITE CPTO ") + strTargetPath })
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
    int nResult = bFolder ? DownloadFolder(context, strSource, strLocal, plan)
                          : DownloadFile(context, strRemoteFolder, strName, strLocal, nExpectedSize);
    if (nResult == TRANSFER_DONE) {
        nResult = bFolder ? UploadFolder(context, strLocal, strTargetPath, plan)
                          : UploadFile(context, strLocal, strTargetFolder, strTargetName);
    }
    context.progress = progress;
    return nResult;
}

QString CopyLocalFile(const QString& strSourcePath, const QString& strTargetPath, const QStringList& localRoots)
{
    const QFileInfo target(strTargetPath);
    if (QString strError = MakeLocalFolder(target.path(), localRoots); !strError.isEmpty()) {
        return strError;
    }
    const QString strWorking = target.dir().filePath(LocalWorkingName());
    if (const QString strError = CopyBytes(strSourcePath, strWorking); !strError.isEmpty()) {
        ::unlink(NameToBytes(strWorking).constData());
        return FormatText("%s could not be copied to %s: %s.", strSourcePath, strTargetPath, strError);
    }
    if (::rename(NameToBytes(strWorking).constData(), NameToBytes(strTargetPath).constData()) != 0) {
        const QString strError = QString::fromLocal8Bit(std::strerror(errno));
        ::unlink(NameToBytes(strWorking).constData());
        return FormatText("%s cannot be put in place: %s.", strTargetPath, strError);
    }
    return {};
}

QString CopyLocalFolder(const QString& strSourceFolder, const QString& strTargetFolder, const QStringList& localRoots)
{
    if (QString(QDir::cleanPath(strTargetFolder) + QLatin1Char('/'))
            .startsWith(QDir::cleanPath(strSourceFolder) + QLatin1Char('/'))) {
        return FormatText("%s cannot be copied into itself.", strSourceFolder);
    }
    if (QString strError = MakeLocalFolder(strTargetFolder, localRoots); !strError.isEmpty()) {
        return strError;
    }
    for (const PlannedEntry& entry : PlanLocalFolder(strSourceFolder)) {
        const QString strTarget = QDir(strTargetFolder).filePath(entry.strRelative);
        QString strError = entry.bFolder
            ? MakeLocalFolder(strTarget, localRoots)
            : CopyLocalFile(QDir(strSourceFolder).filePath(entry.strRelative), strTarget, localRoots);
        if (!strError.isEmpty()) {
            return strError;
        }
    }
    return {};
}

QString DeleteLocal(const QString& strPath, bool bFolder, bool bLink, const FolderPlan& plan)
{
    if (!bFolder || bLink) {
        return RemoveLocalEntry(strPath);
    }
    QSet<QString> keptFolders;
    QStringList failures;
    for (auto it = plan.rbegin(); it != plan.rend(); ++it) {
        if (it->bFolder && !it->bLink && keptFolders.contains(it->strRelative)) {
            continue;
        }
        const QByteArray path = NameToBytes(QDir(strPath).filePath(it->strRelative));
        // unlink never follows a link; rmdir refuses a folder that still holds what the plan did not know.
        const bool bRemoved = it->bFolder && !it->bLink ? ::rmdir(path.constData()) == 0 || errno == ENOENT
                                                        : ::unlink(path.constData()) == 0 || errno == ENOENT;
        if (!bRemoved) {
            failures.append(FormatText(
                "%s (%s)", QDir(strPath).filePath(it->strRelative), QString::fromLocal8Bit(std::strerror(errno))));
            for (qsizetype nCut = it->strRelative.lastIndexOf(QLatin1Char('/')); nCut > 0;
                 nCut = it->strRelative.lastIndexOf(QLatin1Char('/'), nCut - 1)) {
                keptFolders.insert(it->strRelative.left(nCut));
            }
            keptFolders.insert(QString());
        }
    }
    if (!keptFolders.contains(QString()) && ::rmdir(NameToBytes(strPath).constData()) != 0 && errno != ENOENT) {
        failures.append(FormatText("%s (%s)", strPath, QString::fromLocal8Bit(std::strerror(errno))));
    }
    if (failures.isEmpty()) {
        return {};
    }
    return FormatText("\"%s\" was not deleted completely; what the comparison did not see in it is kept: %s.", strPath,
        failures.join(QStringLiteral("; ")));
}

FolderPlan PlanLocalFolder(const QString& strFolder, QStringList* pSkipped)
{
    FolderPlan plan;
    std::vector<QString> pending { QString() };
    while (!pending.empty()) {
        const QString strRelative = pending.back();
        pending.pop_back();
        const QDir folder(strRelative.isEmpty() ? strFolder : QDir(strFolder).filePath(strRelative));
        const QFileInfoList entries
            = folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo& entry : entries) {
            const QString strChild
                = strRelative.isEmpty() ? entry.fileName() : strRelative + QLatin1Char('/') + entry.fileName();
            if (IsWorkingName(entry.fileName())) {
                continue;
            }
            if (entry.isSymLink() && entry.isDir()) {
                // What a link to a folder leads to is not this folder's to copy.
                if (pSkipped != nullptr) {
                    pSkipped->append(entry.filePath());
                }
                continue;
            }
            if (entry.isDir()) {
                plan.push_back({ strChild, true, false, -1 });
                pending.push_back(strChild);
            } else if (entry.isFile()) {
                plan.push_back({ strChild, false, false, entry.size() });
            }
        }
    }
    // Folders come before what they hold: sorting the relative paths puts every folder before its contents.
    std::sort(plan.begin(), plan.end(),
        [](const PlannedEntry& a, const PlannedEntry& b) { return a.strRelative < b.strRelative; });
    return plan;
}
