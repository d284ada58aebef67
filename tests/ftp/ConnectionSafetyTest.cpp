#include <thread>

#include <gmock/gmock.h>

#include "ftp/CurlConnection.h"
#include "ftp/FtpSessionFixture.h"
#include "ftp/RemoteListing.h"
#include "transfer/TransferRoutines.h"

namespace {

using testing::HasSubstr;

class ConnectionSafety : public FtpSessionFixture
{
protected:
    // Whether any command went over the wire (the "> " lines are what libcurl sent).
    bool Sent(const QString& strVerb) const
    {
        const QStringList texts = TraceTexts();
        return std::any_of(texts.begin(), texts.end(),
            [&strVerb](const QString& strText) { return strText.contains(QStringLiteral("> ") + strVerb); });
    }
};

// After the server dropped an idle connection, libcurl quietly opened a new one in the server's top folder,
// where the next DELE, relying on the old connection's folder, removed a namesake.
TEST_F(ConnectionSafety, ACommandOnAReplacedConnectionStillNamesItsFolder)
{
    ASSERT_TRUE(
        StartServer({ QStringLiteral("--idle-timeout"), QStringLiteral("1"), QStringLiteral("--silent-idle-close") }));
    WriteFileBytes(m_server.Root() + QStringLiteral("/victim.txt"), "the top folder's own");
    WriteFileBytes(m_server.Root() + QStringLiteral("/pub/sub/victim.txt"), "to delete");
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    std::unique_ptr<CCurlConnection> pConnection = session.AcquireConnection(nullptr);
    ASSERT_TRUE(pConnection);
    TransferContext context { *pConnection, m_trace, {}, nullptr, true, {}, {}, -1 };
    const QString strCopy = MakeTestFolder(QStringLiteral("connection-copy")) + QStringLiteral("/victim.txt");
    ASSERT_EQ(
        DownloadFile(context, QStringLiteral("/pub/sub"), QStringLiteral("victim.txt"), strCopy, -1), TRANSFER_DONE);
    std::this_thread::sleep_for(std::chrono::milliseconds(1800));

    EXPECT_EQ(DeleteRemote(context, QStringLiteral("/pub/sub"), QStringLiteral("victim.txt"), false, false, {}),
        TRANSFER_DONE)
        << context.strFailure.toStdString();
    const QStringList texts = TraceTexts();
    EXPECT_GE(std::count_if(texts.begin(), texts.end(),
                  [](const QString& strText) { return strText.contains(QStringLiteral("> USER")); }),
        2)
        << "the DELE went over a new connection";
    EXPECT_TRUE(QFile::exists(m_server.Root() + QStringLiteral("/victim.txt")))
        << TraceTexts().join(QLatin1Char('\n')).toStdString();
    EXPECT_FALSE(QFile::exists(m_server.Root() + QStringLiteral("/pub/sub/victim.txt")));
    session.ReleaseConnection(std::move(pConnection));
}

TEST_F(ConnectionSafety, AGreetingHoldingAnotherReplyCodeIsRefusedNotReadOutOfStep)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--banner"),
        QStringLiteral("Welcome to the test server, whose greeting runs over several lines as some do\\r\\n"
                       "230 a line with another reply code inside it") }));
    CFtpSession session(m_trace);
    EXPECT_FALSE(session.OpenFtpSite(Site()));
    EXPECT_THAT(session.LastError().toStdString(), HasSubstr("no longer matched the commands"));
    EXPECT_FALSE(Sent(QStringLiteral("CWD"))) << "nothing is sent on a connection whose replies are out of step";
}

TEST_F(ConnectionSafety, AnActiveModeDataConnectionIsTakenOnlyFromTheServer)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--rogue-active") }));
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.bPassive = false;
    ASSERT_TRUE(session.OpenFtpSite(site));
    CRemoteListing listing(session, m_trace);
    QString strText;
    EXPECT_FALSE(listing.GetListing(QStringLiteral("/pub"), strText));
    EXPECT_FALSE(strText.contains(QStringLiteral("ROGUE_INJECTED")));
    EXPECT_THAT(TraceTexts().join(QLatin1Char('\n')).toStdString(), HasSubstr("A data connection came from 127.0.0.2"));
}

TEST_F(ConnectionSafety, APinnedKeyNeverLetsTheLogOnGoOutInClear)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.nRetries = 1;
    site.strPinnedPublicKey = QStringLiteral("sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=");
    EXPECT_FALSE(session.OpenFtpSite(site));
    EXPECT_TRUE(Sent(QStringLiteral("AUTH"))) << "the pin asks for TLS";
    EXPECT_FALSE(Sent(QStringLiteral("USER")));
    EXPECT_FALSE(Sent(QStringLiteral("PASS")));
}

} // namespace
