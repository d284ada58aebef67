#include "ftp/FtpSession.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#include "ftp/ConnectionPool.h"
#include "ftp/InternetSession.h"
#include "ftp/ListTimeShift.h"
#include "ftp/MirrorRoot.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/NameBytes.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"

namespace {

constexpr int kRecentSites = 8;

QString WithoutLineBreaks(QString strText)
{
    strText.remove(QLatin1Char('\n'));
    strText.remove(QLatin1Char('\r'));
    return strText;
}

} // namespace

QString MaskSecrets(const QString& strCommand)
{
    if (strCommand.startsWith(QLatin1String("PASS"), Qt::CaseInsensitive)
        && (strCommand.size() == 4 || strCommand.at(4) == QLatin1Char(' '))) {
        return QStringLiteral("PASS ****");
    }
    return strCommand;
}

bool IsDataCommand(const QString& strCommand)
{
    const QString strVerb = strCommand.section(QLatin1Char(' '), 0, 0).toUpper();
    return strVerb == QLatin1String("LIST") || strVerb == QLatin1String("NLST") || strVerb == QLatin1String("MLSD")
        || strVerb == QLatin1String("RETR");
}

CFtpSession::CFtpSession(CTraceBuffer& trace)
    : m_trace(trace)
{ }

CFtpSession::~CFtpSession()
{
    // Connections say QUIT as they close, which the trace records: close them while it still exists.
    m_pConnection.reset();
    m_pPool.reset();
}

std::unique_ptr<CCurlConnection> CFtpSession::MakeConnection()
{
    const int nContext = m_nNextContext++;
    CMyInternetSession* pInternetSession = m_pInternetSession.get();
    CurlObservers observers;
    observers.trace = [this](int nKind, const QString& strText) { m_trace.AddTraceText(nKind, strText); };
    if (pInternetSession != nullptr) {
        observers.status = [pInternetSession, nContext](int nStatus, const QString& strInfo) {
            pInternetSession->OnStatusCallback(nContext, nStatus, strInfo);
        };
    }
    return std::make_unique<CCurlConnection>(m_endpoint, std::move(observers));
}

