#include <thread>

#include <QDirIterator>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ftp/FtpSessionFixture.h"
#include "ftp/MirrorRoot.h"
#include "ftp/RemoteListing.h"
#include "tree/FileTexts.h"
#include "tree/FolderComparison.h"
#include "tree/TreeOperations.h"

namespace {

class Mirror : public FtpSessionFixture
{
protected:
    bool Open(const QStringList& serverArguments = {}, CFtpTestServer::Kind kind = CFtpTestServer::Kind::Pyftpdlib)
    {
        if (!StartServer(serverArguments, kind)) {
            return false;
        }
        m_site = Site();
        if (kind != CFtpTestServer::Kind::Pyftpdlib) {
            m_site.strUser.clear();
            m_site.strPassword.clear();
        }
        m_pSession = std::make_unique<CFtpSession>(m_trace);
        if (!m_pSession->OpenFtpSite(m_site)) {
            ADD_FAILURE() << m_pSession->LastError().toStdString();
            return false;
        }
        m_pListing = std::make_unique<CRemoteListing>(*m_pSession, m_trace);
        return true;
    }

    void Remote(const QString& strPath, const QByteArray& contents) const
    {
        QDir().mkpath(QFileInfo(m_server.Root() + strPath).path());
        WriteFileBytes(m_server.Root() + strPath, contents);
    }

    QString MirrorOf(const QString& strRemote) const { return m_pListing->MirrorPathFor(strRemote); }

    // Everything below a folder, "name" for files and "name/" for folders, sorted.
    static QStringList Contents(const QString& strFolder)
    {
        QStringList names;
        QDirIterator it(strFolder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
            QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString strPath = it.next();
            names.append(strPath.mid(strFolder.size() + 1)
                + (it.fileInfo().isDir() && !it.fileInfo().isSymLink() ? QStringLiteral("/") : QString()));
        }
        names.sort();
        return names;
    }

    FtpSite m_site;
    std::unique_ptr<CFtpSession> m_pSession;
    std::unique_ptr<CRemoteListing> m_pListing;
};

TEST_F(Mirror, FilesWithinTheLimitAreCopiedWithTheirTimesAndTheRestArePlaceholders)
{
    // pyftpdlib offers MLSD: the copy carries the server's time to the second, and the folders say how they
    // were listed.
    ASSERT_TRUE(Open());
    Remote(QStringLiteral("/pub/big.bin"), QByteArray(3000, 'b'));
    Remote(QStringLiteral("/pub/sub/deep.txt"), "deep");
    const timespec stamp[2] = { { 1589018400 + 7, 0 }, { 1589018400 + 7, 0 } };
    ASSERT_EQ(::utimensat(
                  AT_FDCWD, QFile::encodeName(m_server.Root() + QStringLiteral("/pub/file.txt")).constData(), stamp, 0),
        0);
    MirrorOptions options;
    options.nSizeLimit = 1024;
    options.bRecursive = true;
    ASSERT_TRUE(m_pListing->RemoteScan(QStringLiteral("/pub"), options, nullptr));
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    const QStringList contents = Contents(strMirror);
    ASSERT_EQ(contents.size(), 9) << contents.join(QLatin1Char(' ')).toStdString();
    EXPECT_TRUE(contents[0].startsWith(QStringLiteral("$quorvelbig.bin;3000;")));
    EXPECT_EQ(contents.mid(1),
        (QStringList { QStringLiteral("$quorvelmlsdlisting"), QStringLiteral("$quorvelquorvelupdated"),
            QStringLiteral("big.bin"), QStringLiteral("file.txt"), QStringLiteral("sub/"),
            QStringLiteral("sub/$quorvelmlsdlisting"), QStringLiteral("sub/$quorvelquorvelupdated"),
            QStringLiteral("sub/deep.txt") }));
    EXPECT_EQ(ReadFileBytes(strMirror + QStringLiteral("/file.txt")), QByteArray("remote contents\n"));
    EXPECT_EQ(QFileInfo(strMirror + QStringLiteral("/big.bin")).size(), 0);
    EXPECT_EQ(ReadFileBytes(strMirror + QStringLiteral("/sub/deep.txt")), QByteArray("deep"));
    EXPECT_EQ(m_pListing->Counts().nDownloaded, 2);
    EXPECT_EQ(m_pListing->Counts().nPlaceholders, 1);
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("MLSD")));
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("RETR file.txt")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("listing of \"/pub\".")));
    EXPECT_TRUE(Traced(TRACE_STATUS, QStringLiteral("Ready for new command.")));
    EXPECT_EQ(QFileInfo(strMirror + QStringLiteral("/file.txt")).lastModified().toSecsSinceEpoch(), 1589018407);
}

