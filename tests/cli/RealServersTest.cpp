#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcessEnvironment>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"
#include "support/FolderRemoval.h"

namespace {

using testing::HasSubstr;

// One real server and the way it lists: each lists in its own layout, with its own habits about hidden names,
// links and times, and the same round trip must hold for all of them.
struct ServerUnderTest
{
    const char* pName;
    CFtpTestServer::Kind kind;
    QStringList arguments;
    const char* pListedWith; // what "compare --json" must say read the folders
};

void PrintTo(const ServerUnderTest& server, std::ostream* os)
{
    *os << server.pName;
}

// Folders and files below strRoot, relative to it, with every file's bytes: two trees match when these do.
QMap<QString, QByteArray> TreeBelow(const QString& strRoot)
{
    QMap<QString, QByteArray> tree;
    QDirIterator it(strRoot, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString strPath = it.next();
        const QString strRelative = QDir(strRoot).relativeFilePath(strPath);
        tree.insert(strRelative, it.fileInfo().isDir() ? QByteArray("<folder>") : ReadFileBytes(strPath));
    }
    return tree;
}

class RealServers : public testing::TestWithParam<ServerUnderTest>
{
protected:
    void SetUp() override
    {
        const ServerUnderTest& server = GetParam();
        if (server.kind != CFtpTestServer::Kind::Pyftpdlib && !CFtpTestServer::IsRoot()) {
            GTEST_SKIP() << server.pName << " runs as root only";
        }
        ASSERT_TRUE(m_server.Start(server.kind, server.arguments)) << m_server.Error().toStdString();
        if (server.kind == CFtpTestServer::Kind::VsftpdLocalUser) {
            // A system user, not kept in a root of its own: its paths start at the file system's root.
            m_strUser = QStringLiteral("quorveltest");
            m_strSitePath = m_server.Root() + QStringLiteral("/site");
        }
        QDir().mkpath(Remote(QString()));
        HandToServer();
        m_strLocal = MakeTestFolder(QStringLiteral("real-local"));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("real-cache")));
    }

    // The servers that drop to a user of their own must own what the test writes into their tree, or they
    // could not replace or delete it.
    void HandToServer() const
    {
        const passwd* pOwner = nullptr;
        if (GetParam().kind == CFtpTestServer::Kind::VsftpdLocalUser) {
            pOwner = ::getpwnam("quorveltest");
        } else if (GetParam().kind != CFtpTestServer::Kind::Pyftpdlib) {
            pOwner = ::getpwuid(65534);
        }
        if (pOwner == nullptr) {
            return;
        }
        const QByteArray root = QFile::encodeName(m_server.Root());
        ASSERT_EQ(::lchown(root.constData(), pOwner->pw_uid, pOwner->pw_gid), 0);
        QDirIterator it(m_server.Root(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
            QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QByteArray path = QFile::encodeName(it.next());
            ASSERT_EQ(::lchown(path.constData(), pOwner->pw_uid, pOwner->pw_gid), 0) << path.constData();
        }
    }

    QString Remote(const QString& strRelative) const { return m_server.Root() + QStringLiteral("/site") + strRelative; }
    QString Local(const QString& strRelative) const { return m_strLocal + strRelative; }

    CliRun Run(const QString& strCommand, const QStringList& options) const
    {
        const QString strUrl
            = QStringLiteral("ftp://%1@127.0.0.1:%2%3").arg(m_strUser).arg(m_server.Port()).arg(m_strSitePath);
        // A 1 KB download limit puts the files of 1024 and 1025 bytes on either side of it.
        return RunCli(QStringList { strCommand, QStringLiteral("--cache-kb"), QStringLiteral("1") } + options
                + QStringList { m_strLocal, strUrl },
            m_environment);
    }

    void ExpectInStep(const char* pWhen) const
    {
        // The file above the download limit is not fetched: its contents stay undecided unless the server
        // offers checksums.
        const CliRun compare = Run(QStringLiteral("compare"), {});
        EXPECT_THAT(compare.strOut.toStdString(), HasSubstr("0 different, 0 only on the left, 0 only on the right"))
            << pWhen << "\n"
            << compare.strOut.toStdString() << compare.strErr.toStdString();
        const QMap<QString, QByteArray> local = TreeBelow(m_strLocal);
        const QMap<QString, QByteArray> remote = TreeBelow(Remote(QString()));
        EXPECT_EQ(local.keys(), remote.keys()) << pWhen;
        for (auto it = local.cbegin(); it != local.cend(); ++it) {
            EXPECT_EQ(it.value(), remote.value(it.key())) << pWhen << ": " << it.key().toStdString();
        }
    }

    CFtpTestServer m_server;
    QString m_strUser = QString::fromLatin1(CFtpTestServer::kUser);
    QString m_strSitePath = QStringLiteral("/site");
    QString m_strLocal;
    QProcessEnvironment m_environment;
};

