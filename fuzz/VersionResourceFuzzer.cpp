// libFuzzer target for the version-resource reader: program files come from anywhere, and every offset and
// size inside one is the file's word alone.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tree/VersionResource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
    (void)ParseVersionResource([pData, nSize](std::uint64_t nOffset, void* pBuffer, std::size_t nBytes) {
        if (nOffset > nSize || nBytes > nSize - nOffset) {
            return false;
        }
        std::memcpy(pBuffer, pData + nOffset, nBytes);
        return true;
    });
    return 0;
}
