#include <chrono>
#include <thread>

#include "ftp/ConnectionPool.h"
#include "ftp/FtpSessionFixture.h"
#include "ftp/InternetSession.h"
#include "support/SettingsStore.h"

namespace {

using FtpSession = FtpSessionFixture;
using Clock = std::chrono::steady_clock;

TEST_F(FtpSession, OpensWithOrWithoutTheSchemeAndRecordsTheSite)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    QStringList statusTexts;
    FtpSite site = Site(QStringLiteral("\\pub\\"));
    ASSERT_TRUE(session.OpenFtpSite(site)) << session.LastError().toStdString();
    EXPECT_EQ(session.RemoteRoot(), QStringLiteral("/pub"));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("Opening Internet Session...")));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("URL was successfully parsed.")));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("Connecting to: 127.0.0.1 (Attempt 1 of 3)")));
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("PASS ****")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("connected to: 127.0.0.1.")));
    EXPECT_TRUE(QDir(session.MirrorRoot()).exists());
    EXPECT_EQ(CSettingsStore().ReadString("MRU", "Site0"),
        QStringLiteral("ftp://tester@127.0.0.1:%1/pub").arg(m_server.Port()));

    session.InternetSession()->AttachWindow([&](const QString& strText) { statusTexts.append(strText); });
    site.strUrl = QStringLiteral("127.0.0.1:%1/pub").arg(m_server.Port());
    ASSERT_TRUE(session.OpenFtpSite(site));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("Closing existing FTP session...")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("Closing existing Internet Session...")));
    EXPECT_TRUE(statusTexts.isEmpty()) << "the new internet session has no window attached";
    session.InternetSession()->AttachWindow([&](const QString& strText) { statusTexts.append(strText); });
    session.FTPSendFtpCommand(QStringLiteral("NOOP"), false);
    EXPECT_THAT(statusTexts, testing::Contains(QHasSubstr("] Sending request...")));
    EXPECT_THAT(statusTexts, testing::Contains(QHasSubstr("] request complete")));

    session.CloseFtpSession();
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("QUIT")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("FTP session closed.")));
    EXPECT_FALSE(session.IsConnected());
    ExpectPasswordNowhere({ session.LastError() });
}

TEST_F(FtpSession, OtherSchemesAndWrongPasswordsAreRefusedAtOnce)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.strUrl = QStringLiteral("http://127.0.0.1:%1/").arg(m_server.Port());
    EXPECT_FALSE(session.OpenFtpSite(site));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Invalid FTP URL.")));
    EXPECT_EQ(session.LastError(), QStringLiteral("Please enter a valid FTP URL."));

    site = Site();
    site.strPassword = QStringLiteral("wrong");
    const auto start = Clock::now();
    EXPECT_FALSE(session.OpenFtpSite(site));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << "a refused log-on is not tried again";
    EXPECT_FALSE(Traced(TRACE_PLAIN, QStringLiteral("Connecting to: 127.0.0.1 (Attempt 2 of 3)")));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Failed to establish ftp connection to 127.0.0.1.")));
    EXPECT_THAT(session.LastError().toStdString(), testing::HasSubstr("530"));
    ExpectPasswordNowhere({ session.LastError() });
}

TEST_F(FtpSession, ADeadPortGetsEveryAttemptWithWaitsBetween)
{
    ASSERT_TRUE(StartServer());
    FtpSite site = Site();
    m_server.Stop();
    CFtpSession session(m_trace);
    const auto start = Clock::now();
    EXPECT_FALSE(session.OpenFtpSite(site));
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(2)) << "two waits of one second";
    for (int nAttempt = 1; nAttempt <= 3; ++nAttempt) {
        EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("Connecting to: 127.0.0.1 (Attempt %1 of 3)").arg(nAttempt)));
    }
    int nWaits = 0;
    for (const QString& strText : TraceTexts()) {
        nWaits += strText.endsWith(QStringLiteral("Retrying after 1 seconds...")) ? 1 : 0;
    }
    EXPECT_EQ(nWaits, 2);
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("FTP connection failure.")));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Failed to establish ftp connection to 127.0.0.1.")));
}