TEST_P(RealServers, OddNamesMakeTheRoundTripBothWaysByteForByte)
{
    WriteFileBytes(Local(QStringLiteral("/sub folder/a name.txt")), "spaces");
    WriteFileBytes(Local(QStringLiteral("/café.html")), "<p>café</p>");
    WriteFileBytes(Local(QStringLiteral("/日本.txt")), "nihon");
    WriteFileBytes(Local(QStringLiteral("/-dash.txt")), "dash");
    WriteFileBytes(Local(QStringLiteral("/.htaccess")), "Options -Indexes");
    WriteFileBytes(Local(QStringLiteral("/limit/at.bin")), QByteArray(1024, 'a'));
    WriteFileBytes(Local(QStringLiteral("/limit/above.bin")), QByteArray(1025, 'b'));
    QDir().mkpath(Local(QStringLiteral("/empty")));

    const CliRun upload = Run(QStringLiteral("sync"), { QStringLiteral("--upload") });
    EXPECT_EQ(upload.nExit, 0) << upload.strOut.toStdString() << upload.strErr.toStdString();
    ExpectInStep("after the first upload");

    const CliRun json = Run(QStringLiteral("compare"), { QStringLiteral("--json") });
    EXPECT_THAT(json.strOut.toStdString(), HasSubstr(std::string("\"listedWith\": \"") + GetParam().pListedWith));

    // Both sides change: an upload with --delete makes the server the local folder's copy...
    WriteFileBytes(Local(QStringLiteral("/café.html")), "<p>café, changed here</p>");
    QFile::remove(Local(QStringLiteral("/-dash.txt")));
    WriteFileBytes(Local(QStringLiteral("/sub folder/new here.txt")), "new");
    WriteFileBytes(Remote(QStringLiteral("/日本.txt")), "changed on the server");
    WriteFileBytes(Remote(QStringLiteral("/only there/x.txt")), "server");
    HandToServer();
    const CliRun mirrorUp = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(mirrorUp.nExit, 0) << mirrorUp.strOut.toStdString() << mirrorUp.strErr.toStdString();
    ExpectInStep("after the upload with --delete");

    // ...and a download with --delete makes the local folder the server's.
    WriteFileBytes(Remote(QStringLiteral("/sub folder/a name.txt")), "changed on the server, longer");
    WriteFileBytes(Remote(QStringLiteral("/down/y.txt")), "y");
    QFile::remove(Remote(QStringLiteral("/.htaccess")));
    WriteFileBytes(Local(QStringLiteral("/limit/above.bin")), QByteArray(2000, 'c'));
    HandToServer();
    const CliRun mirrorDown = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(mirrorDown.nExit, 0) << mirrorDown.strOut.toStdString() << mirrorDown.strErr.toStdString();
    ExpectInStep("after the download with --delete");
    EXPECT_FALSE(QFile::exists(Local(QStringLiteral("/.htaccess"))));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/limit/above.bin"))), QByteArray(1025, 'b'));
}

// A link on the server to its own folder is a loop that a walk must not enter, whichever command listed it.
TEST_P(RealServers, ALinkToItsOwnFolderLeavesTheServerWholeOnAnUploadWithDelete)
{
    WriteFileBytes(Remote(QStringLiteral("/keep/deep/file.txt")), "server");
    WriteFileBytes(Local(QStringLiteral("/keep/deep/file.txt")), "server");
    ASSERT_TRUE(QFile::link(QStringLiteral("."), Remote(QStringLiteral("/x"))));
    HandToServer();

    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--upload"), QStringLiteral("--delete") });
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/keep/deep/file.txt"))), QByteArray("server"))
        << run.strOut.toStdString() << run.strErr.toStdString();
    EXPECT_FALSE(
        QFileInfo(Remote(QStringLiteral("/x"))).exists() && !QFileInfo(Remote(QStringLiteral("/x"))).isSymLink());
}

