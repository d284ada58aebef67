#include "ftp/FtpSessionFixture.h"

namespace {

using Ftps = FtpSessionFixture;

TEST_F(Ftps, ExplicitTlsWithAPinnedKeyProtectsControlAndData)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--tls"), QStringLiteral("explicit") }));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.bExplicitTls = true;
    site.strPinnedPublicKey = m_server.Pin();
    ASSERT_TRUE(session.OpenFtpSite(site)) << session.LastError().toStdString();
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
    const QStringList texts = TraceTexts();
    EXPECT_THAT(texts, testing::Contains(QHasSubstr("> AUTH ")));
    EXPECT_THAT(texts, testing::Contains(QHasSubstr("> PROT P")));
    ExpectPasswordNowhere();
}

TEST_F(Ftps, ImplicitTlsFromTheUrl)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--tls"), QStringLiteral("implicit") }));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.strUrl = m_server.Url(QStringLiteral("/pub"), true);
    site.strPinnedPublicKey = m_server.Pin();
    ASSERT_TRUE(session.OpenFtpSite(site)) << session.LastError().toStdString();
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
}

TEST_F(Ftps, AnUnknownCertificateIsRefusedUnlessItsKeyIsPinned)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--tls"), QStringLiteral("explicit") }));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.bExplicitTls = true;
    site.nRetries = 1;
    EXPECT_FALSE(session.OpenFtpSite(site)) << "certificates are verified by default";
    EXPECT_THAT(session.LastError().toStdString(), testing::HasSubstr("certificate"));

    site.strPinnedPublicKey = QStringLiteral("sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=");
    EXPECT_FALSE(session.OpenFtpSite(site)) << "a pin that does not match is refused";
    ExpectPasswordNowhere({ session.LastError() });
}

} // namespace
