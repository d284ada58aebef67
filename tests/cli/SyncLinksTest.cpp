#include <QDir>
#include <QFile>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include "cli/SyncFixture.h"
#include "support/NameBytes.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// Every file below the server's folder, relative to it: what a sync must leave standing.
QStringList FilesBelow(const QString& strFolder)
{
    QStringList files;
    QDirIterator it(strFolder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.append(QDir(strFolder).relativeFilePath(it.next()));
    }
    files.sort();
    return files;
}

// Links on the server once led a deletion into what they point to: "alias -> data" deleted data's files and
// "zz -> ." emptied the whole server while the summary said "0 deleted".
TEST_F(SyncSafety, AnUploadWithDeleteRemovesServerLinksAsLinksAndNothingThroughThem)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/data/a.txt")), "a");
    WriteFileBytes(Remote(QStringLiteral("/data/b.txt")), "b");
    WriteFileBytes(Local(QStringLiteral("/data/a.txt")), "a");
    WriteFileBytes(Local(QStringLiteral("/data/b.txt")), "b");
    ASSERT_TRUE(QFile::link(QStringLiteral("data"), Remote(QStringLiteral("/alias"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("."), Remote(QStringLiteral("/zz"))));

    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_EQ(
        FilesBelow(Remote(QString())), (QStringList { QStringLiteral("data/a.txt"), QStringLiteral("data/b.txt") }));
    EXPECT_FALSE(QFileInfo(Remote(QStringLiteral("/alias"))).isSymLink()) << "the links themselves are gone";
    EXPECT_FALSE(QFileInfo(Remote(QStringLiteral("/zz"))).isSymLink());
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("2 deleted"));
}

TEST_F(SyncSafety, ATreeHoldingALinkToItselfSurvivesAnUploadWithDeleteWhole)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/keep/deep/file.txt")), "server");
    WriteFileBytes(Local(QStringLiteral("/keep/deep/file.txt")), "server");
    ASSERT_TRUE(QFile::link(QStringLiteral("."), Remote(QStringLiteral("/x"))));
    // Where the local side has the link's name as a folder, nothing is copied through the server's link.
    WriteFileBytes(Local(QStringLiteral("/x/new.txt")), "new");

    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(FilesBelow(Remote(QString())), QStringList { QStringLiteral("keep/deep/file.txt") });
    EXPECT_TRUE(QFileInfo(Remote(QStringLiteral("/x"))).isSymLink());
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("SKIP         x (it is a link on the target side"));
    EXPECT_EQ(run.nExit, 1) << "what was not done is said";
}

TEST_F(SyncSafety, ADownloadStopsAtServerLinksThatLeadBackUpOrOut)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/sub/in.txt")), "in");
    ASSERT_TRUE(QFile::link(QStringLiteral(".."), Remote(QStringLiteral("/sub/up"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("/"), Remote(QStringLiteral("/root"))));
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download") });
    EXPECT_EQ(FilesBelow(m_strLocal), QStringList { QStringLiteral("sub/in.txt") }) << run.strOut.toStdString();
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("SKIP         sub/up (it is a link"));
}

TEST_F(SyncSafety, ADownloadNeverWritesThroughALocalLink)
{
    Start();
    const QString strElsewhere = MakeTestFolder(QStringLiteral("safety-elsewhere"));
    WriteFileBytes(strElsewhere + QStringLiteral("/sub/inner.txt"), "outside");
    ASSERT_TRUE(QFile::link(strElsewhere + QStringLiteral("/sub"), Local(QStringLiteral("/sub"))));
    WriteFileBytes(Remote(QStringLiteral("/sub/inner.txt")), "server");
    WriteFileBytes(Remote(QStringLiteral("/sub/new.txt")), "server");

    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(ReadFileBytes(strElsewhere + QStringLiteral("/sub/inner.txt")), QByteArray("outside"));
    EXPECT_FALSE(QFile::exists(strElsewhere + QStringLiteral("/sub/new.txt")));
    EXPECT_TRUE(QFileInfo(Local(QStringLiteral("/sub"))).isSymLink());
    EXPECT_EQ(run.nExit, 1);
}