// Pure-FTPd replaces a trailing space, the Windows server drops it: the user hears of it, and no working file of
// the upload stays behind.
TEST_P(RealServers, ANameTheServerChangesIsReportedAndNoWorkingFileStays)
{
    WriteFileBytes(Local(QStringLiteral("/trailing space.txt ")), "t");
    WriteFileBytes(Local(QStringLiteral("/  leading spaces.txt")), "l");
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--upload") });
    const QStringList stored = QDir(Remote(QString())).entryList(QDir::Files | QDir::Hidden);
    for (const QString& strName : { QStringLiteral("trailing space.txt "), QStringLiteral("  leading spaces.txt") }) {
        if (!stored.contains(strName)) {
            EXPECT_THAT(run.strErr.toStdString() + run.strOut.toStdString(),
                HasSubstr(
                    QString(QStringLiteral("/site/") + strName + QStringLiteral(" under another name")).toStdString()))
                << stored.join(QLatin1Char('|')).toStdString();
        }
    }
    for (const QString& strName : stored) {
        EXPECT_FALSE(strName.startsWith(QStringLiteral(".quorvel-upload-"))) << strName.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Servers, RealServers,
    testing::Values(ServerUnderTest { "pyftpdlib_MLSD", CFtpTestServer::Kind::Pyftpdlib, {}, "MLSD" },
        ServerUnderTest { "pyftpdlib_LIST", CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--no-mlsd") }, "LIST" },
        ServerUnderTest {
            "pyftpdlib_MSDOS", CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--msdos-listing") }, "LIST" },
        ServerUnderTest { "vsftpd", CFtpTestServer::Kind::VsftpdLocalUser, { QStringLiteral("--writable") }, "LIST" },
        ServerUnderTest { "ProFTPD", CFtpTestServer::Kind::ProftpdDigest, {}, "MLSD" },
        ServerUnderTest { "PureFTPd", CFtpTestServer::Kind::PureFtpd, {}, "MLSD" }),
    [](const testing::TestParamInfo<ServerUnderTest>& server) { return std::string(server.param.pName); });

// Names read from the disk's directory as bytes, whatever they are.
QList<QByteArray> RawNames(const QString& strFolder)
{
    const int fd = ::open(QFile::encodeName(strFolder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const QList<QByteArray> names = fd >= 0 ? ListFolderNames(fd) : QList<QByteArray> {};
    if (fd >= 0) {
        ::close(fd);
    }
    return names;
}

// A site set to Latin-1 writes and reads names in it, as a server in that code page keeps them; a name Latin-1
// cannot write is refused, never sent with a stand-in.
TEST(ServerCharset, ALatin1SiteKeepsAccentedNamesAndRefusesWhatLatin1CannotWrite)
{
    CFtpTestServer server;
    ASSERT_TRUE(
        server.Start(CFtpTestServer::Kind::Pyftpdlib, { QStringLiteral("--encoding"), QStringLiteral("latin-1") }))
        << server.Error().toStdString();
    QDir().mkpath(server.Root() + QStringLiteral("/site"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("charset-cache")));
    const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                               .arg(QString::fromLatin1(CFtpTestServer::kUser))
                               .arg(server.Port());
    const QString strLocal = MakeTestFolder(QStringLiteral("charset-latin1"));
    WriteFileBytes(strLocal + QStringLiteral("/café.html"), "cafe");
    WriteFileBytes(strLocal + QStringLiteral("/snow ☃.txt"), "no Latin-1 for this");
    const QStringList latin1 { QStringLiteral("--charset"), QStringLiteral("latin-1") };
    const CliRun upload = RunCli(
        QStringList { QStringLiteral("sync"), QStringLiteral("--upload") } + latin1 + QStringList { strLocal, strUrl },
        environment);
    EXPECT_EQ(RawNames(server.Root() + QStringLiteral("/site")), QList<QByteArray> { QByteArray("caf\xe9.html") })
        << upload.strOut.toStdString() << upload.strErr.toStdString();
    EXPECT_THAT(upload.strErr.toStdString() + upload.strOut.toStdString(),
        HasSubstr("cannot be written in the site's character set (Latin-1 (ISO 8859-1))"));

    QFile::remove(strLocal + QStringLiteral("/snow ☃.txt"));
    const CliRun compare
        = RunCli(QStringList { QStringLiteral("compare") } + latin1 + QStringList { strLocal, strUrl }, environment);
    EXPECT_EQ(compare.nExit, 0) << compare.strOut.toStdString() << compare.strErr.toStdString();
    EXPECT_THAT(compare.strOut.toStdString(), HasSubstr("1 same, 0 different"));
    // Qt cannot name a file whose name is not UTF-8, so the test's own clean-up could not remove it.
    ::unlink(QByteArray(QFile::encodeName(server.Root()) + "/site/caf\xe9.html").constData());
}

} // namespace
