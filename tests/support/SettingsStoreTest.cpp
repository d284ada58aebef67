#include <QFile>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "support/SettingsStore.h"
#include "support/SettingsTable.h"

namespace {

TEST(SettingsStore, EmptyProfileGivesEveryTableDefault)
{
    const CSettingsStore store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("defaults")));
    for (const SettingDefinition& definition : AllSettings()) {
        if (definition.type == SettingType::String) {
            EXPECT_EQ(store.ReadString(definition.strSection, definition.strKey),
                QString::fromUtf8(definition.strDefault.data(), static_cast<qsizetype>(definition.strDefault.size())));
        } else {
            EXPECT_EQ(store.ReadInt(definition.strSection, definition.strKey), definition.nDefault);
        }
        EXPECT_FALSE(store.Contains(definition.strSection, definition.strKey)) << "reading must not write";
    }
}

TEST(SettingsStore, ValuesSurviveANewStoreOnTheSameFolder)
{
    const QString strFolder = MakeTestFolder(QStringLiteral("roundtrip"));
    {
        CSettingsStore store = CSettingsStore::InFolder(strFolder);
        store.WriteInt("Settings", "FontSize", -15);
        store.WriteString("Settings", "FontName", QStringLiteral("DejaVu Sans Mono"));
        store.WriteInt("Settings", "ColorRightOnly", 0xFFFFFFFFLL);
        store.WriteInt("Misc.", "GridlinesEnabled", 0);
        ASSERT_TRUE(store.Sync());
    }
    const CSettingsStore store = CSettingsStore::InFolder(strFolder);
    EXPECT_EQ(store.ReadInt("Settings", "FontSize"), -15);
    EXPECT_EQ(store.ReadString("Settings", "FontName"), QStringLiteral("DejaVu Sans Mono"));
    EXPECT_EQ(store.ReadInt("Settings", "ColorRightOnly"), 0xFFFFFFFFLL);
    EXPECT_EQ(store.ReadInt("Misc.", "GridlinesEnabled"), 0) << "a stored 0 is not the same as absent";
    EXPECT_TRUE(QFile::exists(strFolder + QStringLiteral("/Quorvel.ini")));
}

TEST(SettingsStore, DamagedValuesFallBackToDefaultsAndBytesStayBytes)
{
    CSettingsStore store = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("damaged")));
    store.WriteString("Settings", "FontSize", QStringLiteral("large"));
    store.WriteInt("Misc.", "GridlinesEnabled", 0x1FF);
    store.WriteInt("Settings", "DetailTimestamp", -1);
    EXPECT_EQ(store.ReadInt("Settings", "FontSize"), -11);
    EXPECT_EQ(store.ReadInt("Misc.", "GridlinesEnabled"), 0xFF);
    EXPECT_EQ(store.ReadInt("Settings", "DetailTimestamp"), 0xFF);
}

TEST(SettingsStore, ProfileFolderRedirectsEveryDefaultStore)
{
    const QString strFolder = MakeTestFolder(QStringLiteral("profile-override"));
    CSettingsStore::SetProfileFolder(strFolder);
    {
        CSettingsStore store;
        store.WriteInt("Settings", "LogEnabled", 1);
        ASSERT_TRUE(store.Sync());
        EXPECT_EQ(store.Location(), strFolder + QStringLiteral("/Quorvel.ini"));
    }
    EXPECT_EQ(CSettingsStore().ReadInt("Settings", "LogEnabled"), 1);
    EXPECT_EQ(CSettingsStore(QStringLiteral("Other")).Location(), strFolder + QStringLiteral("/Other.ini"));
    CSettingsStore::SetProfileFolder(TestRoot() + QStringLiteral("/profile"));
}

TEST(SettingsStore, UnwritableProfileIsReportedBySync)
{
    const QString strFolder = MakeTestFolder(QStringLiteral("unwritable"));
    WriteFileBytes(strFolder + QStringLiteral("/blocker"), "a file where the profile's folder should be");
    CSettingsStore store = CSettingsStore::InFolder(strFolder + QStringLiteral("/blocker"));
    store.WriteInt("Settings", "FontSize", 9);
    EXPECT_FALSE(store.Sync());
}

} // namespace
