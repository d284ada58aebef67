#include <QDir>
#include <QFile>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include "app/SyncPlan.h"
#include "common/TestFiles.h"
#include "support/FolderRemoval.h"
#include "tree/FileContents.h"
#include "tree/FileTexts.h"
#include "tree/FolderComparison.h"

namespace {

using testing::ElementsAre;

void Write(const QString& strPath, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(strPath).path());
    WriteFileBytes(strPath, bytes);
}

// The plan made from a real scan of a local folder and a mirror folder: what gets copied, deleted or kept.
class SyncPlan : public testing::Test
{
protected:
    void SetUp() override
    {
        const QString strCase = QString::fromUtf8(testing::UnitTest::GetInstance()->current_test_info()->name());
        m_strLocal = MakeTestFolder(strCase + QStringLiteral("/local"));
        m_strMirror = MakeTestFolder(strCase + QStringLiteral("/mirror"));
    }

    QString Local(const QString& strRelative) const { return m_strLocal + QLatin1Char('/') + strRelative; }
    QString Mirror(const QString& strRelative) const { return m_strMirror + QLatin1Char('/') + strRelative; }

    // "ACTION relative" for every step.
    QStringList Plan(bool bUpload)
    {
        m_pComparison = std::make_unique<CFolderComparison>(m_strLocal, m_strMirror);
        EXPECT_TRUE(m_pComparison->Run(1).bOk);
        QStringList steps;
        for (const SyncStep& step : MakeSyncPlan(m_pComparison->Tree().Root(), bUpload, true)) {
            static const char* const kWords[] = { "COPY", "DELETE", "KEEP", "SKIP" };
            steps.append(
                QString::fromLatin1(kWords[static_cast<int>(step.action)]) + QLatin1Char(' ') + step.strRelative);
        }
        return steps;
    }

    QString m_strLocal;
    QString m_strMirror;
    std::unique_ptr<CFolderComparison> m_pComparison;
};

TEST_F(SyncPlan, FoldersWhoseListingWasNotWholeKeepWhatTheLocalSideHas)
{
    Write(Local(QStringLiteral("empty/a.txt")), "a");
    Write(Mirror(QStringLiteral("empty/") + QString::fromLatin1(kEmptyListingMarker)), {});
    Write(Local(QStringLiteral("partial/b.txt")), "b");
    Write(Mirror(QStringLiteral("partial/c.txt")), "c");
    Write(Mirror(QStringLiteral("partial/") + QString::fromLatin1(kPartialListingMarker)), {});
    Write(Local(QStringLiteral("unlisted/d.txt")), "d");
    Write(Mirror(QStringLiteral("unlisted/$quorveldummy01")), {});
    Write(Local(QStringLiteral("whole/e.txt")), "e");
    Write(Mirror(QStringLiteral("whole/f.txt")), "f");

    EXPECT_THAT(Plan(false),
        ElementsAre(QStringLiteral("KEEP empty/a.txt"), QStringLiteral("KEEP partial/b.txt"),
            QStringLiteral("COPY partial/c.txt"), QStringLiteral("KEEP unlisted/d.txt"),
            QStringLiteral("DELETE whole/e.txt"), QStringLiteral("COPY whole/f.txt")));
    EXPECT_THAT(Plan(true), testing::Contains(QStringLiteral("DELETE partial/c.txt")))
        << "the local side was read in full: the server's extra file may go";
}

TEST_F(SyncPlan, TheRootListedAsEmptyKeepsEverything)
{
    Write(Local(QStringLiteral("a.txt")), "a");
    Write(Local(QStringLiteral("sub/b.txt")), "b");
    Write(Mirror(QString::fromLatin1(kEmptyListingMarker)), {});
    EXPECT_THAT(Plan(false), testing::UnorderedElementsAre(QStringLiteral("KEEP a.txt"), QStringLiteral("KEEP sub")));
}

