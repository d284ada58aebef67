#include "tree/VersionResource.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <QFile>

#include <fcntl.h>

#include "support/NameBytes.h"
#include "support/TextFormat.h"

namespace {

constexpr std::uint32_t kFixedFileInfoSignature = 0xFEEF04BD;
constexpr std::uint32_t kResourceTypeVersion = 16;
constexpr std::uint32_t kSubdirectoryFlag = 0x80000000U;
constexpr std::size_t kMaxVersionBlock = 64 * 1024;
constexpr std::uint16_t kMaxSections = 96;

std::uint16_t U16(const unsigned char* p)
{
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

std::uint32_t U32(const unsigned char* p)
{
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8)
        | (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

struct Section
{
    std::uint32_t nVirtualAddress;
    std::uint32_t nVirtualSize;
    std::uint32_t nRawSize;
    std::uint32_t nRawOffset;
};

class CPeReader
{
public:
    explicit CPeReader(const ReadAt& read)
        : m_read(read)
    { }

    std::optional<FileVersion> Read()
    {
        unsigned char dos[64];
        if (!m_read(0, dos, sizeof dos) || dos[0] != 'M' || dos[1] != 'Z') {
            return std::nullopt;
        }
        const std::uint64_t nPe = U32(dos + 0x3C);
        unsigned char coff[24];
        if (!m_read(nPe, coff, sizeof coff) || std::memcmp(coff, "PE\0\0", 4) != 0) {
            return std::nullopt;
        }
        const std::uint16_t nSections = U16(coff + 6);
        const std::uint16_t nOptionalSize = U16(coff + 20);
        if (nSections == 0 || nSections > kMaxSections || nOptionalSize < 2) {
            return std::nullopt;
        }
        std::vector<unsigned char> optional(nOptionalSize);
        if (!m_read(nPe + 24, optional.data(), optional.size())) {
            return std::nullopt;
        }
        const std::uint16_t nMagic = U16(optional.data());
        const std::size_t nDirectories = nMagic == 0x10b ? 96 : nMagic == 0x20b ? 112 : 0;
        if (nDirectories == 0 || nDirectories > optional.size()) {
            return std::nullopt;
        }
        const std::uint32_t nDirectoryCount = U32(optional.data() + nDirectories - 4);
        const std::size_t nResourceEntry = nDirectories + 2 * 8;
        if (nDirectoryCount < 3 || nResourceEntry + 8 > optional.size()) {
            return std::nullopt;
        }
        const std::uint32_t nResourceRva = U32(optional.data() + nResourceEntry);
        if (nResourceRva == 0 || !ReadSections(nPe + 24 + nOptionalSize, nSections)) {
            return std::nullopt;
        }
        return ReadResources(nResourceRva);
    }

private:
    bool ReadSections(std::uint64_t nOffset, std::uint16_t nCount)
    {
        std::vector<unsigned char> table(static_cast<std::size_t>(nCount) * 40);
        if (!m_read(nOffset, table.data(), table.size())) {
            return false;
        }
        for (std::uint16_t i = 0; i < nCount; ++i) {
            const unsigned char* p = table.data() + static_cast<std::size_t>(i) * 40;
            m_sections.push_back({ U32(p + 12), U32(p + 8), U32(p + 16), U32(p + 20) });
        }
        return true;
    }

    // The file offset of a virtual address, and how many bytes of the section follow it there.
    std::optional<std::pair<std::uint64_t, std::uint64_t>> Locate(std::uint32_t nRva) const
    {
        for (const Section& section : m_sections) {
            const std::uint64_t nSpan = std::max(section.nVirtualSize, section.nRawSize);
            if (nRva >= section.nVirtualAddress && nRva - section.nVirtualAddress < nSpan) {
                const std::uint64_t nInto = nRva - section.nVirtualAddress;
                if (nInto >= section.nRawSize) {
                    return std::nullopt;
                }
                return std::make_pair(section.nRawOffset + nInto, section.nRawSize - nInto);
            }
        }
        return std::nullopt;
    }

    // One directory of the resource tree: the offset (within the resource section) of the entry with the
    // wanted id, or of the first entry when any will do.
    std::optional<std::uint32_t> FindEntry(
        std::uint64_t nBase, std::uint32_t nDirectory, std::optional<std::uint32_t> wantedId, bool bWantSubdirectory)
    {
        unsigned char header[16];
        if (!m_read(nBase + nDirectory, header, sizeof header)) {
            return std::nullopt;
        }
        const std::uint32_t nEntries = static_cast<std::uint32_t>(U16(header + 12)) + U16(header + 14);
        for (std::uint32_t i = 0; i < nEntries; ++i) {
            unsigned char entry[8];
            if (!m_read(nBase + nDirectory + 16 + static_cast<std::uint64_t>(i) * 8, entry, sizeof entry)) {
                return std::nullopt;
            }
            const std::uint32_t nName = U32(entry);
            const std::uint32_t nTarget = U32(entry + 4);
            if (wantedId && ((nName & kSubdirectoryFlag) != 0 || nName != *wantedId)) {
                continue;
            }
            if (((nTarget & kSubdirectoryFlag) != 0) != bWantSubdirectory) {
                return std::nullopt;
            }
            return nTarget & ~kSubdirectoryFlag;
        }
        return std::nullopt;
    }

    std::optional<FileVersion> ReadResources(std::uint32_t nResourceRva)
    {
        const auto located = Locate(nResourceRva);
        if (!located) {
            return std::nullopt;
        }
        const std::uint64_t nBase = located->first;
        const auto types = FindEntry(nBase, 0, kResourceTypeVersion, true);
        const auto names = types ? FindEntry(nBase, *types, std::nullopt, true) : std::nullopt;
        const auto languages = names ? FindEntry(nBase, *names, std::nullopt, false) : std::nullopt;
        if (!languages) {
            return std::nullopt;
        }
        unsigned char dataEntry[16];
        if (!m_read(nBase + *languages, dataEntry, sizeof dataEntry)) {
            return std::nullopt;
        }
        const auto data = Locate(U32(dataEntry));
        const std::uint64_t nSize = std::min<std::uint64_t>(U32(dataEntry + 4), kMaxVersionBlock);
        if (!data || nSize < 6) {
            return std::nullopt;
        }
        std::vector<unsigned char> block(static_cast<std::size_t>(std::min(nSize, data->second)));
        if (block.size() < 6 || !m_read(data->first, block.data(), block.size())) {
            return std::nullopt;
        }
        return ReadFixedFileInfo(block);
    }

    // VS_VERSIONINFO: three 16-bit words, the key "VS_VERSION_INFO" in UTF-16, padding to 32 bits, then the
    // fixed block that starts with its signature.
    static std::optional<FileVersion> ReadFixedFileInfo(const std::vector<unsigned char>& block)
    {
        const std::uint16_t nValueLength = U16(block.data() + 2);
        if (nValueLength < 52) {
            return std::nullopt;
        }
        for (std::size_t nAt = 6; nAt + 52 <= block.size() && nAt <= 6 + 2 * 16 + 4; nAt += 2) {
            if (nAt % 4 == 0 && U32(block.data() + nAt) == kFixedFileInfoSignature) {
                const std::uint32_t nMost = U32(block.data() + nAt + 8);
                const std::uint32_t nLeast = U32(block.data() + nAt + 12);
                return FileVersion { static_cast<std::uint16_t>(nMost >> 16),
                    static_cast<std::uint16_t>(nMost & 0xFFFF), static_cast<std::uint16_t>(nLeast >> 16),
                    static_cast<std::uint16_t>(nLeast & 0xFFFF) };
            }
        }
        return std::nullopt;
    }

    const ReadAt& m_read;
    std::vector<Section> m_sections;
};

} // namespace

std::optional<FileVersion> ParseVersionResource(const ReadAt& read)
{
    return CPeReader(read).Read();
}

bool MayHaveVersionResource(const QString& strFileName)
{
    static const char* const kExtensions[]
        = { ".exe", ".dll", ".ocx", ".sys", ".drv", ".cpl", ".scr", ".mui", ".ax", ".acm", ".efi" };
    for (const char* extension : kExtensions) {
        if (strFileName.endsWith(QLatin1String(extension), Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}

QString ReadVersionText(const QString& strPath)
{
    QFile file;
    if (!OpenLocalFile(file, strPath, O_RDONLY, QIODevice::ReadOnly)) {
        return {};
    }
    const qint64 nFileSize = file.size();
    const ReadAt read = [&file, nFileSize](std::uint64_t nOffset, void* pBuffer, std::size_t nBytes) {
        if (nOffset > static_cast<std::uint64_t>(nFileSize) || nBytes > static_cast<std::uint64_t>(nFileSize) - nOffset
            || !file.seek(static_cast<qint64>(nOffset))) {
            return false;
        }
        return file.read(static_cast<char*>(pBuffer), static_cast<qint64>(nBytes)) == static_cast<qint64>(nBytes);
    };
    const std::optional<FileVersion> version = ParseVersionResource(read);
    if (!version) {
        return {};
    }
    return FormatText("%u.%u.%u.%u", (*version)[0], (*version)[1], (*version)[2], (*version)[3]);
}