TEST_F(Mirror, ListedTimesWithoutSecondsKeepTheirHourRule)
{
    ASSERT_TRUE(Open({ QStringLiteral("--no-mlsd") }));
    MirrorOptions options;
    ASSERT_TRUE(m_pListing->RemoteScan(QStringLiteral("/pub"), options, nullptr));
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    EXPECT_FALSE(QFile::exists(strMirror + QStringLiteral("/$quorvelmlsdlisting")));
    EXPECT_TRUE(Traced(TRACE_COMMAND, QStringLiteral("LIST")));
    // Listed times have no seconds and an hour less: the copy carries exactly that.
    FtpListEntry entry;
    for (const FtpListEntry& listed : ParseListing(m_pListing->LastListing(), ListingYears::Now()).entries) {
        if (listed.name == QStringLiteral("file.txt")) {
            entry = listed;
        }
    }
    ASSERT_EQ(entry.name, QStringLiteral("file.txt"));
    EXPECT_EQ(QFileInfo(strMirror + QStringLiteral("/file.txt")).lastModified().toSecsSinceEpoch(), entry.modifiedTime);
}

TEST_F(Mirror, ACopyWithinTwoSecondsIsCurrentAndAtThreeItIsFetchedAgain)
{
    ASSERT_TRUE(Open());
    MirrorOptions options;
    ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), options, nullptr));
    const QString strCopy = MirrorOf(QStringLiteral("/pub")) + QStringLiteral("/file.txt");
    const qint64 nListed = QFileInfo(strCopy).lastModified().toSecsSinceEpoch();
    for (const int nOffset : { 2, -2, 3 }) {
        const timespec times[2] = { { nListed + nOffset, 0 }, { nListed + nOffset, 0 } };
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(strCopy).constData(), times, 0), 0);
        const long long nBefore = m_pListing->Counts().nDownloaded;
        ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), options, nullptr));
        EXPECT_EQ(m_pListing->Counts().nDownloaded - nBefore, nOffset == 3 ? 1 : 0) << "offset " << nOffset;
    }
    options.bRefreshAll = true;
    ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), options, nullptr));
    EXPECT_EQ(m_pListing->Counts().nDownloaded, 3) << "refresh-all fetches a current copy again";
}

TEST_F(Mirror, WithALimitOfZeroEveryFileIsAPlaceholderWhoseMarkerFollowsChanges)
{
    ASSERT_TRUE(Open());
    Remote(QStringLiteral("/pub/empty.txt"), QByteArray());
    MirrorOptions options;
    options.nSizeLimit = 0;
    ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), options, nullptr));
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    QStringList markers
        = QDir(strMirror).entryList({ QStringLiteral("$quorvelfile.txt;*") }, QDir::Files | QDir::Hidden);
    ASSERT_EQ(markers.size(), 1);
    EXPECT_TRUE(markers[0].startsWith(QStringLiteral("$quorvelfile.txt;16;")));
    EXPECT_EQ(ReadFileBytes(strMirror + QStringLiteral("/empty.txt")), QByteArray())
        << "an empty file is simply copied";
    EXPECT_TRUE(
        QDir(strMirror).entryList({ QStringLiteral("$quorvelempty.txt;*") }, QDir::Files | QDir::Hidden).isEmpty());

    Remote(QStringLiteral("/pub/file.txt"), "grown to more bytes\n");
    ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), options, nullptr));
    markers = QDir(strMirror).entryList({ QStringLiteral("$quorvelfile.txt;*") }, QDir::Files | QDir::Hidden);
    ASSERT_EQ(markers.size(), 1) << "the old marker goes";
    EXPECT_TRUE(markers[0].startsWith(QStringLiteral("$quorvelfile.txt;20;")));

    // What the scanner makes of it: the placeholder's texts have the forms of a real file's.
    CFolderComparison comparison(m_server.Root() + QStringLiteral("/pub"), strMirror, QStringLiteral("/pub"));
    ASSERT_TRUE(comparison.Run(1).bOk);
    const CFileItem* pItem = FindFileByPath(strMirror + QStringLiteral("/file.txt"), comparison.Tree().Root());
    ASSERT_NE(pItem, nullptr);
    EXPECT_EQ(pItem->strVersion[SIDE_RIGHT], QStringLiteral("UNKNOWN"));
    EXPECT_EQ(pItem->strSize[SIDE_RIGHT], QStringLiteral("20"));
    EXPECT_EQ(pItem->status, FILE_UNKNOWN);
}