bool CFtpSession::SleepBeforeRetry(const std::atomic<bool>* pCancel)
{
    m_trace.AddTraceLine(TRACE_PLAIN, "Retrying after %d seconds...", m_nRetryDelaySeconds);
    // Slept in short steps so that a cancelled job does not wait out the whole delay.
    const auto wakeUp = std::chrono::steady_clock::now() + std::chrono::seconds(m_nRetryDelaySeconds);
    while (std::chrono::steady_clock::now() < wakeUp) {
        if (pCancel != nullptr && pCancel->load()) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    m_trace.AddTraceLine(TRACE_PLAIN, "Retrying.");
    return true;
}

bool CFtpSession::OpenFtpSite(const FtpSite& site, const std::atomic<bool>* pCancel)
{
    const CSettingsStore store;
    const bool bDefaultPassive = store.ReadInt("Settings", "DefaultUsePASVMode") != 0;
    m_nRetries = std::max(1, site.nRetries.value_or(static_cast<int>(store.ReadInt("Settings", "DefaultRetries"))));
    m_nRetryDelaySeconds = std::max(
        0, site.nRetryDelaySeconds.value_or(static_cast<int>(store.ReadInt("Settings", "DefaultRetryDelay"))));
    const int nTimeoutSeconds = static_cast<int>(store.ReadInt("Settings", "ConnectionTimeout"));
    m_strLocalFolder
        = site.strLocalFolder.isEmpty() ? store.ReadString("Settings", "DefaultLocalPath") : site.strLocalFolder;
    m_nCacheDownloadLimit = std::max(0LL, store.ReadInt("Settings", "CacheDownloadSizeKB")) * 1024;
    m_strProbeUrl = store.ReadString("Settings", "ReachabilityProbeUrl");
    const QString strAnonymousPassword = store.ReadString("Settings", "EmailAddress");
    const int nMaxConnections
        = site.nMaxConnections.value_or(static_cast<int>(store.ReadInt("Settings", "MaxFtpConnections")));
    m_strLastError.clear();

    if (m_pConnection) {
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("Closing existing FTP session..."));
        m_pConnection.reset();
    }
    if (m_pPool) {
        m_pPool->Clear();
    }
    if (m_pInternetSession) {
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("Closing existing Internet Session..."));
        m_pInternetSession.reset();
    }
    m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("Opening Internet Session..."));
    m_pInternetSession = std::make_unique<CMyInternetSession>(QStringLiteral("Quorvel"));

    m_trace.AddTraceText(TRACE_PLAIN, QStringLiteral("Checking URL..."));
    const std::optional<FtpUrl> url = ParseFtpUrl(site.strUrl);
    if (!url) {
        m_trace.AddTraceText(TRACE_ERROR, QStringLiteral("Invalid FTP URL."));
        m_strLastError = QStringLiteral("Please enter a valid FTP URL.");
        return false;
    }
    m_trace.AddTraceText(TRACE_PLAIN, QStringLiteral("URL was successfully parsed."));

    m_endpoint = FtpEndpoint {};
    m_endpoint.bImplicitTls = url->bImplicitTls;
    m_endpoint.bExplicitTls = site.bExplicitTls;
    m_endpoint.strHost = url->strHost;
    m_endpoint.nPort = site.nPort > 0 ? site.nPort : url->nPort;
    m_endpoint.strUser = !site.strUser.isEmpty() ? site.strUser : url->strUser;
    m_endpoint.strPassword = !site.strPassword.isEmpty() ? site.strPassword : url->strPassword;
    if (m_endpoint.strUser.isEmpty()) {
        m_endpoint.strUser = QStringLiteral("anonymous");
        m_endpoint.strPassword = strAnonymousPassword;
    }
    if (const QString strProblem = CredentialProblem(m_endpoint.strUser, m_endpoint.strPassword);
        !strProblem.isEmpty()) {
        m_trace.AddTraceText(TRACE_ERROR, strProblem);
        m_strLastError = strProblem;
        return false;
    }
    m_endpoint.bPassive = site.bPassive.value_or(bDefaultPassive);
    m_endpoint.nTimeoutSeconds = nTimeoutSeconds > 0 ? nTimeoutSeconds : 30;
    m_endpoint.strPinnedPublicKey = site.strPinnedPublicKey;
    m_endpoint.charset = site.charset;
    m_strRemoteRoot = url->strFolder;
    m_bListsHiddenNames.reset();
    m_features = ServerFeatures {};
    m_bMlsdGivenUp = false;
    m_bMlsdMarksLinks.reset();
    m_nListTimeShift.reset();
    if (site.nTimeOffsetMinutes) {
        m_nListTimeShift = static_cast<std::int64_t>(*site.nTimeOffsetMinutes) * 60;
    }
    m_bListTimeShiftAsked = site.nTimeOffsetMinutes.has_value();
    m_bHaveSite = true;
    m_pPool = std::make_unique<CConnectionPool>(std::max(1, nMaxConnections - 1));

    if (m_progress) {
        m_progress(QStringLiteral("Connecting... please wait.\n"));
    }
    bool bCancelled = false;
    std::unique_ptr<CCurlConnection> pConnection = ConnectWithRetries(pCancel, bCancelled);
    if (bCancelled) {
        return false;
    }
    if (!pConnection) {
        ProbeReachability();
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("FTP connection failure."));
        m_trace.AddTraceLine(TRACE_ERROR, "Failed to establish ftp connection to %s.", m_endpoint.strHost);
        return false;
    }
    m_pConnection = std::move(pConnection);
    m_trace.AddTraceLine(TRACE_STATUS, "connected to: %s.", m_endpoint.strHost);
    UseServerFeatures();
    m_strMirrorRoot = MirrorRootFor(m_endpoint.strHost, m_endpoint.nPort, m_endpoint.strUser);
    if (!PrepareMirrorRoot(m_strMirrorRoot)) {
        m_trace.AddTraceLine(TRACE_ERROR, "The mirror folder %s cannot be created.", m_strMirrorRoot);
    }
    RecordRecentSite(DisplayUrl(*url, m_endpoint.strUser));
    return true;
}

