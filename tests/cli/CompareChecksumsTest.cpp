#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// Files above the mirror's 10 KiB limit, so that only their sizes and checksums can decide them.
QByteArray Contents(char cFill)
{
    return QByteArray(20 * 1024, cFill);
}

class CompareChecksums : public testing::Test
{
protected:
    // The server offers the given checksum commands; every file but differ.bin is the same on both sides.
    void StartServer(const QStringList& arguments, CFtpTestServer::Kind kind = CFtpTestServer::Kind::Pyftpdlib)
    {
        ASSERT_TRUE(m_server.Start(kind, arguments)) << m_server.Error().toStdString();
        m_strLocal = MakeTestFolder(QStringLiteral("cli-checksums-local"));
        QDir().mkpath(m_server.Root() + QStringLiteral("/site"));
        for (const char* pName : { "same.bin", "differ.bin", "wrong.bin", "short.bin", "refused.bin" }) {
            const QString strName = QString::fromLatin1(pName);
            WriteFileBytes(m_strLocal + QLatin1Char('/') + strName, Contents('a'));
            WriteFileBytes(Remote(strName), Contents(strName == QLatin1String("differ.bin") ? 'b' : 'a'));
        }
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("cli-checksums-cache")));
    }

    [[nodiscard]] QString Remote(const QString& strName) const
    {
        return m_server.Root() + QStringLiteral("/site/") + strName;
    }

    CliRun Run(const QStringList& options) const
    {
        const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/site")
                                   .arg(QString::fromLatin1(CFtpTestServer::kUser))
                                   .arg(m_server.Port());
        return RunCli(QStringList { QStringLiteral("compare"), QStringLiteral("--json"), QStringLiteral("--trace") }
                + options + QStringList { m_strLocal, strUrl },
            m_environment);
    }

    // "status/decidedBy" of every file of a JSON tree, by name.
    static QMap<QString, QString> Verdicts(const CliRun& run)
    {
        QMap<QString, QString> verdicts;
        for (const QJsonValue item : QJsonDocument::fromJson(run.strOut.toUtf8())[QStringLiteral("items")].toArray()) {
            verdicts.insert(item[QStringLiteral("name")].toString(),
                item[QStringLiteral("status")].toString() + QLatin1Char('/')
                    + item[QStringLiteral("decidedBy")].toString());
        }
        return verdicts;
    }

    CFtpTestServer m_server;
    QString m_strLocal;
    QProcessEnvironment m_environment;
};

TEST_F(CompareChecksums, HashDecidesWhatItCanAndDoubtfulRepliesLeaveFilesUndecided)
{
    const QString strSha1(40, QLatin1Char('0'));
    ASSERT_NO_FATAL_FAILURE(
        StartServer({ QStringLiteral("--checksums"), QStringLiteral("HASH"), QStringLiteral("--refuse"),
            QStringLiteral("HASH wrong.bin:213 SHA-1 0-20480 ") + strSha1 + QStringLiteral(" wrong.bin"),
            QStringLiteral("--refuse"), QStringLiteral("HASH short.bin:213 CRC32 0-100 6f4d4b1c short.bin"),
            QStringLiteral("--refuse"), QStringLiteral("HASH refused.bin:550 Permission denied.") }));

    const CliRun first = Run({});
    ASSERT_EQ(first.nExit, 1) << first.strErr.toStdString();
    QMap<QString, QString> verdicts = Verdicts(first);
    EXPECT_EQ(verdicts[QStringLiteral("same.bin")], QStringLiteral("Same/server checksum"));
    EXPECT_EQ(verdicts[QStringLiteral("differ.bin")], QStringLiteral("Diff/server checksum"));
    for (const char* pDoubtful : { "wrong.bin", "short.bin", "refused.bin" }) {
        EXPECT_EQ(verdicts[QString::fromLatin1(pDoubtful)], QStringLiteral("Unknown/")) << pDoubtful;
    }
    EXPECT_THAT(first.strErr.toStdString(), HasSubstr("> OPTS HASH CRC32"));
    EXPECT_THAT(first.strErr.toStdString(), HasSubstr("> HASH /site/same.bin"));

    // The mirror remembers the checksums it was given; a file whose date changed is asked again.
    QFile remote(Remote(QStringLiteral("differ.bin")));
    ASSERT_TRUE(remote.open(QIODevice::WriteOnly));
    remote.write(Contents('a'));
    remote.setFileTime(QDateTime::currentDateTime().addDays(-3), QFileDevice::FileModificationTime);
    remote.close();
    const CliRun second = Run({});
    verdicts = Verdicts(second);
    EXPECT_EQ(verdicts[QStringLiteral("same.bin")], QStringLiteral("Same/server checksum"));
    EXPECT_EQ(verdicts[QStringLiteral("differ.bin")], QStringLiteral("Same/server checksum"));
    EXPECT_THAT(second.strErr.toStdString(), Not(HasSubstr("> HASH /site/same.bin")));
    EXPECT_THAT(second.strErr.toStdString(), HasSubstr("> HASH /site/differ.bin"));

    const CliRun off = Run({ QStringLiteral("--no-server-checksums") });
    EXPECT_EQ(Verdicts(off)[QStringLiteral("same.bin")], QStringLiteral("Unknown/"));
    EXPECT_THAT(off.strErr.toStdString(), Not(HasSubstr("> HASH")));
}