TEST_F(FtpSession, ALostConnectionIsFoundAndOpenedAgain)
{
    // Each control connection is dropped, unanswered, at its ninth command: log-on takes four, then FEAT and
    // the two OPTS it calls for.
    ASSERT_TRUE(StartServer({ QStringLiteral("--drop-after"), QStringLiteral("8") }));
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    EXPECT_TRUE(session.IsFtpConnectionAlive());
    EXPECT_FALSE(session.IsFtpConnectionAlive()) << "the ninth command finds the connection gone";
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("STAT")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("FTP status: Connection has been closed.")));
    EXPECT_FALSE(session.IsConnected());
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NOOP"), false), QString());
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Tried to send the ftp command, but the FTP connection was lost.")));
    EXPECT_EQ(session.FTPSend2FtpCommands(QStringLiteral("/pub/"), QStringLiteral("LIST")), QString());
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Tried to send ftp command, but the FTP connection was lost.")));

    ASSERT_TRUE(session.EnsureFtpConnected());
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("Connecting.")));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("Connecting to 127.0.0.1 (Attempt 1 of 3)")));
    EXPECT_THAT(session.FTPSendFtpCommand(QStringLiteral("PWD"), false).toStdString(), testing::HasSubstr("\"/pub\""));
}

TEST_F(FtpSession, AConnectionDroppedWhileIdleIsNotQuietlyReplaced)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--idle-timeout"), QStringLiteral("1") }));
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_FALSE(session.IsFtpConnectionAlive());
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("FTP status: Connection has been closed.")));
    EXPECT_TRUE(session.EnsureFtpConnected());
}

TEST_F(FtpSession, EnsuringAConnectionToAServerThatIsGoneTriesEveryAttempt)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    m_server.Stop();
    const auto start = Clock::now();
    EXPECT_FALSE(session.EnsureFtpConnected());
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(2));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Failed to connect to 127.0.0.1 (Attempt 3 of 3)")));
    EXPECT_TRUE(Traced(TRACE_PLAIN, QStringLiteral("Retrying.")));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("Attempting to connect to 127.0.0.1 failed.")));
}

TEST_F(FtpSession, ACancelledJobStopsTheConnecting)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--greeting-delay"), QStringLiteral("8") }));
    CFtpSession session(m_trace);
    std::atomic<bool> bCancel { false };
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        bCancel = true;
    });
    const auto start = Clock::now();
    EXPECT_FALSE(session.OpenFtpSite(Site(), &bCancel));
    canceller.join();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(4));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("Connecting to 127.0.0.1 cancelled.")));
    EXPECT_FALSE(Traced(TRACE_PLAIN, QStringLiteral("Connecting to: 127.0.0.1 (Attempt 2 of 3)")));
}

TEST_F(FtpSession, RawCommandsReturnRepliesOrData)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    EXPECT_THAT(
        session.FTPSendFtpCommand(QStringLiteral("PWD"), false).toStdString(), testing::StartsWith("257 \"/pub\""));
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
    const QString strListing = session.FTPSend2FtpCommands(QStringLiteral("/pub/"), QStringLiteral("LIST"));
    EXPECT_THAT(strListing.toStdString(), testing::HasSubstr(" file.txt"));
    EXPECT_THAT(strListing.toStdString(), testing::HasSubstr(" 16 "));
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("CWD /pub")));
    EXPECT_THAT(session.FTPSend2FtpCommands(QStringLiteral("/pub/file.txt"), QStringLiteral("MDTM")).toStdString(),
        testing::StartsWith("213 "));
    EXPECT_THAT(
        session.FTPSend2FtpCommands({ QStringLiteral("TYPE I"), QStringLiteral("SIZE /pub/file.txt") }).toStdString(),
        testing::StartsWith("213 16"));
    const QStringList log = ReadFileLines(m_strLog);
    EXPECT_THAT(log, testing::Contains(QHasSubstr("FTPSendFtpCommand::[")));
    EXPECT_THAT(log, testing::Contains(QHasSubstr("] command #1/2=CWD /pub")));
    EXPECT_THAT(log, testing::Contains(QHasSubstr("] command #2/2=MDTM file.txt")));
    EXPECT_THAT(log, testing::Contains(QHasSubstr("] executed: MDTM file.txt")));
    EXPECT_THAT(log, testing::Contains(QHasSubstr("] command #2=SIZE /pub/file.txt")));
}

