#include <ctime>
#include <random>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "ftp/ListingParser.h"

namespace {

const ListingYears kYears { 2026, 2026 };

std::int64_t LocalTime(int nYear, int nMonth, int nDay, int nHour, int nMinute)
{
    std::tm when {};
    when.tm_year = nYear - 1900;
    when.tm_mon = nMonth - 1;
    when.tm_mday = nDay;
    when.tm_hour = nHour;
    when.tm_min = nMinute;
    when.tm_isdst = 0;
    return std::mktime(&when);
}

struct LineCase
{
    const char* line;
    const char* name;
    bool bDirectory;
    bool bLink;
    std::int64_t nSize;
    const char* dateKey;
};

// Lines as real servers write them: pyftpdlib, vsftpd, classic Unix ls with a year, and the odd ones.
TEST(ListingParser, RealServerLinesGiveTheirEntries)
{
    const LineCase cases[] = {
        { "-rw-r--r--   1 tester   tester         16 Nov 21 07:29 file.txt", "file.txt", false, false, 16,
            "112120260729" },
        { "-rw-r--r--    1 0        0              16 Nov 21 07:29 file.txt", "file.txt", false, false, 16,
            "112120260729" },
        { "drwxr-xr-x   2 user group     4096 Jan  5 10:30 my folder", "my folder", true, false, 4096, "010520261030" },
        { "lrwxrwxrwx 1 u g 11 Mar 3 2009 web -> public_html", "web", false, true, 11, "030320090000" },
        { "-rw-r--r-- 1 u g 3000000000 Dec 31 1999 huge.iso", "huge.iso", false, false, 2147483647, "123119990000" },
        { "-rw-r--r-- 1 u g 99999999999999999999 Feb 30 2020 absurd", "absurd", false, false, 2147483647,
            "023020200000" },
        { "-rw-r--r-- 1 u g 5 Jun 1 12:00 says -> but is a file", "says -> but is a file", false, false, 5,
            "060120261200" },
        { "-rw-r--r-- 1 u g 7 Jun 1 2020  leading space", " leading space", false, false, 7, "060120200000" },
        // An owner without a group, and a group that holds a space, still leave the layout beyond doubt.
        { "-rw-r--r--   1 ftp          531 Sep 26  2000 no group", "no group", false, false, 531, "092620000000" },
        { "-rw-r--r--   1 john  domain users  4096 Jan  5 10:30 Filename with whitespace.jpg",
            "Filename with whitespace.jpg", false, false, 4096, "010520261030" },
        { "-rw-r--r--+  1 500   500   12 Jan  5 09:05 acl.txt", "acl.txt", false, false, 12, "010520260905" },
        { "-rw-r--r--.  1 root root 12 Jan  5 09:05 selinux.txt", "selinux.txt", false, false, 12, "010520260905" },
        // busybox's ls -l, as small devices' servers run it
        { "-rw-r--r--    1 root     root          1234 Jan  1 12:00 busybox.cfg", "busybox.cfg", false, false, 1234,
            "010120261200" },
        // ls in other languages
        { "-rw-r--r-- 1 u g 5 Mär  3 10:30 german.txt", "german.txt", false, false, 5, "030320261030" },
        { "-rw-r--r-- 1 u g 5 Dez 24  2019 weihnachten", "weihnachten", false, false, 5, "122420190000" },
        { "-rw-r--r-- 1 u g 5 janv.  5 10:30 fichier.txt", "fichier.txt", false, false, 5, "010520261030" },
        { "-rw-r--r-- 1 u g 5 août 15  2020 vacances", "vacances", false, false, 5, "081520200000" },
        { "-rw-r--r-- 1 u g 5 ene 5 10:30 enero.txt", "enero.txt", false, false, 5, "010520261030" },
        { "drwxr-xr-x 2 u g 4096 ott 31  2021 ottobre", "ottobre", true, false, 4096, "103120210000" },
        { "-rw-r--r-- 1 u g 5 mrt 1 08:00 maart", "maart", false, false, 5, "030120260800" },
        { "-rw-r--r-- 1 u g 5 maj 1 08:00 maj.txt", "maj.txt", false, false, 5, "050120260800" },
        { "-rw-r--r-- 1 u g 5 out 1 08:00 outubro", "outubro", false, false, 5, "100120260800" },
    };
    for (const LineCase& c : cases) {
        FtpListEntry entry;
        ASSERT_TRUE(ParseListLine(QString::fromUtf8(c.line), kYears, entry)) << c.line;
        EXPECT_EQ(entry.name, QString::fromUtf8(c.name)) << c.line;
        EXPECT_EQ(entry.isDirectory, c.bDirectory) << c.line;
        EXPECT_EQ(entry.isLink, c.bLink) << c.line;
        EXPECT_EQ(entry.size, c.nSize) << c.line;
        EXPECT_EQ(entry.dateKey, QString::fromUtf8(c.dateKey)) << c.line;
    }
}

struct DosCase
{
    const char* line;
    const char* name;
    bool bDirectory;
    std::int64_t nSize;
    const char* dateKey;
};

// The layout of the FTP server built into Windows: once read as nothing, so a whole server looked empty.
TEST(ListingParser, MsDosLinesGiveTheirEntries)
{
    const DosCase cases[] = {
        { "01-05-20  12:00PM       <DIR>          sub", "sub", true, -1, "010520201200" },
        { "01-05-20  12:00PM                   19 ok.txt", "ok.txt", false, 19, "010520201200" },
        { "04-27-2000  09:09PM             1,234,567 a name with  spaces.txt", "a name with  spaces.txt", false,
            1234567, "042720002109" },
        { "10-23-98  12:15AM  5000000000 big.iso", "big.iso", false, 5000000000LL, "102319980015" },
        { "10-23-2006  13:45       <DIR>          24 hour clock", "24 hour clock", true, -1, "102320061345" },
    };
    for (const DosCase& c : cases) {
        const ParsedListing parsed = ParseListing(QString::fromUtf8(c.line), kYears);
        ASSERT_EQ(parsed.entries.size(), 1u) << c.line;
        const FtpListEntry& entry = parsed.entries[0];
        EXPECT_EQ(entry.name, QString::fromUtf8(c.name)) << c.line;
        EXPECT_EQ(entry.isDirectory, c.bDirectory) << c.line;
        EXPECT_EQ(entry.nExactSize, c.nSize) << c.line;
        EXPECT_EQ(entry.dateKey, QString::fromUtf8(c.dateKey)) << c.line;
    }
    for (const char* line : { "13-05-20  12:00PM  19 no such month", "01-05-20  13:00PM  19 no such hour",
             "01-05-20  12:00PM  1,23 a broken size", "01-05-20  12:00PM  <DIR>", "01-05-20 12:00PM" }) {
        FtpListEntry entry;
        EXPECT_FALSE(ParseMsDosLine(QString::fromUtf8(line), entry)) << line;
    }
}

// Lines whose fields are not what their places claim once gave a plausible but wrong name, which a sync
// then deleted or copied under: they give no entry at all, and so keep their folder from any deletion.
TEST(ListingParser, LinesWhoseFieldsAreNotWhatTheyClaimGiveNoEntry)
{
    for (const char* line : {
             "-rw-r--r--   1 root     other        531 09-26 2000 05-unix-date file",
             "-rw-r--r--   1 user group 4096 2020-01-05 10:30 iso date",
             "-rw-r--r-- 1 u g -12 Jun 1 10:00 negative size",
             "-rw-r--r-- 1 u g x1 Jun 1 2020 letters in the size",
             "-rw-r--r-- 1 u g 5 Mrx 1 2020 a month not understood",
             "-rw-r--r-- 1 u g 5 Jun 1 24:00 no such hour",
             "-rw-r--r-- 1 u g 5 Jun 32 2020 no such day",
             "-rw-r--r-- x u g 5 Jun 1 2020 no link count",
             "-rw-r--r-- 1 u g 5 Jun 1 2020",
             "-rw-r--r-- 1 u g 5 Jun 1 2020 ",
             "-rw-r--r-- 1 5 Jun 1 2020 no owner",
         }) {
        FtpListEntry entry;
        EXPECT_FALSE(ParseListLine(QString::fromUtf8(line), kYears, entry))
            << line << " gave " << entry.name.toStdString();
    }
}

TEST(ListingParser, DatesFollowTheListingRules)
{
    EXPECT_EQ(DateFromListing(QStringLiteral("Jan"), QStringLiteral("5"), QStringLiteral("2009"), kYears),
        LocalTime(2009, 1, 5, 0, 0));
    // A time of day: this year (UTC), and an hour less than listed.
    EXPECT_EQ(DateFromListing(QStringLiteral("Jan"), QStringLiteral("5"), QStringLiteral("10:30"), kYears),
        LocalTime(2026, 1, 5, 9, 30));
    EXPECT_EQ(DateFromListing(QStringLiteral("Mrx"), QStringLiteral("5"), QStringLiteral("2009"), kYears),
        LocalTime(2009, 1, 5, 0, 0))
        << "a month that is not understood counts as January";
    EXPECT_EQ(DateFromListing(QStringLiteral("3"), QStringLiteral("5"), QStringLiteral("2009"), kYears),
        LocalTime(2009, 3, 5, 0, 0));
    EXPECT_EQ(DateFromListing(QStringLiteral("Feb"), QStringLiteral("30"), QStringLiteral("2020"), kYears),
        LocalTime(2020, 3, 1, 0, 0));
    EXPECT_EQ(DateFromListing(QStringLiteral("Jun"), QStringLiteral("1"), QStringLiteral("24:00"), kYears),
        LocalTime(2026, 6, 1, 23, 0));
    (void)DateFromListing(
        QStringLiteral("Jun"), QStringLiteral("99999999999"), QStringLiteral("99999999999999999999"), kYears);
    EXPECT_EQ(DateKeyFromListing(QStringLiteral("Jan"), QStringLiteral("5"), QStringLiteral("10:30"), { 2026, 2027 }),
        QStringLiteral("010520271030"))
        << "the date key takes the local year";
}

TEST(ListingParser, ListingsSkipNoiseAndOversizedLines)
{
    const QString strText = QStringLiteral("total 12\r\n\r\n"
                                           "drwxr-xr-x 2 u g 4096 Jan 5 10:30 .\r\n"
                                           "drwxr-xr-x 2 u g 4096 Jan 5 10:30 ..\r\n"
                                           "-rw-r--r-- 1 u g 3 Jan 5 10:30 a.txt\n\n\n"
                                           "-rw-r--r-- 1 u g 3 Jan 5 10:30 b.txt")
        + QStringLiteral("\n-rw-r--r-- 1 u g 3 Jan 5 10:30 ") + QString(70000, QLatin1Char('x'))
        + QStringLiteral("\rtruncated line");
    const ParsedListing parsed = ParseListing(strText, kYears);
    ASSERT_EQ(parsed.entries.size(), 2u);
    EXPECT_EQ(parsed.entries[0].name, QStringLiteral("a.txt"));
    EXPECT_EQ(parsed.entries[1].name, QStringLiteral("b.txt"));
    ASSERT_EQ(parsed.rejectedLines.size(), 1u);
    EXPECT_EQ(parsed.rejectedLines[0].size(), 80);
}

TEST(ListingParser, GarbageNeverCrashes)
{
    std::mt19937 random(5);
    for (int i = 0; i < 2000; ++i) {
        QString strText;
        const int nLength = static_cast<int>(random() % 400);
        for (int j = 0; j < nLength; ++j) {
            strText += QChar(static_cast<char16_t>(random() % 4 == 0 ? QLatin1Char(' ').unicode() : random() % 0x3000));
        }
        (void)ParseListing(strText, kYears);
    }
    (void)ParseListing(QString(100, QChar(0)), kYears);
}

TEST(ListingParser, OnlyNamesThatCanBeStoredAreSafe)
{
    for (const char* safe : { "a.txt", "my folder", " leading", "ünïcødé", "...", "a;b" }) {
        EXPECT_TRUE(IsSafeEntryName(QString::fromUtf8(safe))) << safe;
    }
    for (const QString& unsafe :
        { QString(), QStringLiteral("."), QStringLiteral(".."), QStringLiteral("a/b"), QStringLiteral("a\\b"),
            QStringLiteral("../up"), QString::fromUtf8("nul\0x", 5), QStringLiteral("tab\there"),
            QStringLiteral("del\x7f"), QString(256, QLatin1Char('n')), QString(128, QChar(0x00E9)) }) {
        EXPECT_FALSE(IsSafeEntryName(unsafe)) << unsafe.toStdString();
    }
    EXPECT_TRUE(IsSafeEntryName(QString(255, QLatin1Char('n'))));
}

} // namespace

