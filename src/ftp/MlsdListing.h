#pragma once

#include <QString>

#include "ftp/ListingParser.h"

// What one line of an MLSD reply stands for.
enum class MlsdLine
{
    Entry, // a file, a folder or a link
    Skipped, // the folder itself, its parent, or something that is neither file nor folder (a device, a pipe)
    Unreadable // not of the form "facts; name", or a fact that cannot be what it claims
};

// One line of an MLSD reply (RFC 3659): "fact=value;...;" then one space, then the name, exactly as it stands
// (it may begin or end with spaces). A file needs its size; a time, when given, must be a real UTC time, and
// makes the entry's time exact (to the second). Links show as "OS.unix=symlink" or "OS.unix=slink:target".
MlsdLine ParseMlsdLine(const QString& strLine, FtpListEntry& entry);

// Cuts an MLSD reply into lines and each line into an entry; lines that cannot be read go to unparsedLines,
// as those of a LIST reply do.
ParsedListing ParseMlsdListing(const QString& strText);

// Seconds since 1970 of an MLSD or MDTM time ("20200105120000", "20200105120000.123", UTC); nothing for anything
// else, or a date or time that cannot be.
std::optional<std::int64_t> TimeFromMachineText(QStringView text);

// Month, day, year, hour, minute and second of a moment in local time, as fourteen digits ("01052020103000"):
// the date key of an entry whose time is known to the second.
QString ExactDateKey(std::int64_t nSeconds);
