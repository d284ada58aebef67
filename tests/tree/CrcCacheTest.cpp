#include <atomic>
#include <chrono>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/TestFiles.h"
#include "tree/CrcCache.h"
#include "tree/FolderComparison.h"
#include "tree/TreeDump.h"

namespace {

FileStamp StatOf(const QString& strPath)
{
    struct stat info
    { };
    EXPECT_EQ(::stat(QFile::encodeName(strPath).constData(), &info), 0);
    return StampOf(info);
}

class CrcCache : public testing::Test
{
protected:
    // Entries are trusted only for files last changed more than two seconds before they were made: the
    // caches' clock is moved on rather than waited for.
    void LetTheFilesSettle() { m_nClockAhead += 2'100'000'000; }

    std::unique_ptr<CCrcCache> OpenCache(const QString& strRoot)
    {
        return CCrcCache::Open(m_strCache, strRoot, Clock());
    }

    CCrcCache::Clock Clock() const
    {
        return [this] {
            return std::chrono::duration_cast<std::chrono::nanoseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count()
                + m_nClockAhead;
        };
    }

    void SetUp() override
    {
        m_strCache = MakeTestFolder(QStringLiteral("crc-cache"));
        m_strLeft = MakeTestFolder(QStringLiteral("crc-left"));
        m_strRight = MakeTestFolder(QStringLiteral("crc-right"));
        for (const char* pName : { "a.txt", "b.txt", "c.txt" }) {
            WriteFileBytes(m_strLeft + QLatin1Char('/') + QLatin1String(pName), "same contents");
            WriteFileBytes(m_strRight + QLatin1Char('/') + QLatin1String(pName), "same contents");
        }
    }

    // A comparison that counts the files it opens.
    QString Compare()
    {
        CFolderComparison comparison(m_strLeft, m_strRight, {}, [this](const QString& strPath) {
            ++m_nOpened;
            return OpenForSequentialRead(strPath);
        });
        comparison.SetCrcCacheFolder(m_strCache);
        comparison.SetCrcCacheClock(Clock());
        EXPECT_TRUE(comparison.Run(2).bOk);
        QString strStatuses;
        for (const CFileItem* pItem = comparison.Tree().Root()->pFirstChild; pItem != nullptr; pItem = pItem->pNext) {
            strStatuses += pItem->strName + QLatin1Char('=') + StatusText(*pItem) + QLatin1Char(' ');
        }
        return strStatuses.trimmed();
    }

    QString m_strCache;
    QString m_strLeft;
    QString m_strRight;
    std::atomic<int> m_nOpened { 0 };
    std::int64_t m_nClockAhead = 0;
};

TEST_F(CrcCache, AnUnchangedTreeIsComparedAgainWithoutOpeningAFile)
{
    // Files just written are read every time: the cache does not trust what it learnt of them.
    const QString strFirst = Compare();
    EXPECT_EQ(m_nOpened.exchange(0), 6);
    EXPECT_EQ(Compare(), strFirst);
    EXPECT_EQ(m_nOpened.exchange(0), 6);

    LetTheFilesSettle();
    EXPECT_EQ(Compare(), strFirst);
    EXPECT_EQ(m_nOpened.exchange(0), 6);
    EXPECT_EQ(Compare(), strFirst);
    EXPECT_EQ(m_nOpened.exchange(0), 0) << "nothing changed, nothing opened";

    // Same size, same modification time, other contents: the change time gives it away.
    const QString strChanged = m_strRight + QStringLiteral("/b.txt");
    const QDateTime modified = QFileInfo(strChanged).lastModified();
    WriteFileBytes(strChanged, "SAME contents");
    QFile file(strChanged);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.setFileTime(modified, QFileDevice::FileModificationTime);
    file.close();
    EXPECT_THAT(Compare().toStdString(), testing::HasSubstr("b.txt= Diff"));
    EXPECT_EQ(m_nOpened.exchange(0), 1) << "only the changed file is read";
}

TEST_F(CrcCache, EntriesHoldAcrossOpeningsAndGoneFilesAreDropped)
{
    const QString strFile = m_strLeft + QStringLiteral("/a.txt");
    LetTheFilesSettle();
    // A comparison that ends without saving (cancelled, failed) leaves nothing of what it learnt.
    OpenCache(m_strLeft)->RememberCrc(StatOf(strFile), 0x5555U);
    EXPECT_FALSE(OpenCache(m_strLeft)->RecallCrc(StatOf(strFile)));
    {
        std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
        ASSERT_TRUE(pCache);
        pCache->RememberCrc(StatOf(strFile), 0x1234abcdU);
        pCache->RememberVersion(StatOf(strFile), QStringLiteral("1.2.3.4"));
        ASSERT_TRUE(pCache->Save(true));
    }
    std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
    ASSERT_TRUE(pCache);
    EXPECT_EQ(pCache->RecallCrc(StatOf(strFile)), 0x1234abcdU);
    EXPECT_EQ(pCache->RecallVersion(StatOf(strFile)), QStringLiteral("1.2.3.4"));
    EXPECT_FALSE(OpenCache(m_strRight)->RecallCrc(StatOf(strFile))) << "one database per root";

    // A whole comparison that did not see the file drops it.
    pCache = OpenCache(m_strLeft);
    ASSERT_TRUE(pCache->Save(true));
    pCache = OpenCache(m_strLeft);
    EXPECT_FALSE(pCache->RecallCrc(StatOf(strFile)));
}

// A mirror copy dated "Dec 31 9999" by its listing once overflowed the time key, which the release build wrapped
// into another file's key: such a file is simply never known.
TEST_F(CrcCache, ATimeBeyondWhatTheKeyCanHoldIsNeverTakenAsKnown)
{
    const QString strFile = m_strLeft + QStringLiteral("/far-future.txt");
    WriteFileBytes(strFile, "from the year 9999");
    const struct timespec times[2] = { { 253402214400, 0 }, { 253402214400, 0 } };
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(strFile).constData(), times, 0), 0);
    LetTheFilesSettle();
    {
        std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
        ASSERT_TRUE(pCache);
        pCache->RememberCrc(StatOf(strFile), 0x1234U);
        ASSERT_TRUE(pCache->Save(true));
    }
    EXPECT_FALSE(OpenCache(m_strLeft)->RecallCrc(StatOf(strFile)));
}

