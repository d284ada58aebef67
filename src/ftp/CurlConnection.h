#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <vector>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "ftp/NameCharset.h"

// Whether a web address answers at all (any HTTP status); used to tell a dead site from a dead network.
bool ProbeUrl(const QString& strUrl, int nTimeoutSeconds);

// Where and how one connection reaches its server.
struct FtpEndpoint
{
    bool bImplicitTls = false;
    bool bExplicitTls = false;
    QString strHost;
    int nPort = 21;
    QString strUser;
    QString strPassword;
    bool bPassive = true;
    int nTimeoutSeconds = 30;
    QString strPinnedPublicKey;
    // Sent on every connection after log-on (OPTS UTF8 ON, OPTS MLST ...): what the session chose from the
    // server's features. A refusal is no failure; the session works without it.
    QStringList sessionOptions;
    NameCharset charset = NameCharset::Automatic;
};

// Why a user name or password cannot be sent (a line break or NUL would let it carry commands of its
// own); empty when it can.
QString CredentialProblem(const QString& strUser, const QString& strPassword);

// How a request ended. bServerRefused: the server answered with an error reply, whose text is strError;
// otherwise strError is the client's own account of the failure.
struct [[nodiscard]] CurlOutcome
{
    bool bOk = false;
    bool bServerRefused = false;
    bool bCancelled = false;
    bool bLoginDenied = false;
    bool bTooLarge = false;
    bool bForeignDataPeer = false; // an active-mode data connection came from another address
    bool bOutOfStep = false; // the server's replies could no longer be matched to the commands
    int nReplyCode = 0; // of the refusal, when the server refused
    QString strRefusedCommand; // the command the server refused, the password masked
    QString strError;

    // A failure that asking again will not change (5xx: wrong password, no such folder; a server whose replies
    // cannot be read in step).
    [[nodiscard]] bool IsPermanent() const
    {
        return bLoginDenied || bOutOfStep || (bServerRefused && nReplyCode >= 500);
    }
};

// What the connection reports as it works: protocol lines for the trace, and the status events of the
// internet session (resolving, connecting, sending, receiving, closing).
struct CurlObservers
{
    std::function<void(int nKind, const QString& strText)> trace;
    std::function<void(int nStatus, const QString& strInfo)> status;
};

// One FTP control connection on a libcurl easy handle; the only code that calls libcurl. Used by one
// thread at a time. Every command sent and reply received goes to the trace, the password masked.
class CCurlConnection
{
public:
    CCurlConnection(FtpEndpoint endpoint, CurlObservers observers);
    ~CCurlConnection();
    CCurlConnection(const CCurlConnection&) = delete;
    CCurlConnection& operator=(const CCurlConnection&) = delete;

    // Connects and logs on, and changes to strFolder. Polls *pCancel (when given) while it waits.
    CurlOutcome Connect(const QString& strFolder, const std::atomic<bool>* pCancel = nullptr);

    // Sends commands that open no data connection, in one request, so that all of them reach the same
    // connection even when libcurl has to open a new one on the way. Where the commands depend on a folder,
    // strFolder is changed to first and nothing else is sent unless the server accepted that; otherwise
    // commands name their paths in full. Each command is sent; the outcome is the first one refused.
    CurlOutcome SendCommands(const QStringList& commands, const QString& strFolder = {});
    // Asks about one file by name (MDTM, SIZE) in strFolder, or by a full path: whether the server has it.
    // Only "550" to this very command says it has not; a refused CWD, a command the server does not know or a
    // busy server tell nothing.
    std::optional<bool> AskAboutFile(const QString& strCommand, const QString& strFolder = {});

    // Sends one command that answers over a data connection (LIST, NLST, MLSD ...) in strFolder, changed to
    // in the same request and checked by its reply, and collects what arrives there.
    CurlOutcome SendDataCommand(const QString& strCommand, const QString& strFolder, QByteArray& data,
        const std::atomic<bool>* pCancel = nullptr);

    // Receives the file strName of strFolder in binary, named by its full path, handing each piece to sink;
    // a sink that returns false stops the transfer. Polls *pCancel (when given). Sizes the server announces
    // (SIZE, "150 ... (n bytes)") are not trusted: the transfer runs until the server's final reply.
    using DataSink = std::function<bool(const char* pData, size_t nSize)>;
    CurlOutcome Download(const QString& strFolder, const QString& strName, const DataSink& sink,
        const std::atomic<bool>* pCancel = nullptr);

