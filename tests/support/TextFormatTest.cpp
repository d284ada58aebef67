#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "support/TextFormat.h"

namespace {

// Log and trace lines are built from printf patterns; a wrong width, sign or conversion shows as a
// wrong line that other tools (and users' scripts) read.
TEST(TextFormat, FormatsTheLogPatternsOfTheProgram)
{
    EXPECT_EQ(FormatText("FTPSendFtpCommand::[%ld] command=%s", 4711L, QStringLiteral("PWD")),
        QStringLiteral("FTPSendFtpCommand::[4711] command=PWD"));
    EXPECT_EQ(FormatText("%02d/%02d/%04d %02d:%02d", 3, 5, 2026, 9, 7), QStringLiteral("03/05/2026 09:07"));
    EXPECT_EQ(FormatText("%.2d%.2d_%.2d%.2d%.2d", 3, 15, 14, 29, 7), QStringLiteral("0315_142907"));
    EXPECT_EQ(FormatText("%u.%u.%u.%u", 1u, 2u, 300u, 4u), QStringLiteral("1.2.300.4"));
    EXPECT_EQ(FormatText("elapse=%.0f, interval=%u", 12.6, 10u), QStringLiteral("elapse=13, interval=10"));
    EXPECT_EQ(FormatText("%04x%04x", 0x409, 0x4b0), QStringLiteral("040904b0"));
    EXPECT_EQ(FormatText("100%% of %s", "them"), QStringLiteral("100% of them"));
}

TEST(TextFormat, TextWidthPrecisionAndUnicode)
{
    EXPECT_EQ(FormatText("[%-5s]", QStringLiteral("ab")), QStringLiteral("[ab   ]"));
    EXPECT_EQ(FormatText("[%5s]", QStringLiteral("ab")), QStringLiteral("[   ab]"));
    EXPECT_EQ(FormatText("[%.3s]", QStringLiteral("abcdef")), QStringLiteral("[abc]"));
    EXPECT_EQ(FormatText("%s→%s", QStringLiteral("Grüße"), std::string("日本")), QStringLiteral("Grüße→日本"));
    EXPECT_EQ(FormatText("%c%c", 'A', 0x1F600), QStringLiteral("A\U0001F600"));
}

TEST(TextFormat, MismatchedAndMissingArgumentsNeverCrashOrLoseText)
{
    EXPECT_EQ(FormatText("n=%s", 42), QStringLiteral("n=42"));
    EXPECT_EQ(FormatText("n=%d", QStringLiteral("x")), QStringLiteral("n=x"));
    EXPECT_EQ(FormatText("%s and %s", QStringLiteral("one")), QStringLiteral("one and %s"));
    EXPECT_EQ(FormatText("cut %"), QStringLiteral("cut %"));
    EXPECT_EQ(FormatText("odd %y here", 1), QStringLiteral("odd %y here"));
}

TEST(TextFormat, IntegersKeepTheirFullRange)
{
    EXPECT_EQ(FormatText("%d", 4294967296LL), QStringLiteral("4294967296"));
    EXPECT_EQ(FormatText("%d", 18446744073709551615ULL), QStringLiteral("18446744073709551615"));
    EXPECT_EQ(FormatText("%u", -1), QStringLiteral("4294967295"));
    EXPECT_EQ(FormatText("%lu", -1L), QStringLiteral("18446744073709551615"));
    EXPECT_EQ(FormatText("%ld", -12L), QStringLiteral("-12"));
}

} // namespace
