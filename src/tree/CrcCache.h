#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include <QString>

#include "support/LargePages.h"

#include <sys/stat.h>

struct sqlite3;
struct sqlite3_stmt;

// What identifies one state of a file: if any of it changed, so may have its contents.
struct FileStamp
{
    std::uint64_t nDevice = 0;
    std::uint64_t nInode = 0;
    std::int64_t nSize = 0;
    std::int64_t nModified = 0; // nanoseconds since 1970
    std::int64_t nChanged = 0;
};

FileStamp StampOf(const struct stat& info);

// What an earlier comparison learnt of the files below one root: each file's CRC-32 and version text, kept
// in SQLite across runs, so that comparing an unchanged tree again reads only folders and file status.
// An entry holds only while the file's device, inode, size, modification and change times (nanoseconds)
// are the same, and only when those times lie more than two seconds before the entry was written: a file
// changed in the same instant as it was read must not keep a stale checksum. One thread at a time uses a
// cache: the one scanning its side, then the one that finishes the comparison.
class CCrcCache
{
public:
    // Nanoseconds since 1970, when entries are written; the system clock unless a test brings its own.
    using Clock = std::function<std::int64_t()>;

    // The cache of the files below strRoot, kept in strCacheFolder; a damaged or foreign database is
    // removed and made afresh. Null when none can be made: comparing then simply reads every file.
    static std::unique_ptr<CCrcCache> Open(
        const QString& strCacheFolder, const QString& strRoot, const Clock& clock = {});

    ~CCrcCache();
    CCrcCache(const CCrcCache&) = delete;
    CCrcCache& operator=(const CCrcCache&) = delete;

    [[nodiscard]] std::optional<std::uint32_t> RecallCrc(const FileStamp& stamp);
    void RememberCrc(const FileStamp& stamp, std::uint32_t nCrc);
    [[nodiscard]] std::optional<QString> RecallVersion(const FileStamp& stamp);
    void RememberVersion(const FileStamp& stamp, const QString& strVersion);

    // Writes what was learnt in one transaction; with bWhole (every file below the root was seen) the
    // entries of files not seen are dropped. False when the database could not be written.
    bool Save(bool bWhole);

    // The database file of strRoot's cache in strCacheFolder.
    static QString DatabasePath(const QString& strCacheFolder, const QString& strRoot);

private:
    struct Key
    {
        std::uint64_t nDevice = 0;
        std::uint64_t nInode = 0;
        bool operator==(const Key& other) const = default;
        auto operator<=>(const Key& other) const = default;
    };
    struct KeyHash
    {
        size_t operator()(const Key& key) const { return std::hash<std::uint64_t>()(key.nInode * 31 + key.nDevice); }
    };
    struct Entry
    {
        Key key;
        std::int64_t nSize = 0;
        std::int64_t nModified = 0; // nanoseconds since 1970
        std::int64_t nChanged = 0;
        std::int64_t nWritten = 0; // when the entry was made
        std::uint32_t nCrc = 0;
        bool bHasCrc = false;
        bool bHasVersion = false; // in m_versions: few files have one
        bool bSeen = false;
        bool bDirty = false;
    };

    explicit CCrcCache(sqlite3* pDatabase);
    bool Load();
    Entry* Loaded(const Key& key);
    // Whether the entry is of the file in that state, and was written late enough to be believed.
    static bool Describes(const Entry& entry, const FileStamp& stamp);
    // The entry that still describes the file, or null.
    Entry* Trusted(const FileStamp& stamp);
    // The entry that the file in that state gets now, with what is already known of that state.
    Entry Fresh(const FileStamp& stamp);
    // Stores the entry: a loaded one in memory until Save, a new one in the database at once.
    void Keep(const Entry& entry);
    bool Begin();
    bool Write(const Entry& entry, sqlite3_stmt* pInsert);

    sqlite3* m_pDatabase = nullptr;
    Clock m_clock;
    // A big tree's cache holds millions of entries: the loaded ones sit in one array sorted by key.
    std::vector<Entry, CLargePageAllocator<Entry>> m_entries;
    std::unordered_map<Key, QString, KeyHash> m_versions;
    sqlite3_stmt* m_pMerge = nullptr;
    bool m_bInTransaction = false;
    // A new entry could not be written: the save fails, and nothing of this run is kept.
    bool m_bWriteFailed = false;
};

// Where the comparison keeps its caches: "Quorvel/crc" in the user's cache folder.
QString DefaultCrcCacheFolder();
