#include <QDir>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

// Saved sites from the command line, with no secret service running (as on a server without a desktop).
class Sites : public testing::Test
{
protected:
    void SetUp() override
    {
        QDir(TestRoot() + QStringLiteral("/cli-profile")).removeRecursively();
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
        m_environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), MakeTestFolder(QStringLiteral("cli-sites-runtime")));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("cli-sites-cache")));
        m_strLocal = MakeTestFolder(QStringLiteral("cli-sites-local"));
        WriteFileBytes(m_strLocal + QStringLiteral("/same.txt"), "same");
    }

    // A server whose /www holds what the local folder does; its URL, or nothing when it did not start.
    static QString StartServer(CFtpTestServer& server)
    {
        if (!server.Start()) {
            return {};
        }
        WriteFileBytes(server.Root() + QStringLiteral("/www/same.txt"), "same");
        return QStringLiteral("ftp://%1@127.0.0.1:%2/www")
            .arg(QString::fromLatin1(CFtpTestServer::kUser))
            .arg(server.Port());
    }

    QProcessEnvironment m_environment;
    QString m_strLocal;
};

TEST_F(Sites, ASavedSiteIsUsedByNameAndItsPasswordComesFromTheUsualPlacesWithoutAService)
{
    CFtpTestServer server;
    const QString strUrl = StartServer(server);
    ASSERT_FALSE(strUrl.isEmpty()) << server.Error().toStdString();

    QProcess add;
    add.setProcessEnvironment(m_environment);
    add.start(QStringLiteral(QUORVEL_CLI_PATH),
        { QStringLiteral("--settings"), TestRoot() + QStringLiteral("/cli-profile"), QStringLiteral("sites"),
            QStringLiteral("add"), QStringLiteral("my shop"), strUrl, QStringLiteral("--password-stdin") });
    add.write(QByteArray(CFtpTestServer::kPassword) + "\n");
    add.closeWriteChannel();
    ASSERT_TRUE(add.waitForFinished(30000));
    EXPECT_EQ(add.exitCode(), 1) << "the site is saved, its password is not";
    EXPECT_THAT(QString::fromLocal8Bit(add.readAllStandardError()), QHasSubstr("No secret service is running"));
    EXPECT_FALSE(
        ReadFileBytes(TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini")).contains(CFtpTestServer::kPassword));

    const CliRun listed = RunCli({ QStringLiteral("sites") }, m_environment);
    EXPECT_EQ(listed.nExit, 0);
    EXPECT_TRUE(listed.strOut.contains(QStringLiteral("my shop  ") + strUrl)) << listed.strOut.toStdString();

    QProcessEnvironment withPassword = m_environment;
    withPassword.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    const CliRun compared
        = RunCli({ QStringLiteral("compare"), m_strLocal, QStringLiteral("site:my shop") }, withPassword);
    EXPECT_EQ(compared.nExit, 0) << compared.strErr.toStdString();

    const CliRun unknown
        = RunCli({ QStringLiteral("compare"), m_strLocal, QStringLiteral("site:nobody") }, withPassword);
    EXPECT_EQ(unknown.nExit, 2);
    EXPECT_THAT(unknown.strErr, QHasSubstr("there is no saved site \"nobody\""));

    EXPECT_EQ(
        RunCli({ QStringLiteral("sites"), QStringLiteral("remove"), QStringLiteral("my shop") }, m_environment).nExit,
        0);
    EXPECT_EQ(RunCli({ QStringLiteral("sites") }, m_environment).strOut, QString());
}

// A saved site is the starting point: what the command line gives beside it is not silently dropped.
TEST_F(Sites, OptionsGivenBesideASavedSiteWinOverWhatItKeeps)
{
    CFtpTestServer server;
    const QString strUrl = StartServer(server);
    ASSERT_FALSE(strUrl.isEmpty()) << server.Error().toStdString();
    ASSERT_EQ(RunCli({ QStringLiteral("sites"), QStringLiteral("add"), QStringLiteral("kept"), strUrl,
                         QStringLiteral("--time-offset"), QStringLiteral("60") },
                  m_environment)
                  .nExit,
        0);
    QProcessEnvironment withPassword = m_environment;
    withPassword.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    const CliRun run
        = RunCli({ QStringLiteral("compare"), QStringLiteral("--trace"), QStringLiteral("--active"),
                     QStringLiteral("--retries"), QStringLiteral("1"), m_strLocal, QStringLiteral("site:kept") },
            withPassword);
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString();
    EXPECT_THAT(run.strErr, QHasSubstr("(Attempt 1 of 1)"));
    EXPECT_THAT(run.strErr.toStdString(), testing::AnyOf(testing::HasSubstr("> PORT "), testing::HasSubstr("> EPRT ")));
    EXPECT_THAT(run.strErr.toStdString(), testing::Not(testing::HasSubstr("> MDTM"))) << "the site's own offset";
}

TEST_F(Sites, AnAnonymousSiteLogsOnWithTheEmailAddress)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start(CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--anonymous") }))
        << server.Error().toStdString();
    WriteFileBytes(server.Root() + QStringLiteral("/www/same.txt"), "same");
    ASSERT_EQ(RunCli({ QStringLiteral("sites"), QStringLiteral("add"), QStringLiteral("public"),
                         QStringLiteral("ftp://127.0.0.1:%1/www").arg(server.Port()) },
                  m_environment)
                  .nExit,
        0);
    const CliRun compared
        = RunCli({ QStringLiteral("compare"), QStringLiteral("--trace"), m_strLocal, QStringLiteral("site:public") },
            m_environment);
    EXPECT_EQ(compared.nExit, 0) << compared.strErr.toStdString();
    EXPECT_THAT(compared.strErr, QHasSubstr("USER anonymous"));
}

TEST_F(Sites, FileZillaSitesAreImportedWithTheirPasswordsOnlyWhenAsked)
{
    const QString strFile = MakeTestFolder(QStringLiteral("cli-sites-fz")) + QStringLiteral("/sitemanager.xml");
    WriteFileBytes(strFile, R"(<FileZilla3><Servers>
<Server><Host>ftp.one.example</Host><Port>21</Port><Protocol>0</Protocol><User>u</User>
<Pass encoding="base64">c2VjcmV0</Pass><Logontype>1</Logontype><Name>One</Name><RemoteDir>1 0 3 www</RemoteDir></Server>
<Server><Host>sftp.example</Host><Port>22</Port><Protocol>1</Protocol><Name>Two</Name></Server>
</Servers></FileZilla3>)");
    const CliRun first = RunCli({ QStringLiteral("sites"), QStringLiteral("import"), strFile }, m_environment);
    EXPECT_EQ(first.nExit, 1) << "one site was left out";
    EXPECT_THAT(first.strOut, QHasSubstr("One  ftp://u@ftp.one.example/www"));
    EXPECT_THAT(first.strErr, QHasSubstr("SFTP"));
    const CliRun second
        = RunCli({ QStringLiteral("sites"), QStringLiteral("import"), strFile, QStringLiteral("--with-passwords") },
            m_environment);
    EXPECT_THAT(second.strOut, QHasSubstr("One (2)"));
    EXPECT_THAT(second.strErr, QHasSubstr("was not kept: No secret service is running"));
    EXPECT_FALSE(ReadFileBytes(TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini")).contains("secret"));
}

} // namespace
