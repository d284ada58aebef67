#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <vector>

#include <QString>

// One line of a Unix-style LIST reply.
struct FtpListEntry
{
    QString permissions;
    bool isDirectory = false;
    bool isLink = false;
    QString linkCount;
    QString owner;
    QString group;
    QString sizeText;
    std::int64_t size = 0;
    // The size when sizeText is a plain decimal number, 2 GiB and more included; -1 (unknown) otherwise.
    std::int64_t nExactSize = -1;
    QString monthText;
    QString dayText;
    QString timeOrYearText;
    QString name;
    QString strLinkTarget; // what a link points to, as listed after " -> "
    std::int64_t modifiedTime = 0;
    QString dateKey;
    // The time is the server's own, to the second and in UTC (MLSD, MDTM), not read from text meant for people.
    bool bExactTime = false;
    // What the server calls the file itself (MLSD's "unique" fact): a link and what it leads to share it.
    QString strUnique;
};

// The years a listing's dates are read against: a date given with a time of day and no year lies in the
// current year (in UTC for the time, in local time for the date key).
struct ListingYears
{
    int nUtcYear = 1970;
    int nLocalYear = 1970;

    static ListingYears Now();
};

// The parsed lines of a listing, and the lines that could not be taken.
struct ParsedListing
{
    std::vector<FtpListEntry> entries;
    std::vector<QString> rejectedLines; // too long to be a listing line (the first 80 characters of each)
    // Lines that are not of the Unix long layout ("total N" aside): what they stand for is unknown, so a
    // listing that holds any is not a whole account of its folder.
    std::vector<QString> unparsedLines;

    // Lines that gave no entry though they may have stood for one; 0 for a whole listing.
    [[nodiscard]] size_t UnreadLines() const { return unparsedLines.size() + rejectedLines.size(); }
};

// Lines longer than this are not listing lines; they are reported and skipped.
inline constexpr qsizetype kMaxListingLine = 64 * 1024;

// Cuts a reply into lines, handing each to parseLine; lines too long to be listing lines go to rejectedLines.
ParsedListing ParseLines(
    const QString& strText, const std::function<void(const QString& strLine, ParsedListing& parsed)>& parseLine);

// Cuts a listing into lines and each line into an entry, of the Unix long layout or the MS-DOS one. "total N"
// and "." and ".." give nothing; a line of neither layout goes to unparsedLines.
ParsedListing ParseListing(const QString& strText, const ListingYears& years);

// One line of the Unix long layout; false unless every field before the name is what its place claims: a
// permission text, a link count, an owner (and a group, which may be missing or hold a space), a decimal size,
// a month name, a day, and a time or a year. A wrong name is worse than a missing one.
bool ParseListLine(const QString& strLine, const ListingYears& years, FtpListEntry& entry);

// One line of the MS-DOS layout (the Windows FTP server's default): date, time, "<DIR>" or a size (with or
// without thousands separators), name. False for anything else, or a date or time that cannot be.
bool ParseMsDosLine(const QString& strLine, FtpListEntry& entry);

// Whether a field reads as the permissions of a Unix long listing ("drwxr-xr-x", "-rw-r--r--+").
bool IsPermissionText(const QString& strField);

// The size of a plain decimal text ("19"); -1 for anything else ("-5", "1e3", "0x13", "", too large).
std::int64_t ExactSizeFromText(QStringView text);

// The size field read as a 32-bit signed number (sign and leading digits, 0 without any, saturating at the
// 32-bit limits) and widened: files of 2 GiB and more show as 2147483647.
std::int64_t SizeFromListing(const QString& strSizeText);

// Seconds since 1970 of a listing's date, taken as local time; 0 when it cannot be formed. A time of day
// gives the current UTC year and an hour one less than listed, the value mirror copies have always had.
std::int64_t DateFromListing(
    const QString& strMonth, const QString& strDay, const QString& strTimeOrYear, const ListingYears& years);

// Month, day, year, hour and minute as twelve digits ("010520091030"); the month part is empty for a month
// name that is not understood.
QString DateKeyFromListing(
    const QString& strMonth, const QString& strDay, const QString& strTimeOrYear, const ListingYears& years);

// Whether a name from a listing may become a file or folder in the mirror: not empty, not "." or "..",
// no "/", "\", NUL or control character, and no longer than a file system allows.
bool IsSafeEntryName(const QString& strName);
