#include "ftp/ListTimeShift.h"

#include <algorithm>
#include <cmath>

#include "ftp/MlsdListing.h"

namespace {

constexpr std::int64_t kQuarterHour = 15 * 60;
constexpr std::int64_t kLargestZone = 14 * 3600;
// The Unix layout's times of day are read an hour early, and stay so; the MS-DOS layout's (which has no
// permissions) as listed. The shift is measured against the time listed.
std::int64_t ListedHourRule(const FtpListEntry& entry)
{
    return entry.permissions.isEmpty() ? 0 : 3600;
}

} // namespace

bool TakesListTimeShift(const FtpListEntry& entry)
{
    return !entry.bExactTime && entry.timeOrYearText.contains(QLatin1Char(':'));
}

const FtpListEntry* ListTimeProbe(const std::vector<FtpListEntry>& entries)
{
    const auto found = std::find_if(entries.begin(), entries.end(),
        [](const FtpListEntry& entry) { return !entry.isDirectory && !entry.isLink && TakesListTimeShift(entry); });
    return found == entries.end() ? nullptr : &*found;
}

std::optional<std::int64_t> ListTimeShiftFrom(const FtpListEntry& probe, const QString& strMdtmReply)
{
    const QString strReply = strMdtmReply.trimmed();
    if (!strReply.startsWith(QLatin1String("213 "))) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> nExact = TimeFromMachineText(QStringView(strReply).mid(4).trimmed());
    if (!nExact) {
        return std::nullopt;
    }
    // The listed time drops the seconds, so the exact one lies up to a minute after the listed one plus the shift.
    const std::int64_t nDifference = *nExact - (probe.modifiedTime + ListedHourRule(probe));
    const std::int64_t nShift
        = static_cast<std::int64_t>(std::llround(static_cast<double>(nDifference) / kQuarterHour)) * kQuarterHour;
    if (std::llabs(nShift) > kLargestZone || nDifference - nShift < -60 || nDifference - nShift > 120) {
        return std::nullopt;
    }
    return nShift;
}
