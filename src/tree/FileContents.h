#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <QString>

#include "tree/CrcCache.h"

// Opens a file for reading: a descriptor, or minus the system's error number. The comparison reads
// through this so that tests can make an open fail (permission bits do not stop root).
using FileOpener = std::function<int(const QString& strPath)>;

// Opens read-only, without blocking on a pipe.
int OpenForSequentialRead(const QString& strPath);

// Results of CompareFileContents.
inline constexpr int CONTENTS_SAME = 0;
inline constexpr int CONTENTS_DIFF = 1;
inline constexpr int CONTENTS_LEFT_ONLY = 2;
inline constexpr int CONTENTS_RIGHT_ONLY = 3;
inline constexpr int CONTENTS_UNKNOWN = 4;
inline constexpr int CONTENTS_BAD_ARGUMENT = -99;

// The CRC-32 (reflected 0xEDB88320) of a file's contents. Returns 0, or the system's error number when the
// file cannot be opened or read.
int FileCrc(const QString& strPath, std::uint32_t& nCrc, const FileOpener& opener = OpenForSequentialRead);

// Compares two files by the CRC-32 of their contents. Large files are read on two threads at once.
int CompareFileContents(
    const QString& strLeft, const QString& strRight, const FileOpener& opener = OpenForSequentialRead);

// What is known of the two files' CRCs before reading them (a side whose CRC is known is not opened), and
// what was read: each CRC read and the status of its file when it was opened, for a cache to keep.
struct CrcHints
{
    std::optional<std::uint32_t> known[2];
    std::optional<std::uint32_t> read[2];
    FileStamp readStamps[2];
};

int CompareFileContents(const QString& strLeft, const QString& strRight, const FileOpener& opener, CrcHints& hints);