TEST_F(Mirror, NewEmptySubFoldersGetDummiesAndACurrentFolderIsNotListedAgain)
{
    ASSERT_TRUE(Open());
    QDir().mkpath(m_server.Root() + QStringLiteral("/pub/later"));
    ASSERT_TRUE(m_pListing->RemoteScan(QStringLiteral("/pub"), MirrorOptions {}, nullptr));
    const QString strLater = MirrorOf(QStringLiteral("/pub/later"));
    EXPECT_THAT(
        Contents(strLater), testing::ElementsAre(QStringLiteral("$quorveldummy01"), QStringLiteral("$quorveldummy02")));

    const size_t nLines = m_trace.Lines().size();
    ASSERT_TRUE(m_pListing->RemoteScan(QStringLiteral("/pub"), MirrorOptions {}, nullptr));
    const std::vector<TraceLine> lines = m_trace.Lines();
    for (size_t i = nLines; i < lines.size(); ++i) {
        EXPECT_FALSE(lines[i].strText.endsWith(QStringLiteral("] LIST"))) << "a current folder is not listed";
    }
    ASSERT_TRUE(m_pSession->OpenFtpSite(Site()));
    EXPECT_FALSE(m_pListing->IsMirrorFolderCurrent(QStringLiteral("/pub"))) << "a new session lists every folder again";
}

