#include <QDir>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

QStringList FilesIn(const QString& strFolder)
{
    return QDir(strFolder).entryList(QDir::Files, QDir::Name);
}

TEST(RenameCommand, ALocalSwapGoesThroughATemporaryNameAndAClashRenamesNothing)
{
    const QString strFolder = MakeTestFolder(QStringLiteral("cli-rename-local"));
    WriteFileBytes(strFolder + QStringLiteral("/a.txt"), "A");
    WriteFileBytes(strFolder + QStringLiteral("/b.txt"), "B");
    WriteFileBytes(strFolder + QStringLiteral("/keep.jpg"), "K");
    const QStringList swap { QStringLiteral("--glob"), QStringLiteral("*.txt"), QStringLiteral("--regex"),
        QStringLiteral("^(a|b)\\.txt$=X\\1.txt"), QStringLiteral("--replace"), QStringLiteral("Xa=b"),
        QStringLiteral("--replace"), QStringLiteral("Xb=a") };
    const CliRun dry = RunCli(QStringList { QStringLiteral("rename"), strFolder, QStringLiteral("--dry-run") } + swap);
    EXPECT_EQ(dry.nExit, 0) << dry.strErr.toStdString();
    EXPECT_THAT(dry.strOut, QHasSubstr("cycle"));
    EXPECT_EQ(ReadFileBytes(strFolder + QStringLiteral("/a.txt")), QByteArray("A")) << "a dry run renames nothing";

    const CliRun done = RunCli(
        QStringList { QStringLiteral("rename"), strFolder, QStringLiteral("--save"), QStringLiteral("swap") } + swap);
    EXPECT_EQ(done.nExit, 0) << done.strErr.toStdString();
    EXPECT_EQ(ReadFileBytes(strFolder + QStringLiteral("/a.txt")), QByteArray("B"));
    EXPECT_EQ(ReadFileBytes(strFolder + QStringLiteral("/b.txt")), QByteArray("A"));
    EXPECT_EQ(FilesIn(strFolder),
        QStringList({ QStringLiteral("a.txt"), QStringLiteral("b.txt"), QStringLiteral("keep.jpg") }));

    // The saved rules swap them back.
    EXPECT_EQ(RunCli({ QStringLiteral("rename"), strFolder, QStringLiteral("--glob"), QStringLiteral("*.txt"),
                         QStringLiteral("--load"), QStringLiteral("swap") })
                  .nExit,
        0);
    EXPECT_EQ(ReadFileBytes(strFolder + QStringLiteral("/a.txt")), QByteArray("A"));

    const CliRun clash
        = RunCli({ QStringLiteral("rename"), strFolder, QStringLiteral("--number"), QStringLiteral("keep") });
    EXPECT_EQ(clash.nExit, 2);
    EXPECT_THAT(clash.strOut, QHasSubstr("clash"));
    EXPECT_EQ(FilesIn(strFolder),
        QStringList({ QStringLiteral("a.txt"), QStringLiteral("b.txt"), QStringLiteral("keep.jpg") }));
}

TEST(RenameCommand, RemoteRenamesGoThroughTheServerAndARefusedOneIsReportedWithTheRestDone)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start(CFtpTestServer::Kind::Pyftpdlib,
        { QStringLiteral("--refuse"), QStringLiteral("RNTO photo-002.jpg:550 Permission denied.") }))
        << server.Error().toStdString();
    for (const char* pName : { "IMG_1.jpg", "IMG_2.jpg", "IMG_3.jpg" }) {
        WriteFileBytes(server.Root() + QStringLiteral("/pics/") + QLatin1String(pName), pName);
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("cli-rename-cache")));
    const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/pics")
                               .arg(QString::fromLatin1(CFtpTestServer::kUser))
                               .arg(server.Port());
    const CliRun run = RunCli(
        { QStringLiteral("rename"), strUrl, QStringLiteral("--number"), QStringLiteral("photo-[N:3]") }, environment);
    EXPECT_EQ(run.nExit, 1) << run.strErr.toStdString();
    EXPECT_THAT(run.strErr, QHasSubstr("550 Permission denied"));
    EXPECT_EQ(FilesIn(server.Root() + QStringLiteral("/pics")),
        QStringList({ QStringLiteral("IMG_2.jpg"), QStringLiteral("photo-001.jpg"), QStringLiteral("photo-003.jpg") }))
        << "the refused one keeps its name, nothing is lost";
    EXPECT_EQ(ReadFileBytes(server.Root() + QStringLiteral("/pics/photo-003.jpg")), QByteArray("IMG_3.jpg"));
}

} // namespace