TEST_F(FtpSession, RefusedCommandsCarryTheServersOwnWords)
{
    ASSERT_TRUE(StartServer({ QStringLiteral("--refuse"), QStringLiteral("MKD:550 Not here, friend.") }));
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    const QString strRefused = session.FTPSendFtpCommand(QStringLiteral("MKD new"), false);
    EXPECT_EQ(strRefused, QStringLiteral("ERROR: MKD new Error: 550 Not here, friend.\n"));
    EXPECT_TRUE(Traced(TRACE_ERROR, QStringLiteral("ERROR: MKD new Error: 550 Not here, friend.")));
    const QString strNoFolder
        = session.FTPSend2FtpCommands(QStringLiteral("/missing/file.txt"), QStringLiteral("DELE"));
    EXPECT_THAT(strNoFolder.toStdString(), testing::StartsWith("ERROR: CWD /missing Error: 550 "));
    const QString strNoList = session.FTPSend2FtpCommands(QStringLiteral("/missing/"), QStringLiteral("LIST"));
    EXPECT_THAT(strNoList.toStdString(), testing::StartsWith("ERROR: CWD /missing Error: 550 "));
    // A folder that cannot be entered stops its request, and libcurl gives up that connection: the session
    // opens another and goes on.
    ASSERT_TRUE(session.EnsureFtpConnected());
    EXPECT_THAT(session.FTPSendFtpCommand(QStringLiteral("PWD"), false).toStdString(), testing::StartsWith("257"));
}

TEST_F(FtpSession, ActiveModeTransfersData)
{
    ASSERT_TRUE(StartServer());
    CFtpSession session(m_trace);
    FtpSite site = Site();
    site.bPassive = false;
    ASSERT_TRUE(session.OpenFtpSite(site));
    EXPECT_EQ(session.FTPSendFtpCommand(QStringLiteral("NLST"), true).trimmed(), QStringLiteral("file.txt"));
    EXPECT_THAT(TraceTexts(), testing::Contains(QHasSubstr("> EPRT ")));
}

TEST_F(FtpSession, WorkersWaitForAFreeConnection)
{
    ASSERT_TRUE(StartServer());
    CSettingsStore store;
    store.WriteInt("Settings", "MaxFtpConnections", 2);
    ASSERT_TRUE(store.Sync());
    CFtpSession session(m_trace);
    ASSERT_TRUE(session.OpenFtpSite(Site()));
    store.WriteInt("Settings", "MaxFtpConnections", 4);
    ASSERT_TRUE(store.Sync());

    std::unique_ptr<CCurlConnection> pFirst = session.AcquireConnection(nullptr);
    ASSERT_TRUE(pFirst);
    EXPECT_TRUE(pFirst->IsLoggedOn());

    std::atomic<bool> bCancel { false };
    std::atomic<bool> bWaiting { false };
    std::unique_ptr<CCurlConnection> pSecond;
    std::thread worker([&] { pSecond = session.AcquireConnection(&bCancel, [&] { bWaiting = true; }); });
    while (!bWaiting) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_FALSE(pSecond);
    session.ReleaseConnection(std::move(pFirst));
    worker.join();
    ASSERT_TRUE(pSecond) << "a returned connection goes to the waiting worker";

    bWaiting = false;
    std::unique_ptr<CCurlConnection> pThird;
    std::thread cancelled([&] { pThird = session.AcquireConnection(&bCancel, [&] { bWaiting = true; }); });
    while (!bWaiting) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    bCancel = true;
    cancelled.join();
    EXPECT_FALSE(pThird) << "a job cancelled while waiting gets no connection";
    session.ReleaseConnection(std::move(pSecond));
}

} // namespace