TEST_F(CompareChecksums, XcrcIsUsedWhenHashIsNotOfferedAndItsRepliesAreCheckedToo)
{
    ASSERT_NO_FATAL_FAILURE(StartServer({ QStringLiteral("--checksums"), QStringLiteral("XCRC"),
        QStringLiteral("--refuse"), QStringLiteral("XCRC wrong.bin:250 ZZZZZZZZ"), QStringLiteral("--refuse"),
        QStringLiteral("XCRC short.bin:250 6F4D4B") }));
    const CliRun run = Run({});
    const QMap<QString, QString> verdicts = Verdicts(run);
    EXPECT_EQ(verdicts[QStringLiteral("same.bin")], QStringLiteral("Same/server checksum"));
    EXPECT_EQ(verdicts[QStringLiteral("refused.bin")], QStringLiteral("Same/server checksum"));
    EXPECT_EQ(verdicts[QStringLiteral("differ.bin")], QStringLiteral("Diff/server checksum"));
    EXPECT_EQ(verdicts[QStringLiteral("wrong.bin")], QStringLiteral("Unknown/"));
    EXPECT_EQ(verdicts[QStringLiteral("short.bin")], QStringLiteral("Unknown/"));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("> XCRC /site/same.bin"));
}

TEST_F(CompareChecksums, AServerOfferingNoChecksumLeavesTheSizesToSpeak)
{
    ASSERT_NO_FATAL_FAILURE(StartServer({}));
    const CliRun run = Run({});
    const QMap<QString, QString> verdicts = Verdicts(run);
    EXPECT_EQ(verdicts[QStringLiteral("same.bin")], QStringLiteral("Unknown/"));
    EXPECT_EQ(verdicts[QStringLiteral("differ.bin")], QStringLiteral("Unknown/"));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("offers no checksum"));
    EXPECT_THAT(run.strErr.toStdString(), Not(HasSubstr("> HASH")));
}

TEST_F(CompareChecksums, ManyFilesAreAskedAboutOverSeveralConnectionsAndEveryOneIsDecided)
{
    ASSERT_NO_FATAL_FAILURE(StartServer({ QStringLiteral("--checksums"), QStringLiteral("HASH") }));
    for (int i = 0; i < 60; ++i) {
        const QString strName = QStringLiteral("many%1.bin").arg(i);
        WriteFileBytes(m_strLocal + QLatin1Char('/') + strName, Contents(static_cast<char>('a' + i % 20)));
        WriteFileBytes(Remote(strName), Contents(static_cast<char>('a' + i % 20 + (i % 10 == 0 ? 1 : 0))));
    }
    const CliRun run = Run({});
    const QJsonObject summary = QJsonDocument::fromJson(run.strOut.toUtf8())[QStringLiteral("summary")].toObject();
    EXPECT_EQ(summary[QStringLiteral("unknown")].toInt(), 0) << run.strErr.toStdString();
    EXPECT_EQ(summary[QStringLiteral("diff")].toInt(), 6 + 1);
    EXPECT_EQ(summary[QStringLiteral("same")].toInt(), 54 + 4);
    EXPECT_GT(run.strErr.count(QStringLiteral("> OPTS HASH CRC32")), 1) << "more than one connection asked";
}

TEST_F(CompareChecksums, ProftpdModDigestDecidesEveryFileItChecksums)
{
    if (!CFtpTestServer::IsRoot()) {
        GTEST_SKIP() << "ProFTPD runs as root only";
    }
    ASSERT_NO_FATAL_FAILURE(StartServer({}, CFtpTestServer::Kind::ProftpdDigest));
    const CliRun run = Run({});
    ASSERT_EQ(run.nExit, 1) << run.strErr.toStdString();
    const QMap<QString, QString> verdicts = Verdicts(run);
    EXPECT_EQ(verdicts[QStringLiteral("differ.bin")], QStringLiteral("Diff/server checksum"));
    for (const char* pName : { "same.bin", "wrong.bin", "short.bin", "refused.bin" }) {
        EXPECT_EQ(verdicts[QString::fromLatin1(pName)], QStringLiteral("Same/server checksum")) << pName;
    }
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("> OPTS HASH CRC32"));
    EXPECT_THAT(run.strErr.toStdString(), HasSubstr("< 213 CRC32 0-20480 "));
}

} // namespace
