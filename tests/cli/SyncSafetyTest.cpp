#include <csignal>

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <gmock/gmock.h>

#include "cli/SyncFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(SyncSafety, ListingsWithoutAUsableEntryNeverDeleteLocalFiles)
{
    // Each of these once deleted every local file: a listing that names nothing is no proof of an empty folder.
    const QByteArray listings[] = {
        "total 0\r\n",
        "drwxr-xr-x 2 u g 4096 Jan 5 10:30 .\r\ndrwxr-xr-x 2 u g 4096 Jan 5 10:30 ..\r\n",
        "2020-01-05 10:30 <DIR> images\r\n2020-01-05 10:31 1234 index.html\r\n",
        "garbage\r\n",
    };
    for (const QByteArray& listing : listings) {
        m_server.Stop();
        Start({}, listing);
        WriteFileBytes(Local(QStringLiteral("/precious.txt")), "keep me");
        const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
        EXPECT_TRUE(QFile::exists(Local(QStringLiteral("/precious.txt")))) << listing.toStdString();
        EXPECT_THAT(run.strOut.toStdString(), HasSubstr("KEEP         precious.txt")) << listing.toStdString();
        EXPECT_EQ(run.nExit, 1) << listing.toStdString() << run.strErr.toStdString();
    }
}

TEST_F(SyncSafety, UnreadableListingLinesAreTracedAndProtectTheirFolder)
{
    QByteArray listing = "total 8\r\n-rw-r--r-- 1 u g 4 Jan 5 2020 a.txt\r\n";
    for (int i = 0; i < 8; ++i) {
        listing += "-rw-r--r-- 1 u g 1234 2020-01-05 10:31 iso file " + QByteArray::number(i) + "\r\n";
    }
    Start({}, listing);
    WriteFileBytes(Remote(QStringLiteral("/a.txt")), "aaaa");
    WriteFileBytes(Local(QStringLiteral("/b.txt")), "only here");
    const CliRun run = Run(QStringLiteral("sync"),
        { QStringLiteral("--download"), QStringLiteral("--delete"), QStringLiteral("--trace") });
    EXPECT_TRUE(QFile::exists(Local(QStringLiteral("/b.txt"))));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/a.txt"))), QByteArray("aaaa")) << "the lines that were read count";
    const std::string strErr = run.strErr.toStdString();
    EXPECT_EQ(run.strErr.count(QStringLiteral("could not be read: -rw-r--r-- 1 u g 1234 2020")), 5)
        << "a few lines, then a count";
    EXPECT_THAT(strErr, HasSubstr("3 more lines of the listing"));
    EXPECT_THAT(strErr, Not(HasSubstr("could not be read: total 8")));
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("KEEP         b.txt"));
}

TEST_F(SyncSafety, LinesWhoseSizeIsNoPlainNumberAreNoEntriesAndKeepTheirFolder)
{
    // Sizes a number parser reads as 5, 1 and 0: such a line is not what it claims, and names nothing.
    const QByteArray listing = "-rw-r--r-- 1 u g -5 Jan 5 2020 minus.txt\r\n"
                               "-rw-r--r-- 1 u g 1e3 Jan 5 2020 exp.txt\r\n"
                               "-rw-r--r-- 1 u g 19 Jan 5 2020 plain.txt\r\n";
    Start({}, listing);
    for (const char* pName : { "/minus.txt", "/exp.txt", "/plain.txt" }) {
        WriteFileBytes(Remote(QString::fromLatin1(pName)), "nineteen bytes long");
    }
    WriteFileBytes(Local(QStringLiteral("/minus.txt")), "mine");
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(run.nExit, 1) << run.strErr.toStdString() << run.strOut.toStdString();
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/minus.txt"))), QByteArray("mine"));
    EXPECT_FALSE(QFile::exists(Local(QStringLiteral("/exp.txt"))));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/plain.txt"))), QByteArray("nineteen bytes long"));
    EXPECT_THAT(run.strOut.toStdString(), HasSubstr("KEEP         minus.txt"));
}

