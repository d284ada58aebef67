#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSet>
#include <QSysInfo>

#include "support/LogFixture.h"
#include "support/SettingsStore.h"
#include "support/Version.h"

using testing::ElementsAre;

namespace {

using DiagnosticLog = LogFixture;

TEST_F(DiagnosticLog, NothingIsWrittenWhenOffOrWithoutAFile)
{
    const QString strPath = NewLog();
    SetLogEnabled(false);
    Log("hidden %d", 1);
    LogPlain("hidden");
    LogError(5, "hidden");
    EXPECT_FALSE(QFile::exists(strPath)) << "the first written line creates the file, and none was written";

    SetLogEnabled(true);
    LogFull("per-item line without FullLog");
    EXPECT_FALSE(QFile::exists(strPath));
    SetFullLog(true);
    LogFull("per-item line");
    EXPECT_THAT(ReadFileLines(strPath), ElementsAre(QStringLiteral("per-item line")));
}

TEST_F(DiagnosticLog, EmptyMessagesWithAndWithoutTimestamps)
{
    const QString strPath = NewLog(true);
    Log("");
    Log("Scan::[%ld] done", 7L);
    SetLogTimestampLines(false);
    Log("");
    Log("plain");
    EXPECT_EQ(ReadFileBytes(strPath), QByteArray("[03/15/26 14:29:07]\n[03/15/26 14:29:07] Scan::[7] done\n\nplain\n"));
}

TEST_F(DiagnosticLog, StampedLinesAlwaysCarryTheTimeAndPlainLinesNever)
{
    const QString strPath = NewLog(false);
    LogStamped("stamped");
    Log("after");
    SetLogTimestampLines(true);
    LogPlain("banner");
    EXPECT_THAT(ReadFileLines(strPath),
        ElementsAre(QStringLiteral("[03/15/26 14:29:07] stamped"), QStringLiteral("after"), QStringLiteral("banner")));
    EXPECT_TRUE(LogTimestampLines()) << "a stamped line must not change the setting";
}

TEST_F(DiagnosticLog, ErrorLinesCarryTheSystemMessage)
{
    const QString strPath = NewLog();
    LogError(0, "Open %s", QStringLiteral("a.txt"));
    LogError(EIO, "Read %s", QStringLiteral("b.txt"));
    LogError(-3, "odd code");
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0], QStringLiteral("Open a.txt: OK"));
    EXPECT_EQ(lines[1], QStringLiteral("Read b.txt\tErrorCode: [5]=") + QString::fromLocal8Bit(std::strerror(EIO)));
    EXPECT_TRUE(lines[2].startsWith(QStringLiteral("odd code\tErrorCode: [-3]="))) << lines[2].toStdString();
}

TEST_F(DiagnosticLog, LongLinesAreCutAt1024CharactersKeepingTheLineFeed)
{
    const QString strPath = NewLog(false);
    Log("%s", QString(1023, QLatin1Char('a')));
    Log("%s", QString(1024, QLatin1Char('b')));
    Log("%s", QString(5000, QChar(0x00E9)));
    SetLogTimestampLines(true);
    Log("%s", QString(2000, QLatin1Char('c')));
    Log("next");
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_EQ(lines.size(), 5);
    EXPECT_EQ(lines[0], QString(1023, QLatin1Char('a')));
    EXPECT_EQ(lines[1], QString(1023, QLatin1Char('b')));
    EXPECT_EQ(lines[2], QString(1023, QChar(0x00E9))) << "the cut counts characters, not encoded bytes";
    EXPECT_EQ(lines[3].size(), 1023);
    EXPECT_TRUE(lines[3].startsWith(QStringLiteral("[03/15/26 14:29:07] ccc")));
    EXPECT_EQ(lines[4], QStringLiteral("[03/15/26 14:29:07] next"));
}

TEST_F(DiagnosticLog, CutNeverSplitsASurrogatePair)
{
    const QString strPath = NewLog(false);
    const QString smiley = QStringLiteral("\U0001F600");
    Log("%s%s", QStringLiteral("x"), smiley.repeated(600));
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0], QStringLiteral("x") + smiley.repeated(511));
}

TEST_F(DiagnosticLog, NarrowTextIsWrittenAsItIs)
{
    const QString strPath = NewLog(true);
    LogNarrow(QByteArray("raw \xff bytes"));
    LogNarrow(QByteArray());
    EXPECT_EQ(ReadFileBytes(strPath), QByteArray("[03/15/26 14:29:07] raw \xff bytes\n[03/15/26 14:29:07]\n"));
}

TEST_F(DiagnosticLog, SizeCapStartsTheFileAgain)
{
    const QString strPath = NewLog(false);
    SetLogSizeCap(20);
    Log("0123456789");
    Log("0123456789");
    Log("fresh");
    EXPECT_EQ(ReadFileBytes(strPath), QByteArray("fresh\n"));
}

