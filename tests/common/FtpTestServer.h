#pragma once

#include <QString>
#include <QStringList>

#include "common/ChildProcess.h"

// A real FTP server on a free loopback port, started for a test and stopped with it: pyftpdlib with fault
// modes, vsftpd, ProFTPD or Pure-FTPd. The server's root is a fresh folder the test may fill.
class CFtpTestServer
{
public:
    enum class Kind
    {
        Pyftpdlib,
        VsftpdAnonymous,
        VsftpdLocalUser,
        ProftpdDigest, // ProFTPD with mod_digest (and MLSD), a virtual user kUser; root only
        PureFtpd // Pure-FTPd (MLSD), a virtual user kUser; root only
    };

    static constexpr const char* kUser = "tester";
    static constexpr const char* kPassword = "s3cr3t-Pa55";

    CFtpTestServer() = default;
    ~CFtpTestServer();
    CFtpTestServer(const CFtpTestServer&) = delete;
    CFtpTestServer& operator=(const CFtpTestServer&) = delete;

    // Starts the server with extra arguments for its script (fault modes, --tls ...); false with the
    // reason in Error() when it does not come up.
    bool Start(Kind kind = Kind::Pyftpdlib, const QStringList& extraArguments = {});
    void Stop();

    [[nodiscard]] int Port() const { return m_nPort; }
    [[nodiscard]] const QString& Pin() const { return m_strPin; }
    [[nodiscard]] const QString& Root() const { return m_strRoot; }
    [[nodiscard]] const QString& Error() const { return m_strError; }
    // "ftp://127.0.0.1:<port><folder>" (or ftps://), without credentials.
    [[nodiscard]] QString Url(const QString& strFolder = QStringLiteral("/"), bool bImplicitTls = false) const;

    static bool IsRoot();

private:
    CChildProcess m_process;
    int m_nPort = 0;
    QString m_strPin;
    QString m_strRoot;
    QString m_strError;
};
