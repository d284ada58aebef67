#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include <QString>

// The file version of a Windows program file (PE: .exe, .dll and kin), from the fixed block of its
// version resource: four 16-bit parts, most significant first.
using FileVersion = std::array<std::uint16_t, 4>;

// Reads nBytes at nOffset into pBuffer; false when the file ends before that.
using ReadAt = std::function<bool(std::uint64_t nOffset, void* pBuffer, std::size_t nBytes)>;

// Walks the PE headers and resource directory to the fixed file-info block. Every offset and size the file
// gives is checked against what can be read, so a damaged or hostile file yields no version, never a crash.
std::optional<FileVersion> ParseVersionResource(const ReadAt& read);

// Only program files carry version resources, so the scan decides by the name's extension and never opens
// other files to look for one.
bool MayHaveVersionResource(const QString& strFileName);

// "%u.%u.%u.%u" of the file's version, or an empty text when it has none or cannot be read.
QString ReadVersionText(const QString& strPath);