TEST_F(DiagnosticLog, ConcurrentWritersNeverMixWithinALine)
{
    const QString strPath = NewLog(true);
    constexpr int kThreads = 4;
    constexpr int kLinesPerThread = 3000;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t] {
            const QString payload(300, QLatin1Char(static_cast<char>('A' + t)));
            for (int i = 0; i < kLinesPerThread; ++i) {
                Log("Writer::[%d] %d %s", t, i, payload);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_EQ(lines.size(), kThreads * kLinesPerThread);
    const QRegularExpression shape(QStringLiteral("^\\[03/15/26 14:29:07\\] Writer::\\[(\\d)\\] (\\d+) ([A-D]{300})$"));
    QSet<QString> seen;
    for (const QString& line : lines) {
        const QRegularExpressionMatch match = shape.match(line);
        ASSERT_TRUE(match.hasMatch()) << "mixed line: " << line.left(80).toStdString();
        const int nWriter = match.captured(1).toInt();
        EXPECT_EQ(match.captured(3), QString(300, QLatin1Char(static_cast<char>('A' + nWriter))));
        seen.insert(match.captured(1) + QLatin1Char(':') + match.captured(2));
    }
    EXPECT_EQ(seen.size(), kThreads * kLinesPerThread) << "every line arrives exactly once";
}

TEST_F(DiagnosticLog, RedirectionForcesLoggingAndRestoresTheFirstRememberedSwitch)
{
    const QString strMain = NewLog(false);
    SetLogEnabled(false);
    RedirectLog(false, QStringLiteral("timer"));
    const QString strTimer = LogFilePath();
    EXPECT_EQ(strTimer, QDir(GetLogFolder()).filePath(QStringLiteral("Quorvel-0315_142907_timer.log")));
    Log("OnTimer(): Determining AutoRefresh() by # of files (=%d)", 12);
    RedirectLog(true);
    EXPECT_EQ(LogFilePath(), strMain);
    EXPECT_FALSE(IsLogEnabled());
    EXPECT_THAT(ReadFileLines(strTimer),
        ElementsAre(QStringLiteral("OnTimer(): Determining AutoRefresh() by # of files (=12)")));

    // The switch to restore is remembered once per process, on the very first redirection.
    SetLogEnabled(true);
    RedirectLog(false);
    EXPECT_EQ(LogFilePath(), QDir(GetLogFolder()).filePath(QStringLiteral("Quorvel-0315_142907_0315_142907.log")));
    RedirectLog(true);
    EXPECT_FALSE(IsLogEnabled());
    EXPECT_FALSE(QFile::exists(strMain));
}

TEST_F(DiagnosticLog, SystemInformationAndBanners)
{
    CSettingsStore profile;
    profile.WriteInt("Settings", "LogTimestamp", 1);
    ASSERT_TRUE(profile.Sync());
    OpenLogWithBanner(QStringLiteral("Quorvel"));
    profile.WriteInt("Settings", "LogTimestamp", 0);
    ASSERT_TRUE(profile.Sync());
    const QString strPath = LogFilePath();
    Log("Work::[1] step");
    CloseLogWithBanner();
    EXPECT_TRUE(LogFilePath().isEmpty());
    Log("after the end");

    const QString rule(80, QLatin1Char('='));
    const QStringList lines = ReadFileLines(strPath);
    ASSERT_GE(lines.size(), 10);
    EXPECT_EQ(lines.first(), rule);
    EXPECT_TRUE(lines.contains(QStringLiteral("\tCOMPUTERNAME:\t") + QSysInfo::machineHostName()));
    EXPECT_TRUE(lines.contains(QStringLiteral("\tOS:\t\t") + QSysInfo::prettyProductName()));
    EXPECT_TRUE(
        lines.contains(QStringLiteral("\tMODULEDIR:\t") + QCoreApplication::applicationDirPath() + QLatin1Char('/')));
    const qsizetype nVersion = lines.indexOf(QStringLiteral("\tMODULEVERSION:\t") + QStringLiteral(QUORVEL_VERSION));
    ASSERT_GE(nVersion, 0);
    EXPECT_EQ(lines[nVersion + 1], rule);
    EXPECT_THAT(lines.mid(nVersion + 2),
        ElementsAre(QStringLiteral("[03/15/26 14:29:07] BEGIN..."), QStringLiteral("[03/15/26 14:29:07]"),
            QStringLiteral("[03/15/26 14:29:07] Work::[1] step"), QStringLiteral("[03/15/26 14:29:07]"),
            QStringLiteral("[03/15/26 14:29:07] END..."), rule));
}

struct WindowsVersionCase
{
    WindowsPlatform platform;
    long nMajor;
    long nMinor;
    long nServicePack;
    const char* expected;
};

TEST(DiagnosticLogSystemInfo, WindowsVersionTableIsKeptAsCoarseAsEver)
{
    const WindowsVersionCase cases[] = {
        { WindowsPlatform::Unavailable, 0, 0, 0, "\tOS:\t\tVersion Information Unavailable" },
        { WindowsPlatform::Win32s, 3, 1, 0, "\tOS:\t\tWindows 32s" },
        { WindowsPlatform::Windows9x, 4, 10, 0, "\tOS:\t\tWindows 9x" },
        { WindowsPlatform::NT, 4, 0, 6, "\tOS:\t\tWindows NT 4.x" },
        { WindowsPlatform::NT, 5, 0, 4, "\tOS:\t\tWindows 2000 ServicePack 4" },
        { WindowsPlatform::NT, 5, 1, 3, "\tOS:\t\tWindows XP ServicePack 3" },
        { WindowsPlatform::NT, 6, 1, 1, "\tOS:\t\tWindows XP ServicePack 1" },
        { WindowsPlatform::NT, 6, 0, 2, "" },
        { WindowsPlatform::NT, 10, 0, 0, "" },
    };
    for (const WindowsVersionCase& c : cases) {
        EXPECT_EQ(DescribeWindowsVersion(c.platform, c.nMajor, c.nMinor, c.nServicePack), QString::fromUtf8(c.expected))
            << c.nMajor << "." << c.nMinor;
    }
}

} // namespace
