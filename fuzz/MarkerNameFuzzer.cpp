// libFuzzer target for the mirror's marker names: the mirror folder is on the user's disk, where anything
// may have put a file whose name looks like a marker.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "support/NameBytes.h"
#include "tree/FileTexts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    const QByteArrayView bytes(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    // A folder's entries never hold "/" or NUL.
    if (bytes.contains('/') || bytes.contains('\0')) {
        return 0;
    }
    const QString strName = NameFromBytes(bytes);
    const std::optional<MarkerInfo> marker = ParseMarkerName(strName);
    // What a marker names is a file of the folder it lies in, never a path.
    if (marker && (marker->strFileName.isEmpty() || marker->strFileName.contains(QLatin1Char('/')))) {
        std::abort();
    }
    return 0;
}