TEST_F(SyncSafety, DotFilesAServerHidesAreAskedForAndNeverDeletedBlindly)
{
    Start({ QStringLiteral("--hide-dot-files") });
    WriteFileBytes(Remote(QStringLiteral("/.htaccess")), "server rules");
    WriteFileBytes(Remote(QStringLiteral("/index.html")), "page");
    WriteFileBytes(Local(QStringLiteral("/.htaccess")), "server rules");
    const CliRun run = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(run.nExit, 1) << "index.html is only on the server";
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("Same"));
    EXPECT_THAT(run.strOut.toStdString(), Not(HasSubstr("Left     .htaccess")));

    const CliRun sync = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(sync.nExit, 0) << sync.strErr.toStdString();
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/.htaccess"))), QByteArray("server rules"));
}

TEST_F(SyncSafety, DotFilesAreKeptWhereTheServerWillNotListThem)
{
    // A server that hides dot names and does not take "LIST -a": its listing says nothing of them.
    Start({ QStringLiteral("--hide-dot-files"), QStringLiteral("--refuse"), QStringLiteral("LIST -a:501 No options") });
    WriteFileBytes(Remote(QStringLiteral("/.htaccess")), "server rules");
    WriteFileBytes(Remote(QStringLiteral("/index.html")), "page");
    WriteFileBytes(Local(QStringLiteral("/.htaccess")), "local rules");
    WriteFileBytes(Local(QStringLiteral("/index.html")), "page");
    const CliRun down = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/.htaccess"))), QByteArray("local rules"));
    EXPECT_THAT(down.strOut.toStdString(), HasSubstr("KEEP         .htaccess"));
    EXPECT_THAT(down.strErr.toStdString(), HasSubstr("does not take \"LIST -a\""));
    const CliRun up = Run(QStringLiteral("sync"), { QStringLiteral("--upload") });
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/.htaccess"))), QByteArray("server rules"))
        << "never sent over the server's without a comparison";
    EXPECT_THAT(up.strOut.toStdString(), HasSubstr("SKIP         .htaccess"));

    // Asked by name, the server says when it has no such file: that one is sent.
    WriteFileBytes(Local(QStringLiteral("/.user.ini")), "local only");
    const CliRun again = Run(QStringLiteral("sync"), { QStringLiteral("--upload") });
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/.user.ini"))), QByteArray("local only"));
    EXPECT_THAT(again.strOut.toStdString(), HasSubstr("UPLOAD       .user.ini (missing: the server has no file"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/.htaccess"))), QByteArray("server rules"));
}

TEST_F(SyncSafety, AnotherRunsUploadInFlightIsLeftAlone)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/.quorvel-upload-0123abcd-page.html")), "half an upload");
    WriteFileBytes(Remote(QStringLiteral("/page.html")), "page");
    WriteFileBytes(Local(QStringLiteral("/page.html")), "page");
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_TRUE(QFile::exists(Remote(QStringLiteral("/.quorvel-upload-0123abcd-page.html"))));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr(".quorvel-upload-0123abcd-page.html\" is left out"));
    EXPECT_THAT(run.strOut.toStdString(), Not(HasSubstr("DELETE")));
}

TEST_F(SyncSafety, AServerTreeWithoutEndStopsAtTheBoundsOfOneComparison)
{
    Start();
    for (int i = 0; i < 6; ++i) {
        QDir().mkpath(Remote(QStringLiteral("/wide%1/deeper").arg(i)));
    }
    QDir().mkpath(TestRoot() + QStringLiteral("/cli-profile"));
    WriteFileBytes(TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini"), "[Settings]\nMaxListedFolders=4\n");
    const CliRun run = Run(QStringLiteral("compare"), {});
    QFile::remove(TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini"));
    EXPECT_EQ(run.nExit, 2);
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("the bounds of one comparison"));
}

// Names that are not UTF-8 once became U+FFFD and could be neither copied nor deleted on either side.
TEST_F(SyncSafety, NamesThatAreNotUtf8TravelAsTheBytesTheyAre)
{
    Start();
    const auto path = [](const QString& strFolder, const char* pName) -> QByteArray {
        return NameToBytes(strFolder) + '/' + QByteArray(pName);
    };
    const auto write = [](const QByteArray& file, const QByteArray& contents) {
        QFile out;
        ASSERT_TRUE(OpenLocalFile(out, NameFromBytes(file), O_WRONLY | O_CREAT | O_TRUNC, QIODevice::WriteOnly));
        out.write(contents);
    };
    const auto exists = [](const QByteArray& file) { return ::access(file.constData(), F_OK) == 0; };
    write(path(Remote(QString()), "caf\xe9.txt"), "from the server");
    write(path(m_strLocal, "new\xfe\xfe.txt"), "from here");

    CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_TRUE(exists(path(m_strLocal, "caf\xe9.txt")));
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("caf\\xe9.txt")) << "shown escaped";

    write(path(Remote(QString()), "gone\xff.txt"), "only on the server");

    run = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_TRUE(exists(path(Remote(QString()), "new\xfe\xfe.txt")));
    EXPECT_FALSE(exists(path(Remote(QString()), "gone\xff.txt"))) << "deleted by its own bytes";
    EXPECT_TRUE(exists(path(Remote(QString()), "caf\xe9.txt")));
}