TEST_F(Mirror, HostileListingsNeverWriteOutsideTheMirror)
{
    const QString strCanned = MakeTestFolder(QStringLiteral("canned")) + QStringLiteral("/list.txt");
    WriteFileBytes(strCanned,
        "drwxr-xr-x 2 u g 4096 Jan 5 10:30 ..\r\n"
        "-rw-r--r-- 1 u g 5 Jan 5 10:30 ../../escape.txt\r\n"
        "-rw-r--r-- 1 u g 5 Jan 5 10:30 a/b\r\n"
        "-rw-r--r-- 1 u g 5 Jan 5 10:30 back\\slash\r\n"
        "-rw-r--r-- 1 u g 5 Jan 5 10:30 ctrl\x01name\r\n"
        "-rw-r--r-- 1 u g 5 Jan 5 10:30 "
            + QByteArray(300, 'n')
            + "\r\n"
              "lrwxrwxrwx 1 u g 2 Jan 5 10:30 loop -> ..\r\n"
              "-rw-r--r-- 1 u g 5 Jan 5 10:30 planted\r\n"
              "-rw-r--r-- 1 u g 5 Jan 5 10:30 fine.txt\r\n");
    ASSERT_TRUE(Open({ QStringLiteral("--canned-list"), strCanned }));
    QDir().mkpath(m_server.Root() + QStringLiteral("/pub/loop"));
    const QString strOutside = MakeTestFolder(QStringLiteral("outside"));
    WriteFileBytes(strOutside + QStringLiteral("/victim.txt"), "keep me");
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    QDir().mkpath(strMirror);
    ASSERT_EQ(::symlink(QFile::encodeName(strOutside + QStringLiteral("/victim.txt")).constData(),
                  QFile::encodeName(strMirror + QStringLiteral("/planted")).constData()),
        0);

    MirrorOptions options;
    options.nSizeLimit = 0;
    options.bRecursive = true;
    EXPECT_TRUE(m_pListing->RemoteScan(QStringLiteral("/pub"), options, nullptr));
    EXPECT_EQ(ReadFileBytes(strOutside + QStringLiteral("/victim.txt")), QByteArray("keep me"));
    EXPECT_THAT(Contents(strOutside), testing::ElementsAre(QStringLiteral("victim.txt")));
    EXPECT_FALSE(QFileInfo(strMirror + QStringLiteral("/planted")).isSymLink())
        << "a planted link is replaced, not followed";
    EXPECT_TRUE(QFileInfo::exists(strMirror + QStringLiteral("/fine.txt")));
    EXPECT_EQ(m_pListing->Counts().nRejected, 5 * 1) << "each bad name is rejected once";
    int nErrors = 0;
    for (const TraceLine& line : m_trace.Lines()) {
        nErrors += line.strText.contains(QStringLiteral("names an entry that cannot be stored")) ? 1 : 0;
    }
    EXPECT_EQ(nErrors, 5);
    EXPECT_TRUE(QFileInfo(MirrorOf(QStringLiteral("/pub/loop"))).isDir());
    EXPECT_FALSE(QFileInfo::exists(MirrorOf(QStringLiteral("/pub/loop/loop"))))
        << "a listing like one above it is not followed";
    QDirIterator everything(m_pSession->MirrorRoot(),
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (everything.hasNext()) {
        everything.next();
        EXPECT_FALSE(everything.fileInfo().isSymLink()) << everything.filePath().toStdString();
    }
}

TEST_F(Mirror, AFailedDownloadLeavesAPlaceholderAndACancelledOneNothingHalfWritten)
{
    ASSERT_TRUE(Open({ QStringLiteral("--refuse"), QStringLiteral("RETR:550 Not today.") }));
    ASSERT_TRUE(m_pListing->DownloadDir(QStringLiteral("/pub"), MirrorOptions {}, nullptr));
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    EXPECT_EQ(QFileInfo(strMirror + QStringLiteral("/file.txt")).size(), 0);
    EXPECT_EQ(
        QDir(strMirror).entryList({ QStringLiteral("$quorvelfile.txt;16;*") }, QDir::Files | QDir::Hidden).size(), 1);
    EXPECT_THAT(
        TraceTexts(), testing::Contains(QHasSubstr("The download of \"/pub/file.txt\" failed: 550 Not today.")));
    EXPECT_TRUE(
        QDir(strMirror).entryList({ QStringLiteral("$quorveldownload-*") }, QDir::Files | QDir::Hidden).isEmpty());
}

TEST_F(Mirror, ACancelledDownloadKeepsNoPartialCopy)
{
    ASSERT_TRUE(Open({ QStringLiteral("--delay"), QStringLiteral("RETR:3") }));
    std::atomic<bool> bCancel { false };
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        bCancel = true;
    });
    EXPECT_FALSE(m_pListing->DownloadDir(QStringLiteral("/pub"), MirrorOptions {}, &bCancel));
    canceller.join();
    const QString strMirror = MirrorOf(QStringLiteral("/pub"));
    const QFileInfo copy(strMirror + QStringLiteral("/file.txt"));
    EXPECT_TRUE(!copy.exists() || copy.size() == 0);
    EXPECT_TRUE(
        QDir(strMirror).entryList({ QStringLiteral("$quorveldownload-*") }, QDir::Files | QDir::Hidden).isEmpty());
    EXPECT_FALSE(QFile::exists(strMirror + QStringLiteral("/$quorvelquorvelupdated")))
        << "an unfinished folder is not current";
}

TEST_F(Mirror, AListingThatNeverEndsIsStopped)
{
    const QString strCanned = MakeTestFolder(QStringLiteral("canned-huge")) + QStringLiteral("/list.txt");
    {
        QFile file(strCanned);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        const QByteArray line("-rw-r--r-- 1 u g 5 Jan 5 10:30 a-rather-long-name-to-fill-the-listing-quickly.txt\r\n");
        QByteArray block;
        while (block.size() < 1024 * 1024) {
            block += line;
        }
        for (int i = 0; i < 65; ++i) {
            file.write(block);
        }
    }
    ASSERT_TRUE(Open({ QStringLiteral("--canned-list"), strCanned }));
    QString strText;
    EXPECT_FALSE(m_pListing->GetListing(QStringLiteral("/pub"), strText));
    EXPECT_TRUE(strText.isEmpty());
    EXPECT_THAT(TraceTexts(), testing::Contains(QHasSubstr("during listing of \"/pub\".")));
}

} // namespace

