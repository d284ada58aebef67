#pragma once

#include <span>
#include <string_view>

// How a setting is kept. "Byte" settings are integers that their users keep in 8 bits.
enum class SettingType
{
    Integer,
    Byte,
    String
};

// One row of the settings table: where a setting lives, what it holds and what it is when absent.
struct SettingDefinition
{
    std::string_view strSection;
    std::string_view strKey;
    SettingType type;
    long long nDefault;
    std::string_view strDefault;
};

// Every setting the program reads, in one table, so that every reader finds the same default.
std::span<const SettingDefinition> AllSettings();

// The row for a section and key, or null when the program knows no such setting.
const SettingDefinition* FindSetting(std::string_view strSection, std::string_view strKey);