    // Sends nSize bytes, asked for piece by piece from source (which returns how many it put in the buffer,
    // or -1 to stop), as the file strName of strFolder, named by its full path. Polls *pCancel (when given).
    using DataSource = std::function<qint64(char* pBuffer, size_t nMax)>;
    CurlOutcome Upload(const QString& strFolder, const QString& strName, qint64 nSize, const DataSource& source,
        const std::atomic<bool>* pCancel = nullptr);

    // Data commands stop with an error once more than this many bytes arrived; 0 for no limit.
    void SetReceiveLimit(qint64 nBytes) { m_nReceiveLimit = nBytes; }

    // True when the control connection is gone or has something unasked-for to say (a server that is
    // closing it says "421" first); checked without sending anything.
    [[nodiscard]] bool SeemsClosed() const;

    // Whether the last request had to open a new connection: libcurl quietly replaces a dropped one.
    [[nodiscard]] bool LastRequestReconnected() const { return m_bReconnected; }

    // The address of the server this connection reached, as the data connections must come from it.
    [[nodiscard]] QString PeerAddress() const;

    [[nodiscard]] bool IsLoggedOn() const { return m_bLoggedOn; }

    // The server's last complete reply, the lines of a multi-line reply run together.
    [[nodiscard]] QString LastReply() const { return m_strLastReply; }
    // The same reply line by line, for replies whose lines mean something each (FEAT).
    [[nodiscard]] const QStringList& LastReplyLines() const { return m_lastReplyLines; }

    // The last command sent, the password masked.
    [[nodiscard]] QString LastCommand() const { return m_strLastCommand; }

    // Says "QUIT" and closes the connection.
    void Close();

    const FtpEndpoint& Endpoint() const { return m_endpoint; }

private:
    class CHandle;

    // A command of the current request and the reply matched to it.
    struct Exchange
    {
        QString strCommand;
        int nReplyCode = 0; // 0 while unanswered
        QString strReply;
    };

    void Configure();
    // Points the handle at the file by its full path; false (with the outcome) when it cannot.
    bool PrepareFileTransfer(const QString& strFolder, const QString& strName, CurlOutcome& outcome);
    CurlOutcome Perform(const std::atomic<bool>* pCancel);
    void OnDebug(int nType, const char* pData, size_t nSize);
    void OnReplyLine(const QString& strLine);
    bool AcceptDataPeer(int nSocket);
    QString ServerUrl() const;
    // quote: the commands sent before the request's own, a leading "*" letting one fail without stopping it.
    void Prepare(const QStringList& quote, bool bNoBody, const QString& strDataCommand);
    // A failure for the first command the site's character set cannot write, or nothing when all can be sent.
    [[nodiscard]] std::optional<CurlOutcome> Unsendable(const QStringList& commands) const;
    [[nodiscard]] QString UnsendableText(const QString& strText) const;
    // The first of the request's commands (of quote) that the server refused, as the outcome says it.
    void JudgeReplies(CurlOutcome& outcome, const QStringList& quote) const;

    FtpEndpoint m_endpoint;
    CurlObservers m_observers;
    CHandle* m_pHandle = nullptr;
    bool m_bLoggedOn = false;
    bool m_bReconnected = false;
    QString m_strLastReply;
    int m_nReplies = 0;
    int m_nControlConnections = 0;
    bool m_bDataConnecting = false;
    QString m_strLastCommand;
    QString m_strReplyInProgress;
    QString m_strOpeningCode; // of a reply of several lines, until its last line
    std::vector<Exchange> m_exchanges;
    bool m_bOutOfStep = false;
    bool m_bForeignDataPeer = false;
    QStringList m_lastReplyLines;
    QStringList m_replyLinesInProgress;
    QByteArray m_received;
    qint64 m_nReceiveLimit = 0;
    bool m_bOverLimit = false;
    DataSink m_sink;
    DataSource m_source;
    const std::atomic<bool>* m_pCancel = nullptr;

    friend class CCurlCallbacks;
};
