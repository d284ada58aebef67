// libFuzzer target for the listing parsers (LIST in the Unix and MS-DOS layouts, MLSD): listings come from servers
// nobody vouches for.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <QString>

#include "ftp/ListingParser.h"
#include "ftp/MlsdListing.h"
#include "support/NameBytes.h"

namespace {

// A name is always text the server sent, never one pieced together: a wrong name could make a sync overwrite or
// delete another file.
void CheckEntries(const ParsedListing& parsed, const QString& strText)
{
    for (const FtpListEntry& entry : parsed.entries) {
        if (entry.name.isEmpty() || entry.name.contains(QLatin1Char('\n')) || entry.name.contains(QLatin1Char('\r'))
            || !strText.contains(entry.name)) {
            std::abort();
        }
        (void)IsSafeEntryName(entry.name);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QString strText
        = NameFromBytes(QByteArrayView(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    CheckEntries(ParseListing(strText, ListingYears { 2026, 2026 }), strText);
    CheckEntries(ParseMlsdListing(strText), strText);
    return 0;
}