TEST_F(SyncSafety, AFileOfUnknownSizeNeverFillsTheMirrorNorTheDisk)
{
    // A link to a file whose target is not listed beside it has no size the listing can vouch for.
    Start({}, "lrwxrwxrwx 1 u g 9 Jan 5 2020 big.bin -> /far/away\r\n");
    WriteFileBytes(Remote(QStringLiteral("/big.bin")), QByteArray(1536 * 1024, 'x'));
    const CliRun compare = Run(QStringLiteral("compare"), { QStringLiteral("--trace") });
    EXPECT_THAT(compare.strErr.toStdString(), HasSubstr("larger than the download limit of 10240 bytes"));
    QDirIterator files(
        m_strCache + QStringLiteral("/Quorvel/mirrors"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    int nFiles = 0;
    while (files.hasNext()) {
        const QString strPath = files.next();
        EXPECT_LE(QFileInfo(strPath).size(), 10240) << strPath.toStdString();
        ++nFiles;
    }
    EXPECT_GT(nFiles, 0) << "the mirror was written";
    EXPECT_THAT(compare.strOut.toStdString(), HasSubstr("big.bin"));

    // Outside the mirror a download of unknown size is bounded too: once gigabytes were taken as copied.
    QDir().mkpath(TestRoot() + QStringLiteral("/cli-profile"));
    WriteFileBytes(
        TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini"), "[Settings]\nUnknownSizeDownloadLimitMB=1\n");
    WriteFileBytes(Local(QStringLiteral("/big.bin")), "my own");
    const CliRun sync = Run(QStringLiteral("sync"), { QStringLiteral("--download") });
    QFile::remove(TestRoot() + QStringLiteral("/cli-profile/Quorvel.ini"));
    EXPECT_EQ(sync.nExit, 1) << sync.strOut.toStdString();
    EXPECT_THAT(sync.strErr.toStdString(), HasSubstr("UnknownSizeDownloadLimitMB"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/big.bin"))), QByteArray("my own"));
}

TEST_F(SyncSafety, ARemoteLinkToAFileIsCopiedAsThatFile)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/ok.txt")), "target");
    ASSERT_TRUE(QFile::link(QStringLiteral("ok.txt"), Remote(QStringLiteral("/latest"))));
    QDir().mkpath(Remote(QStringLiteral("/sub")));
    WriteFileBytes(Remote(QStringLiteral("/sub/more.txt")), "more");
    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download") });
    EXPECT_EQ(run.nExit, 0) << run.strErr.toStdString();
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/latest"))), QByteArray("target"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/sub/more.txt"))), QByteArray("more")) << "the rest goes on";
}

TEST_F(SyncSafety, CredentialsHoldingLineBreaksAreNeverSent)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/ok.txt")), "still here");
    QProcessEnvironment environment = m_environment;
    environment.insert(QStringLiteral("QUORVEL_PASSWORD"),
        QString::fromLatin1(CFtpTestServer::kPassword) + QStringLiteral("\r\nDELE /site/ok.txt"));
    const CliRun password
        = RunCli({ QStringLiteral("compare"), m_strLocal, Url(), QStringLiteral("--retries"), QStringLiteral("1") },
            environment);
    EXPECT_EQ(password.nExit, 2);
    EXPECT_THAT(password.strErr.toStdString(), HasSubstr("password holds a line break"));
    const CliRun user
        = RunCli({ QStringLiteral("compare"), m_strLocal, Url(QStringLiteral("tester%0D%0ADELE%20%2Fsite%2Fok.txt")) },
            m_environment);
    EXPECT_EQ(user.nExit, 2);
    EXPECT_THAT(user.strErr.toStdString(), HasSubstr("user name holds a line break"));
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/ok.txt"))), QByteArray("still here"));
}

TEST_F(SyncSafety, ServerTextNeverReachesTheTerminalRaw)
{
    Start({ QStringLiteral("--refuse"), QStringLiteral("CWD:550 \x1b]0;owned\x07\x1b[2J No such folder") });
    const CliRun run = Run(
        QStringLiteral("compare"), { QStringLiteral("--trace"), QStringLiteral("--retries"), QStringLiteral("1") });
    EXPECT_EQ(run.nExit, 2);
    EXPECT_FALSE(run.strErr.contains(QChar(0x1b))) << run.strErr.toStdString();
    EXPECT_FALSE(run.strErr.contains(QChar(0x07)));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("\\x1b]0;owned\\x07"));
}

TEST_F(SyncSafety, OwnWorkingNamesAndOverlongNamesAreLeftOutAloud)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/$quorvelnotes.txt")), "server's");
    const QString strLong = QString(240, QLatin1Char('n')) + QStringLiteral(".txt");
    WriteFileBytes(Remote(QLatin1Char('/') + strLong), QByteArray(20 * 1024, 'x'));
    WriteFileBytes(Local(QStringLiteral("/$diffundo-mine.txt")), "mine");
    const CliRun run = Run(QStringLiteral("compare"), {});
    const std::string strErr = run.strErr.toStdString();
    EXPECT_THAT(strErr, HasSubstr("warning: \"/site/$quorvelnotes.txt\" is left out"));
    EXPECT_THAT(strErr, HasSubstr("is left out: its name is too long for the marker"));
    EXPECT_THAT(strErr, HasSubstr("$diffundo-mine.txt\" is left out"));
}