namespace {

// A local site and its server copy that differ in every way a comparison can tell apart.
class EndToEnd : public Mirror
{
protected:
    void RunComparison(CFtpTestServer::Kind kind)
    {
        if (kind != CFtpTestServer::Kind::Pyftpdlib && !CFtpTestServer::IsRoot()) {
            GTEST_SKIP() << "vsftpd runs as root only";
        }
        ASSERT_TRUE(Open({}, kind));
        const QString strLocal = MakeTestFolder(QStringLiteral("e2e-local"));
        auto both = [&](const QString& strPath, const QByteArray& local, const QByteArray& remote) {
            QDir().mkpath(QFileInfo(strLocal + strPath).path());
            WriteFileBytes(strLocal + strPath, local);
            Remote(QStringLiteral("/pub") + strPath, remote);
        };
        both(QStringLiteral("/file.txt"), "remote contents\n", "remote contents\n");
        both(QStringLiteral("/docs/same page.html"), "<p>same</p>", "<p>same</p>");
        both(QStringLiteral("/docs/changed.css"), "color: red", "color: tan");
        both(QStringLiteral("/img/large.bin"), QByteArray(5000, 'L'), QByteArray(5000, 'R'));
        WriteFileBytes(strLocal + QStringLiteral("/local-only.txt"), "l");
        Remote(QStringLiteral("/pub/remote only/r.txt"), "r");

        MirrorOptions options;
        options.nSizeLimit = 1024;
        options.bRecursive = true;
        ASSERT_TRUE(m_pListing->RemoteScan(m_pSession->RemoteRoot(), options, nullptr));
        CFolderComparison comparison(strLocal, MirrorOf(m_pSession->RemoteRoot()), m_pSession->RemoteRoot());
        ASSERT_TRUE(comparison.Run(2).bOk);
        QStringList statuses;
        for (const CFileItem* pItem = comparison.Tree().Root()->pFirstChild; pItem != nullptr;
             pItem = NextInPreOrder(pItem, comparison.Tree().Root())) {
            statuses.append(pItem->strName + QLatin1Char('=') + QString::number(pItem->status));
        }
        EXPECT_EQ(statuses,
            (QStringList { QStringLiteral("docs=2"), QStringLiteral("changed.css=1"),
                QStringLiteral("same page.html=0"), QStringLiteral("img=2"), QStringLiteral("large.bin=4"),
                QStringLiteral("remote only=1"), QStringLiteral("r.txt=3"), QStringLiteral("file.txt=0"),
                QStringLiteral("local-only.txt=2") }));
        const CFileItem* pRemoteOnly = FindAnyByPath(
            MirrorOf(QStringLiteral("/pub")) + QStringLiteral("/remote only/r.txt"), comparison.Tree().Root());
        ASSERT_NE(pRemoteOnly, nullptr);
        EXPECT_EQ(pRemoteOnly->strShowPaths[SIDE_RIGHT], QStringLiteral("/pub/remote only"));

        // A second session with nothing changed fetches nothing.
        const long long nDownloaded = m_pListing->Counts().nDownloaded;
        ASSERT_TRUE(m_pSession->OpenFtpSite(m_site));
        ASSERT_TRUE(m_pListing->RemoteScan(m_pSession->RemoteRoot(), options, nullptr));
        EXPECT_EQ(m_pListing->Counts().nDownloaded, nDownloaded);
    }
};

TEST_F(EndToEnd, LocalFolderAgainstPyftpdlib)
{
    RunComparison(CFtpTestServer::Kind::Pyftpdlib);
}

TEST_F(EndToEnd, LocalFolderAgainstVsftpd)
{
    RunComparison(CFtpTestServer::Kind::VsftpdAnonymous);
}

} // namespace
