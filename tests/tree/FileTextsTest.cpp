#include <ctime>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "tree/FileTexts.h"
#include "tree/NameRules.h"
#include "tree/WorkingNames.h"

namespace {

TEST(FileTexts, SizesGetThousandsSeparators)
{
    EXPECT_EQ(MakeSizeText(0), QStringLiteral("0"));
    EXPECT_EQ(MakeSizeText(999), QStringLiteral("999"));
    EXPECT_EQ(MakeSizeText(1000), QStringLiteral("1,000"));
    EXPECT_EQ(MakeSizeText(1234567), QStringLiteral("1,234,567"));
    EXPECT_EQ(MakeSizeText(18446744073709551615ULL), QStringLiteral("18,446,744,073,709,551,615"));
}

TEST(FileTexts, TimesInEveryForm)
{
    std::tm local {};
    local.tm_year = 2026 - 1900;
    local.tm_mon = 2;
    local.tm_mday = 5;
    local.tm_hour = 9;
    local.tm_min = 7;
    local.tm_sec = 3;
    local.tm_isdst = -1;
    const std::time_t when = std::mktime(&local);
    EXPECT_EQ(MakeTimeText(when), QStringLiteral("03/05/2026 09:07"));
    EXPECT_EQ(MakeTimeText(when, TimeTextForm::MonthFirstWithSeconds), QStringLiteral("03/05/2026 09:07:03"));
    EXPECT_EQ(MakeTimeText(when, TimeTextForm::YearFirst), QStringLiteral("2026/03/05 09:07"));
    EXPECT_EQ(MakeTimeText(when, TimeTextForm::YearFirstWithSeconds), QStringLiteral("2026/03/05 09:07:03"));
}

TEST(FileTexts, MarkersReadBackWhateverTheFileNameHolds)
{
    for (const char* name : { "a.txt", "semi;colon;name.txt", "with space", ";", "ünïcødé" }) {
        const QString strName = QString::fromUtf8(name);
        const QString strMarker = MakeMarkerName(strName, QStringLiteral("1234567"), QStringLiteral("031520261430"));
        const std::optional<MarkerInfo> info = ParseMarkerName(strMarker);
        ASSERT_TRUE(info.has_value()) << name;
        EXPECT_EQ(info->strFileName, strName);
        EXPECT_EQ(info->strSizeText, QStringLiteral("1234567"));
        EXPECT_EQ(info->strDateKey, QStringLiteral("031520261430"));
        EXPECT_TRUE(IsWorkingName(strMarker));
    }
    EXPECT_EQ(ParseMarkerName(QStringLiteral("$quorveldummy01")), std::nullopt);
    EXPECT_EQ(ParseMarkerName(QStringLiteral("$quorvel;1;2")), std::nullopt) << "no file name";
    EXPECT_EQ(ParseMarkerName(QStringLiteral("plain;1;2")), std::nullopt);
}

TEST(FileTexts, PlaceholderTextsHaveTheFormsOfRealFiles)
{
    const MarkerInfo marker { QStringLiteral("a"), QStringLiteral("1234567"), QStringLiteral("031520261430") };
    EXPECT_EQ(MarkerSizeText(marker), MakeSizeText(1234567));
    EXPECT_EQ(MarkerTimeText(marker), QStringLiteral("03/15/2026 14:30"));

    // Listings of files of 2 GiB and more keep their whole size in the marker.
    const MarkerInfo big { QStringLiteral("b"), QStringLiteral("3000000000"), QStringLiteral("010520090000") };
    EXPECT_EQ(MarkerSizeText(big), QStringLiteral("3,000,000,000"));

    // A marker from a listing whose month was not understood keeps its text rather than inventing a date.
    const MarkerInfo odd { QStringLiteral("c"), QStringLiteral("-5"), QStringLiteral("0520091030") };
    EXPECT_EQ(MarkerSizeText(odd), QStringLiteral("-5"));
    EXPECT_EQ(MarkerTimeText(odd), QStringLiteral("0520091030"));
}

TEST(FileTexts, WorkingNamesAreRecognisedAnywhereInTheName)
{
    EXPECT_TRUE(IsWorkingName(QStringLiteral("a$quorvelb.txt")));
    EXPECT_TRUE(IsWorkingName(QStringLiteral("x$diffundo")));
    EXPECT_FALSE(IsWorkingName(QStringLiteral("$quorve.txt")));
    EXPECT_FALSE(IsWorkingName(QStringLiteral("quorvel")));
}

// Every name the program makes for itself is one the scan hides, and one the user can never give: a file
// renamed to such a name would vanish from the tree, and the next listing could remove it.
TEST(FileTexts, TheProgramsOwnNamesAreHiddenAndRefusedAlike)
{
    const QStringList own { LocalWorkingName(), MirrorWorkingName(0xabcdef01),
        UploadWorkingName(QStringLiteral("index.html")), QString::fromLatin1(kUnlistedMarker),
        QString::fromLatin1(kFolderCurrentMarker), QString::fromLatin1(kLinkMarker),
        QString::fromLatin1(kMlsdListingMarker),
        MakeMarkerName(QStringLiteral("a;b"), QStringLiteral("1"), QStringLiteral("010120260000")),
        QStringLiteral(".quorvel-upload-anything") };
    for (const QString& strName : own) {
        EXPECT_TRUE(IsWorkingName(strName)) << strName.toStdString();
        EXPECT_FALSE(WhyNameIsRefused(strName).isEmpty()) << strName.toStdString();
    }
    EXPECT_TRUE(WhyNameIsRefused(QStringLiteral("quorvel-upload.txt")).isEmpty());
    EXPECT_EQ(UploadWorkingName(QStringLiteral("page. . ")).right(5), QStringLiteral("-page"))
        << "servers drop trailing spaces and dots, so the working name has none";
}

} // namespace