TEST_F(SyncSafety, SigtermAndSigintDuringAListingCancelAtOnceAndLeaveNoWorkingFiles)
{
    Start({ QStringLiteral("--delay"), QStringLiteral("MLSD:0.2") });
    for (int i = 0; i < 60; ++i) {
        QDir().mkpath(Remote(QStringLiteral("/d%1").arg(i)));
        WriteFileBytes(Remote(QStringLiteral("/d%1/f.txt").arg(i)), "x");
    }
    for (const int nSignal : { SIGTERM, SIGINT }) {
        QProcess process;
        process.setProcessEnvironment(m_environment);
        process.setStandardInputFile(QProcess::nullDevice());
        process.start(QStringLiteral(QUORVEL_CLI_PATH),
            { QStringLiteral("--settings"), TestRoot() + QStringLiteral("/cli-profile"), QStringLiteral("sync"),
                QStringLiteral("--download"), QStringLiteral("--delete"), m_strLocal, Url() });
        ASSERT_TRUE(process.waitForStarted());
        QThread::msleep(1500);
        ASSERT_EQ(process.state(), QProcess::Running) << "the listing should still be under way";
        QElapsedTimer clock;
        clock.start();
        ::kill(static_cast<pid_t>(process.processId()), nSignal);
        ASSERT_TRUE(process.waitForFinished(10000));
        EXPECT_LT(clock.elapsed(), 3000) << "signal " << nSignal;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 2);
        EXPECT_THAT(QString::fromLocal8Bit(process.readAllStandardError()).toStdString(), HasSubstr("cancelled"));
        EXPECT_THAT(WorkingFilesInMirror(), testing::IsEmpty());
    }
}

TEST_F(SyncSafety, LocalDeletionRemovesLinksAsLinksAndNeverGoesThroughThem)
{
    Start();
    WriteFileBytes(Remote(QStringLiteral("/keep.txt")), "on both sides");
    WriteFileBytes(Local(QStringLiteral("/keep.txt")), "on both sides");
    const QString strOutside = MakeTestFolder(QStringLiteral("safety-outside"));
    WriteFileBytes(strOutside + QStringLiteral("/precious.txt"), "not part of the sync");
    ASSERT_TRUE(QFile::link(strOutside, Local(QStringLiteral("/outside"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("."), Local(QStringLiteral("/loop"))));

    const CliRun run = Run(QStringLiteral("sync"), { QStringLiteral("--download"), QStringLiteral("--delete") });
    EXPECT_EQ(ReadFileBytes(strOutside + QStringLiteral("/precious.txt")), QByteArray("not part of the sync"));
    EXPECT_EQ(ReadFileBytes(Local(QStringLiteral("/keep.txt"))), QByteArray("on both sides"));
    EXPECT_FALSE(QFileInfo(Local(QStringLiteral("/outside"))).isSymLink()) << "the link itself is local-only";
    EXPECT_FALSE(QFileInfo(Local(QStringLiteral("/loop"))).isSymLink());
    EXPECT_EQ(run.nExit, 0) << run.strOut.toStdString() << run.strErr.toStdString();
}

TEST_F(SyncSafety, AnUnreadableLocalFolderIsReportedAndNothingBelowItIsDeletedRemotely)
{
    Start();
    QDir().mkpath(Remote(QStringLiteral("/private")));
    WriteFileBytes(Remote(QStringLiteral("/private/report.pdf")), "server copy");
    QDir().mkpath(Local(QStringLiteral("/private")));
    WriteFileBytes(Local(QStringLiteral("/private/report.pdf")), "local copy");
    WriteFileBytes(Local(QStringLiteral("/secret.txt")), "unreadable");
    QFile::setPermissions(Local(QStringLiteral("/private")), {});
    QFile::setPermissions(Local(QStringLiteral("/secret.txt")), QFileDevice::WriteOwner);

    const QString strWritable = MakeWritableFolder(QStringLiteral("safety-unprivileged"));
    const CliRun compare
        = RunCliUnprivileged({ QStringLiteral("compare"), m_strLocal, Url() }, m_environment, strWritable);
    EXPECT_EQ(compare.nExit, 2) << compare.strErr.toStdString();
    EXPECT_THAT(compare.strErr.toStdString(),
        HasSubstr("error: The folder \"" + Local(QStringLiteral("/private")).toStdString()));
    EXPECT_THAT(compare.strErr.toStdString(), HasSubstr("secret.txt\" cannot be read"));

    const CliRun sync = RunCliUnprivileged(
        { QStringLiteral("sync"), QStringLiteral("--upload"), QStringLiteral("--delete"), m_strLocal, Url() },
        m_environment, strWritable);
    QFile::setPermissions(
        Local(QStringLiteral("/private")), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    EXPECT_EQ(sync.nExit, 1) << sync.strOut.toStdString() << sync.strErr.toStdString();
    EXPECT_EQ(ReadFileBytes(Remote(QStringLiteral("/private/report.pdf"))), QByteArray("server copy"));
    EXPECT_THAT(sync.strOut.toStdString(), HasSubstr("KEEP         private/report.pdf"));
    EXPECT_THAT(sync.strOut.toStdString(), HasSubstr("SKIP         secret.txt"));
    EXPECT_FALSE(QFile::exists(Remote(QStringLiteral("/secret.txt"))));
}

} // namespace
