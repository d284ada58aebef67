#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

bool SetModified(const QString& strPath, const QDateTime& when)
{
    QFile file(strPath);
    return file.open(QIODevice::ReadWrite) && file.setFileTime(when, QFileDevice::FileModificationTime);
}

class CompareFtp : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_server.Start()) << m_server.Error().toStdString();
        m_strLocal = MakeTestFolder(QStringLiteral("cli-ftp-local"));
        QDir().mkpath(m_server.Root() + QStringLiteral("/site"));
        for (const auto& [name, local, remote] :
            { std::tuple { "same.txt", "same", "same" }, { "changed.txt", "mine", "tHem" } }) {
            WriteFileBytes(m_strLocal + QLatin1Char('/') + QString::fromLatin1(name), local);
            WriteFileBytes(m_server.Root() + QStringLiteral("/site/") + QString::fromLatin1(name), remote);
        }
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("cli-ftp-cache")));
    }

    CliRun Run(const QStringList& options) const
    {
        const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                                   .arg(QString::fromLatin1(CFtpTestServer::kUser))
                                   .arg(m_server.Port());
        return RunCli(
            QStringList { QStringLiteral("compare") } + options + QStringList { m_strLocal, strUrl }, m_environment);
    }

    CFtpTestServer m_server;
    QString m_strLocal;
    QProcessEnvironment m_environment;
};

TEST_F(CompareFtp, ComparesWithTheServerAndFetchesNothingTwice)
{
    const CliRun first = Run({ QStringLiteral("--json"), QStringLiteral("--trace") });
    ASSERT_EQ(first.nExit, 1) << first.strErr.toStdString();
    EXPECT_EQ(first.strErr.count(QStringLiteral("] RETR ")), 2);
    const QJsonDocument document = QJsonDocument::fromJson(first.strOut.toUtf8());
    const QJsonArray items = document[QStringLiteral("items")].toArray();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0][QStringLiteral("status")].toString(), QStringLiteral("Diff"));
    EXPECT_EQ(
        items[0][QStringLiteral("right")][QStringLiteral("path")].toString(), QStringLiteral("/site/changed.txt"));
    EXPECT_TRUE(items[0][QStringLiteral("right")][QStringLiteral("localCopy")].toString().contains(
        QStringLiteral("/Quorvel/mirrors/")));
    EXPECT_EQ(items[1][QStringLiteral("status")].toString(), QStringLiteral("Same"));

    const CliRun second = Run({ QStringLiteral("--trace") });
    EXPECT_EQ(second.nExit, 1);
    EXPECT_EQ(second.strErr.count(QStringLiteral("] RETR ")), 0) << "the mirror copies are current";

    const CliRun limited = Run({ QStringLiteral("--cache-kb"), QStringLiteral("0"), QStringLiteral("--refresh-all") });
    EXPECT_THAT(limited.strOut.toStdString(),
        testing::HasSubstr("0 same, 0 different, 0 only on the left, 0 only on the right, 2 undecided"));
}

TEST_F(CompareFtp, AFolderThatCannotBeListedEndsWithStatusTwo)
{
    QDir(m_server.Root() + QStringLiteral("/site")).removeRecursively();
    const CliRun run = Run({});
    EXPECT_EQ(run.nExit, 2);
    EXPECT_THAT(run.strErr.toStdString(), testing::HasSubstr("quorvel-cli compare: "));
}

// A change on the server that keeps the size, within the minute a LIST gives: MLSD's seconds show it; where only
// LIST is offered it cannot show, and the verdict says what it rests on.
TEST(CompareFtpTimes, ASameSizeChangeWithinTheMinuteShowsWithMlsdAndIsNotedWithout)
{
    for (const bool bMlsd : { true, false }) {
        CFtpTestServer server;
        ASSERT_TRUE(server.Start(
            CFtpTestServer::Kind::Pyftpdlib, bMlsd ? QStringList {} : QStringList { QStringLiteral("--no-mlsd") }))
            << server.Error().toStdString();
        const QString strLocal = MakeTestFolder(QStringLiteral("minute-local"));
        const QString strRemote = server.Root() + QStringLiteral("/site/page.html");
        WriteFileBytes(strLocal + QStringLiteral("/page.html"), "aaaa");
        WriteFileBytes(strRemote, "aaaa");
        const QDateTime early = QDateTime(QDate(2026, 3, 1), QTime(10, 0, 10), Qt::UTC);
        ASSERT_TRUE(SetModified(strRemote, early));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("minute-cache")));
        const QStringList arguments { QStringLiteral("compare"), QStringLiteral("--json"), strLocal,
            QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                .arg(QString::fromLatin1(CFtpTestServer::kUser))
                .arg(server.Port()) };
        ASSERT_EQ(RunCli(arguments, environment).nExit, 0);

        WriteFileBytes(strRemote, "bbbb");
        ASSERT_TRUE(SetModified(strRemote, early.addSecs(30)));
        const CliRun second = RunCli(arguments, environment);
        const QJsonDocument document = QJsonDocument::fromJson(second.strOut.toUtf8());
        const QJsonObject item = document[QStringLiteral("items")].toArray().at(0).toObject();
        EXPECT_EQ(item[QStringLiteral("right")][QStringLiteral("listedWith")].toString(),
            bMlsd ? QStringLiteral("MLSD") : QStringLiteral("LIST"));
        if (bMlsd) {
            EXPECT_EQ(item[QStringLiteral("status")].toString(), QStringLiteral("Diff")) << second.strOut.toStdString();
            EXPECT_FALSE(item.contains(QStringLiteral("note")));
        } else {
            EXPECT_EQ(item[QStringLiteral("status")].toString(), QStringLiteral("Same"));
            EXPECT_THAT(item[QStringLiteral("note")].toString(), QHasSubstr("to the minute only"));
        }
    }
}