std::unique_ptr<CCurlConnection> CFtpSession::ConnectWithRetries(const std::atomic<bool>* pCancel, bool& bCancelled)
{
    for (int nAttempt = 1; nAttempt <= m_nRetries; ++nAttempt) {
        m_trace.AddTraceLine(
            TRACE_PLAIN, "Connecting to: %s (Attempt %d of %d)", m_endpoint.strHost, nAttempt, m_nRetries);
        m_trace.AddTraceLine(TRACE_COMMAND, "USER %s", m_endpoint.strUser);
        m_trace.AddTraceText(TRACE_COMMAND, QStringLiteral("PASS ****"));
        std::unique_ptr<CCurlConnection> pConnection = MakeConnection();
        const CurlOutcome outcome = pConnection->Connect(m_strRemoteRoot, pCancel);
        if (pCancel != nullptr && pCancel->load()) {
            m_trace.AddTraceLine(TRACE_STATUS, "Connecting to %s cancelled.", m_endpoint.strHost);
            m_strLastError = FormatText("Connecting to %s was cancelled.", m_endpoint.strHost);
            bCancelled = true;
            return nullptr;
        }
        if (outcome.bOk) {
            return pConnection;
        }
        m_trace.AddTraceText(
            TRACE_ERROR, QStringLiteral("An exception occurred when attempting to create an FTP connection."));
        m_trace.AddTraceText(TRACE_ERROR, WithoutLineBreaks(outcome.strError));
        m_strLastError
            = FormatText("Could not log on to %s: %s", m_endpoint.strHost, WithoutLineBreaks(outcome.strError));
        // A refused log-on or folder is not a passing fault: trying again only risks locking the account.
        if (outcome.IsPermanent() || nAttempt == m_nRetries || !SleepBeforeRetry(pCancel)) {
            break;
        }
    }
    return nullptr;
}

void CFtpSession::UseServerFeatures()
{
    const CurlOutcome feat = m_pConnection->SendCommands({ QStringLiteral("FEAT") });
    if (!feat.bOk && !feat.bServerRefused) {
        return;
    }
    const QString strReply = feat.bOk ? m_pConnection->LastReplyLines().join(QLatin1Char('\n')) : QString();
    m_features = ParseFeatures(strReply);
    SetChecksumOffer(ChooseChecksumMethod(strReply));
    const CSettingsStore store;
    if (store.ReadInt("Settings", "UseMlsd") == 0) {
        m_features.bMlsd = false;
    }
    QStringList options;
    if ((m_features.bUtf8 && m_endpoint.charset == NameCharset::Automatic) || m_endpoint.charset == NameCharset::Utf8) {
        // Servers that translate names (RFC 2640) do so only when asked; the others take it as a no-op. A site set
        // to a code page is not asked: its names are read and written in that code page.
        options.append(QStringLiteral("OPTS UTF8 ON"));
    }
    if (const QString strMlst = MlstOptionsCommand(m_features); m_features.bMlsd && !strMlst.isEmpty()) {
        options.append(strMlst);
    }
    m_endpoint.sessionOptions = options;
    if (!options.isEmpty()) {
        static_cast<void>(m_pConnection->SendCommands(options));
    }
    if (m_features.bMlsd) {
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("The server offers MLSD: folders are listed with it."));
        // A machine listing names everything, hidden names included.
        m_bListsHiddenNames = true;
    }
}

void CFtpSession::GiveUpMlsd()
{
    m_bMlsdGivenUp = true;
    // Whether LIST shows hidden names is found out anew.
    m_bListsHiddenNames.reset();
}

void CFtpSession::RecordRecentSite(const QString& strUrl)
{
    CSettingsStore store;
    QStringList sites { strUrl };
    for (int i = 0; i < kRecentSites; ++i) {
        const QString strSite = store.ReadString("MRU", FormatText("Site%d", i).toStdString());
        if (!strSite.isEmpty() && !sites.contains(strSite)) {
            sites.append(strSite);
        }
    }
    for (int i = 0; i < kRecentSites && i < sites.size(); ++i) {
        store.WriteString("MRU", FormatText("Site%d", i).toStdString(), sites[i]);
    }
    if (!store.Sync()) {
        Log("OpenFtpSite::[%ld] the recent-sites list could not be saved in %s", CurrentThreadId(), store.Location());
    }
}

