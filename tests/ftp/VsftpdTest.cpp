#include "ftp/FtpSessionFixture.h"

namespace {

class Vsftpd : public FtpSessionFixture
{
protected:
    void SetUp() override
    {
        FtpSessionFixture::SetUp();
        if (!CFtpTestServer::IsRoot()) {
            GTEST_SKIP() << "vsftpd runs as root only";
        }
    }
};

TEST_F(Vsftpd, AnonymousSessionListsAndAnswers)
{
    ASSERT_TRUE(StartServer({}, CFtpTestServer::Kind::VsftpdAnonymous));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.strUser.clear();
    site.strPassword.clear();
    ASSERT_TRUE(session.OpenFtpSite(site)) << session.LastError().toStdString();
    EXPECT_THAT(TraceTexts(), testing::Contains(QHasSubstr("> USER anonymous")));
    EXPECT_THAT(session.FTPSendFtpCommand(QStringLiteral("PWD"), false).toStdString(), testing::HasSubstr("\"/pub\""));
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
    EXPECT_THAT(session.FTPSend2FtpCommands(QStringLiteral("/pub/"), QStringLiteral("LIST")).toStdString(),
        testing::HasSubstr("file.txt"));
    EXPECT_THAT(session.FTPSendFtpCommand(QStringLiteral("DELE file.txt"), false).toStdString(),
        testing::StartsWith("ERROR: DELE file.txt Error: 550"));
    session.CloseFtpSession();
}

TEST_F(Vsftpd, LocalUserLogsOnWithAPassword)
{
    ASSERT_TRUE(StartServer({}, CFtpTestServer::Kind::VsftpdLocalUser));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.strUser = QStringLiteral("quorveltest");
    site.strUrl = m_server.Url(m_server.Root() + QStringLiteral("/pub"));
    ASSERT_TRUE(session.OpenFtpSite(site)) << session.LastError().toStdString();
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
    ExpectPasswordNowhere();
}

} // namespace
