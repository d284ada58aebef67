#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "ftp/MlsdListing.h"

namespace {

// 5 January 2020, 12:00:00 UTC.
constexpr std::int64_t kNoonUtc = 1578225600;

struct MlsdCase
{
    const char* line;
    MlsdLine expected;
    const char* name; // for an entry
    bool bDirectory;
    bool bLink;
    std::int64_t nSize; // -1: none given
};

// Lines as ProFTPD, Pure-FTPd, pyftpdlib and the Windows server send them, and the ways they can go wrong.
TEST(MlsdListing, LinesGiveEntriesWithTheirNamesWhole)
{
    const MlsdCase cases[] = {
        { "type=file;size=19;modify=20200105120000;unique=803U2; ok.txt", MlsdLine::Entry, "ok.txt", false, false, 19 },
        { "Type=File;Size=19;Modify=20200105120000; caps.txt", MlsdLine::Entry, "caps.txt", false, false, 19 },
        { "type=dir;modify=20200105120000;perm=flcdmpe; sub", MlsdLine::Entry, "sub", true, false, -1 },
        { "type=file;size=5;modify=20200105120000;   two leading spaces", MlsdLine::Entry, "  two leading spaces",
            false, false, 5 },
        { "type=file;size=5;modify=20200105120000; trailing  ", MlsdLine::Entry, "trailing  ", false, false, 5 },
        { "type=file;size=5;modify=20200105120000; semi;colon=name.txt", MlsdLine::Entry, "semi;colon=name.txt", false,
            false, 5 },
        { "type=file;size=6442450944;modify=20200105120000; big.iso", MlsdLine::Entry, "big.iso", false, false,
            6442450944LL },
        { "type=file;size=1;modify=20200105120000.123; fraction", MlsdLine::Entry, "fraction", false, false, 1 },
        { "type=OS.unix=symlink;size=4;modify=20200105120000; link", MlsdLine::Entry, "link", false, true, 4 },
        { "type=OS.unix=slink:/srv/target;modify=20200105120000; plink", MlsdLine::Entry, "plink", false, true, -1 },
        { "type=cdir;modify=20200105120000; .", MlsdLine::Skipped, "", false, false, -1 },
        { "type=pdir;modify=20200105120000; ..", MlsdLine::Skipped, "", false, false, -1 },
        { "type=OS.unix=chr-13/29;modify=20200105120000; tty", MlsdLine::Skipped, "", false, false, -1 },
        { "type=file;size=19;modify=20200105120000;ok.txt", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;modify=20200105120000; no size", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=-3;modify=20200105120000; negative", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=12k;modify=20200105120000; unit", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=1;modify=20200231120000; no such day", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=1;modify=2020010512; short time", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=1;modify=20200105120000.; empty fraction", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size;modify=20200105120000; fact without value", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=socket;size=1; strange type", MlsdLine::Unreadable, "", false, false, -1 },
        { "type=file;size=1; ", MlsdLine::Unreadable, "", false, false, -1 },
        { " no facts at all", MlsdLine::Unreadable, "", false, false, -1 },
        // A link target holding "; " leaves the name's start in doubt: better no entry than a wrong name.
        { "type=OS.unix=slink:a; b;modify=20200105120000; name", MlsdLine::Unreadable, "", false, false, -1 },
        { "-rw-r--r--   1 tester   tester         16 Nov 21 07:29 file.txt", MlsdLine::Unreadable, "", false, false,
            -1 },
    };
    for (const MlsdCase& test : cases) {
        FtpListEntry entry;
        const QString strLine = QString::fromUtf8(test.line);
        ASSERT_EQ(ParseMlsdLine(strLine, entry), test.expected) << test.line;
        if (test.expected != MlsdLine::Entry) {
            continue;
        }
        EXPECT_EQ(entry.name, QString::fromUtf8(test.name)) << test.line;
        EXPECT_EQ(entry.isDirectory, test.bDirectory) << test.line;
        EXPECT_EQ(entry.isLink, test.bLink) << test.line;
        EXPECT_EQ(entry.nExactSize, test.nSize) << test.line;
        EXPECT_TRUE(entry.bExactTime) << test.line;
        EXPECT_EQ(entry.modifiedTime, kNoonUtc) << test.line;
    }
}

TEST(MlsdListing, LinksKeepTheirTargetAndFilesTheirServerIdentity)
{
    FtpListEntry entry;
    ASSERT_EQ(ParseMlsdLine(QStringLiteral("type=OS.unix=slink:../up one;modify=20200105120000; back"), entry),
        MlsdLine::Entry);
    EXPECT_EQ(entry.strLinkTarget, QStringLiteral("../up one"));
    ASSERT_EQ(ParseMlsdLine(QStringLiteral("type=file;size=1;unique=fd01g2a3; f"), entry), MlsdLine::Entry);
    EXPECT_EQ(entry.strUnique, QStringLiteral("fd01g2a3"));
    EXPECT_FALSE(entry.bExactTime) << "no modify fact, no time";
}

TEST(MlsdListing, AReplyCountsItsUnreadableLinesAndSkipsItsOwnFolder)
{
    const ParsedListing parsed = ParseMlsdListing(QStringLiteral("type=cdir;modify=20200105120000; /site\r\n"
                                                                 "type=file;size=3;modify=20200105120000; a.txt\r\n"
                                                                 "garbage without facts\r\n"
                                                                 "type=dir;modify=20200105120000; b\r\n"));
    ASSERT_EQ(parsed.entries.size(), 2U);
    EXPECT_EQ(parsed.entries[0].name, QStringLiteral("a.txt"));
    EXPECT_EQ(parsed.entries[1].name, QStringLiteral("b"));
    EXPECT_EQ(parsed.UnreadLines(), 1);
}

TEST(MlsdListing, MachineTimesAreUtcAndRealDatesOnly)
{
    EXPECT_EQ(TimeFromMachineText(u"20200105120000"), kNoonUtc);
    EXPECT_EQ(TimeFromMachineText(u"20200105120000.5"), kNoonUtc);
    EXPECT_EQ(TimeFromMachineText(u"20240229000000"), 1709164800) << "a leap day";
    for (const char16_t* pBad : { u"20230229000000", u"20201301000000", u"20200105240000", u"2020010512000",
             u"2020010512000x", u"", u"20200105120000.x" }) {
        EXPECT_FALSE(TimeFromMachineText(pBad).has_value()) << QString::fromUtf16(pBad).toStdString();
    }
}

} // namespace