TEST_F(CrcCache, AFileMetTwiceKeepsAllItLearntAndAChecksumReadTooSoonIsNeverVouchedFor)
{
    const QString strFile = m_strLeft + QStringLiteral("/a.txt");
    const QString strLink = m_strLeft + QStringLiteral("/a-link.txt");
    ASSERT_EQ(::link(QFile::encodeName(strFile).constData(), QFile::encodeName(strLink).constData()), 0);
    LetTheFilesSettle();
    {
        // Reached by two names in one run: one gave the checksum, the other the version.
        std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
        pCache->RememberCrc(StatOf(strFile), 0xfeedU);
        pCache->RememberVersion(StatOf(strLink), QStringLiteral("1.0"));
        ASSERT_TRUE(pCache->Save(true));
    }
    std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
    EXPECT_EQ(pCache->RecallCrc(StatOf(strLink)), 0xfeedU);
    EXPECT_EQ(pCache->RecallVersion(StatOf(strFile)), QStringLiteral("1.0"));

    // Read while it may still have been changing, then only its version is read again later: the new entry
    // must not lend its later time to the checksum read too soon.
    const QString strNew = m_strLeft + QStringLiteral("/new.txt");
    WriteFileBytes(strNew, "new contents");
    m_nClockAhead = 0; // the caches' clock stands where the file was just written
    pCache = OpenCache(m_strLeft);
    pCache->RememberCrc(StatOf(strNew), 0xbadU);
    ASSERT_TRUE(pCache->Save(false));
    LetTheFilesSettle();
    pCache = OpenCache(m_strLeft);
    EXPECT_FALSE(pCache->RecallCrc(StatOf(strNew)));
    pCache->RememberVersion(StatOf(strNew), QStringLiteral("2.0"));
    ASSERT_TRUE(pCache->Save(false));
    pCache = OpenCache(m_strLeft);
    EXPECT_EQ(pCache->RecallVersion(StatOf(strNew)), QStringLiteral("2.0"));
    EXPECT_FALSE(pCache->RecallCrc(StatOf(strNew)));
}

TEST_F(CrcCache, ADamagedOrForeignDatabaseIsRebuiltAndNeverTrusted)
{
    const QString strDatabase = CCrcCache::DatabasePath(m_strCache, m_strLeft);
    WriteFileBytes(strDatabase, QByteArray(8192, 'x'));
    std::unique_ptr<CCrcCache> pCache = OpenCache(m_strLeft);
    ASSERT_TRUE(pCache) << "garbage is replaced by a new cache";
    EXPECT_FALSE(pCache->RecallCrc(StatOf(m_strLeft + QStringLiteral("/a.txt"))));
    pCache.reset();

    // A cache database of another root found under this root's name is not read either.
    QFile::remove(strDatabase);
    LetTheFilesSettle();
    const QString strOther = CCrcCache::DatabasePath(m_strCache, m_strRight);
    {
        std::unique_ptr<CCrcCache> pOther = OpenCache(m_strRight);
        pOther->RememberCrc(StatOf(m_strLeft + QStringLiteral("/a.txt")), 7);
        ASSERT_TRUE(pOther->Save(false));
    }
    ASSERT_TRUE(QFile::copy(strOther, strDatabase));
    pCache = OpenCache(m_strLeft);
    ASSERT_TRUE(pCache);
    EXPECT_FALSE(pCache->RecallCrc(StatOf(m_strLeft + QStringLiteral("/a.txt"))));
}

} // namespace