void CFtpSession::ProbeReachability()
{
    if (m_strProbeUrl.isEmpty()) {
        return;
    }
    const bool bReachable = ProbeUrl(m_strProbeUrl, m_endpoint.nTimeoutSeconds);
    Log("OpenFtpSite::[%ld] reachability probe of %s: %s", CurrentThreadId(), m_strProbeUrl,
        bReachable ? "answered" : "no answer");
    m_trace.AddTraceLine(TRACE_PLAIN,
        bReachable ? "%s answers: the network is up." : "%s does not answer either: check the network.", m_strProbeUrl);
}

bool CFtpSession::IsFtpConnectionAlive(bool bTrace)
{
    if (!m_pConnection) {
        return false;
    }
    bool bAlive = !m_pConnection->SeemsClosed();
    if (bAlive) {
        const CurlOutcome outcome = m_pConnection->SendCommands({ QStringLiteral("PWD") }, QString());
        // libcurl quietly replaces a dropped connection: a new one means the old one was lost.
        bAlive = outcome.bOk && !m_pConnection->LastRequestReconnected();
    }
    if (bAlive) {
        return true;
    }
    m_pConnection.reset();
    if (bTrace) {
        m_trace.AddTraceText(TRACE_COMMAND, QStringLiteral("STAT"));
        m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("FTP status: Connection has been closed."));
    }
    return false;
}

bool CFtpSession::EnsureFtpConnected(const std::atomic<bool>* pCancel)
{
    if (IsFtpConnectionAlive(true)) {
        return true;
    }
    if (!m_bHaveSite) {
        return false;
    }
    m_trace.AddTraceText(TRACE_PLAIN, QStringLiteral("Connecting."));
    for (int nAttempt = 1; nAttempt <= m_nRetries; ++nAttempt) {
        m_trace.AddTraceLine(
            TRACE_PLAIN, "Connecting to %s (Attempt %d of %d)", m_endpoint.strHost, nAttempt, m_nRetries);
        std::unique_ptr<CCurlConnection> pConnection = MakeConnection();
        const CurlOutcome outcome = pConnection->Connect(m_strRemoteRoot, pCancel);
        if (outcome.bOk) {
            m_pConnection = std::move(pConnection);
            return true;
        }
        m_trace.AddTraceLine(
            TRACE_ERROR, "Failed to connect to %s (Attempt %d of %d)", m_endpoint.strHost, nAttempt, m_nRetries);
        if (outcome.bCancelled || outcome.IsPermanent() || nAttempt == m_nRetries || !SleepBeforeRetry(pCancel)) {
            break;
        }
    }
    m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("FTP connection failure."));
    m_trace.AddTraceLine(TRACE_ERROR, "Attempting to connect to %s failed.", m_endpoint.strHost);
    return false;
}

QString CFtpSession::CommandError(
    const QString& strCommand, const CurlOutcome& outcome, const CCurlConnection& connection, bool bDataCommand)
{
    const QString strReply = WithoutLineBreaks(connection.LastReply());
    QString strResult;
    if (outcome.bTooLarge) {
        strResult = FormatText("ERROR: %s Error: %s\n", MaskSecrets(strCommand), outcome.strError);
    } else if (outcome.bServerRefused) {
        // The server said no: its reply is the message, naming the command it refused.
        const QString strRefused
            = outcome.strRefusedCommand.startsWith(QLatin1String("CWD ")) ? outcome.strRefusedCommand : strCommand;
        strResult = FormatText("ERROR: %s Error: %s\n", MaskSecrets(strRefused), WithoutLineBreaks(outcome.strError));
    } else if (bDataCommand && strReply.contains(QLatin1String("350"))) {
        strResult = QStringLiteral("ERROR: ") + strReply;
    } else if (bDataCommand) {
        strResult = FormatText("ERROR: %s not supported: %s\n", MaskSecrets(strCommand),
            strReply.isEmpty() ? WithoutLineBreaks(outcome.strError) : strReply);
    } else {
        strResult = FormatText("ERROR: %s Error: %s\n", MaskSecrets(strCommand), WithoutLineBreaks(outcome.strError));
    }
    m_trace.AddTraceText(TRACE_ERROR, strResult);
    return strResult;
}