TEST_F(SyncPlan, LinksOutOfTheComparedFolderAreShownNotFollowed)
{
    const QString strOutside = MakeTestFolder(QStringLiteral("plan-outside"));
    Write(strOutside + QStringLiteral("/outside.txt"), "o");
    ASSERT_TRUE(QFile::link(strOutside, Local(QStringLiteral("elsewhere"))));
    Write(Mirror(QStringLiteral("elsewhere/server.txt")), "s");
    ASSERT_TRUE(QFile::link(QStringLiteral("."), Local(QStringLiteral("loop"))));

    EXPECT_THAT(Plan(true), ElementsAre(QStringLiteral("SKIP elsewhere"), QStringLiteral("SKIP loop")));
    // A download once wrote server.txt through the local link, outside the compared folder.
    EXPECT_THAT(Plan(false), ElementsAre(QStringLiteral("SKIP elsewhere"), QStringLiteral("DELETE loop")));
    const auto& notices = m_pComparison->Notices();
    ASSERT_EQ(notices.size(), 2u);
    EXPECT_FALSE(notices[0].bError) << "a link not followed is said, but is no error";
    EXPECT_FALSE(m_pComparison->HasReadErrors());

    // Deleting the links as a sync would: the links go, what they point to stays.
    EXPECT_EQ(RemoveLocalEntry(Local(QStringLiteral("loop"))), QString());
    EXPECT_EQ(RemoveLocalEntry(Local(QStringLiteral("elsewhere"))), QString());
    EXPECT_EQ(ReadFileBytes(strOutside + QStringLiteral("/outside.txt")), QByteArray("o"));
    EXPECT_FALSE(QFileInfo(Local(QStringLiteral("loop"))).isSymLink());
    EXPECT_TRUE(QDir(m_strLocal).exists());
}

TEST_F(SyncPlan, MarkersOnTheLocalSideAreOrdinaryFilesLeftOutAloud)
{
    // An empty local file beside a marker-like name is a real empty file, not a placeholder.
    Write(Local(QStringLiteral("page.html")), {});
    Write(
        Local(MakeMarkerName(QStringLiteral("page.html"), QStringLiteral("1234"), QStringLiteral("010520200000"))), {});
    Write(Mirror(QStringLiteral("page.html")), {});
    Plan(true);
    const CFileItem* pPage = m_pComparison->Tree().Root()->pFirstChild;
    ASSERT_NE(pPage, nullptr);
    EXPECT_EQ(pPage->strSize[SIDE_LEFT], QStringLiteral("0"));
    EXPECT_EQ(pPage->status, FILE_SAME);
    ASSERT_EQ(m_pComparison->Notices().size(), 1u);
    EXPECT_THAT(m_pComparison->Notices()[0].strText.toStdString(), testing::HasSubstr("is left out"));
}

TEST(FileCrc, ShortReadsAreNotTheEndOfAFile)
{
    // Files under /proc are regular but hand out their contents a page at a time, as network file systems do.
    const QString strPath = QStringLiteral("/proc/kallsyms");
    const int fd = ::open("/proc/kallsyms", O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        GTEST_SKIP() << "no /proc/kallsyms to read";
    }
    QByteArray whole;
    char buffer[65536];
    for (ssize_t nRead = 0; (nRead = ::read(fd, buffer, sizeof buffer)) > 0;) {
        whole.append(buffer, static_cast<qsizetype>(nRead));
    }
    ::close(fd);
    ASSERT_GT(whole.size(), 256 * 1024);
    std::uint32_t nCrc = 0;
    ASSERT_EQ(FileCrc(strPath, nCrc), 0);
    const QString strCopy = MakeTestFolder(QStringLiteral("crc")) + QStringLiteral("/copy");
    WriteFileBytes(strCopy, whole);
    std::uint32_t nCopyCrc = 0;
    ASSERT_EQ(FileCrc(strCopy, nCopyCrc), 0);
    EXPECT_EQ(nCrc, nCopyCrc);
}

} // namespace
