#include "ftp/CurlConnection.h"

#include <mutex>
#include <utility>

#include <QUrl>

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <curl/curl.h>

#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"

namespace {

void InitialiseCurlOnce()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool IsFinalReplyLine(const QString& line)
{
    return line.size() >= 3 && line.at(0).isDigit() && line.at(1).isDigit() && line.at(2).isDigit()
        && (line.size() == 3 || line.at(3) == QLatin1Char(' '));
}

int ReplyCode(const QString& strReply)
{
    return strReply.left(3).toInt();
}

// Status numbers of the internet session, as its observers know them.
constexpr int kStatusResolving = 10;
constexpr int kStatusResolved = 11;
constexpr int kStatusConnecting = 20;
constexpr int kStatusConnected = 21;
constexpr int kStatusSending = 30;
constexpr int kStatusSent = 31;
constexpr int kStatusReceiving = 40;
constexpr int kStatusReceived = 41;
constexpr int kStatusClosing = 50;
constexpr int kStatusClosed = 51;
constexpr int kStatusCreated = 60;
constexpr int kStatusClosingConnection = 70;
constexpr int kStatusComplete = 100;

} // namespace

// Owns the easy handle and the option lists that must live as long as it uses them.
class CCurlConnection::CHandle
{
public:
    CHandle()
        : pCurl(curl_easy_init())
        , pMulti(curl_multi_init())
    { }
    ~CHandle()
    {
        // The multi handle keeps the connection; it goes first, while the easy handle still exists.
        if (bAttached) {
            curl_multi_remove_handle(pMulti, pCurl);
        }
        if (pMulti != nullptr) {
            curl_multi_cleanup(pMulti);
        }
        if (pCurl != nullptr) {
            curl_easy_cleanup(pCurl);
        }
        SetQuote({});
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    void SetCustomRequest(const QString& strCommand)
    {
        customRequest = strCommand.toUtf8();
        if (pCurl != nullptr) {
            curl_easy_setopt(pCurl, CURLOPT_CUSTOMREQUEST, strCommand.isEmpty() ? nullptr : customRequest.constData());
        }
    }

    void SetQuote(const QStringList& commands)
    {
        if (pQuote != nullptr) {
            curl_slist_free_all(pQuote);
            pQuote = nullptr;
        }
        for (const QString& command : commands) {
            pQuote = curl_slist_append(pQuote, command.toUtf8().constData());
        }
        if (pCurl != nullptr) {
            curl_easy_setopt(pCurl, CURLOPT_QUOTE, pQuote);
        }
    }

    // Runs the easy handle's request to its end.
    CURLcode Perform()
    {
        if (bAttached) {
            curl_multi_remove_handle(pMulti, pCurl);
            bAttached = false;
        }
        if (pMulti == nullptr || curl_multi_add_handle(pMulti, pCurl) != CURLM_OK) {
            return curl_easy_perform(pCurl);
        }
        bAttached = true;
        CURLcode result = CURLE_OK;
        int nRunning = 1;
        int nIdleRounds = 0;
        while (nRunning > 0) {
            if (curl_multi_perform(pMulti, &nRunning) != CURLM_OK) {
                result = CURLE_OUT_OF_MEMORY;
                break;
            }
            if (nRunning == 0) {
                break;
            }
            // After an EPSV reply libcurl 7.88 may have the data connection still to open and no socket to
            // wait on, yet no timer that says so: it would sleep for its default second. With nothing to
            // wait on it is run again at once (a few times, then after a millisecond).
            fd_set readable;
            fd_set writable;
            fd_set failed;
            FD_ZERO(&readable);
            FD_ZERO(&writable);
            FD_ZERO(&failed);
            int nMaxFd = -1;
            (void)curl_multi_fdset(pMulti, &readable, &writable, &failed, &nMaxFd);
            int nWait = 1;
            if (nMaxFd < 0) {
                if (++nIdleRounds <= kImmediateRounds) {
                    continue;
                }
            } else {
                nIdleRounds = 0;
                long nTimeout = -1;
                (void)curl_multi_timeout(pMulti, &nTimeout);
                nWait = nTimeout < 0 || nTimeout > 1000 ? 1000 : static_cast<int>(nTimeout);
            }
            if (curl_multi_poll(pMulti, nullptr, 0, nWait, nullptr) != CURLM_OK) {
                result = CURLE_OUT_OF_MEMORY;
                break;
            }
        }
        int nLeft = 0;
        while (const CURLMsg* pMessage = curl_multi_info_read(pMulti, &nLeft)) {
            if (pMessage->msg == CURLMSG_DONE && pMessage->easy_handle == pCurl) {
                result = pMessage->data.result;
            }
        }
        // The handle stays in the multi handle until the next request, so that its connection can still
        // be asked about (is it closed?) in between.
        return result;
    }

    static constexpr int kImmediateRounds = 100;

    CURL* pCurl = nullptr;
    CURLM* pMulti = nullptr;
    bool bAttached = false;
    curl_slist* pQuote = nullptr;
    QByteArray customRequest;
    char errorBuffer[CURL_ERROR_SIZE] = {};
};

// libcurl's C callbacks, forwarding to the connection they were registered for.
class CCurlCallbacks
{
public:
    static int Debug(CURL*, curl_infotype type, char* pData, size_t nSize, void* pUser)
    {
        static_cast<CCurlConnection*>(pUser)->OnDebug(static_cast<int>(type), pData, nSize);
        return 0;
    }

