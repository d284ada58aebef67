#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/TestFiles.h"

using testing::HasSubstr;

namespace {

class CompareCommand : public testing::Test
{
protected:
    void SetUp() override
    {
        m_strLeft = MakeTestFolder(QStringLiteral("cli/left"));
        m_strRight = MakeTestFolder(QStringLiteral("cli/right"));
        for (const QString& strRoot : { m_strLeft, m_strRight }) {
            QDir().mkpath(strRoot + QStringLiteral("/docs"));
            WriteFileBytes(strRoot + QStringLiteral("/docs/index.html"), "<html></html>");
            WriteFileBytes(strRoot + QStringLiteral("/readme.txt"), "read me");
        }
    }

    QString m_strLeft;
    QString m_strRight;
};

TEST_F(CompareCommand, ExitStatusTellsSameFromDifferentFromError)
{
    const CliRun same = RunCli({ QStringLiteral("compare"), m_strLeft, m_strRight });
    EXPECT_EQ(same.nExit, 0) << same.strErr.toStdString();
    EXPECT_THAT(same.strOut.toStdString(), HasSubstr("2 same, 0 different"));

    WriteFileBytes(m_strRight + QStringLiteral("/readme.txt"), "read ME");
    const CliRun different
        = RunCli({ QStringLiteral("compare"), m_strLeft, m_strRight, QStringLiteral("--only-diff") });
    EXPECT_EQ(different.nExit, 1);
    EXPECT_THAT(different.strOut.toStdString(), HasSubstr("Diff     readme.txt"));
    EXPECT_THAT(different.strOut.toStdString(), testing::Not(HasSubstr("index.html")));

    const CliRun missing = RunCli({ QStringLiteral("compare"), m_strLeft + QStringLiteral("/absent"), m_strRight });
    EXPECT_EQ(missing.nExit, 2);
    EXPECT_EQ(missing.strErr,
        QStringLiteral("quorvel-cli compare: The left folder \"") + m_strLeft
            + QStringLiteral("/absent\" does not exist.\n"));
    EXPECT_TRUE(missing.strOut.isEmpty());

    EXPECT_EQ(RunCli({ QStringLiteral("compare"), m_strLeft }).nExit, 2);
    EXPECT_EQ(RunCli({ QStringLiteral("compare"), QStringLiteral("--bogus"), m_strLeft, m_strRight }).nExit, 2);
    EXPECT_EQ(RunCli({ QStringLiteral("frobnicate") }).nExit, 2);
    const CliRun help = RunCli({ QStringLiteral("compare"), QStringLiteral("--help") });
    EXPECT_EQ(help.nExit, 0);
    EXPECT_THAT(help.strOut.toStdString(), HasSubstr("--only-diff"));
}

TEST_F(CompareCommand, JsonHoldsTheTreeWithBothSides)
{
    WriteFileBytes(m_strLeft + QStringLiteral("/only-here.txt"), "x");
    const CliRun run = RunCli({ QStringLiteral("compare"), QStringLiteral("--json"), m_strLeft, m_strRight });
    EXPECT_EQ(run.nExit, 1);
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(run.strOut.toUtf8(), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << run.strOut.toStdString();
    const QJsonObject summary = document[QStringLiteral("summary")].toObject();
    EXPECT_EQ(summary[QStringLiteral("same")].toInt(), 2);
    EXPECT_EQ(summary[QStringLiteral("leftOnly")].toInt(), 1);
    const QJsonArray items = document[QStringLiteral("items")].toArray();
    ASSERT_EQ(items.size(), 3);
    EXPECT_EQ(items[0][QStringLiteral("name")].toString(), QStringLiteral("docs"));
    EXPECT_EQ(items[0][QStringLiteral("status")].toString(), QStringLiteral("Both"));
    const QJsonObject index = items[0][QStringLiteral("children")][0].toObject();
    EXPECT_EQ(index[QStringLiteral("status")].toString(), QStringLiteral("Same"));
    EXPECT_EQ(index[QStringLiteral("left")][QStringLiteral("size")].toString(), QStringLiteral("13"));
    EXPECT_EQ(index[QStringLiteral("right")][QStringLiteral("path")].toString(),
        m_strRight + QStringLiteral("/docs/index.html"));
    EXPECT_EQ(items[1][QStringLiteral("name")].toString(), QStringLiteral("only-here.txt"));
    EXPECT_TRUE(items[1][QStringLiteral("right")].isNull());
}

TEST_F(CompareCommand, LogOptionWritesEveryDecision)
{
    const CliRun run = RunCli({ QStringLiteral("compare"), QStringLiteral("--log"), m_strLeft, m_strRight });
    EXPECT_EQ(run.nExit, 0);
    const QString prefix = QStringLiteral("Diagnostic log: ");
    ASSERT_TRUE(run.strErr.startsWith(prefix)) << run.strErr.toStdString();
    const QString strLog = run.strErr.mid(prefix.size()).trimmed();
    const QStringList lines = ReadFileLines(strLog);
    EXPECT_EQ(lines.filter(QStringLiteral("CompareItem::")).size(), 3);
    EXPECT_EQ(lines.filter(QStringLiteral("/readme.txt] Same: contents have the same CRC-32")).size(), 1);
}

} // namespace