// The layout of the FTP server built into Windows once read as an empty server that was "the same".
TEST_F(SyncSafety, AServerListingInTheMsDosLayoutComparesAndSyncs)
{
    Start({ QStringLiteral("--msdos-listing") });
    WriteFileBytes(Remote(QStringLiteral("/ok.txt")), "nineteen bytes long");
    WriteFileBytes(Remote(QStringLiteral("/sub folder/a name.txt")), QByteArray(20000, 'a'));
    WriteFileBytes(Local(QStringLiteral("/ok.txt")), "nineteen bytes long");
    CliRun run = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(run.nExit, 1) << run.strErr.toStdString();
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("1 same, 0 different, 0 only on the left, 1 only on the right"));
    run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/sub folder/a name.txt"))), QByteArray(20000, 'a'));
    run = Run(QStringLiteral("compare"), { QStringLiteral("--cache-kb"), QStringLiteral("100") });
    EXPECT_EQ(run.nExit, 0) << run.strOut.toStdString();
}

TEST_F(SyncSafety, NothingIsDeletedAfterACopyFailed)
{
    Start({ QStringLiteral("--refuse"), QStringLiteral("RETR /site/new.txt:550 Not now") });
    WriteFileBytes(Remote(QStringLiteral("/new.txt")), "new on the server");
    WriteFileBytes(Local(QStringLiteral("/only-here.txt")), "mine");
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/only-here.txt"))), QByteArray("mine"));
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("KEEP         only-here.txt (a copy failed"));
}

TEST_F(SyncSafety, FolderListingsThatFailAreNeverCalledTheSame)
{
    // MLSD refused as well, the session turns to LIST, which fails too.
    Start({ QStringLiteral("--refuse"), QStringLiteral("LIST:450 Cannot list now"), QStringLiteral("--refuse"),
        QStringLiteral("MLSD:450 Cannot list now") });
    CliRun run = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(run.nExit, 2) << run.strOut.toStdString();
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("could not be listed"));
    run = Run(QStringLiteral("sync"), { QStringLiteral("--download") });
    EXPECT_EQ(run.nExit, 2);
    EXPECT_THAT(run.strOut.toStdString(), Not(HasSubstr("in step")));

    // A listing of nothing but lines that cannot be read, against an empty local folder, is no "same".
    m_server.Stop();
    Start({}, "2020-01-05  10:31  1234 index.html\r\n");
    run = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(run.nExit, 2) << run.strOut.toStdString();
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("was not read in full"));

    m_server.Stop();
    Start({ QStringLiteral("--refuse"), QStringLiteral("CWD locked:550 Permission denied") });
    QDir().mkpath(Remote(QStringLiteral("/locked")));
    WriteFileBytes(Remote(QStringLiteral("/locked/x.txt")), "x");
    QDir().mkpath(Local(QStringLiteral("/locked")));
    WriteFileBytes(Local(QStringLiteral("/locked/x.txt")), "x");
    run = Run(QStringLiteral("compare"), {});
    EXPECT_EQ(run.nExit, 1) << run.strErr.toStdString();
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("\"/site/locked\" was not read in full (its listing failed)"));
    run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 1);
    EXPECT_TRUE(QFile::exists(Local(QStringLiteral("/locked/x.txt"))));
    EXPECT_THAT(run.strOut.toStdString(), Not(HasSubstr("in step")));
}

} // namespace
