#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

#include "ftp/CurlConnection.h"
#include "ftp/FtpSite.h"
#include "ftp/ListingParser.h"
#include "ftp/ServerChecksums.h"
#include "ftp/ServerFeatures.h"

class CConnectionPool;
class CMyInternetSession;
class CTraceBuffer;

// The FTP side of one comparison view: opens the site, keeps the view's connection alive and re-opens it
// with the configured attempts when it is lost, sends raw commands, and lends connections of their own
// to transfer workers. Every step goes to the trace; routine results go to the diagnostic log.
class CFtpSession
{
public:
    explicit CFtpSession(CTraceBuffer& trace);
    ~CFtpSession();
    CFtpSession(const CFtpSession&) = delete;
    CFtpSession& operator=(const CFtpSession&) = delete;

    // Shows texts such as "Connecting... please wait.\n" while the session works.
    void SetProgress(std::function<void(const QString&)> progress) { m_progress = std::move(progress); }

    // Opens the site with the configured attempts. pCancel, when given, is the current job's cancel flag.
    bool OpenFtpSite(const FtpSite& site, const std::atomic<bool>* pCancel = nullptr);
    bool EnsureFtpConnected(const std::atomic<bool>* pCancel = nullptr);
    // Asks the server for the current folder; a connection that does not answer is closed and discarded.
    bool IsFtpConnectionAlive(bool bTrace = true);

    // The server's reply, or for a command that answers over a data connection the data; a text beginning
    // "ERROR" on failure, an empty text when there is no connection.
    QString FTPSendFtpCommand(const QString& strCommand, bool bResponseExpected);
    // Changes to the folder of strRemotePath first; the path's last part, if any, goes after strCommand.
    // pCancel, when given, stops a data transfer (a long listing) as soon as it is set.
    QString FTPSend2FtpCommands(
        const QString& strRemotePath, const QString& strCommand, const std::atomic<bool>* pCancel = nullptr);
    // Whether the last FTPSend2FtpCommands failed because the server refused, for good, to change into the
    // folder: what the listing calls a folder (a link to a file) is then no folder at all.
    [[nodiscard]] bool LastFolderRefused() const { return m_bLastFolderRefused; }
    // Sends a series of commands, stopping at the first refused.
    QString FTPSend2FtpCommands(const QStringList& commands);
    // Whether strFolder holds a file of that name, asked by its name (MDTM) rather than read from a listing that
    // may leave it out; nothing when the answer does not tell.
    std::optional<bool> HoldsFile(const QString& strFolder, const QString& strName);

    void CloseFtpSession();

    // A connection of its own for a transfer worker, logged on and in the remote root; null when the job
    // was cancelled while waiting for one, or when the site cannot be reached. onWaiting is told when the
    // caller has to wait because every allowed connection is in use.
    std::unique_ptr<CCurlConnection> AcquireConnection(
        const std::atomic<bool>* pCancel, const std::function<void()>& onWaiting = {});
    void ReleaseConnection(std::unique_ptr<CCurlConnection> pConnection);

    // What the server offers to checksum its files, once FEAT was asked in this session: the outer
    // nothing means not asked yet, the inner one that it offers none.
    [[nodiscard]] std::optional<std::optional<ChecksumMethod>> ChecksumOffer() const;
    void SetChecksumOffer(std::optional<ChecksumMethod> method);

    // Whether the server lists names beginning with a dot when asked with "LIST -a" (found out once per
    // session, by the first listing that names anything); nothing while not known.
    [[nodiscard]] std::optional<bool> ListsHiddenNames() const { return m_bListsHiddenNames; }
    void SetListsHiddenNames(bool bListsThem) { m_bListsHiddenNames = bListsThem; }

