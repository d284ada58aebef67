#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <QString>

#include "ftp/ListingParser.h"

// Servers that list in their own time zone (inetutils ftpd, Pure-FTPd elsewhere, pyftpdlib in UTC) show every
// LIST time hours off. MDTM gives one file's time exactly, in UTC: set against that file's listed time it tells
// how far the listing's clock is from this computer's, once per session.

// A file whose listed time has a time of day (not just a year), in the Unix or MS-DOS layout, to ask MDTM about;
// null when the listing has none.
const FtpListEntry* ListTimeProbe(const std::vector<FtpListEntry>& entries);

// The seconds to add to the listed times, from the probe's listed time and the server's MDTM reply
// ("213 20261124084400"): a multiple of 15 minutes, at most 14 hours either way; nothing for a reply that does
// not give a time or a difference that is no time zone's.
std::optional<std::int64_t> ListTimeShiftFrom(const FtpListEntry& probe, const QString& strMdtmReply);

// Whether the entry's time is a listed time of day that the shift applies to.
bool TakesListTimeShift(const FtpListEntry& entry);
