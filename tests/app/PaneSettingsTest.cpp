#include <gmock/gmock.h>

#include "app/PaneSettings.h"
#include "common/TestFiles.h"
#include "support/SettingsStore.h"

namespace {

TEST(PaneSettings, FirstStartUsesDefaultsAndWritesTheTwoSwitchesBack)
{
    CSettingsStore store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("first-start")));
    const CPaneSettings settings = CPaneSettings::Read(store);
    EXPECT_EQ(settings.nFontSize, -11);
    EXPECT_EQ(settings.strFontName, QStringLiteral("Tahoma"));
    EXPECT_EQ(settings.colorSame, 0u);
    EXPECT_EQ(settings.colorDiff, 0x0000FFu) << "pure red, red in the lowest byte";
    EXPECT_EQ(settings.colorLeftOnly, 0x009B00u) << "green 155";
    EXPECT_EQ(settings.colorRightOnly, 0xFF0000u) << "pure blue";
    EXPECT_EQ(settings.colorUnknown, 0x770B77u) << "purple: red 119, green 11, blue 119";
    EXPECT_EQ(settings.str1stColor, QStringLiteral("39680"));
    EXPECT_TRUE(settings.bFileVersion && settings.bFileTimestamp && settings.bFileSize);
    EXPECT_TRUE(settings.bDeleteRowOfGoodXfer);
    EXPECT_FALSE(settings.bLogEnabled || settings.bFullLog);
    EXPECT_EQ(settings.nGridlinesEnabled, 1);
    EXPECT_EQ(settings.nIncludeFoldersForDiffs, 1);

    ASSERT_TRUE(store.Sync());
    EXPECT_TRUE(store.Contains("Misc.", "GridlinesEnabled"));
    EXPECT_TRUE(store.Contains("Settings", "IncludeFoldersForDiffs"));
    EXPECT_FALSE(store.Contains("Settings", "FontName")) << "only the two switches are written at first start";
}

TEST(PaneSettings, WriteBackKeepsWhatTheUserChangedAndLeavesTextColoursAlone)
{
    const QString strFolder = MakeTestFolder(QStringLiteral("write-back"));
    CSettingsStore store = CSettingsStore::InFolder(strFolder);
    store.WriteString("Settings", "RegColor", QStringLiteral("12345"));
    CPaneSettings settings = CPaneSettings::Read(store);
    settings.nFontSize = -14;
    settings.strFontName = QStringLiteral("Noto Sans");
    settings.colorDiff = 0x00A5FF;
    settings.bFileSize = false;
    settings.bLogEnabled = true;
    settings.bFullLog = true;
    settings.nIncludeFoldersForDiffs = 0;
    settings.strRegColor = QStringLiteral("999");
    settings.Write(store);
    ASSERT_TRUE(store.Sync());

    CSettingsStore reopened = CSettingsStore::InFolder(strFolder);
    const CPaneSettings again = CPaneSettings::Read(reopened);
    EXPECT_EQ(again.nFontSize, -14);
    EXPECT_EQ(again.strFontName, QStringLiteral("Noto Sans"));
    EXPECT_EQ(again.colorDiff, 0x00A5FFu);
    EXPECT_FALSE(again.bFileSize);
    EXPECT_TRUE(again.bLogEnabled);
    EXPECT_TRUE(again.bFullLog);
    EXPECT_EQ(again.nIncludeFoldersForDiffs, 0) << "the write-back after reading keeps the stored value";
    EXPECT_EQ(again.strRegColor, QStringLiteral("12345")) << "the text colours are not the panes' to write";
}

} // namespace