    // What FEAT offered when the site was opened.
    [[nodiscard]] const ServerFeatures& Features() const { return m_features; }
    // Whether folders are listed with MLSD: where FEAT offers it, until it fails or proves unfit once.
    [[nodiscard]] bool ListsWithMlsd() const { return m_features.bMlsd && !m_bMlsdGivenUp; }
    void GiveUpMlsd();
    // Whether this server's MLSD shows a link as a link rather than as what it leads to (found out the first
    // time a listing holds one); nothing while not known.
    [[nodiscard]] std::optional<bool> MlsdMarksLinks() const { return m_bMlsdMarksLinks; }
    // Seconds to add to the times of day a LIST gives: the site's setting, else found by FindListTimeShift.
    [[nodiscard]] std::optional<std::int64_t> ListTimeShift() const { return m_nListTimeShift; }
    // Once per session, asks MDTM about a file of this listing of strFolder and keeps the shift it shows.
    void FindListTimeShift(const QString& strFolder, const std::vector<FtpListEntry>& entries);
    void SetMlsdMarksLinks(bool bMarks) { m_bMlsdMarksLinks = bMarks; }

    [[nodiscard]] bool IsConnected() const { return m_pConnection != nullptr; }
    // Whether a site has been opened: workers, which never touch the view's own connection, ask this.
    [[nodiscard]] bool HasSite() const { return m_bHaveSite; }
    // Connections lent to workers right now, and how many may be at once (1 before a site is opened).
    [[nodiscard]] int ConnectionsInUse() const;
    [[nodiscard]] int WorkerConnections() const;
    [[nodiscard]] const QString& Server() const { return m_endpoint.strHost; }
    [[nodiscard]] const QString& RemoteRoot() const { return m_strRemoteRoot; }
    [[nodiscard]] const QString& MirrorRoot() const { return m_strMirrorRoot; }
    [[nodiscard]] const QString& LocalFolder() const { return m_strLocalFolder; }
    // "CacheDownloadSizeKB" in bytes (KB meaning 1,024 bytes).
    [[nodiscard]] long long CacheDownloadLimit() const { return m_nCacheDownloadLimit; }
    // The sentence to show the user after a failed open.
    [[nodiscard]] const QString& LastError() const { return m_strLastError; }
    [[nodiscard]] CMyInternetSession* InternetSession() const { return m_pInternetSession.get(); }
    [[nodiscard]] CCurlConnection* Connection() const { return m_pConnection.get(); }

private:
    std::unique_ptr<CCurlConnection> MakeConnection();
    // The view's connection, logged on and in the remote root, after as many attempts as the site allows; a
    // refused log-on is not tried again. Null on failure (m_strLastError says why) or when cancelled.
    std::unique_ptr<CCurlConnection> ConnectWithRetries(const std::atomic<bool>* pCancel, bool& bCancelled);
    bool SleepBeforeRetry(const std::atomic<bool>* pCancel);
    QString CommandError(
        const QString& strCommand, const CurlOutcome& outcome, const CCurlConnection& connection, bool bDataCommand);
    void RecordRecentSite(const QString& strUrl);
    void ProbeReachability();
    // Asks FEAT and sets up what it offers on this and every later connection.
    void UseServerFeatures();

    CTraceBuffer& m_trace;
    std::function<void(const QString&)> m_progress;
    std::unique_ptr<CMyInternetSession> m_pInternetSession;
    std::unique_ptr<CCurlConnection> m_pConnection;
    std::unique_ptr<CConnectionPool> m_pPool;
    FtpEndpoint m_endpoint;
    std::atomic<bool> m_bHaveSite { false };
    int m_nRetries = 3;
    int m_nRetryDelaySeconds = 10;
    QString m_strRemoteRoot = QStringLiteral("/");
    QString m_strMirrorRoot;
    QString m_strLocalFolder;
    QString m_strProbeUrl;
    long long m_nCacheDownloadLimit = 10 * 1024;
    QString m_strLastError;
    bool m_bLastFolderRefused = false;
    std::optional<bool> m_bListsHiddenNames;
    ServerFeatures m_features;
    bool m_bMlsdGivenUp = false;
    std::optional<bool> m_bMlsdMarksLinks;
    std::optional<std::int64_t> m_nListTimeShift;
    bool m_bListTimeShiftAsked = false;
    std::atomic<int> m_nNextContext { 1 };
    mutable std::mutex m_offerMutex;
    std::optional<std::optional<ChecksumMethod>> m_checksumOffer;
};

// A command's text as it may be shown or logged: a password never is.
QString MaskSecrets(const QString& strCommand);

// Whether a command answers over a data connection (LIST, NLST, MLSD, RETR, MLST is not).
bool IsDataCommand(const QString& strCommand);
