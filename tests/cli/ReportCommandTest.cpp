#include <QDir>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

namespace {

TEST(ReportCommand, AReportOfAnFtpFolderNamesItWithoutThePasswordInEveryFormat)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start()) << server.Error().toStdString();
    const QString strLocal = MakeTestFolder(QStringLiteral("cli-report-local"));
    WriteFileBytes(strLocal + QStringLiteral("/same.txt"), "same");
    WriteFileBytes(strLocal + QStringLiteral("/mine.txt"), "mine");
    WriteFileBytes(server.Root() + QStringLiteral("/www/same.txt"), "same");
    WriteFileBytes(server.Root() + QStringLiteral("/www/theirs.txt"), "theirs");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), MakeTestFolder(QStringLiteral("cli-report-cache")));
    const QString strUrl = QStringLiteral("ftp://%1@127.0.0.1:%2/www")
                               .arg(QString::fromLatin1(CFtpTestServer::kUser))
                               .arg(server.Port());

    const CliRun text = RunCli({ QStringLiteral("report"), QStringLiteral("--layout"), QStringLiteral("status"),
                                   QStringLiteral("--only-diff"), strLocal, strUrl },
        environment);
    EXPECT_EQ(text.nExit, 0) << text.strErr.toStdString();
    EXPECT_THAT(text.strOut, QHasSubstr("Only on the local side (1)"));
    EXPECT_THAT(text.strOut, QHasSubstr("mine.txt"));
    EXPECT_THAT(text.strOut, QHasSubstr("theirs.txt"));
    EXPECT_FALSE(text.strOut.contains(QStringLiteral("same.txt"))) << "differences only";
    EXPECT_TRUE(text.strOut.contains(strUrl)) << text.strOut.toStdString();

    const QString strOut = MakeTestFolder(QStringLiteral("cli-report-out"));
    for (const char* pFormat : { "html", "pdf" }) {
        const QString strFile = strOut + QStringLiteral("/report.") + QLatin1String(pFormat);
        const CliRun written = RunCli({ QStringLiteral("report"), QStringLiteral("--format"), QLatin1String(pFormat),
                                          QStringLiteral("-o"), strFile, strLocal, strUrl },
            environment);
        EXPECT_EQ(written.nExit, 0) << written.strErr.toStdString();
        EXPECT_GT(QFileInfo(strFile).size(), 500);
        EXPECT_FALSE(ReadFileBytes(strFile).contains(CFtpTestServer::kPassword));
    }
    const CliRun failed
        = RunCli({ QStringLiteral("report"), QStringLiteral("--format"), QStringLiteral("pdf"), QStringLiteral("-o"),
                     strLocal + QStringLiteral("/same.txt/report.pdf"), strLocal, strUrl },
            environment);
    EXPECT_EQ(failed.nExit, 2);
    EXPECT_THAT(failed.strErr, QHasSubstr("Rendering to PDF failed with the error code["));
}

} // namespace
