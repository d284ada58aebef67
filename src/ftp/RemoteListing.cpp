#include "ftp/RemoteListing.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <QCryptographicHash>

#include <unistd.h>

#include "ftp/FtpSession.h"
#include "ftp/ListTimeShift.h"
#include "ftp/MirrorDir.h"
#include "ftp/MirrorRoot.h"
#include "ftp/MlsdListing.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"
#include "tree/FileTexts.h"

namespace {

// Listings beyond this are not listings but a server gone wrong.
constexpr qint64 kMaxListingBytes = 64LL * 1024 * 1024;
// Links are folders here, and a link can point back up: no descent goes deeper than this.
constexpr int kMaxRemoteDepth = 32;
// A mirror copy within this many seconds of the listed time is current.
constexpr long long kTimeTolerance = 2;
// Lines of a listing that could not be read are traced one by one up to this many, then counted.
constexpr size_t kUnparsedLinesShown = 5;

// A name as it may appear in a trace line: control characters shown as \xNN, and not without end.
QString Printable(const QString& strName)
{
    return EscapeControlCharacters(QStringView(strName).left(300));
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
    return folder && folder->FileFactsOf(QString::fromLatin1(kFolderCurrentMarker)).has_value();
}

bool CRemoteListing::GetListing(const QString& strFolder, QString& strText, const std::atomic<bool>* pCancel)
{
    m_bLastListingEmpty = false;
    m_bLastFolderRefused = false;
    strText.clear();
    if (!m_session.IsConnected()) {
        m_trace.AddTraceText(TRACE_ERROR,
            QStringLiteral("Tried to send ftp command to get the file list, but the FTP connection was lost."));
        return false;
    }
    if (!m_session.EnsureFtpConnected(pCancel)) {
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
    QString strResult;
    m_lastListedBy = ListedBy::List;
    if (m_session.ListsWithMlsd()) {
        strResult = ListWithMlsd(strFolder, strPath, pCancel);
        if (m_session.ListsWithMlsd()) {
            m_lastListedBy = ListedBy::Mlsd;
        }
    }
    if (m_lastListedBy == ListedBy::List && m_session.Connection() != nullptr && !IsCancelled(pCancel)) {
        const std::optional<bool> bListsHidden = m_session.ListsHiddenNames();
        strResult = m_session.FTPSend2FtpCommands(
            strPath, bListsHidden.value_or(false) ? QStringLiteral("LIST -a") : QStringLiteral("LIST"), pCancel);
        m_bLastFolderRefused = m_session.LastFolderRefused();
        if (!bListsHidden && !strResult.startsWith(QLatin1String("ERROR")) && m_session.Connection() != nullptr) {
            strResult = ProbeHiddenNames(strPath, strResult, pCancel);
        }
    }
    if (m_session.Connection() != nullptr) {
        m_session.Connection()->SetReceiveLimit(0);
    }
    if (strResult.isEmpty()) {
        m_bLastListingEmpty = m_session.IsConnected();
        return false;
    }
    m_trace.AddTraceText(
        TRACE_COMMAND, m_lastListedBy == ListedBy::Mlsd ? QStringLiteral("MLSD") : QStringLiteral("LIST"));
    if (strResult.startsWith(QLatin1String("ERROR"))) {
        m_trace.AddTraceLine(TRACE_ERROR, "%s during listing of \"%s\".", strResult, strFolder);
        return false;
    }
    m_trace.AddTraceLine(TRACE_STATUS, "listing of \"%s\".", strFolder);
    strText = strResult;
    return true;
}

QString CRemoteListing::ListWithMlsd(const QString& strFolder, const QString& strPath, const std::atomic<bool>* pCancel)
{
    QString strResult = m_session.FTPSend2FtpCommands(strPath, QStringLiteral("MLSD"), pCancel);
    m_bLastFolderRefused = m_session.LastFolderRefused();
    if (!strResult.startsWith(QLatin1String("ERROR"))) {
        return CheckMlsdAgainstList(strFolder, strPath, strResult, pCancel);
    }
    if (m_bLastFolderRefused || IsCancelled(pCancel) || m_session.Connection() == nullptr) {
        // The folder, not the command, was refused: LIST would fare no better.
        return strResult;
    }
    m_session.GiveUpMlsd();
    m_trace.AddTraceLine(
        TRACE_ERROR, "MLSD failed (%s); the folders of this session are listed with LIST.", strResult.mid(7).trimmed());
    return {};
}

QString CRemoteListing::CheckMlsdAgainstList(
    const QString& strFolder, const QString& strPath, const QString& strMlsd, const std::atomic<bool>* pCancel)
{
    // Some servers' MLSD shows a link as what it leads to, so a link to a folder would be entered, copied into
    // and deleted through. Until a link has shown how this server lists them, a folder that holds folders is
    // listed with LIST too, which always shows links.
    if (m_session.MlsdMarksLinks().has_value()) {
        return strMlsd;
    }
    const ParsedListing mlsd = ParseMlsdListing(strMlsd);
    if (std::any_of(mlsd.entries.begin(), mlsd.entries.end(), [](const FtpListEntry& entry) { return entry.isLink; })) {
        m_session.SetMlsdMarksLinks(true);
        return strMlsd;
    }
    if (std::none_of(
            mlsd.entries.begin(), mlsd.entries.end(), [](const FtpListEntry& entry) { return entry.isDirectory; })) {
        return strMlsd;
    }
    const QString strList = m_session.FTPSend2FtpCommands(strPath, QStringLiteral("LIST -a"), pCancel);
    if (strList.startsWith(QLatin1String("ERROR"))) {
        return strMlsd;
    }
    QHash<QString, const FtpListEntry*> byName;
    for (const FtpListEntry& entry : mlsd.entries) {
        byName.insert(entry.name, &entry);
    }
    const char* pWhy = nullptr;
    bool bSawLink = false;
    for (const FtpListEntry& listed : ParseListing(strList, m_years).entries) {
        const FtpListEntry* pMlsd = byName.value(listed.name);
        if (listed.isLink && pMlsd != nullptr && !pMlsd->isLink) {
            pWhy = "show links as what they lead to";
            break;
        }
        if (pMlsd == nullptr && listed.name != QLatin1String("-a")) {
            pWhy = "leave out names that LIST shows";
            break;
        }
        bSawLink = bSawLink || listed.isLink;
    }
    if (pWhy == nullptr) {
        if (bSawLink) {
            m_session.SetMlsdMarksLinks(true);
        }
        return strMlsd;
    }
    m_session.SetMlsdMarksLinks(false);
    m_session.GiveUpMlsd();
    Warn(FormatText("The server's MLSD listings %s (\"%s\"); the folders of this session are listed with LIST.", pWhy,
        Printable(strFolder)));
    return {};
}

QString CRemoteListing::ProbeHiddenNames(
    const QString& strPath, const QString& strPlain, const std::atomic<bool>* pCancel)
{
    // Many servers leave names beginning with a dot (.htaccess) out of a plain LIST. "LIST -a" shows them where
    // it is understood; where it is not, it may list a file named "-a", an error, or nothing. It is trusted only
    // when it lists everything the plain listing does, and decided on a listing that names something.
    const ParsedListing plain = ParseListing(strPlain, m_years);
    if (plain.entries.empty()) {
        return strPlain;
    }
    QString strAll = m_session.FTPSend2FtpCommands(strPath, QStringLiteral("LIST -a"), pCancel);
    const ParsedListing all
        = strAll.startsWith(QLatin1String("ERROR")) ? ParsedListing {} : ParseListing(strAll, m_years);
    QSet<QString> allNames;
    for (const FtpListEntry& entry : all.entries) {
        allNames.insert(entry.name);
    }
    const bool bSuperset = all.UnreadLines() <= plain.UnreadLines()
        && std::all_of(plain.entries.begin(), plain.entries.end(),
            [&allNames](const FtpListEntry& entry) { return allNames.contains(entry.name); });
    m_session.SetListsHiddenNames(bSuperset);
    if (bSuperset) {
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("The server lists hidden names with \"LIST -a\"."));
        return strAll;
    }
    Warn(QStringLiteral("The server does not take \"LIST -a\": names beginning with a dot may be missing from its "
                        "listings, so no local one is deleted, nor one sent over the server's, on their strength."));
    return strPlain;
}

void CRemoteListing::Warn(const QString& strText)
{
    m_trace.AddTraceText(TRACE_ERROR, strText);
    m_warnings.append(strText);
}

bool CRemoteListing::ParseAndMirror(const QString& strFolder, const QString& strText, ListedBy listedBy,
    const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    if (IsCancelled(pCancel)) {
        return false;
    }
    if (!m_session.IsConnected()) {
        m_trace.AddTraceText(TRACE_ERROR,
            QStringLiteral("Tried to parse the file list to prepare to download, but the FTP connection was lost."));
        return false;
    }
    ParsedListing parsed = listedBy == ListedBy::Mlsd ? ParseMlsdListing(strText) : ParseListing(strText, m_years);
    if (listedBy == ListedBy::List) {
        m_session.FindListTimeShift(strFolder, parsed.entries);
        if (const std::int64_t nShift = m_session.ListTimeShift().value_or(0); nShift != 0) {
            for (FtpListEntry& entry : parsed.entries) {
                if (TakesListTimeShift(entry)) {
                    entry.modifiedTime += nShift;
                }
            }
        }
    }
    for (const QString& strLine : parsed.rejectedLines) {
        m_trace.AddTraceLine(TRACE_ERROR,
            "A line of the listing of \"%s\" is longer than 64 KiB and was skipped: %s...", strFolder,
            Printable(strLine));
    }
    const size_t nShown = std::min(parsed.unparsedLines.size(), kUnparsedLinesShown);
    for (size_t i = 0; i < nShown; ++i) {
        m_trace.AddTraceLine(TRACE_ERROR, "A line of the listing of \"%s\" could not be read: %s", strFolder,
            Printable(parsed.unparsedLines[i]));
    }
    if (parsed.unparsedLines.size() > nShown) {
        m_trace.AddTraceLine(TRACE_ERROR, "%d more lines of the listing of \"%s\" could not be read.",
            static_cast<int>(parsed.unparsedLines.size() - nShown), strFolder);
    }
    if (parsed.UnreadLines() > 0) {
        Warn(FormatText("The listing of \"%s\" held %d lines that could not be read; nothing is deleted on the "
                        "strength of that folder.",
            strFolder, static_cast<int>(parsed.UnreadLines())));
    }
    return MirrorEntries(strFolder, parsed, listedBy, options, pCancel);
}

bool CRemoteListing::IsCancelled(const std::atomic<bool>* pCancel)
{
    return pCancel != nullptr && pCancel->load();
}

bool CRemoteListing::MirrorEntries(const QString& strFolder, const ParsedListing& parsed, ListedBy listedBy,
    const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    const std::optional<CMirrorDir> mirror = OpenMirrorFolder(strFolder, true);
    if (!mirror) {
        m_trace.AddTraceLine(
            TRACE_ERROR, "The mirror folder of \"%s\" cannot be made under %s.", strFolder, m_session.MirrorRoot());
        return false;
    }
    FolderMirror folder = StartMirrorFolder(*mirror);
    QSet<QString> listedNames;

    bool bComplete = true;
    bool bLeftOut = false;
    const long long nTotal = static_cast<long long>(parsed.entries.size());
    long long nDone = 0;
    auto reportProgress = [&](const QString& strName) {
        if (m_progress) {
            m_progress(FormatText("%lld / %lld %s (%lld %%) processed...", nDone, nTotal, strName,
                nTotal > 0 ? nDone * 100 / nTotal : 100));
        }
    };
    for (const FtpListEntry& entry : parsed.entries) {
        if (IsCancelled(pCancel)) {
            return false;
        }
        ++nDone;
        if (!entry.isDirectory && !entry.isLink && ++m_nEntriesSeen > m_nMaxEntries && !WithinBounds()) {
            return false;
        }
        if (LeaveOut(strFolder, entry)) {
            ++m_counts.nRejected;
            // This program's own working files are no part of the user's folder: it is whole without them.
            bLeftOut = bLeftOut || !IsWorkingName(entry.name);
            continue;
        }
        listedNames.insert(entry.name);
        if (!entry.isDirectory && !entry.isLink) {
            MirrorFile(strFolder, folder, entry, options, pCancel);
            reportProgress(entry.name);
            continue;
        }

        const QString strChild = JoinRemote(strFolder, entry.name);
        if (entry.isLink) {
            const LinkKind kind = ProbeLink(strChild);
            if (kind == LinkKind::Unknown) {
                bComplete = false;
                continue;
            }
            if (kind == LinkKind::File) {
                // A link the server will not enter is a link to a file: it is mirrored as that file.
                mirror->RemoveEntry(entry.name);
                MirrorFile(strFolder, folder, LinkAsFile(entry, parsed.entries), options, pCancel);
                continue;
            }
        }
        ++m_counts.nFolders;
        if (!WithinBounds()) {
            return false;
        }
        const SubfolderOutcome outcome = MirrorSubfolder(*mirror, strChild, entry, options, pCancel);
        if (outcome == SubfolderOutcome::Stop) {
            return false;
        }
        bComplete = bComplete && outcome == SubfolderOutcome::Done;
        reportProgress(entry.name);
    }
    if (IsCancelled(pCancel)) {
        return false;
    }

    if (!bComplete) {
        return false;
    }
    FinishMirrorFolder(folder, listedNames, bLeftOut || parsed.UnreadLines() > 0, listedBy);
    return true;
}

CRemoteListing::FolderMirror CRemoteListing::StartMirrorFolder(const CMirrorDir& mirror)
{
    // What the mirror holds now: markers by the file they stand beside, and everything else by name.
    FolderMirror folder { mirror, {}, {} };
    for (const QString& strName : mirror.Names()) {
        if (strName.startsWith(QLatin1String(kUnlistedPrefix)) || strName.startsWith(QLatin1String(kMirrorWorkPrefix))
            || strName == QLatin1String(kEmptyListingMarker) || strName == QLatin1String(kPartialListingMarker)
            || strName == QLatin1String(kMlsdListingMarker)) {
            mirror.RemoveFile(strName);
        } else if (const std::optional<MarkerInfo> marker = ParseMarkerName(strName)) {
            folder.markersByFile[marker->strFileName].append(strName);
        }
    }
    return folder;
}

CRemoteListing::SubfolderOutcome CRemoteListing::MirrorSubfolder(const CMirrorDir& mirror, const QString& strChild,
    const FtpListEntry& entry, const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    if (entry.isLink) {
        MirrorLink(mirror, strChild, entry);
        return SubfolderOutcome::Done;
    }
    const std::optional<CMirrorDir> child = mirror.Child(entry.name, true);
    if (!child) {
        m_trace.AddTraceLine(TRACE_ERROR, "The mirror folder for \"%s\" cannot be made.", strChild);
        return SubfolderOutcome::Incomplete;
    }
    if (options.bCreateDummies && !options.bRecursive && !child->HoldsFiles()) {
        child->CreateEmptyFile(QString::fromLatin1(kUnlistedMarker));
        child->CreateEmptyFile(QString::fromLatin1(kUnlistedMarkerTwo));
    }
    if (!options.bRecursive) {
        return SubfolderOutcome::Done;
    }
    const bool bSubfolderDone = DownloadDir(strChild, options, pCancel);
    if (IsCancelled(pCancel) || m_bBoundReached) {
        return SubfolderOutcome::Stop;
    }
    if (!bSubfolderDone) {
        // The rest of the tree is still worth having; this folder stands in the mirror as unknown.
        MarkListingFailed(*child, strChild);
    }
    return SubfolderOutcome::Done;
}

void CRemoteListing::FinishMirrorFolder(
    const FolderMirror& folder, const QSet<QString>& listedNames, bool bPartial, ListedBy listedBy)
{
    const CMirrorDir& mirror = folder.mirror;
    // The listing was whole: what the mirror holds beyond it is gone from the server.
    for (const QString& strName : mirror.Names()) {
        if (strName.startsWith(QLatin1String(kUnlistedPrefix)) || strName.contains(QLatin1String("$diffundo"))) {
            continue;
        }
        const bool bWorking = IsWorkingName(strName);
        if ((bWorking && !folder.keptMarkers.contains(strName)) || (!bWorking && !listedNames.contains(strName))) {
            mirror.RemoveEntry(strName);
        }
    }
    if (bPartial) {
        mirror.CreateEmptyFile(QString::fromLatin1(kPartialListingMarker));
    } else if (listedNames.isEmpty()) {
        mirror.CreateEmptyFile(QString::fromLatin1(kEmptyListingMarker));
    }
    if (listedBy == ListedBy::Mlsd) {
        mirror.CreateEmptyFile(QString::fromLatin1(kMlsdListingMarker));
    }
    mirror.CreateEmptyFile(QString::fromLatin1(kFolderCurrentMarker));
}

CRemoteListing::LinkKind CRemoteListing::ProbeLink(const QString& strPath)
{
    CCurlConnection* pConnection = m_session.Connection();
    if (pConnection == nullptr) {
        return LinkKind::Unknown;
    }
    // Entering a link says what it leads to without listing it: a folder, or (refused) a file.
    const CurlOutcome outcome = pConnection->SendCommands({ QStringLiteral("CWD ") + strPath });
    if (outcome.bOk) {
        return LinkKind::Folder;
    }
    if (outcome.bServerRefused && outcome.nReplyCode >= 500) {
        return LinkKind::File;
    }
    m_trace.AddTraceLine(TRACE_ERROR, "What the link \"%s\" leads to could not be found out: %s", Printable(strPath),
        outcome.strError.trimmed());
    return LinkKind::Unknown;
}

void CRemoteListing::MirrorLink(const CMirrorDir& mirror, const QString& strPath, const FtpListEntry& entry)
{
    // A link is shown and removed as a link, never followed: what it leads to is compared under its own path
    // when it lies in the compared folder, and is not this comparison's when it does not (or leads back up).
    mirror.RemoveEntry(entry.name);
    const std::optional<CMirrorDir> child = mirror.Child(entry.name, true);
    if (!child || !child->CreateEmptyFile(QString::fromLatin1(kLinkMarker))) {
        m_trace.AddTraceLine(TRACE_ERROR, "The mirror folder for \"%s\" cannot be made.", Printable(strPath));
        return;
    }
    m_trace.AddTraceLine(TRACE_STATUS, "\"%s\" is a link on the server (to \"%s\"); it is shown, not followed.",
        Printable(strPath), Printable(entry.strLinkTarget));
}

void CRemoteListing::MarkListingFailed(const CMirrorDir& folder, const QString& strPath)
{
    for (const QString& strName : folder.Names()) {
        folder.RemoveEntry(strName);
    }
    folder.CreateEmptyFile(QString::fromLatin1(kFailedListingMarker));
    Warn(FormatText(
        "The folder \"%s\" could not be listed; nothing in it is compared, copied or deleted.", Printable(strPath)));
}

bool CRemoteListing::WithinBounds()
{
    if (m_counts.nFolders <= m_nMaxFolders && m_nEntriesSeen <= m_nMaxEntries) {
        return true;
    }
    if (!m_bBoundReached) {
        m_bBoundReached = true;
        Warn(FormatText("The server's tree holds more than %lld folders or %lld files, the bounds of one comparison "
                        "(\"MaxListedFolders\", \"MaxListedEntries\"); listing stopped there. Compare a folder further "
                        "down, or raise the bounds.",
            m_nMaxFolders, m_nMaxEntries));
    }
    return false;
}

bool CRemoteListing::LeaveOut(const QString& strFolder, const FtpListEntry& entry)
{
    if (!IsSafeEntryName(entry.name)) {
        m_trace.AddTraceLine(TRACE_ERROR,
            "The listing of \"%s\" names an entry that cannot be stored: \"%s\"; it is left out.", strFolder,
            Printable(entry.name));
        return true;
    }
    QString strWhy;
    if (IsWorkingName(entry.name)) {
        strWhy = WorkingNameRule();
    } else if (!entry.isDirectory && !entry.isLink
        && !IsSafeEntryName(MakeMarkerName(entry.name, MarkerSafe(entry.sizeText), MarkerSafe(entry.dateKey)))) {
        strWhy = QStringLiteral("its name is too long for the marker that must stand beside it in the mirror");
    }
    if (!strWhy.isEmpty()) {
        Warn(FormatText("\"%s\" is left out: %s.", Printable(JoinRemote(strFolder, entry.name)), strWhy));
    }
    return !strWhy.isEmpty();
}

FtpListEntry CRemoteListing::LinkAsFile(const FtpListEntry& link, const std::vector<FtpListEntry>& siblings)
{
    FtpListEntry file = link;
    file.isLink = false;
    // The link's own size is the length of its target's name; the target's, when it is listed beside it.
    file.sizeText = QStringLiteral("?");
    file.size = SizeFromListing(file.sizeText);
    file.nExactSize = -1;
    const QString strTarget = link.strLinkTarget;
    for (const FtpListEntry& sibling : siblings) {
        if (!strTarget.isEmpty() && sibling.name == strTarget && !sibling.isDirectory && !sibling.isLink) {
            file.sizeText = sibling.sizeText;
            file.size = sibling.size;
            file.nExactSize = sibling.nExactSize;
            break;
        }
    }
    return file;
}

void CRemoteListing::MirrorFile(const QString& strFolder, FolderMirror& folder, const FtpListEntry& entry,
    const MirrorOptions& options, const std::atomic<bool>* pCancel)
{
    const CMirrorDir& mirror = folder.mirror;
    ++m_counts.nFiles;
    const QString strMarker = MakeMarkerName(entry.name, MarkerSafe(entry.sizeText), MarkerSafe(entry.dateKey));
    const QStringList oldMarkers = folder.markersByFile.value(entry.name);
    const bool bWithinLimit = options.nSizeLimit < 0 || entry.size <= options.nSizeLimit;
    if (!options.bRefreshAll) {
        const std::optional<CMirrorDir::FileFacts> copy = mirror.FileFactsOf(entry.name);
        if (!bWithinLimit && copy && oldMarkers == QStringList { strMarker }) {
            // Still a placeholder with the same size and date: nothing to do.
            folder.keptMarkers.insert(strMarker);
            ++m_counts.nCurrent;
            return;
        }
        // A placeholder is never a copy, however close its time: with exact times it was made in the very second
        // the file was. Nor is a copy of another size: a file rewritten within seconds of its last listing keeps
        // a time within the tolerance.
        if (copy && oldMarkers.isEmpty()
            && std::llabs(static_cast<long long>(copy->nTime) - entry.modifiedTime) <= kTimeTolerance
            && (entry.nExactSize < 0 || copy->nSize == entry.nExactSize)) {
            for (const QString& strOld : oldMarkers) {
                mirror.RemoveFile(strOld);
            }
            ++m_counts.nCurrent;
            return;
        }
    }
    for (const QString& strOld : oldMarkers) {
        mirror.RemoveFile(strOld);
    }
    bool bDownloaded = false;
    if (bWithinLimit) {
        m_trace.AddTraceLine(TRACE_COMMAND, "CWD %s", strFolder);
        m_trace.AddTraceLine(TRACE_COMMAND, "RETR %s", entry.name);
        bDownloaded = DownloadToMirror(strFolder, entry, mirror, pCancel, options.nSizeLimit) == 1;
    }
    if (bDownloaded) {
        ++m_counts.nDownloaded;
    } else if (!IsCancelled(pCancel)) {
        WritePlaceholder(mirror, entry, strMarker);
        folder.keptMarkers.insert(strMarker);
    }
}

void CRemoteListing::WritePlaceholder(const CMirrorDir& mirror, const FtpListEntry& entry, const QString& strMarker)
{
    ++m_counts.nPlaceholders;
    if (mirror.IsFolder(entry.name)) {
        mirror.RemoveEntry(entry.name);
    }
    errno = 0;
    if (!IsSafeEntryName(strMarker) || !mirror.CreateEmptyFile(entry.name) || !mirror.CreateEmptyFile(strMarker)) {
        const int nError = errno;
        Warn(FormatText("The placeholder for \"%s\" cannot be written in the mirror folder %s: %s.",
            Printable(entry.name), m_session.MirrorRoot(),
            nError != 0 ? QString::fromLocal8Bit(std::strerror(nError)) : QStringLiteral("its name cannot be stored")));
    }
}

int CRemoteListing::DownloadToMirror(const QString& strFolder, const FtpListEntry& entry, const CMirrorDir& mirror,
    const std::atomic<bool>* pCancel, long long nSizeLimit)
{
    CCurlConnection* pConnection = m_session.Connection();
    if (pConnection == nullptr) {
        return 0;
    }
    QString strWork;
    const int fd = mirror.CreateWorkFile(strWork);
    if (fd < 0) {
        Warn(FormatText("No file can be written in the mirror folder of \"%s\" (%s): %s.", strFolder,
            m_session.MirrorRoot(), QString::fromLocal8Bit(std::strerror(errno))));
        return 0;
    }
    long long nReceived = 0;
    bool bWriteFailed = false;
    int nWriteError = 0;
    bool bOverLimit = false;
    const CurlOutcome outcome = pConnection->Download(
        strFolder, entry.name,
        [&](const char* pData, size_t nSize) {
            nReceived += static_cast<long long>(nSize);
            // The listing's size may be wrong or missing: the mirror never takes more than its limit.
            if (nSizeLimit >= 0 && nReceived > nSizeLimit) {
                bOverLimit = true;
                return false;
            }
            bWriteFailed = !WriteAll(fd, pData, nSize);
            nWriteError = bWriteFailed ? errno : 0;
            return !bWriteFailed;
        },
        pCancel);
    const bool bClosed = ::close(fd) == 0;
    const bool bSizeKnown = entry.nExactSize >= 0;
    if (!outcome.bOk || bWriteFailed || !bClosed || (bSizeKnown && nReceived != entry.nExactSize)) {
        mirror.DiscardWorkFile(strWork);
        const QString strWhy = bOverLimit
            ? FormatText("it is larger than the download limit of %lld bytes; it stands as a placeholder", nSizeLimit)
            : bWriteFailed || !bClosed ? FormatText("the mirror folder could not take it (%s)",
                  QString::fromLocal8Bit(std::strerror(nWriteError != 0 ? nWriteError : EIO)))
            : outcome.bOk
            ? FormatText("%lld bytes arrived of %lld listed", nReceived, static_cast<long long>(entry.nExactSize))
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
        // Not listed, so not known: the mirror says so, and nothing is deleted on its strength.
        if (const std::optional<CMirrorDir> mirror = OpenMirrorFolder(strFolder, true)) {
            mirror->CreateEmptyFile(QString::fromLatin1(kPartialListingMarker));
        }
        Warn(FormatText("\"%s\" lies more than %d folders deep; it is not listed.", strFolder, kMaxRemoteDepth));
        return true;
    }
    if (IsCancelled(pCancel)) {
        return false;
    }
    QString strText;
    if (!GetListing(strFolder, strText, pCancel) && !m_bLastListingEmpty) {
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
    const bool bDone = ParseAndMirror(strFolder, strText, m_lastListedBy, options, pCancel);
    m_ancestorListings.removeLast();
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
        m_bBoundReached = false;
        m_nEntriesSeen = 0;
        const CSettingsStore store;
        m_nMaxFolders = std::max(1LL, store.ReadInt("Settings", "MaxListedFolders"));
        m_nMaxEntries = std::max(1LL, store.ReadInt("Settings", "MaxListedEntries"));
        bDone = DownloadDir(strFolder, options, pCancel);
    }
    m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("Ready for new command."));
    return bDone;
}