// A server holding /site/page.html, last written two days ago at 30 seconds past a minute, compared by a user in
// another time zone.
class ServerInAnotherZone : public testing::Test
{
protected:
    void Start(const QString& strListing, const QString& strUserZone)
    {
        ASSERT_TRUE(m_server.Start(CFtpTestServer::Kind::Pyftpdlib, { strListing })) << m_server.Error().toStdString();
        m_strLocal = MakeTestFolder(QStringLiteral("zone-local"));
        const QString strRemote = m_server.Root() + QStringLiteral("/site/page.html");
        WriteFileBytes(strRemote, "page");
        m_when = QDateTime::currentDateTimeUtc().addDays(-2);
        m_when.setTime(QTime(m_when.time().hour(), m_when.time().minute(), 30));
        ASSERT_TRUE(SetModified(strRemote, m_when));
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("zone-cache")));
        m_environment.insert(QStringLiteral("TZ"), strUserZone);
    }

    CliRun Compare(const QStringList& options = {}) const
    {
        return RunCli(QStringList { QStringLiteral("compare"), QStringLiteral("--json"), QStringLiteral("--trace") }
                + options
                + QStringList { m_strLocal,
                    QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                        .arg(QString::fromLatin1(CFtpTestServer::kUser))
                        .arg(m_server.Port()) },
            m_environment);
    }

    static QString RightTime(const CliRun& run)
    {
        return QJsonDocument::fromJson(
            run.strOut.toUtf8())[QStringLiteral("items")][0][QStringLiteral("right")][QStringLiteral("time")]
            .toString();
    }

    CFtpTestServer m_server;
    QString m_strLocal;
    QDateTime m_when;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

// pyftpdlib lists its times in UTC; a user in India sees them 5:30 off unless MDTM shows how far the listing's
// clock is from theirs.
TEST_F(ServerInAnotherZone, ListTimesAreShownInTheUsersOwn)
{
    Start(QStringLiteral("--no-mlsd"), QStringLiteral("Asia/Kolkata"));
    const CliRun run = Compare();
    // The listing's times of day stay an hour early, as they always are.
    const QString strExpected
        = m_when.addSecs(-3600).toTimeZone(QTimeZone("Asia/Kolkata")).toString(QStringLiteral("MM/dd/yyyy HH:mm"));
    EXPECT_EQ(RightTime(run), strExpected) << run.strErr.toStdString();
    EXPECT_THAT(run.strErr, QHasSubstr("+5:30 hours off this computer's clock"));

    // A site's own offset is taken as it is, and nothing is asked.
    const CliRun given = Compare({ QStringLiteral("--time-offset"), QStringLiteral("0") });
    EXPECT_THAT(given.strErr.toStdString(), testing::Not(testing::HasSubstr("> MDTM")));
    EXPECT_NE(RightTime(given), strExpected);
}

// The Windows server lists in its own local time too, in the MS-DOS layout, whose times are read as listed.
TEST_F(ServerInAnotherZone, MsDosListTimesAreShownInTheUsersOwn)
{
    // The server lists in the test's own zone; the user is in another.
    Start(QStringLiteral("--msdos-listing"), QStringLiteral("Pacific/Honolulu"));
    const CliRun run = Compare();
    EXPECT_EQ(
        RightTime(run), m_when.toTimeZone(QTimeZone("Pacific/Honolulu")).toString(QStringLiteral("MM/dd/yyyy HH:mm")))
        << run.strErr.toStdString();
}

} // namespace