namespace {

struct LayoutCase
{
    const char* text;
    size_t nEntries;
    size_t nUnparsed;
};

// What is and is not a line of a Unix listing; a line that is not makes its folder's listing partial.
TEST(ListingParser, LinesOfOtherLayoutsAreSetApartNotTakenForFiles)
{
    const LayoutCase cases[] = {
        { "total 0\r\n", 0, 0 },
        { "TOTAL 12\n-rw-r--r-- 1 u g 3 Jan 5 10:30 a.txt\n", 1, 0 },
        { "drwxr-xr-x 2 u g 4096 Jan 5 10:30 .\r\ndrwxr-xr-x 2 u g 4096 Jan 5 10:30 ..\r\n", 0, 0 },
        { "01-05-20  10:30AM       <DIR>          images\r\n", 1, 0 },
        { "01-05-20  10:31AM                 1234 an ms-dos file name with words\r\n", 1, 0 },
        { "2020-01-05  10:31  1234 an ISO date\r\n", 0, 1 },
        { "garbage\r\n", 0, 1 },
        { "-rw-r--r-- 1 u g 3 Jan 5 10:30 a.txt\r\nthis line is not one\r\n", 1, 1 },
        { "drwxr-xr-x+ 2 u g 4096 Jan 5 10:30 acl\r\n-rw-r--r--@ 1 u g 1 Jan 5 10:30 mac\r\n", 2, 0 },
        { "crw-rw-rw- 1 root root 1, 3 Jan 5 10:30 null\r\n", 1, 0 },
        { "Xrw-r--r-- 1 u g 3 Jan 5 10:30 odd\r\n", 0, 1 },
    };
    for (const LayoutCase& c : cases) {
        const ParsedListing parsed = ParseListing(QString::fromUtf8(c.text), kYears);
        EXPECT_EQ(parsed.entries.size(), c.nEntries) << c.text;
        EXPECT_EQ(parsed.unparsedLines.size(), c.nUnparsed) << c.text;
    }
}

// Only plain decimal sizes are believed for a download; the design's own conversion stays for the texts.
TEST(ListingParser, OnlyPlainDecimalSizesAreExact)
{
    const std::pair<const char*, std::int64_t> cases[] = { { "19", 19 }, { "0", 0 }, { "-5", -1 }, { "1e3", -1 },
        { "0x13", -1 }, { "+19", -1 }, { "", -1 }, { "3000000000", 3000000000LL }, { "99999999999999999999", -1 } };
    for (const auto& [pText, nExact] : cases) {
        EXPECT_EQ(ExactSizeFromText(QString::fromLatin1(pText)), nExact) << pText;
    }
    FtpListEntry entry;
    // Sizes are 64-bit: the 32-bit text of the design never stands in for the size a download is held to.
    ASSERT_TRUE(ParseListLine(QStringLiteral("-rw-r--r-- 1 u g 3000000000 Jan 5 2020 f"), kYears, entry));
    EXPECT_EQ(entry.size, 2147483647);
    EXPECT_EQ(entry.nExactSize, 3000000000LL);
    ASSERT_TRUE(ParseListLine(QStringLiteral("lrwxrwxrwx 1 u g 6 Jan 5 2020 latest -> ok.txt"), kYears, entry));
    EXPECT_EQ(entry.strLinkTarget, QStringLiteral("ok.txt"));
}

} // namespace
