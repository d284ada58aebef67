#pragma once

#include <cstdint>

#include <QString>

class CSettingsStore;
struct SnapshotNode;

// A colour as the settings keep it: red in the lowest byte, then green, then blue.
using ColorRef = std::uint32_t;

// The appearance and behaviour settings a comparison pane reads when it is set up; their defaults live in
// the settings table, so a pane always starts from Read().
struct CPaneSettings
{
    int nFontSize {};
    QString strFontName {};
    ColorRef colorSame {};
    ColorRef colorDiff {};
    ColorRef colorLeftOnly {};
    ColorRef colorRightOnly {};
    ColorRef colorUnknown {};
    QString strRegColor {};
    QString strDifColor {};
    QString str1stColor {};
    QString str2ndColor {};
    bool bFileVersion {};
    bool bFileTimestamp {};
    bool bFileSize {};
    std::uint8_t nDetailTimestamp {};
    bool bDeleteRowOfGoodXfer {};
    bool bLogEnabled {};
    bool bFullLog {};
    std::uint8_t nGridlinesEnabled {};
    std::uint8_t nIncludeFoldersForDiffs {};

    // Reads every key in the order the panes always have, then writes "GridlinesEnabled" and
    // "IncludeFoldersForDiffs" back so that the profile holds them from the first start on.
    static CPaneSettings Read(CSettingsStore& store);

    // Writes the font, the colours, the log switches, the column switches and "IncludeFoldersForDiffs" back.
    void Write(CSettingsStore& store) const;

    // The colour a node's text takes: its status's, a folder on both sides that of what lies below it.
    [[nodiscard]] ColorRef ColourOf(const SnapshotNode& node) const;
};