std::optional<std::optional<ChecksumMethod>> CFtpSession::ChecksumOffer() const
{
    std::lock_guard lock(m_offerMutex);
    return m_checksumOffer;
}

void CFtpSession::SetChecksumOffer(std::optional<ChecksumMethod> method)
{
    std::lock_guard lock(m_offerMutex);
    m_checksumOffer = method;
}

QString CFtpSession::FTPSendFtpCommand(const QString& strCommand, bool bResponseExpected)
{
    if (!m_pConnection) {
        m_trace.AddTraceText(
            TRACE_ERROR, QStringLiteral("Tried to send the ftp command, but the FTP connection was lost."));
        return {};
    }
    Log("FTPSendFtpCommand::[%ld] command=%s", CurrentThreadId(), MaskSecrets(strCommand));
    if (!bResponseExpected) {
        const CurlOutcome outcome = m_pConnection->SendCommands({ strCommand }, QString());
        return outcome.bOk ? m_pConnection->LastReply() : CommandError(strCommand, outcome, *m_pConnection, false);
    }
    QByteArray data;
    const CurlOutcome outcome = m_pConnection->SendDataCommand(strCommand, QString(), data);
    return outcome.bOk ? DecodeServerText(data, m_endpoint.charset)
                       : CommandError(strCommand, outcome, *m_pConnection, true);
}

QString CFtpSession::FTPSend2FtpCommands(
    const QString& strRemotePath, const QString& strCommand, const std::atomic<bool>* pCancel)
{
    m_bLastFolderRefused = false;
    if (!m_pConnection) {
        m_trace.AddTraceText(
            TRACE_ERROR, QStringLiteral("Tried to send ftp command, but the FTP connection was lost."));
        return {};
    }
    const qsizetype nCut = strRemotePath.lastIndexOf(QLatin1Char('/'));
    const QString strFolder = nCut <= 0 ? QStringLiteral("/") : strRemotePath.left(nCut);
    const QString strName = nCut < 0 ? strRemotePath : strRemotePath.mid(nCut + 1);
    const QString strFirst = QStringLiteral("CWD ") + strFolder;
    const QString strSecond = strName.isEmpty() ? strCommand : strCommand + QLatin1Char(' ') + strName;
    Log("FTPSend2FtpCommands::[%ld] command #1/2=%s", CurrentThreadId(), strFirst);
    m_trace.AddTraceText(TRACE_COMMAND, strFirst);
    Log("FTPSend2FtpCommands::[%ld] command #2/2=%s", CurrentThreadId(), MaskSecrets(strSecond));

    const bool bData = IsDataCommand(strSecond);
    QString strResult;
    CurlOutcome outcome;
    if (bData) {
        QByteArray data;
        outcome = m_pConnection->SendDataCommand(strSecond, strFolder, data, pCancel);
        strResult = DecodeServerText(data, m_endpoint.charset);
    } else {
        outcome = m_pConnection->SendCommands({ strSecond }, strFolder);
        strResult = m_pConnection->LastReply();
    }
    if (!outcome.bOk) {
        m_bLastFolderRefused = outcome.bServerRefused && outcome.nReplyCode >= 500
            && outcome.strRefusedCommand.startsWith(QLatin1String("CWD "));
        return CommandError(strSecond, outcome, *m_pConnection, bData);
    }
    Log("FTPSend2FtpCommands::[%ld] executed: %s", CurrentThreadId(), MaskSecrets(strSecond));
    return strResult;
}

