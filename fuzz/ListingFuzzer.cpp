// libFuzzer target for the LIST parser (Unix and MS-DOS layouts): listings come from servers nobody vouches for.
#include <cstddef>
#include <cstdint>

#include <QString>

#include "ftp/ListingParser.h"
#include "support/NameBytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strText
        = NameFromBytes(QByteArrayView(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    const ParsedListing parsed = ParseListing(strText, ListingYears { 2026, 2026 });
    for (const FtpListEntry& entry : parsed.entries) {
        (void)IsSafeEntryName(entry.name);
    }
    return 0;
}
