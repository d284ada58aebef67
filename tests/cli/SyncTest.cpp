#include <QDir>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

class Sync : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.Start()) << m_server.Error().toStdString();
        m_strLocal = MakeTestFolder(QStringLiteral("sync-local"));
        QDir().mkpath(m_server.Root() + QStringLiteral("/site/old"));
        QDir().mkpath(m_strLocal + QStringLiteral("/css"));
        WriteFileBytes(m_strLocal + QStringLiteral("/same.txt"), "same");
        WriteFileBytes(m_server.Root() + QStringLiteral("/site/same.txt"), "same");
        WriteFileBytes(m_strLocal + QStringLiteral("/changed.txt"), "local version");
        WriteFileBytes(m_server.Root() + QStringLiteral("/site/changed.txt"), "remote version");
        WriteFileBytes(m_strLocal + QStringLiteral("/css/new.css"), "body {}");
        WriteFileBytes(m_server.Root() + QStringLiteral("/site/old/gone.html"), "old");
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("sync-cache")));
    }

    CliRun Run(const QString& strCommand, const QStringList& options) const
    {
        const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                                   .arg(QString::fromLatin1(CFtpTestServer::kUser))
                                   .arg(m_server.Port());
        return RunCli(QStringList { strCommand } + options + QStringList { m_strLocal, strUrl }, m_environment);
    }

    CFtpTestServer m_server;
    QString m_strLocal;
    QProcessEnvironment m_environment;
};

TEST_F(Sync, ADryRunChangesNothing)
{
    const CliRun run = Run(QStringLiteral("sync"),
        { QStringLiteral("--upload"), QStringLiteral("--dry-run"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 1);
    EXPECT_THAT(run.strOut.toStdString(), testing::HasSubstr("UPLOAD       changed.txt (different)"));
    EXPECT_THAT(run.strOut.toStdString(), testing::HasSubstr("DELETE       old (only on the target)"));
    EXPECT_EQ(ReadFileBytes(m_server.Root() + QStringLiteral("/site/changed.txt")), QByteArray("remote version"));
    EXPECT_TRUE(QFile::exists(m_server.Root() + QStringLiteral("/site/old/gone.html")));
    EXPECT_FALSE(QFile::exists(m_server.Root() + QStringLiteral("/site/css")));
}

TEST_F(Sync, UploadThenCompareShowsEverythingSameAndDeletesOnlyWhenAsked)
{
    const CliRun upload = Run(QStringLiteral("sync"), { QStringLiteral("--upload") });
    EXPECT_EQ(upload.nExit, 0) << upload.strErr.toStdString();
    EXPECT_TRUE(QFile::exists(m_server.Root() + QStringLiteral("/site/old/gone.html")))
        << "--delete is never the default";
    EXPECT_EQ(ReadFileBytes(m_server.Root() + QStringLiteral("/site/changed.txt")), QByteArray("local version"));

    const CliRun mirror = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(mirror.nExit, 0) << mirror.strErr.toStdString();
    EXPECT_FALSE(QFile::exists(m_server.Root() + QStringLiteral("/site/old")));

    const CliRun compare = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(compare.nExit, 0) << compare.strOut.toStdString();
    EXPECT_THAT(compare.strOut.toStdString(),
        testing::HasSubstr("3 same, 0 different, 0 only on the left, 0 only on the right"));
}

TEST_F(Sync, DownloadBringsTheLocalFolderInStep)
{
    const CliRun run
        = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--jobs"), QStringLiteral("2") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString();
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/changed.txt")), QByteArray("remote version"));
    EXPECT_EQ(ReadFileBytes(m_strLocal + QStringLiteral("/old/gone.html")), QByteArray("old"));
    EXPECT_TRUE(QFile::exists(m_strLocal + QStringLiteral("/css/new.css")))
        << "nothing local is deleted without --delete";
    EXPECT_EQ(Run(QStringLiteral("sync"), { QStringLiteral("--bogus"), QStringLiteral("--upload") }).nExit, 2);
    EXPECT_EQ(Run(QStringLiteral("sync"), {}).nExit, 2) << "a direction is required";
}

TEST_F(Sync, AnEmptyListingNeverTurnsIntoLocalDeletions)
{
    // An empty reply to LIST looks the same whether the folder is empty or the listing failed.
    const QString strEmpty = m_server.Root() + QStringLiteral("/site/css");
    QDir().mkpath(strEmpty);
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_THAT(run.strOut.toStdString(), testing::HasSubstr("KEEP         css/new.css"));
    EXPECT_TRUE(QFile::exists(m_strLocal + QStringLiteral("/css/new.css")));
    EXPECT_EQ(run.nExit, 1) << "the two sides are not in step";
}

} // namespace
