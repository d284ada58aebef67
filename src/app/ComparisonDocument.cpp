#include "app/ComparisonDocument.h"

#include "app/QuorvelView.h"
#include "ftp/FtpSession.h"
#include "ftp/RemoteListing.h"
#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"

namespace {

const QString kCancelled = QStringLiteral("Cancelled: the comparison was not opened.");

} // namespace

bool IsFtpLocation(const QString& strRight)
{
    return strRight.startsWith(QLatin1String("ftp://"), Qt::CaseInsensitive)
        || strRight.startsWith(QLatin1String("site:"), Qt::CaseInsensitive)
        || strRight.startsWith(QLatin1String("ftps://"), Qt::CaseInsensitive);
}

CComparisonDocument::CComparisonDocument() = default;

CComparisonDocument::~CComparisonDocument()
{
    Close();
}

void CComparisonDocument::Close()
{
    // The view goes first: it cancels its jobs and joins their workers, which use the session.
    m_pView.reset();
    if (m_pSession) {
        m_pSession->CloseFtpSession();
        m_pSession.reset();
    }
    m_bFtp = false;
}

ComparisonOutcome CComparisonDocument::Open(
    const OpenRequest& request, const std::atomic<bool>& cancel, const Progress& progress)
{
    Close();
    m_request = request;
    m_warnings.clear();
    m_pSession = std::make_unique<CFtpSession>(m_trace);
    m_pSession->SetProgress(progress);
    ViewFolders folders { request.strLocalFolder, request.strRight, request.strRight };
    if (IsFtpLocation(request.strRight)) {
        FtpSite site = request.site;
        site.strUrl = request.strRight;
        site.strLocalFolder = request.strLocalFolder;
        progress(FormatText("Connecting to %s...", request.strRight));
        if (!m_pSession->OpenFtpSite(site, &cancel)) {
            const QString strError = cancel.load() ? kCancelled : m_pSession->LastError();
            Close();
            return { false, strError };
        }
        m_bFtp = true;
        CRemoteListing listing(*m_pSession, m_trace);
        folders.strMirror = listing.MirrorPathFor(m_pSession->RemoteRoot());
        folders.strRemote = m_pSession->RemoteRoot();
        if (folders.strMirror.isEmpty()) {
            Close();
            return { false, FormatText("The FTP folder %s cannot be mirrored on this disk.", request.strRight) };
        }
    }
    m_pView = std::make_unique<CQuorvelView>(*m_pSession, m_trace, m_list, folders);
    if (m_bFtp) {
        ComparisonOutcome listed = ListRemote(false, false, cancel, progress);
        if (!listed.bOk) {
            return listed;
        }
    }
    return CompareSides(cancel, progress);
}

ComparisonOutcome CComparisonDocument::Refresh(
    RefreshKind kind, const std::atomic<bool>& cancel, const Progress& progress)
{
    if (!m_pView) {
        return { false, QStringLiteral("No comparison is open: open one first (File > Open Comparison).") };
    }
    if (m_bFtp && (kind == RefreshKind::ReloadRemote || kind == RefreshKind::FullRescan)) {
        if (!m_pSession->EnsureFtpConnected(&cancel)) {
            return { false, cancel.load() ? kCancelled : m_pSession->LastError() };
        }
        ComparisonOutcome listed = ListRemote(true, kind == RefreshKind::FullRescan, cancel, progress);
        if (!listed.bOk) {
            return listed;
        }
    }
    return CompareSides(cancel, progress);
}

ComparisonOutcome CComparisonDocument::ListRemote(
    bool bEveryFolder, bool bRefreshAll, const std::atomic<bool>& cancel, const Progress& progress)
{
    CRemoteListing listing(*m_pSession, m_trace);
    listing.SetProgress(progress);
    MirrorOptions options;
    options.nSizeLimit = m_request.nCacheKb >= 0 ? m_request.nCacheKb * 1024 : m_pSession->CacheDownloadLimit();
    options.bRefreshAll = bRefreshAll;
    options.bRecursive = true;
    const QString& strRoot = m_pSession->RemoteRoot();
    const bool bListed
        = bEveryFolder ? listing.DownloadDir(strRoot, options, &cancel) : listing.RemoteScan(strRoot, options, &cancel);
    m_warnings.append(listing.Warnings());
    if (cancel.load()) {
        return { false, kCancelled };
    }
    if (!bListed) {
        // What was listed stands in the mirror; the comparison shows it, and what is missing is no reason to
        // delete anything, since the folders not read in full are marked so.
        m_warnings.append(FormatText("The FTP folder %s could not be listed completely; see the trace.", strRoot));
    }
    return {};
}

ComparisonOutcome CComparisonDocument::CompareSides(const std::atomic<bool>& cancel, const Progress& progress)
{
    Log("CComparisonDocument::CompareSides::[%ld] %s against %s", CurrentThreadId(), m_pView->Folders().strLocal,
        m_pView->Folders().strMirror);
    ComparisonOutcome outcome = m_pView->Compare(DefaultComparisonThreads(), progress, &cancel);
    if (cancel.load()) {
        return { false, QStringLiteral("Cancelled: the comparison shows what it showed before.") };
    }
    for (const ScanNotice& notice : m_pView->Comparison().Notices()) {
        m_warnings.append(notice.strText);
    }
    return outcome;
}

QString CComparisonDocument::ConnectionState() const
{
    if (!m_bFtp || !m_pSession) {
        return QStringLiteral("Not connected");
    }
    return m_pSession && m_pSession->IsConnected() ? QStringLiteral("Connected to ") + m_pSession->Server()
                                                   : QStringLiteral("Disconnected from ") + m_pSession->Server();
}

bool CComparisonDocument::HasRunningJobs() const
{
    return m_list.ActiveJobs() > 0;
}
