// libFuzzer target for the LIST parser: listings come from servers nobody vouches for.
#include <cstddef>
#include <cstdint>

#include <QString>

#include "ftp/ListingParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strText = QString::fromLocal8Bit(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    const ParsedListing parsed = ParseListing(strText, ListingYears { 2026, 2026 });
    for (const FtpListEntry& entry : parsed.entries) {
        (void)IsSafeEntryName(entry.name);
    }
    return 0;
}
