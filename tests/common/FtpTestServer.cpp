#include "common/FtpTestServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QUuid>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/TestFiles.h"

namespace {

// Waits until something accepts connections on the loopback port, for at most ten seconds.
bool WaitForPort(int nPort)
{
    const QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(nPort));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool bConnected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        ::close(fd);
        if (bConnected) {
            return true;
        }
        ::usleep(50 * 1000);
    }
    return false;
}

} // namespace

CFtpTestServer::~CFtpTestServer()
{
    Stop();
}

bool CFtpTestServer::IsRoot()
{
    return ::geteuid() == 0;
}

bool CFtpTestServer::Start(Kind kind, const QStringList& extraArguments)
{
    Stop();
    m_strRoot = MakeTestFolder(QStringLiteral("ftp-root-") + QUuid::createUuid().toString(QUuid::Id128));
    // vsftpd drops to its own users, which must be able to read the root and everything above it.
    QFile::setPermissions(m_strRoot,
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup
            | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther);
    QStringList arguments;
    if (kind == Kind::Pyftpdlib) {
        arguments << QStringLiteral(QUORVEL_TEST_SERVERS "/ftp_server.py") << QStringLiteral("--root") << m_strRoot
                  << QStringLiteral("--user") << QString::fromLatin1(kUser) << QStringLiteral("--password")
                  << QString::fromLatin1(kPassword);
    } else if (kind == Kind::ProftpdDigest || kind == Kind::PureFtpd) {
        arguments << (kind == Kind::PureFtpd ? QStringLiteral(QUORVEL_TEST_SERVERS "/pureftpd_server.py")
                                             : QStringLiteral(QUORVEL_TEST_SERVERS "/proftpd_server.py"))
                  << QStringLiteral("--root") << m_strRoot << QStringLiteral("--user") << QString::fromLatin1(kUser)
                  << QStringLiteral("--password") << QString::fromLatin1(kPassword);
    } else {
        arguments << QStringLiteral(QUORVEL_TEST_SERVERS "/vsftpd_server.py") << QStringLiteral("--root") << m_strRoot
                  << QStringLiteral("--mode")
                  << (kind == Kind::VsftpdAnonymous ? QStringLiteral("anonymous") : QStringLiteral("local"))
                  << QStringLiteral("--user") << QStringLiteral("quorveltest") << QStringLiteral("--password")
                  << QString::fromLatin1(kPassword);
    }
    arguments += extraArguments;

    // A server logs every command: into a pipe that nobody drains it would stop once the pipe is full.
    const QString strLog = m_strRoot + QStringLiteral(".log");
    const auto serverLog = [&strLog] { return QString::fromUtf8(ReadFileBytes(strLog).right(4000)); };
    if (!m_process.Start(QStringLiteral("/usr/bin/python3"), arguments, strLog)) {
        m_strError = QStringLiteral("the server script did not start: ") + m_process.Error();
        return false;
    }
    const QDeadlineTimer deadline(20000);
    const bool bWantPin = extraArguments.contains(QStringLiteral("--tls"));
    QByteArray line;
    while ((m_nPort == 0 || (bWantPin && m_strPin.isEmpty()))
        && m_process.ReadLine(line, static_cast<int>(deadline.remainingTime()))) {
        const QString strLine = QString::fromUtf8(line).trimmed();
        if (strLine.startsWith(QLatin1String("PORT "))) {
            m_nPort = strLine.mid(5).toInt();
        } else if (strLine.startsWith(QLatin1String("PIN "))) {
            m_strPin = strLine.mid(4);
        }
    }
    if (m_nPort == 0) {
        m_strError = QStringLiteral("the server did not report its port: ") + serverLog();
        Stop();
        return false;
    }
    // vsftpd and ProFTPD open their sockets after the launcher has printed the port: wait until they answer.
    if (kind != Kind::Pyftpdlib && !WaitForPort(m_nPort)) {
        m_strError = QStringLiteral("the server did not start: ") + serverLog();
        Stop();
        return false;
    }
    return true;
}

void CFtpTestServer::Stop()
{
    m_process.Stop();
    m_nPort = 0;
    m_strPin.clear();
}

QString CFtpTestServer::Url(const QString& strFolder, bool bImplicitTls) const
{
    return (bImplicitTls ? QStringLiteral("ftps://127.0.0.1:") : QStringLiteral("ftp://127.0.0.1:"))
        + QString::number(m_nPort) + strFolder;
}
