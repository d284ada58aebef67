#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <QString>
#include <QStringList>

#include "ftp/FtpSite.h"
#include "ftp/TraceBuffer.h"
#include "transfer/TransferList.h"
#include "tree/FolderComparison.h"

class CFtpSession;
class CQuorvelView;

// What the user asked to compare: a local folder against an FTP folder (or, for a quick look, another local
// folder), with the mirror's size limit.
struct OpenRequest
{
    QString strLocalFolder;
    QString strRight; // "ftp://...", "ftps://..." or a local folder
    FtpSite site; // for an FTP right side: user, password, passive mode ...
    long long nCacheKb = -1; // -1: "CacheDownloadSizeKB"
};

// The refresh commands.
enum class RefreshKind
{
    Soft, // compare again from the local folder and the mirror as they stand
    ReloadLocal, // read the local folder again, then compare
    ReloadRemote, // list the FTP folder again, every folder whether marked current or not, then compare
    FullRescan // list the FTP folder again and fetch every cached copy again, then compare
};

// Whether the right side names an FTP folder: by URL, or a saved site as "site:NAME".
bool IsFtpLocation(const QString& strRight);

// One open comparison with everything it needs: the trace and the transfer list (which outlive comparisons),
// the FTP session and the comparison view with its tree. Open and Refresh are slow and run on a worker;
// the caller runs one at a time and reads the view only in between, or under the view's lock.
class CComparisonDocument
{
public:
    using Progress = std::function<void(const QString&)>;

    CComparisonDocument();
    ~CComparisonDocument();
    CComparisonDocument(const CComparisonDocument&) = delete;
    CComparisonDocument& operator=(const CComparisonDocument&) = delete;

    [[nodiscard]] CTraceBuffer& Trace() { return m_trace; }
    [[nodiscard]] CTransferListView& List() { return m_list; }
    // Null until a comparison was opened.
    [[nodiscard]] CQuorvelView* View() const { return m_pView.get(); }
    [[nodiscard]] const OpenRequest& Request() const { return m_request; }

    // Opens the site, lists its folder into the mirror and compares; the comparison open before is closed
    // first (its jobs cancelled). A set cancel flag stops it within a second.
    ComparisonOutcome Open(const OpenRequest& request, const std::atomic<bool>& cancel, const Progress& progress);
    ComparisonOutcome Refresh(RefreshKind kind, const std::atomic<bool>& cancel, const Progress& progress);
    // Cancels the jobs, joins their workers and closes the FTP connection.
    void Close();

    // What the listing and the scan could not read or left out, for the user.
    [[nodiscard]] const QStringList& Warnings() const { return m_warnings; }
    // "Connected to host", "Not connected" ... for the status bar; asked between Open and Refresh only.
    [[nodiscard]] QString ConnectionState() const;
    [[nodiscard]] bool HasRunningJobs() const;

private:
    ComparisonOutcome ListRemote(
        bool bEveryFolder, bool bRefreshAll, const std::atomic<bool>& cancel, const Progress& progress);
    ComparisonOutcome CompareSides(const std::atomic<bool>& cancel, const Progress& progress);

    CTraceBuffer m_trace;
    CTransferListView m_list;
    std::unique_ptr<CFtpSession> m_pSession;
    std::unique_ptr<CQuorvelView> m_pView;
    OpenRequest m_request;
    QStringList m_warnings;
    bool m_bFtp = false;
};
