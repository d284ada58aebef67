// libFuzzer target for the import of another program's site list: an XML file the user picks, written by
// whatever wrote it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "app/FileZillaSites.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const SiteImport imported
        = ReadFileZillaSites(QByteArray(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize)));
    // A site that was read has a host to go to; one that was not is named among the skipped.
    for (const ImportedSite& site : imported.sites) {
        if (site.record.strHost.isEmpty()) {
            std::abort();
        }
    }
    return 0;
}
