#include "support/LogFixture.h"
#include "support/SettingsStore.h"

using testing::ElementsAre;

namespace {

using LogFiles = LogFixture;

TEST_F(LogFiles, NewFileIsNamedAfterMonthDayAndTimeAndCreatedByItsFirstLine)
{
    const QString strPath = MakeLogFilePath(QStringLiteral("Quorvel"), QStringLiteral("log"), true);
    EXPECT_EQ(strPath, QDir(GetLogFolder()).filePath(QStringLiteral("Quorvel-0315_142907.log")));
    EXPECT_EQ(LogFilePath(), strPath);
    EXPECT_EQ(LogFileStamp(), QStringLiteral("0315_142907"));
    EXPECT_TRUE(GetLogFolder().endsWith(QStringLiteral("/vorlane_log")));
    EXPECT_TRUE(GetLogFolder().startsWith(TestRoot())) << "the folder follows TMPDIR";
    EXPECT_FALSE(QFile::exists(strPath));

    EXPECT_TRUE(MakeLogFilePath(QString(), QStringLiteral("log"), true).isEmpty());
    EXPECT_TRUE(MakeLogFilePath(QStringLiteral("Quorvel"), QString(), true).isEmpty());
    EXPECT_EQ(LogFilePath(), strPath) << "an empty name or extension changes nothing";
}

TEST_F(LogFiles, PruningKeepsTheGreatestNamesSoLastDecemberOutranksJanuary)
{
    for (const char* name : { "Quorvel-0101_000000.log", "Quorvel-0102_000000.log", "Quorvel-0103_000000.log",
             "Quorvel-0104_000000.log", "Quorvel-0105_000000.log", "Quorvel-1231_235959.log" }) {
        Touch(QString::fromUtf8(name));
    }
    PruneLogFiles(QStringLiteral("Quorvel"), QStringLiteral("log"));
    EXPECT_THAT(LogFolderEntries(),
        ElementsAre(QStringLiteral("Quorvel-0104_000000.log"), QStringLiteral("Quorvel-0105_000000.log"),
            QStringLiteral("Quorvel-1231_235959.log")));
}

TEST_F(LogFiles, PruningCountsOnlyFilesOfTheSameNameAndExtension)
{
    for (const char* name : { "Quorvel-0101_000000.log", "Quorvel-0102_000000.log", "Quorvel-0103_000000.log",
             "Quorvel-0101_000000.txt", "Other-0101_000000.log", "quorvel-0100_000000.log" }) {
        Touch(QString::fromUtf8(name));
    }
    QDir(GetLogFolder()).mkdir(QStringLiteral("Quorvel-x.log"));
    const QStringList before = LogFolderEntries();
    PruneLogFiles(QStringLiteral("Quorvel"), QStringLiteral("log"));
    EXPECT_EQ(LogFolderEntries(), before) << "exactly three files and a folder: nothing is deleted";

    Touch(QStringLiteral("Quorvel-0104_000000.log"));
    PruneLogFiles(QStringLiteral("Quorvel"), QStringLiteral("log"));
    QStringList expected = before;
    expected.removeOne(QStringLiteral("Quorvel-0101_000000.log"));
    expected.append(QStringLiteral("Quorvel-0104_000000.log"));
    expected.sort();
    EXPECT_EQ(LogFolderEntries(), expected) << "the oldest file goes; the folder and other names stay";
}

TEST_F(LogFiles, StartUpMakesANewLogAndPrunesBothKinds)
{
    for (const char* name : { "Quorvel-0101_000000.txt", "Quorvel-0102_000000.txt", "Quorvel-0103_000000.txt",
             "Quorvel-0104_000000.txt", "Quorvel-0101_000000.log", "Quorvel-0102_000000.log", "Quorvel-0103_000000.log",
             "Quorvel-0104_000000.log" }) {
        Touch(QString::fromUtf8(name));
    }
    const QString strPath = StartDiagnosticLog();
    Log("first line");
    EXPECT_THAT(LogFolderEntries(),
        ElementsAre(QStringLiteral("Quorvel-0102_000000.log"), QStringLiteral("Quorvel-0102_000000.txt"),
            QStringLiteral("Quorvel-0103_000000.log"), QStringLiteral("Quorvel-0103_000000.txt"),
            QStringLiteral("Quorvel-0104_000000.log"), QStringLiteral("Quorvel-0104_000000.txt"),
            QStringLiteral("Quorvel-0315_142907.log")))
        << "pruning runs before the new file exists, so four logs stand after its first line";
    EXPECT_TRUE(QFile::exists(strPath));
}

TEST_F(LogFiles, TimestampSettingMeansOnOnlyWhenExactlyOne)
{
    QFile::remove(CSettingsStore(QStringLiteral("QuorvelStampTest")).Location());
    CSettingsStore store(QStringLiteral("QuorvelStampTest"));
    const struct
    {
        const char* stored;
        bool bExpected;
    } cases[] = { { nullptr, false }, { "1", true }, { "2", false }, { "0", false }, { "yes", false } };
    for (const auto& c : cases) {
        if (c.stored == nullptr) {
            EXPECT_FALSE(store.Contains("Settings", "LogTimestamp"));
        } else {
            store.WriteString("Settings", "LogTimestamp", QString::fromUtf8(c.stored));
        }
        ASSERT_TRUE(store.Sync());
        SetLogTimestampLines(!c.bExpected);
        MakeLogFilePath(QStringLiteral("QuorvelStampTest"), QStringLiteral("log"), false);
        EXPECT_EQ(LogTimestampLines(), c.bExpected) << (c.stored != nullptr ? c.stored : "absent");
    }
    SetLogTimestampLines(true);
    MakeLogFilePath(QStringLiteral("QuorvelStampTest"), QStringLiteral("log"), true);
    EXPECT_TRUE(LogTimestampLines()) << "skipping the setting leaves the switch alone";
}

} // namespace
