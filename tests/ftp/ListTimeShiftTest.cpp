#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "ftp/ListTimeShift.h"

namespace {

// A Unix-layout file listed at 10:00 on 5 January 2020, read as the program reads it: an hour early.
FtpListEntry ListedAtTen(std::int64_t nListedAsUtc)
{
    FtpListEntry entry;
    entry.permissions = QStringLiteral("-rw-r--r--");
    entry.timeOrYearText = QStringLiteral("10:00");
    entry.modifiedTime = nListedAsUtc - 3600;
    return entry;
}

constexpr std::int64_t kTenUtc = 1578218400; // 5 January 2020, 10:00:00 UTC

TEST(ListTimeShift, MdtmAgainstTheListedTimeGivesTheServersZone)
{
    const FtpListEntry probe = ListedAtTen(kTenUtc);
    const std::pair<const char*, std::optional<std::int64_t>> cases[] = {
        { "213 20200105100042", 0 }, // the same clock, seconds dropped by the listing
        { "213 20200105043000", -19800 }, // the server lists in India's time, 5:30 ahead of UTC
        { "213 20200105150059", 18000 }, // five hours behind
        { "213 20200105100000.25", 0 },
        { "213 20200106010000", std::nullopt }, // fifteen hours: no time zone
        { "213 20200105101000", std::nullopt }, // ten minutes: not a zone's offset
        { "550 No such file", std::nullopt },
        { "213 yesterday", std::nullopt },
    };
    for (const auto& [pReply, expected] : cases) {
        EXPECT_EQ(ListTimeShiftFrom(probe, QString::fromLatin1(pReply)), expected) << pReply;
    }
}

TEST(ListTimeShift, OnlyFilesListedWithATimeOfDayAreProbedAndShifted)
{
    FtpListEntry folder = ListedAtTen(kTenUtc);
    folder.isDirectory = true;
    FtpListEntry yearOnly = ListedAtTen(kTenUtc);
    yearOnly.timeOrYearText = QStringLiteral("2019");
    FtpListEntry exact = ListedAtTen(kTenUtc);
    exact.bExactTime = true;
    EXPECT_EQ(ListTimeProbe({ folder, yearOnly, exact }), nullptr);
    EXPECT_FALSE(TakesListTimeShift(yearOnly));
    EXPECT_FALSE(TakesListTimeShift(exact));
    EXPECT_TRUE(TakesListTimeShift(folder));
    const std::vector<FtpListEntry> entries { folder, ListedAtTen(kTenUtc) };
    EXPECT_EQ(ListTimeProbe(entries), &entries[1]);

    // The MS-DOS layout's times are read as listed, without the Unix layout's hour.
    FtpListEntry msdos;
    msdos.timeOrYearText = QStringLiteral("10:00");
    msdos.modifiedTime = kTenUtc;
    EXPECT_TRUE(TakesListTimeShift(msdos));
    EXPECT_EQ(ListTimeShiftFrom(msdos, QStringLiteral("213 20200105043000")), -19800);
}

} // namespace
