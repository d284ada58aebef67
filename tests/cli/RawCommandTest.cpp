
#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

using testing::HasSubstr;

namespace {

class RawCommand : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.Start()) << m_server.Error().toStdString();
        WriteFileBytes(m_server.Root() + QStringLiteral("/index.html"), "<html></html>");
        m_strHome = MakeTestFolder(QStringLiteral("raw-home"));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("HOME"), m_strHome);
        m_environment.remove(QStringLiteral("QUORVEL_PASSWORD"));
    }

    QString UserUrl() const
    {
        return QStringLiteral("ftp://%1@127.0.0.1:%2/")
            .arg(QString::fromLatin1(CFtpTestServer::kUser))
            .arg(m_server.Port());
    }

    CFtpTestServer m_server;
    QString m_strHome;
    QProcessEnvironment m_environment;
};

TEST_F(RawCommand, PasswordFromTheEnvironmentAndTracedRepliesWithoutIt)
{
    m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    const CliRun run = RunCli({ QStringLiteral("raw"), QStringLiteral("--trace"), QStringLiteral("--retries"),
                                  QStringLiteral("1"), UserUrl(), QStringLiteral("PWD"), QStringLiteral("NLST") },
        m_environment);
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString();
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("257 \"/\""));
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("index.html"));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("command> ["));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("> PASS ****"));
    EXPECT_FALSE(QString(run.strOut + run.strErr).contains(QString::fromLatin1(CFtpTestServer::kPassword)));
}

TEST_F(RawCommand, PasswordFromAFileOrNetrcButNeverFromTheUrl)
{
    const QString strFile = m_strHome + QStringLiteral("/password");
    WriteFileBytes(strFile, QByteArray(CFtpTestServer::kPassword) + "\n");
    const CliRun fromFile = RunCli(
        { QStringLiteral("raw"), QStringLiteral("--password-file"), strFile, UserUrl(), QStringLiteral("NOOP") },
        m_environment);
    EXPECT_EQ(fromFile.nExit, 0) << fromFile.strErr.toStdString();

    WriteFileBytes(m_strHome + QStringLiteral("/.netrc"),
        QByteArray("machine 127.0.0.1 login ") + CFtpTestServer::kUser + " password " + CFtpTestServer::kPassword
            + "\n");
    const CliRun fromNetrc = RunCli({ QStringLiteral("raw"), UserUrl(), QStringLiteral("NOOP") }, m_environment);
    EXPECT_EQ(fromNetrc.nExit, 0) << fromNetrc.strErr.toStdString();

    const QString strUrlWithPassword
        = QStringLiteral("ftp://%1:%2@127.0.0.1:%3/")
              .arg(QString::fromLatin1(CFtpTestServer::kUser), QString::fromLatin1(CFtpTestServer::kPassword))
              .arg(m_server.Port());
    const CliRun inUrl = RunCli({ QStringLiteral("raw"), strUrlWithPassword, QStringLiteral("NOOP") }, m_environment);
    EXPECT_EQ(inUrl.nExit, 2);
    EXPECT_THAT(inUrl.strErr.toStdString(), HasSubstr("the URL holds a password"));
    EXPECT_FALSE(inUrl.strErr.contains(QString::fromLatin1(CFtpTestServer::kPassword)));
}

TEST_F(RawCommand, FailuresToConnectOrLogOnEndWithOneSentenceAndStatusTwo)
{
    m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QStringLiteral("not-the-password"));
    const CliRun wrong = RunCli({ QStringLiteral("raw"), UserUrl(), QStringLiteral("PWD") }, m_environment);
    EXPECT_EQ(wrong.nExit, 2);
    EXPECT_EQ(
        wrong.strErr, QStringLiteral("quorvel-cli raw: Could not log on to 127.0.0.1: 530 Authentication failed.\n"));

    const CliRun refused = RunCli(
        { QStringLiteral("raw"), QStringLiteral("ftp://127.0.0.1:%1/").arg(m_server.Port()), QStringLiteral("PWD") },
        m_environment);
    EXPECT_EQ(refused.nExit, 2) << "the server takes no anonymous users";

    const CliRun scheme
        = RunCli({ QStringLiteral("raw"), QStringLiteral("http://127.0.0.1/"), QStringLiteral("PWD") }, m_environment);
    EXPECT_EQ(scheme.nExit, 2);
    EXPECT_THAT(scheme.strErr.toStdString(), HasSubstr("is not an FTP URL"));

    m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    const CliRun refusedCommand
        = RunCli({ QStringLiteral("raw"), UserUrl(), QStringLiteral("CWD /nowhere") }, m_environment);
    EXPECT_EQ(refusedCommand.nExit, 1);
    EXPECT_THAT(refusedCommand.strErr.toStdString(), HasSubstr("ERROR: CWD /nowhere Error: 550"));
}

} // namespace
