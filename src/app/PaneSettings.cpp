#include "app/PaneSettings.h"

#include "app/TreeSnapshot.h"

#include "support/SettingsStore.h"

namespace {

constexpr std::string_view kSettings = "Settings";
constexpr std::string_view kMisc = "Misc.";

} // namespace

CPaneSettings CPaneSettings::Read(CSettingsStore& store)
{
    CPaneSettings settings;
    settings.nFontSize = static_cast<int>(store.ReadInt(kSettings, "FontSize"));
    settings.strFontName = store.ReadString(kSettings, "FontName");
    settings.colorSame = static_cast<ColorRef>(store.ReadInt(kSettings, "ColorSame"));
    settings.colorDiff = static_cast<ColorRef>(store.ReadInt(kSettings, "ColorDiff"));
    settings.colorLeftOnly = static_cast<ColorRef>(store.ReadInt(kSettings, "ColorLeftOnly"));
    settings.colorRightOnly = static_cast<ColorRef>(store.ReadInt(kSettings, "ColorRightOnly"));
    settings.colorUnknown = static_cast<ColorRef>(store.ReadInt(kSettings, "ColorUnknown"));
    settings.strRegColor = store.ReadString(kSettings, "RegColor");
    settings.strDifColor = store.ReadString(kSettings, "DifColor");
    settings.str1stColor = store.ReadString(kSettings, "1stColor");
    settings.str2ndColor = store.ReadString(kSettings, "2ndColor");
    settings.bFileVersion = store.ReadInt(kSettings, "FileVersion") != 0;
    settings.bFileTimestamp = store.ReadInt(kSettings, "FileTimestamp") != 0;
    settings.bFileSize = store.ReadInt(kSettings, "FileSize") != 0;
    settings.nDetailTimestamp = static_cast<std::uint8_t>(store.ReadInt(kSettings, "DetailTimestamp"));
    settings.bDeleteRowOfGoodXfer = store.ReadInt(kSettings, "DeleteRowOfGoodXfer") != 0;
    settings.bLogEnabled = store.ReadInt(kSettings, "LogEnabled") != 0;
    settings.bFullLog = store.ReadInt(kSettings, "FullLog") != 0;
    settings.nGridlinesEnabled = static_cast<std::uint8_t>(store.ReadInt(kMisc, "GridlinesEnabled"));
    store.WriteInt(kMisc, "GridlinesEnabled", settings.nGridlinesEnabled);
    settings.nIncludeFoldersForDiffs = static_cast<std::uint8_t>(store.ReadInt(kSettings, "IncludeFoldersForDiffs"));
    store.WriteInt(kSettings, "IncludeFoldersForDiffs", settings.nIncludeFoldersForDiffs);
    return settings;
}

void CPaneSettings::Write(CSettingsStore& store) const
{
    store.WriteInt(kSettings, "FontSize", nFontSize);
    store.WriteString(kSettings, "FontName", strFontName);
    store.WriteInt(kSettings, "ColorSame", colorSame);
    store.WriteInt(kSettings, "ColorDiff", colorDiff);
    store.WriteInt(kSettings, "ColorLeftOnly", colorLeftOnly);
    store.WriteInt(kSettings, "ColorRightOnly", colorRightOnly);
    store.WriteInt(kSettings, "ColorUnknown", colorUnknown);
    store.WriteInt(kSettings, "LogEnabled", bLogEnabled ? 1 : 0);
    store.WriteInt(kSettings, "FullLog", bFullLog ? 1 : 0);
    store.WriteInt(kSettings, "FileVersion", bFileVersion ? 1 : 0);
    store.WriteInt(kSettings, "FileTimestamp", bFileTimestamp ? 1 : 0);
    store.WriteInt(kSettings, "FileSize", bFileSize ? 1 : 0);
    store.WriteInt(kSettings, "IncludeFoldersForDiffs", nIncludeFoldersForDiffs);
}

ColorRef CPaneSettings::ColourOf(const SnapshotNode& node) const
{
    switch (node.nClass) {
    case CLASS_DIFF:
        return colorDiff;
    case CLASS_LEFT_ONLY:
        return colorLeftOnly;
    case CLASS_RIGHT_ONLY:
        return colorRightOnly;
    case CLASS_UNKNOWN:
        return colorUnknown;
    case CLASS_FOLDER_ONE_SIDE:
        return node.IsOn(SIDE_LEFT) ? colorLeftOnly : colorRightOnly;
    case CLASS_FOLDER_BOTH:
        return node.DiffersBelow() ? colorDiff : colorSame;
    default:
        return colorSame;
    }
}