    static size_t Write(char* pData, size_t nSize, size_t nCount, void* pUser)
    {
        auto* pConnection = static_cast<CCurlConnection*>(pUser);
        const size_t nBytes = nSize * nCount;
        if (pConnection->m_sink) {
            return pConnection->m_sink(pData, nBytes) ? nBytes : 0;
        }
        if (pConnection->m_nReceiveLimit > 0
            && pConnection->m_received.size() + static_cast<qint64>(nBytes) > pConnection->m_nReceiveLimit) {
            // A reply that never ends must not take all memory: stop it.
            pConnection->m_bOverLimit = true;
            return 0;
        }
        pConnection->m_received.append(pData, static_cast<qsizetype>(nBytes));
        return nBytes;
    }

    static size_t Read(char* pBuffer, size_t nSize, size_t nCount, void* pUser)
    {
        auto* pConnection = static_cast<CCurlConnection*>(pUser);
        const qint64 nRead = pConnection->m_source ? pConnection->m_source(pBuffer, nSize * nCount) : 0;
        return nRead < 0 ? CURL_READFUNC_ABORT : static_cast<size_t>(nRead);
    }

    static int Progress(void* pUser, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
    {
        const auto* pConnection = static_cast<const CCurlConnection*>(pUser);
        return pConnection->m_pCancel != nullptr && pConnection->m_pCancel->load() ? 1 : 0;
    }
};

CCurlConnection::CCurlConnection(FtpEndpoint endpoint, CurlObservers observers)
    : m_endpoint(std::move(endpoint))
    , m_observers(std::move(observers))
{
    InitialiseCurlOnce();
    m_pHandle = new CHandle;
    Configure();
}

void CCurlConnection::Configure()
{
    CURL* pCurl = m_pHandle->pCurl;
    if (pCurl == nullptr) {
        return;
    }
    curl_easy_setopt(pCurl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(pCurl, CURLOPT_ERRORBUFFER, m_pHandle->errorBuffer);
    curl_easy_setopt(pCurl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(pCurl, CURLOPT_DEBUGFUNCTION, &CCurlCallbacks::Debug);
    curl_easy_setopt(pCurl, CURLOPT_DEBUGDATA, this);
    curl_easy_setopt(pCurl, CURLOPT_WRITEFUNCTION, &CCurlCallbacks::Write);
    curl_easy_setopt(pCurl, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(pCurl, CURLOPT_READFUNCTION, &CCurlCallbacks::Read);
    curl_easy_setopt(pCurl, CURLOPT_READDATA, this);
    curl_easy_setopt(pCurl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(pCurl, CURLOPT_XFERINFOFUNCTION, &CCurlCallbacks::Progress);
    curl_easy_setopt(pCurl, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(pCurl, CURLOPT_PROTOCOLS_STR, "ftp,ftps");
    curl_easy_setopt(pCurl, CURLOPT_USERNAME, m_endpoint.strUser.toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_PASSWORD, m_endpoint.strPassword.toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_FTP_FILEMETHOD, static_cast<long>(CURLFTPMETHOD_NOCWD));
    curl_easy_setopt(pCurl, CURLOPT_MAXCONNECTS, 1L);
    curl_easy_setopt(pCurl, CURLOPT_TCP_KEEPALIVE, 1L);
    // Larger pieces mean fewer calls per megabyte on fast links.
    curl_easy_setopt(pCurl, CURLOPT_BUFFERSIZE, 512L * 1024);
    curl_easy_setopt(pCurl, CURLOPT_UPLOAD_BUFFERSIZE, 512L * 1024);
    const long nTimeout = m_endpoint.nTimeoutSeconds > 0 ? m_endpoint.nTimeoutSeconds : 30;
    curl_easy_setopt(pCurl, CURLOPT_CONNECTTIMEOUT, nTimeout);
    curl_easy_setopt(pCurl, CURLOPT_SERVER_RESPONSE_TIMEOUT, nTimeout);
    curl_easy_setopt(pCurl, CURLOPT_ACCEPTTIMEOUT_MS, nTimeout * 1000);
    curl_easy_setopt(pCurl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(pCurl, CURLOPT_LOW_SPEED_TIME, nTimeout);
    if (!m_endpoint.bPassive) {
        // Active mode: the server connects back to the address this side of the control connection uses.
        curl_easy_setopt(pCurl, CURLOPT_FTPPORT, "-");
    }
    if (m_endpoint.bExplicitTls && !m_endpoint.bImplicitTls) {
        curl_easy_setopt(pCurl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    }
    if (!m_endpoint.strPinnedPublicKey.isEmpty()) {
        // The user trusts this one certificate by its key, signed by a known authority or not.
        curl_easy_setopt(pCurl, CURLOPT_PINNEDPUBLICKEY, m_endpoint.strPinnedPublicKey.toUtf8().constData());
        curl_easy_setopt(pCurl, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(pCurl, CURLOPT_SSL_VERIFYHOST, 0L);
    }
}

CCurlConnection::~CCurlConnection()
{
    delete m_pHandle;
}

QString CCurlConnection::ServerUrl() const
{
    QString strHost = m_endpoint.strHost;
    if (strHost.contains(QLatin1Char(':'))) {
        strHost = QLatin1Char('[') + strHost + QLatin1Char(']');
    }
    return (m_endpoint.bImplicitTls ? QStringLiteral("ftps://") : QStringLiteral("ftp://")) + strHost + QLatin1Char(':')
        + QString::number(m_endpoint.nPort) + QLatin1Char('/');
}

void CCurlConnection::Prepare(const QString& strCommand, bool bNoBody, const QString& strDataCommand)
{
    CURL* pCurl = m_pHandle->pCurl;
    if (pCurl == nullptr) {
        return;
    }
    // libcurl never changes folders by itself here: every CWD is one of ours, so the trace and the
    // server's idea of the current folder always agree. The "*" keeps libcurl from dropping the connection
    // when the server refuses the command; the refusal is judged from the reply instead.
    m_pHandle->SetQuote(strCommand.isEmpty() ? QStringList() : QStringList { QLatin1Char('*') + strCommand });
    curl_easy_setopt(pCurl, CURLOPT_URL, ServerUrl().toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_NOBODY, bNoBody ? 1L : 0L);
    m_pHandle->SetCustomRequest(strDataCommand);
}

CurlOutcome CCurlConnection::SendOne(const QString& strCommand, const std::atomic<bool>* pCancel)
{
    Prepare(strCommand, true, {});
    const int nRepliesBefore = m_nReplies;
    CurlOutcome outcome = Perform(pCancel);
    if (outcome.bOk && !strCommand.isEmpty() && m_nReplies != nRepliesBefore && ReplyCode(m_strLastReply) >= 400) {
        outcome.bOk = false;
        outcome.bServerRefused = true;
        outcome.nReplyCode = ReplyCode(m_strLastReply);
        outcome.strError = m_strLastReply;
    }
    // Which folder the server is in: known after an absolute CWD, unknown after anything else that may move it.
    const QString strVerb = strCommand.section(QLatin1Char(' '), 0, 0).toUpper();
    if (strVerb == QLatin1String("CWD") && outcome.bOk && strCommand.mid(4).startsWith(QLatin1Char('/'))) {
        m_strCurrentFolder = strCommand.mid(4);
    } else if (strVerb.contains(QLatin1String("CWD")) || strVerb.contains(QLatin1String("CUP")) || !outcome.bOk) {
        m_strCurrentFolder.clear();
    }
    return outcome;
}

void CCurlConnection::OnDebug(int nType, const char* pData, size_t nSize)
{
    // Data and TLS records pass here too: they are neither traced nor worth decoding.
    if (nType != CURLINFO_TEXT && nType != CURLINFO_HEADER_IN && nType != CURLINFO_HEADER_OUT) {
        return;
    }
    QString strText = QString::fromUtf8(pData, static_cast<qsizetype>(nSize));
    while (strText.endsWith(QLatin1Char('\n')) || strText.endsWith(QLatin1Char('\r'))) {
        strText.chop(1);
    }
    auto status = [this](int nStatus, const QString& strInfo) {
        if (m_observers.status) {
            m_observers.status(nStatus, strInfo);
        }
    };
    auto trace = [this](int nKind, const QString& strLine) {
        if (m_observers.trace) {
            m_observers.trace(nKind, strLine);
        }
    };
    switch (nType) {
    case CURLINFO_TEXT:
        if (strText.startsWith(QLatin1String("Connecting to "))) {
            m_bDataConnecting = true;
        } else if (strText.contains(QLatin1String("Trying "))) {
            status(kStatusResolved, m_endpoint.strHost);
            status(kStatusConnecting, m_endpoint.strHost);
        } else if (strText.startsWith(QLatin1String("Connected to "))) {
            // A data connection is announced with "Connecting to" first; only the others are control connections.
            if (!m_bDataConnecting) {
                ++m_nControlConnections;
            }
            m_bDataConnecting = false;
            status(kStatusConnected, m_endpoint.strHost);
            status(kStatusCreated, m_endpoint.strHost);
        } else if (strText.startsWith(QLatin1String("Closing connection"))) {
            status(kStatusClosing, m_endpoint.strHost);
            status(kStatusClosed, m_endpoint.strHost);
        }
        break;
    case CURLINFO_HEADER_OUT: {
        status(kStatusSending, strText);
        if (strText.startsWith(QLatin1String("PASS "), Qt::CaseInsensitive)) {
            strText = QStringLiteral("PASS ****");
        } else if (strText.compare(QLatin1String("QUIT"), Qt::CaseInsensitive) == 0) {
            status(kStatusClosingConnection, m_endpoint.strHost);
        }
        m_strLastCommand = strText;
        trace(TRACE_COMMAND, QStringLiteral("> ") + strText);
        status(kStatusSent, strText);
        break;
    }
    case CURLINFO_HEADER_IN:
        status(kStatusReceiving, strText);
        for (const QString& strLine : strText.split(QLatin1Char('\n'))) {
            // A reply travels on into error messages, rows and terminals: its control characters never do.
            const QString strClean = EscapeControlCharacters(QString(strLine).remove(QLatin1Char('\r')));
            trace(TRACE_PLAIN, QStringLiteral("< ") + strClean);
            m_strReplyInProgress += strClean;
            m_replyLinesInProgress.append(strClean);
            if (IsFinalReplyLine(strClean)) {
                m_strLastReply = m_strReplyInProgress;
                m_strReplyInProgress.clear();
                m_lastReplyLines = std::exchange(m_replyLinesInProgress, {});
                ++m_nReplies;
            }
        }
        status(kStatusReceived, strText);
        break;
    default:
        break;
    }
}

CurlOutcome CCurlConnection::Perform(const std::atomic<bool>* pCancel)
{
    CurlOutcome outcome;
    CURL* pCurl = m_pHandle->pCurl;
    if (pCurl == nullptr) {
        outcome.strError = QStringLiteral("The internet client could not be started.");
        return outcome;
    }
    if (!m_bLoggedOn && m_observers.status) {
        m_observers.status(kStatusResolving, m_endpoint.strHost);
    }
    m_pCancel = pCancel;
    m_received.clear();
    m_bOverLimit = false;
    m_strReplyInProgress.clear();
    m_replyLinesInProgress.clear();
    m_pHandle->errorBuffer[0] = '\0';
    const int nRepliesBefore = m_nReplies;
    const int nControlBefore = m_nControlConnections;
    const CURLcode code = m_pHandle->Perform();
    m_pCancel = nullptr;
    const bool bNewControl = m_nControlConnections != nControlBefore;
    m_bReconnected = m_bLoggedOn && bNewControl;
    if (bNewControl) {
        m_strCurrentFolder.clear();
    }
    if (m_observers.status) {
        m_observers.status(kStatusComplete, m_endpoint.strHost);
    }
    if (code == CURLE_OK) {
        m_bLoggedOn = true;
        outcome.bOk = true;
        return outcome;
    }
    outcome.bCancelled = code == CURLE_ABORTED_BY_CALLBACK;
    outcome.bTooLarge = m_bOverLimit;
    outcome.bLoginDenied = code == CURLE_LOGIN_DENIED;
    const int nReplyCode = ReplyCode(m_strLastReply);
    outcome.bServerRefused = !outcome.bCancelled && m_nReplies != nRepliesBefore && nReplyCode >= 400;
    if (outcome.bServerRefused) {
        outcome.strError = m_strLastReply;
        outcome.nReplyCode = nReplyCode;
    } else if (outcome.bTooLarge) {
        outcome.strError = FormatText("the reply was longer than %lld bytes and was stopped", m_nReceiveLimit);
    } else {
        outcome.strError = EscapeControlCharacters(
            QString::fromUtf8(m_pHandle->errorBuffer[0] != '\0' ? m_pHandle->errorBuffer : curl_easy_strerror(code)));
    }
    // A refusal leaves the connection usable; anything else may have broken it.
    if (!outcome.bServerRefused || outcome.bLoginDenied || nReplyCode == 421) {
        m_bLoggedOn = false;
    }
    Log("CCurlConnection::Perform::[%ld] libcurl code %d: %s", CurrentThreadId(), static_cast<int>(code),
        outcome.strError);
    return outcome;
}

CurlOutcome CCurlConnection::Connect(const QString& strFolder, const std::atomic<bool>* pCancel)
{
    if (const QString strProblem = CredentialProblem(m_endpoint.strUser, m_endpoint.strPassword);
        !strProblem.isEmpty()) {
        CurlOutcome refused;
        refused.bLoginDenied = true;
        refused.strError = strProblem;
        return refused;
    }
    return SendOne(strFolder.isEmpty() ? QString() : QStringLiteral("CWD ") + strFolder, pCancel);
}

CurlOutcome CCurlConnection::SendCommands(const QStringList& commands, const QString& strFolder)
{
    QStringList all;
    // A connection already in the folder is not sent there again: one round trip less per file.
    if (!strFolder.isEmpty() && (strFolder != m_strCurrentFolder || m_bReconnected || !m_bLoggedOn)) {
        all.append(QStringLiteral("CWD ") + strFolder);
    }
    all += commands;
    CurlOutcome outcome;
    outcome.bOk = true;
    for (const QString& strCommand : all) {
        outcome = SendOne(strCommand, nullptr);
        if (!outcome.bOk) {
            break;
        }
    }
    return outcome;
}

CurlOutcome CCurlConnection::SendDataCommand(
    const QString& strCommand, const QString& strFolder, QByteArray& data, const std::atomic<bool>* pCancel)
{
    data.clear();
    if (!strFolder.isEmpty()) {
        // A folder that cannot be entered must stop the command: it would otherwise run in the wrong one.
        const CurlOutcome outcome = SendCommands({}, strFolder);
        if (!outcome.bOk) {
            return outcome;
        }
    }
    Prepare({}, false, strCommand);
    CurlOutcome outcome = Perform(pCancel);
    data = m_received;
    m_received.clear();
    return outcome;
}

bool CCurlConnection::PrepareFileTransfer(const QString& strFolder, const QString& strName, CurlOutcome& outcome)
{
    outcome = SendCommands({}, strFolder);
    CURL* pCurl = m_pHandle->pCurl;
    if (!outcome.bOk || pCurl == nullptr) {
        return false;
    }
    m_pHandle->SetQuote({});
    m_pHandle->SetCustomRequest({});
    const QString strUrl = ServerUrl() + QString::fromLatin1(QUrl::toPercentEncoding(strName));
    curl_easy_setopt(pCurl, CURLOPT_URL, strUrl.toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_NOBODY, 0L);
    return true;
}

CurlOutcome CCurlConnection::Download(
    const QString& strFolder, const QString& strName, const DataSink& sink, const std::atomic<bool>* pCancel)
{
    CurlOutcome outcome;
    if (!PrepareFileTransfer(strFolder, strName, outcome)) {
        return outcome;
    }
    // A size from the server ("213 -5", "213 1e3") would make libcurl stop early and call a part the whole.
    curl_easy_setopt(m_pHandle->pCurl, CURLOPT_IGNORE_CONTENT_LENGTH, 1L);
    m_sink = sink;
    outcome = Perform(pCancel);
    m_sink = nullptr;
    curl_easy_setopt(m_pHandle->pCurl, CURLOPT_IGNORE_CONTENT_LENGTH, 0L);
    return outcome;
}

CurlOutcome CCurlConnection::Upload(const QString& strFolder, const QString& strName, qint64 nSize,
    const DataSource& source, const std::atomic<bool>* pCancel)
{
    CurlOutcome outcome;
    if (!PrepareFileTransfer(strFolder, strName, outcome)) {
        return outcome;
    }
    CURL* pCurl = m_pHandle->pCurl;
    curl_easy_setopt(pCurl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(pCurl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(nSize));
    m_source = source;
    outcome = Perform(pCancel);
    m_source = nullptr;
    curl_easy_setopt(pCurl, CURLOPT_UPLOAD, 0L);
    curl_easy_setopt(pCurl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(-1));
    return outcome;
}

bool CCurlConnection::SeemsClosed() const
{
    if (!m_bLoggedOn || m_pHandle->pCurl == nullptr) {
        return true;
    }
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(m_pHandle->pCurl, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD) {
        return true;
    }
    pollfd watch { socket, POLLIN, 0 };
    return ::poll(&watch, 1, 0) != 0;
}

void CCurlConnection::Close()
{
    m_strCurrentFolder.clear();
    // libcurl says QUIT itself when it closes a connection that is still up.
    delete m_pHandle;
    m_pHandle = new CHandle;
    m_bLoggedOn = false;
    Configure();
}

QString CredentialProblem(const QString& strUser, const QString& strPassword)
{
    const auto holdsBreak = [](const QString& strText) {
        return strText.contains(QLatin1Char('\r')) || strText.contains(QLatin1Char('\n'))
            || strText.contains(QChar(u'\0'));
    };
    if (holdsBreak(strUser)) {
        return QStringLiteral("The user name holds a line break or NUL character, which would reach the server as "
                              "a command of its own; nothing was sent. Correct the user name.");
    }
    if (holdsBreak(strPassword)) {
        return QStringLiteral("The password holds a line break or NUL character, which would reach the server as "
                              "a command of its own; nothing was sent. Correct the password.");
    }
    return {};
}

bool ProbeUrl(const QString& strUrl, int nTimeoutSeconds)
{
    InitialiseCurlOnce();
    CURL* pCurl = curl_easy_init();
    if (pCurl == nullptr) {
        return false;
    }
    curl_easy_setopt(pCurl, CURLOPT_URL, strUrl.toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(pCurl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(pCurl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(pCurl, CURLOPT_TIMEOUT, static_cast<long>(nTimeoutSeconds > 0 ? nTimeoutSeconds : 10));
    const bool bAnswered = curl_easy_perform(pCurl) == CURLE_OK;
    curl_easy_cleanup(pCurl);
    return bAnswered;
}
