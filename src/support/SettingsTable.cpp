#include "support/SettingsTable.h"

#include <array>

namespace {

constexpr std::string_view kSettings = "Settings";
constexpr std::string_view kMisc = "Misc.";

constexpr SettingDefinition Int(std::string_view section, std::string_view key, long long value)
{
    return { section, key, SettingType::Integer, value, {} };
}

constexpr SettingDefinition Byte(std::string_view section, std::string_view key, long long value)
{
    return { section, key, SettingType::Byte, value, {} };
}

constexpr SettingDefinition Text(std::string_view section, std::string_view key, std::string_view value)
{
    return { section, key, SettingType::String, 0, value };
}

// Pane settings first, in the order the comparison view reads them.
constexpr std::array kTable {
    Int(kSettings, "FontSize", -11),
    Text(kSettings, "FontName", "Tahoma"),
    Int(kSettings, "ColorSame", 0),
    Int(kSettings, "ColorDiff", 255),
    Int(kSettings, "ColorLeftOnly", 39680),
    Int(kSettings, "ColorRightOnly", 16711680),
    Int(kSettings, "ColorUnknown", 7801719),
    Text(kSettings, "RegColor", "0"),
    Text(kSettings, "DifColor", "255"),
    Text(kSettings, "1stColor", "39680"),
    Text(kSettings, "2ndColor", "16711680"),
    Int(kSettings, "FileVersion", 1),
    Int(kSettings, "FileTimestamp", 1),
    Int(kSettings, "FileSize", 1),
    Byte(kSettings, "DetailTimestamp", 0),
    Int(kSettings, "DeleteRowOfGoodXfer", 1),
    Int(kSettings, "LogEnabled", 0),
    Int(kSettings, "FullLog", 0),
    Byte(kMisc, "GridlinesEnabled", 1),
    Byte(kSettings, "IncludeFoldersForDiffs", 1),
    // Diagnostic log: lines carry a date and time only when this reads exactly 1.
    Int(kSettings, "LogTimestamp", 0),
    // FTP session, read at every open; a site's own values override them.
    Int(kSettings, "DefaultUsePASVMode", 0),
    Int(kSettings, "DefaultRetries", 3),
    Int(kSettings, "DefaultRetryDelay", 10),
    Int(kSettings, "ConnectionTimeout", 30),
    Text(kSettings, "DefaultLocalPath", ""),
    Int(kSettings, "CacheDownloadSizeKB", 10),
    // A download whose size the server did not list stops past this many MiB (0: no bound).
    Int(kSettings, "UnknownSizeDownloadLimitMB", 4096),
    // A comparison stops with a clear message past this many folders or entries listed on the server.
    Int(kSettings, "MaxListedFolders", 200000),
    Int(kSettings, "MaxListedEntries", 5000000),
    // Folders are listed with MLSD where the server offers it (exact sizes and times); 0 for LIST always.
    Int(kSettings, "UseMlsd", 1),
    // Connections open to one site at once, the view's own included; transfers beyond it wait.
    Int(kSettings, "MaxFtpConnections", 4),
    // Uploads go to a working name and are renamed into place; 0 for servers that refuse renames.
    Int(kSettings, "UploadThroughWorkingName", 1),
    // After a comparison, undecided files are asked of the server by checksum where it offers one.
    Int(kSettings, "UseServerChecksums", 1),
    // Checked for reachability when a site cannot be reached; empty: nothing is contacted.
    Text(kSettings, "ReachabilityProbeUrl", ""),
    // Transfer list column widths, "%d,%d,%d,%d,%d,%d" in column order.
    Text(kSettings, "XferWidths", ""),
    // The password given for anonymous log-on.
    Text(kSettings, "EmailAddress", "anonymous@"),
    // The site the site manager showed last.
    Text(kSettings, "LastSelectedSite", ""),
    // Auto-refresh timer: off at its next tick when non-zero; exactly 1 logs each tick's file count.
    Int(kMisc, "DisableAutoRefresh", 0),
    Int(kMisc, "LogRefresh", 0),
    Int(kMisc, "AutoRefreshSeconds", 60),
    // Main window: placement, splitter sizes, the status toggles of the panes.
    Text(kSettings, "WindowPos", ""),
    Text(kSettings, "ViewsHeights", ""),
    Int(kMisc, "ShowStatusMask", 0x7f),
    // What a copy does when the target side has the item: 0 asks, 1 replaces, 2 skips ("Do not show this
    // again" in the question keeps the answer here).
    Int(kMisc, "ReplaceAnswer", 0),
    // The program that shows two files side by side; empty: the first of meld, kdiff3, kompare on the PATH.
    Text(kSettings, "CompareProgram", ""),
    // The program that edits a file; empty: the desktop's application for it.
    Text(kSettings, "EditorProgram", ""),
};

} // namespace

std::span<const SettingDefinition> AllSettings()
{
    return kTable;
}

const SettingDefinition* FindSetting(std::string_view strSection, std::string_view strKey)
{
    for (const SettingDefinition& definition : kTable) {
        if (definition.strSection == strSection && definition.strKey == strKey) {
            return &definition;
        }
    }
    return nullptr;
}
