#include "ftp/RemoteListing.h"

#include <cerrno>
#include <cstdlib>

#include <QCryptographicHash>

#include <unistd.h>

#include "ftp/FtpSession.h"
#include "ftp/MirrorDir.h"
#include "ftp/MirrorRoot.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "tree/FileTexts.h"

namespace {

// Listings beyond this are not listings but a server gone wrong.
constexpr qint64 kMaxListingBytes = 64LL * 1024 * 1024;
// Links are folders here, and a link can point back up: no descent goes deeper than this.
constexpr int kMaxRemoteDepth = 32;
// A mirror copy within this many seconds of the listed time is current.
constexpr long long kTimeTolerance = 2;

const QString kDummyPrefix = QStringLiteral("$quorveldummy");
const QString kWorkPrefix = QStringLiteral("$quorveldownload-");

// A name as it may appear in a trace line: control characters shown as \xNN.
QString Printable(const QString& strName)
{
    QString strShown;
    for (const QChar ch : strName.left(300)) {
        strShown += ch.unicode() < 0x20 || ch.unicode() == 0x7F
            ? QStringLiteral("\\x%1").arg(ch.unicode(), 2, 16, QLatin1Char('0'))
            : QString(ch);
    }
    return strShown;
}

QString JoinRemote(const QString& strFolder, const QString& strName)
{
    return strFolder.endsWith(QLatin1Char('/')) ? QString(strFolder + strName)
                                                : QString(strFolder + QLatin1Char('/') + strName);
}

bool WriteAll(int fd, const char* pData, size_t nSize)
{
    while (nSize > 0) {
        const ssize_t nWritten = ::write(fd, pData, nSize);
        if (nWritten < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        pData += nWritten;
        nSize -= static_cast<size_t>(nWritten);
    }
    return true;
}

} // namespace

std::optional<QStringList> RemoteFolderParts(const QString& strRemoteFolder)
{
    QStringList parts;
    for (const QString& strPart : NormaliseRemoteFolder(strRemoteFolder).split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (strPart == QLatin1String(".")) {
            continue;
        }
        if (!IsSafeEntryName(strPart)) {
            return std::nullopt;
        }
        parts.append(strPart);
    }
    return parts;
}

QString MarkerSafe(const QString& strText)
{
    QString strSafe;
    for (const QChar ch : strText.left(40)) {
        if (ch.isLetterOrNumber() && ch.unicode() < 0x80) {
            strSafe += ch;
        } else if (ch == QLatin1Char('+') || ch == QLatin1Char('-') || ch == QLatin1Char('.')) {
            strSafe += ch;
        }
    }
    return strSafe;
}

CRemoteListing::CRemoteListing(CFtpSession& session, CTraceBuffer& trace)
    : m_session(session)
    , m_trace(trace)
{ }

QString CRemoteListing::MirrorPathFor(const QString& strRemoteFolder) const
{
    const std::optional<QStringList> parts = RemoteFolderParts(strRemoteFolder);
    if (!parts || m_session.MirrorRoot().isEmpty()) {
        return {};
    }
    return parts->isEmpty() ? m_session.MirrorRoot()
                            : m_session.MirrorRoot() + QLatin1Char('/') + parts->join(QLatin1Char('/'));
}

std::optional<CMirrorDir> CRemoteListing::OpenMirrorFolder(const QString& strRemoteFolder, bool bCreate) const
{
    const std::optional<QStringList> parts = RemoteFolderParts(strRemoteFolder);
    if (!parts || m_session.MirrorRoot().isEmpty()) {
        return std::nullopt;
    }
    std::optional<CMirrorDir> folder = CMirrorDir::OpenRoot(m_session.MirrorRoot());
    for (const QString& strPart : *parts) {
        if (!folder) {
            break;
        }
        folder = folder->Child(strPart, bCreate);
    }
    return folder;
}

bool CRemoteListing::IsMirrorFolderCurrent(const QString& strRemoteFolder) const
{
    const std::optional<CMirrorDir> folder = OpenMirrorFolder(strRemoteFolder, false);
    return folder && folder->FileTime(QString::fromLatin1(kFolderCurrentMarker)).has_value();
}

bool CRemoteListing::GetListing(const QString& strFolder, QString& strText)
{
    m_bLastListingEmpty = false;
    strText.clear();
    if (!m_session.IsConnected()) {
        m_trace.AddTraceText(TRACE_ERROR,
            QStringLiteral("Tried to send ftp command to get the file list, but the FTP connection was lost."));
        return false;
    }
    if (!m_session.EnsureFtpConnected()) {
        return false;
    }
    QString strPath = strFolder;
    if (!strPath.startsWith(QLatin1Char('/'))) {
        strPath.prepend(QLatin1Char('/'));
    }
    if (!strPath.endsWith(QLatin1Char('/'))) {
        strPath.append(QLatin1Char('/'));
    }
    m_session.Connection()->SetReceiveLimit(kMaxListingBytes);
    const QString strResult = m_session.FTPSend2FtpCommands(strPath, QStringLiteral("LIST"));
    if (m_session.Connection() != nullptr) {
        m_session.Connection()->SetReceiveLimit(0);
    }
    if (strResult.isEmpty()) {
        m_bLastListingEmpty = m_session.IsConnected();
        return false;
    }
    m_trace.AddTraceText(TRACE_COMMAND, QStringLiteral("LIST"));
    if (strResult.startsWith(QLatin1String("ERROR"))) {
        m_trace.AddTraceLine(TRACE_ERROR, "%s during listing of \"%s\".", strResult, strFolder);
        return false;
    }
    m_trace.AddTraceLine(TRACE_STATUS, "listing of \"%s\".", strFolder);
    strText = strResult;
    return true;
}

bool CRemoteListing::ParseAndMirror(
    const QString& strFolder, const QString& strText, const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    if (pCancel != nullptr && pCancel->load()) {
        return false;
    }
    if (!m_session.IsConnected()) {
        m_trace.AddTraceText(TRACE_ERROR,
            QStringLiteral("Tried to parse the file list to prepare to download, but the FTP connection was lost."));
        return false;
    }
    const ParsedListing parsed = ParseListing(strText, m_years);
    for (const QString& strLine : parsed.rejectedLines) {
        m_trace.AddTraceLine(TRACE_ERROR,
            "A line of the listing of \"%s\" is longer than 64 KiB and was skipped: %s...", strFolder,
            Printable(strLine));
    }
    return MirrorEntries(strFolder, parsed, options, pCancel);
}

bool CRemoteListing::MirrorEntries(const QString& strFolder, const ParsedListing& parsed, const MirrorOptions& options,
    const std::atomic<bool>* pCancel)
{
    const std::optional<CMirrorDir> mirror = OpenMirrorFolder(strFolder, true);
    if (!mirror) {
        m_trace.AddTraceLine(
            TRACE_ERROR, "The mirror folder of \"%s\" cannot be made under %s.", strFolder, m_session.MirrorRoot());
        return false;
    }
    // What the mirror holds now: markers by the file they stand beside, and everything else by name.
    QHash<QString, QStringList> markersByFile;
    for (const QString& strName : mirror->Names()) {
        if (strName.startsWith(kDummyPrefix) || strName.startsWith(kWorkPrefix)) {
            mirror->RemoveFile(strName);
        } else if (const std::optional<MarkerInfo> marker = ParseMarkerName(strName)) {
            markersByFile[marker->strFileName].append(strName);
        }
    }

    QSet<QString> listedNames;
    QSet<QString> keptMarkers;
    bool bComplete = true;
    const long long nTotal = static_cast<long long>(parsed.entries.size());
    long long nDone = 0;
    auto reportProgress = [&](const QString& strName) {
        if (m_progress) {
            m_progress(FormatText("%lld / %lld %s (%lld %%) processed...", nDone, nTotal, strName,
                nTotal > 0 ? nDone * 100 / nTotal : 100));
        }
    };
    for (const FtpListEntry& entry : parsed.entries) {
        ++nDone;
        if (!IsSafeEntryName(entry.name)) {
            ++m_counts.nRejected;
            m_trace.AddTraceLine(TRACE_ERROR,
                "The listing of \"%s\" names an entry that cannot be stored: \"%s\"; it is left out.", strFolder,
                Printable(entry.name));
            continue;
        }
        listedNames.insert(entry.name);
        if (entry.isDirectory || entry.isLink) {
            ++m_counts.nFolders;
            const std::optional<CMirrorDir> child = mirror->Child(entry.name, true);
            if (!child) {
                m_trace.AddTraceLine(
                    TRACE_ERROR, "The mirror folder for \"%s\" cannot be made.", JoinRemote(strFolder, entry.name));
                bComplete = false;
                continue;
            }
            if (options.bCreateDummies && !options.bRecursive && !child->HoldsFiles()) {
                child->CreateEmptyFile(kDummyPrefix + QStringLiteral("01"));
                child->CreateEmptyFile(kDummyPrefix + QStringLiteral("02"));
            }
            reportProgress(entry.name);
            if (options.bRecursive) {
                const bool bSubfolderDone = DownloadDir(JoinRemote(strFolder, entry.name), options, pCancel);
                if (pCancel != nullptr && pCancel->load()) {
                    return false;
                }
                // The folder is not whole without it, but the rest of it is still worth having.
                bComplete = bComplete && bSubfolderDone;
            }
            continue;
        }

        ++m_counts.nFiles;
        const QString strMarker = MakeMarkerName(entry.name, MarkerSafe(entry.sizeText), MarkerSafe(entry.dateKey));
        const QStringList oldMarkers = markersByFile.value(entry.name);
        const bool bWithinLimit = options.nSizeLimit < 0 || entry.size <= options.nSizeLimit;
        if (!options.bRefreshAll) {
            const std::optional<std::time_t> copyTime = mirror->FileTime(entry.name);
            if (!bWithinLimit && copyTime && oldMarkers == QStringList { strMarker }) {
                // Still a placeholder with the same size and date: nothing to do.
                keptMarkers.insert(strMarker);
                ++m_counts.nCurrent;
                reportProgress(entry.name);
                continue;
            }
            if (copyTime && std::llabs(static_cast<long long>(*copyTime) - entry.modifiedTime) <= kTimeTolerance) {
                for (const QString& strOld : oldMarkers) {
                    mirror->RemoveFile(strOld);
                }
                ++m_counts.nCurrent;
                reportProgress(entry.name);
                continue;
            }
        }
        for (const QString& strOld : oldMarkers) {
            mirror->RemoveFile(strOld);
        }
        bool bDownloaded = false;
        if (bWithinLimit) {
            m_trace.AddTraceLine(TRACE_COMMAND, "CWD %s", strFolder);
            m_trace.AddTraceLine(TRACE_COMMAND, "RETR %s", entry.name);
            bDownloaded = DownloadToMirror(strFolder, entry, *mirror, pCancel) == 1;
        }
        if (bDownloaded) {
            ++m_counts.nDownloaded;
        } else {
            WritePlaceholder(*mirror, entry, strMarker);
            keptMarkers.insert(strMarker);
        }
        reportProgress(entry.name);
        if (pCancel != nullptr && pCancel->load()) {
            return false;
        }
    }

    if (!bComplete) {
        return false;
    }
    // The listing was whole: what the mirror holds beyond it is gone from the server.
    for (const QString& strName : mirror->Names()) {
        if (strName.startsWith(kDummyPrefix) || strName.contains(QLatin1String("$diffundo"))) {
            continue;
        }
        const bool bWorking = IsWorkingName(strName);
        if ((bWorking && !keptMarkers.contains(strName)) || (!bWorking && !listedNames.contains(strName))) {
            mirror->RemoveEntry(strName);
        }
    }
    mirror->CreateEmptyFile(QString::fromLatin1(kFolderCurrentMarker));
    return true;
}

void CRemoteListing::WritePlaceholder(const CMirrorDir& mirror, const FtpListEntry& entry, const QString& strMarker)
{
    ++m_counts.nPlaceholders;
    if (mirror.IsFolder(entry.name)) {
        mirror.RemoveEntry(entry.name);
    }
    if (!IsSafeEntryName(strMarker) || !mirror.CreateEmptyFile(entry.name) || !mirror.CreateEmptyFile(strMarker)) {
        m_trace.AddTraceLine(
            TRACE_ERROR, "The placeholder for \"%s\" cannot be written in the mirror.", Printable(entry.name));
    }
}

int CRemoteListing::DownloadToMirror(
    const QString& strFolder, const FtpListEntry& entry, const CMirrorDir& mirror, const std::atomic<bool>* pCancel)
{
    CCurlConnection* pConnection = m_session.Connection();
    if (pConnection == nullptr) {
        return 0;
    }
    QString strWork;
    const int fd = mirror.CreateWorkFile(strWork);
    if (fd < 0) {
        m_trace.AddTraceLine(TRACE_ERROR, "No file can be written in the mirror folder of \"%s\".", strFolder);
        return 0;
    }
    long long nReceived = 0;
    bool bWriteFailed = false;
    const CurlOutcome outcome = pConnection->Download(
        strFolder, entry.name,
        [&](const char* pData, size_t nSize) {
            nReceived += static_cast<long long>(nSize);
            bWriteFailed = !WriteAll(fd, pData, nSize);
            return !bWriteFailed;
        },
        pCancel);
    const bool bClosed = ::close(fd) == 0;
    // Listed sizes saturate at 2 GiB - 1, so only a size below that can be checked.
    const bool bSizeKnown = entry.size >= 0 && entry.size < INT32_MAX;
    if (!outcome.bOk || bWriteFailed || !bClosed || (bSizeKnown && nReceived != entry.size)) {
        mirror.DiscardWorkFile(strWork);
        const QString strWhy = bWriteFailed || !bClosed
            ? QStringLiteral("the mirror folder could not take it (is the disk full?)")
            : outcome.bOk
            ? FormatText("%lld bytes arrived of %lld listed", nReceived, static_cast<long long>(entry.size))
            : outcome.strError;
        if (!outcome.bCancelled) {
            m_trace.AddTraceLine(
                TRACE_ERROR, "The download of \"%s\" failed: %s", JoinRemote(strFolder, entry.name), strWhy);
        }
        return 0;
    }
    if (!mirror.CommitWorkFile(strWork, entry.name)) {
        mirror.DiscardWorkFile(strWork);
        m_trace.AddTraceLine(
            TRACE_ERROR, "The copy of \"%s\" cannot be put in place in the mirror.", JoinRemote(strFolder, entry.name));
        return 0;
    }
    mirror.SetFileTimes(entry.name, static_cast<std::time_t>(entry.modifiedTime));
    return 1;
}

bool CRemoteListing::DownloadDir(
    const QString& strFolder, const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    if (m_ancestorListings.size() >= kMaxRemoteDepth) {
        m_trace.AddTraceLine(
            TRACE_ERROR, "\"%s\" lies more than %d folders deep; it is not listed.", strFolder, kMaxRemoteDepth);
        return true;
    }
    QString strText;
    if (!GetListing(strFolder, strText) && !m_bLastListingEmpty) {
        return false;
    }
    if (m_ancestorListings.isEmpty()) {
        m_strLastListing = strText;
    }
    const QByteArray hash = QCryptographicHash::hash(strText.toUtf8(), QCryptographicHash::Sha1);
    if (!strText.isEmpty() && m_ancestorListings.contains(hash)) {
        m_trace.AddTraceLine(TRACE_ERROR,
            "\"%s\" lists the same entries as a folder above it, as a link back up would; it is not followed.",
            strFolder);
        return true;
    }
    m_ancestorListings.append(hash);
    const bool bDone = ParseAndMirror(strFolder, strText, options, pCancel);
    m_ancestorListings.removeLast();
    if (bDone && strText.isEmpty()) {
        if (const std::optional<CMirrorDir> mirror = OpenMirrorFolder(strFolder, false)) {
            mirror->CreateEmptyFile(QString::fromLatin1(kEmptyListingMarker));
        }
    }
    return bDone;
}

bool CRemoteListing::RemoteScan(
    const QString& strFolder, const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    if (m_progress) {
        m_progress(QStringLiteral("Scanning ") + strFolder + QStringLiteral("...\n"));
    }
    bool bDone = true;
    if (!IsMirrorFolderCurrent(strFolder)) {
        m_ancestorListings.clear();
        bDone = DownloadDir(strFolder, options, pCancel);
    }
    m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("Ready for new command."));
    return bDone;
}