QString CFtpSession::FTPSend2FtpCommands(const QStringList& commands)
{
    if (!m_pConnection) {
        m_trace.AddTraceText(
            TRACE_ERROR, QStringLiteral("Tried to send ftp command, but the FTP connection was lost."));
        return {};
    }
    for (qsizetype i = 0; i < commands.size(); ++i) {
        Log("FTPSend2FtpCommands::[%ld] command #%d=%s", CurrentThreadId(), static_cast<int>(i + 1),
            MaskSecrets(commands[i]));
    }
    const CurlOutcome outcome = m_pConnection->SendCommands(commands, QString());
    if (!outcome.bOk) {
        return CommandError(
            outcome.strRefusedCommand.isEmpty() ? m_pConnection->LastCommand() : outcome.strRefusedCommand, outcome,
            *m_pConnection, false);
    }
    Log("FTPSend2FtpCommands::[%ld] executed: %s", CurrentThreadId(),
        MaskSecrets(commands.isEmpty() ? QString() : commands.last()));
    return m_pConnection->LastReply();
}

void CFtpSession::FindListTimeShift(const QString& strFolder, const std::vector<FtpListEntry>& entries)
{
    if (m_bListTimeShiftAsked || !m_pConnection) {
        return;
    }
    const FtpListEntry* pProbe = ListTimeProbe(entries);
    if (pProbe == nullptr) {
        return;
    }
    m_bListTimeShiftAsked = true;
    if (!m_pConnection->SendCommands({ QStringLiteral("MDTM ") + pProbe->name }, strFolder).bOk) {
        return;
    }
    m_nListTimeShift = ListTimeShiftFrom(*pProbe, m_pConnection->LastReply());
    if (m_nListTimeShift.value_or(0) != 0) {
        const long long nMinutes = std::llabs(*m_nListTimeShift) / 60;
        m_trace.AddTraceLine(TRACE_STATUS,
            "The server lists its times %s hours off this computer's clock (MDTM of \"%s\"): they are shown "
            "corrected.",
            QStringLiteral("%1%2:%3")
                .arg(*m_nListTimeShift < 0 ? QLatin1Char('-') : QLatin1Char('+'))
                .arg(nMinutes / 60)
                .arg(nMinutes % 60, 2, 10, QLatin1Char('0')),
            EscapeControlCharacters(pProbe->name));
    }
}

std::optional<bool> CFtpSession::HoldsFile(const QString& strFolder, const QString& strName)
{
    if (!m_pConnection) {
        return std::nullopt;
    }
    // Not SIZE: several servers refuse it with the same 550 as a missing file while the connection is in ASCII
    // mode, as it is after a listing.
    return m_pConnection->AskAboutFile(QStringLiteral("MDTM ") + strName, strFolder);
}

void CFtpSession::CloseFtpSession()
{
    if (m_pPool) {
        m_pPool->Clear();
    }
    if (!m_pConnection) {
        return;
    }
    m_trace.AddTraceText(TRACE_COMMAND, QStringLiteral("QUIT"));
    m_trace.AddTraceText(TRACE_PLAIN, QStringLiteral("Closing FTP session..."));
    m_pConnection.reset();
    m_trace.AddTraceText(TRACE_STATUS, QStringLiteral("FTP session closed."));
}

std::unique_ptr<CCurlConnection> CFtpSession::AcquireConnection(
    const std::atomic<bool>* pCancel, const std::function<void()>& onWaiting)
{
    if (!m_pPool || !m_bHaveSite) {
        return nullptr;
    }
    std::unique_ptr<CCurlConnection> pConnection
        = m_pPool->Acquire([this] { return MakeConnection(); }, pCancel, onWaiting);
    if (!pConnection || pConnection->IsLoggedOn()) {
        return pConnection;
    }
    if (!pConnection->Connect(m_strRemoteRoot, pCancel).bOk) {
        m_pPool->Release(std::move(pConnection));
        return nullptr;
    }
    return pConnection;
}

int CFtpSession::ConnectionsInUse() const
{
    return m_pPool ? m_pPool->InUse() : 0;
}

int CFtpSession::WorkerConnections() const
{
    return m_pPool ? m_pPool->Capacity() : 1;
}

void CFtpSession::ReleaseConnection(std::unique_ptr<CCurlConnection> pConnection)
{
    if (m_pPool) {
        m_pPool->Release(std::move(pConnection));
    }
}
