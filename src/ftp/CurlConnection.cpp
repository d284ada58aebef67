#include "ftp/CurlConnection.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include <QUrl>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <curl/curl.h>

#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/NameBytes.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"

namespace {

void InitialiseCurlOnce()
{
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The last line of a reply, as libcurl reads it: three digits and a space.
bool IsFinalReplyLine(const QString& line)
{
    return line.size() >= 4 && line.at(0).isDigit() && line.at(1).isDigit() && line.at(2).isDigit()
        && line.at(3) == QLatin1Char(' ');
}

// The first line of a reply that goes on over more lines: three digits and a dash.
bool IsOpeningReplyLine(const QString& line)
{
    return line.size() >= 4 && line.at(0).isDigit() && line.at(1).isDigit() && line.at(2).isDigit()
        && line.at(3) == QLatin1Char('-');
}

// An address as a text both sides of a comparison write alike: an IPv4 address mapped into IPv6 as itself.
QString AddressText(const sockaddr_storage& address)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (address.ss_family == AF_INET) {
        const auto* pIn = reinterpret_cast<const sockaddr_in*>(&address);
        ::inet_ntop(AF_INET, &pIn->sin_addr, text, sizeof text);
    } else if (address.ss_family == AF_INET6) {
        const auto* pIn6 = reinterpret_cast<const sockaddr_in6*>(&address);
        ::inet_ntop(AF_INET6, &pIn6->sin6_addr, text, sizeof text);
    }
    QString strText = QString::fromLatin1(text);
    if (strText.startsWith(QLatin1String("::ffff:")) && strText.contains(QLatin1Char('.'))) {
        strText = strText.mid(7);
    }
    return strText;
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

    // Commands are checked for their character set before they get here (CCurlConnection::Unsendable).
    void SetCustomRequest(const QString& strCommand, NameCharset charset = NameCharset::Automatic)
    {
        customRequest = EncodeServerText(strCommand, charset).value_or(QByteArray());
        if (pCurl != nullptr) {
            curl_easy_setopt(pCurl, CURLOPT_CUSTOMREQUEST, strCommand.isEmpty() ? nullptr : customRequest.constData());
        }
    }

    void SetQuote(const QStringList& commands, NameCharset charset = NameCharset::Automatic)
    {
        if (pQuote != nullptr) {
            curl_slist_free_all(pQuote);
            pQuote = nullptr;
        }
        for (const QString& command : commands) {
            pQuote = curl_slist_append(pQuote, EncodeServerText(command, charset).value_or(QByteArray()).constData());
        }
        if (pCurl != nullptr) {
            curl_easy_setopt(pCurl, CURLOPT_QUOTE, pQuote);
        }
    }

    // Runs the easy handle's request to its end, or until *pStop is set.
    CURLcode Perform(const bool* pStop)
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
            if (*pStop) {
                curl_multi_remove_handle(pMulti, pCurl);
                bAttached = false;
                return CURLE_WEIRD_SERVER_REPLY;
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
        return pConnection->m_bOutOfStep || (pConnection->m_pCancel != nullptr && pConnection->m_pCancel->load()) ? 1
                                                                                                                  : 0;
    }

    static int SocketOptions(void* pUser, curl_socket_t socket, curlsocktype purpose)
    {
        if (purpose != CURLSOCKTYPE_ACCEPT) {
            return CURL_SOCKOPT_OK;
        }
        return static_cast<CCurlConnection*>(pUser)->AcceptDataPeer(static_cast<int>(socket)) ? CURL_SOCKOPT_OK
                                                                                              : CURL_SOCKOPT_ERROR;
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
        // Active mode: the server connects back to the address this side of the control connection uses, and
        // whoever else connects there first must not be taken for it.
        curl_easy_setopt(pCurl, CURLOPT_FTPPORT, "-");
        curl_easy_setopt(pCurl, CURLOPT_SOCKOPTFUNCTION, &CCurlCallbacks::SocketOptions);
        curl_easy_setopt(pCurl, CURLOPT_SOCKOPTDATA, this);
    }
    // A pinned key is a request for TLS: the log-on never goes out in clear then.
    if ((m_endpoint.bExplicitTls || !m_endpoint.strPinnedPublicKey.isEmpty()) && !m_endpoint.bImplicitTls) {
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

void CCurlConnection::Prepare(const QStringList& quote, bool bNoBody, const QString& strDataCommand)
{
    CURL* pCurl = m_pHandle->pCurl;
    if (pCurl == nullptr) {
        return;
    }
    // libcurl never changes folders by itself here (no CWD of its own): every command is one of ours, and
    // names its folder, so that a connection libcurl replaced on the way runs it in the same place.
    m_pHandle->SetQuote(quote, m_endpoint.charset);
    curl_easy_setopt(pCurl, CURLOPT_URL, ServerUrl().toUtf8().constData());
    curl_easy_setopt(pCurl, CURLOPT_NOBODY, bNoBody ? 1L : 0L);
    m_pHandle->SetCustomRequest(strDataCommand, m_endpoint.charset);
}

void CCurlConnection::JudgeReplies(CurlOutcome& outcome, const QStringList& commands) const
{
    // libcurl's own commands (EPSV before PASV, say) may be refused on the way; only ours are judged here.
    for (const Exchange& exchange : m_exchanges) {
        const QString strSent = exchange.strCommand;
        const bool bOurs = std::any_of(commands.begin(), commands.end(), [&strSent](const QString& strCommand) {
            return (strCommand.startsWith(QLatin1Char('*')) ? strCommand.mid(1) : strCommand) == strSent;
        });
        if (bOurs && exchange.nReplyCode >= 400) {
            outcome.bOk = false;
            outcome.bServerRefused = !outcome.bOutOfStep && !outcome.bCancelled;
            outcome.nReplyCode = exchange.nReplyCode;
            outcome.strRefusedCommand = exchange.strCommand;
            outcome.strError = exchange.strReply;
            return;
        }
    }
}

QString CCurlConnection::PeerAddress() const
{
    char* pAddress = nullptr;
    if (m_pHandle->pCurl == nullptr || curl_easy_getinfo(m_pHandle->pCurl, CURLINFO_PRIMARY_IP, &pAddress) != CURLE_OK
        || pAddress == nullptr) {
        return {};
    }
    QString strAddress = QString::fromLatin1(pAddress);
    if (strAddress.startsWith(QLatin1String("::ffff:")) && strAddress.contains(QLatin1Char('.'))) {
        strAddress = strAddress.mid(7);
    }
    return strAddress;
}

bool CCurlConnection::AcceptDataPeer(int nSocket)
{
    sockaddr_storage address {};
    socklen_t nLength = sizeof address;
    const QString strServer = PeerAddress();
    const QString strPeer = ::getpeername(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength) == 0
        ? AddressText(address)
        : QString();
    if (!strPeer.isEmpty() && strPeer == strServer) {
        return true;
    }
    m_bForeignDataPeer = true;
    if (m_observers.trace) {
        m_observers.trace(TRACE_ERROR,
            FormatText("A data connection came from %s, not from the server at %s; it was closed unread.",
                strPeer.isEmpty() ? QStringLiteral("an unknown address") : strPeer, strServer));
    }
    return false;
}

void CCurlConnection::OnDebug(int nType, const char* pData, size_t nSize)
{
    // Data and TLS records pass here too: they are neither traced nor worth decoding.
    if (nType != CURLINFO_TEXT && nType != CURLINFO_HEADER_IN && nType != CURLINFO_HEADER_OUT) {
        return;
    }
    QString strText = DecodeServerText(QByteArrayView(pData, static_cast<qsizetype>(nSize)), m_endpoint.charset);
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
        m_exchanges.push_back({ strText, 0, {} });
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
            OnReplyLine(strClean);
        }
        status(kStatusReceived, strText);
        break;
    default:
        break;
    }
}

void CCurlConnection::OnReplyLine(const QString& strLine)
{
    m_strReplyInProgress += strLine;
    m_replyLinesInProgress.append(strLine);
    if (m_strOpeningCode.isEmpty() && m_replyLinesInProgress.size() == 1 && IsOpeningReplyLine(strLine)) {
        m_strOpeningCode = strLine.left(3);
        return;
    }
    if (!IsFinalReplyLine(strLine)) {
        return;
    }
    if (!m_strOpeningCode.isEmpty() && !strLine.startsWith(m_strOpeningCode)) {
        // A reply of several lines ends only at its own code (RFC 959, 4.2), but libcurl ends it at the first
        // code followed by a space: from here on its replies and our commands no longer match.
        m_bOutOfStep = true;
        if (m_observers.trace) {
            m_observers.trace(TRACE_ERROR,
                FormatText("The server's reply of several lines, opened with %s, holds a line with another "
                           "reply code (%s); replies and commands would no longer match, so the connection is "
                           "closed.",
                    m_strOpeningCode, strLine.left(3)));
        }
    }
    m_strLastReply = m_strReplyInProgress;
    m_strReplyInProgress.clear();
    m_strOpeningCode.clear();
    m_lastReplyLines = std::exchange(m_replyLinesInProgress, {});
    ++m_nReplies;
    for (Exchange& exchange : m_exchanges) {
        if (exchange.nReplyCode == 0) {
            exchange.nReplyCode = std::max(1, ReplyCode(m_strLastReply));
            exchange.strReply = m_strLastReply;
            break;
        }
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
    m_bForeignDataPeer = false;
    m_strReplyInProgress.clear();
    m_replyLinesInProgress.clear();
    m_strOpeningCode.clear();
    m_exchanges.clear();
    m_pHandle->errorBuffer[0] = '\0';
    const int nRepliesBefore = m_nReplies;
    const int nControlBefore = m_nControlConnections;
    const CURLcode code = m_pHandle->Perform(&m_bOutOfStep);
    m_pCancel = nullptr;
    const bool bNewControl = m_nControlConnections != nControlBefore;
    m_bReconnected = m_bLoggedOn && bNewControl;
    if (m_bOutOfStep) {
        // Nothing more can be said on this connection: it is dropped, and the next request opens another.
        outcome.bOutOfStep = true;
        outcome.strError = QStringLiteral("the server's replies no longer matched the commands sent (a reply of "
                                          "several lines held another reply code); the connection was closed");
        m_bOutOfStep = false;
        delete m_pHandle;
        m_pHandle = new CHandle;
        m_bLoggedOn = false;
        Configure();
        return outcome;
    }
    if (m_observers.status) {
        m_observers.status(kStatusComplete, m_endpoint.strHost);
    }
    if (code == CURLE_OK) {
        m_bLoggedOn = true;
        outcome.bOk = true;
        return outcome;
    }
    outcome.bForeignDataPeer = m_bForeignDataPeer;
    outcome.bCancelled = code == CURLE_ABORTED_BY_CALLBACK && !m_bForeignDataPeer;
    outcome.bTooLarge = m_bOverLimit;
    outcome.bLoginDenied = code == CURLE_LOGIN_DENIED;
    const int nReplyCode = ReplyCode(m_strLastReply);
    outcome.bServerRefused = !outcome.bCancelled && m_nReplies != nRepliesBefore && nReplyCode >= 400;
    if (outcome.bServerRefused) {
        outcome.strError = m_strLastReply;
        outcome.nReplyCode = nReplyCode;
    } else if (outcome.bForeignDataPeer) {
        outcome.strError = QStringLiteral("a data connection came from an address other than the server's and "
                                          "was refused; nothing it sent was read");
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
    const QStringList quote = strFolder.isEmpty() ? QStringList() : QStringList { QStringLiteral("CWD ") + strFolder };
    if (std::optional<CurlOutcome> refused = Unsendable(quote)) {
        return std::move(*refused);
    }
    QStringList options;
    for (const QString& strOption : m_endpoint.sessionOptions) {
        options.append(QLatin1Char('*') + strOption);
    }
    Prepare(quote + options, true, {});
    CurlOutcome outcome = Perform(pCancel);
    JudgeReplies(outcome, quote);
    return outcome;
}

QString CCurlConnection::UnsendableText(const QString& strText) const
{
    return FormatText("\"%s\" cannot be written in the site's character set (%s), so it is not sent: another "
                      "name would stand for it on the server.",
        EscapeControlCharacters(strText), NameCharsetTitle(m_endpoint.charset));
}

std::optional<CurlOutcome> CCurlConnection::Unsendable(const QStringList& commands) const
{
    for (const QString& strCommand : commands) {
        if (!EncodeServerText(strCommand, m_endpoint.charset)) {
            CurlOutcome outcome;
            outcome.strError = UnsendableText(strCommand);
            return outcome;
        }
    }
    return std::nullopt;
}

CurlOutcome CCurlConnection::SendCommands(const QStringList& commands, const QString& strFolder)
{
    // A refused CWD stops the request before anything else is sent; the "*" keeps libcurl from dropping the
    // connection when the server refuses one of the commands, whose replies are judged here instead.
    QStringList quote;
    if (!strFolder.isEmpty()) {
        quote.append(QStringLiteral("CWD ") + strFolder);
    }
    for (const QString& strCommand : commands) {
        quote.append(QLatin1Char('*') + strCommand);
    }
    if (std::optional<CurlOutcome> refused = Unsendable(quote)) {
        return std::move(*refused);
    }
    Prepare(quote, true, {});
    CurlOutcome outcome = Perform(nullptr);
    JudgeReplies(outcome, quote);
    return outcome;
}

std::optional<bool> CCurlConnection::AskAboutFile(const QString& strCommand, const QString& strFolder)
{
    const CurlOutcome outcome = SendCommands({ strCommand }, strFolder);
    if (outcome.bOk) {
        return true;
    }
    if (outcome.bServerRefused && outcome.nReplyCode == 550 && outcome.strRefusedCommand == strCommand) {
        return false;
    }
    return std::nullopt;
}

CurlOutcome CCurlConnection::SendDataCommand(
    const QString& strCommand, const QString& strFolder, QByteArray& data, const std::atomic<bool>* pCancel)
{
    data.clear();
    // The folder is changed to in the same request: the command runs where the CWD put it, on whichever
    // connection libcurl used, and a folder that cannot be entered stops it.
    const QStringList quote = strFolder.isEmpty() ? QStringList() : QStringList { QStringLiteral("CWD ") + strFolder };
    if (std::optional<CurlOutcome> refused = Unsendable(quote + QStringList { strCommand })) {
        return std::move(*refused);
    }
    Prepare(quote, false, strCommand);
    CurlOutcome outcome = Perform(pCancel);
    // libcurl takes "450" to a LIST for an empty folder; it is a listing that failed.
    JudgeReplies(outcome, quote + QStringList { strCommand });
    data = m_received;
    m_received.clear();
    return outcome;
}

bool CCurlConnection::PrepareFileTransfer(const QString& strFolder, const QString& strName, CurlOutcome& outcome)
{
    CURL* pCurl = m_pHandle->pCurl;
    if (pCurl == nullptr) {
        outcome.strError = QStringLiteral("The internet client could not be started.");
        return false;
    }
    m_pHandle->SetQuote({});
    m_pHandle->SetCustomRequest({});
    // The file is named by its full path ("%2F" is the leading "/" of an absolute one), so that a connection
    // replaced on the way cannot make it land in another folder.
    QString strPath = strFolder;
    if (!strPath.endsWith(QLatin1Char('/'))) {
        strPath += QLatin1Char('/');
    }
    strPath += strName;
    const std::optional<QByteArray> path = EncodeServerText(strPath, m_endpoint.charset);
    if (!path) {
        outcome.strError = UnsendableText(strPath);
        return false;
    }
    const QByteArray encoded
        = path->startsWith('/') ? "%2F" + path->mid(1).toPercentEncoding("/") : path->toPercentEncoding("/");
    curl_easy_setopt(pCurl, CURLOPT_URL, QByteArray(ServerUrl().toUtf8() + encoded).constData());
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
