#include "tree/CrcCache.h"

#include <chrono>
#include <cstdint>
#include <vector>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <sqlite3.h>

#include "support/DiagnosticLog.h"
#include "support/NameBytes.h"
#include "support/ThreadId.h"

namespace {

// Bumped whenever the table changes; a database of another format is rebuilt, never read.
constexpr const char* kFormat = "quorvel-crc-cache 1";
constexpr std::int64_t kDistrustNs = 2'000'000'000;
// Fewer bytes than any row of ours takes in the file: its header and its three times alone take more.
constexpr sqlite3_int64 kMinRowBytes = 32;

// Large pages: the whole table is read at every comparison, and each page read is a system call.
constexpr const char* kSchema = "PRAGMA page_size = 65536;"
                                "CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL);"
                                "CREATE TABLE files(device INTEGER NOT NULL, inode INTEGER NOT NULL,"
                                " size INTEGER NOT NULL, mtime INTEGER NOT NULL, ctime INTEGER NOT NULL,"
                                " written INTEGER NOT NULL, crc INTEGER, version TEXT,"
                                " PRIMARY KEY(device, inode)) WITHOUT ROWID;";

// A time that nanoseconds since 1970 cannot hold (a listing dated in the year 9999) has no key: such a file
// is never taken as known, rather than wrapping into another file's key.
constexpr std::int64_t kNoTime = INT64_MIN;

std::int64_t Nanoseconds(const struct timespec& time)
{
    std::int64_t nNanoseconds = 0;
    if (__builtin_mul_overflow(static_cast<std::int64_t>(time.tv_sec), std::int64_t { 1'000'000'000 }, &nNanoseconds)
        || __builtin_add_overflow(nNanoseconds, static_cast<std::int64_t>(time.tv_nsec), &nNanoseconds)
        || nNanoseconds == kNoTime) {
        return kNoTime;
    }
    return nNanoseconds;
}

std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// A prepared statement, finalised when it goes.
class CStatement
{
public:
    CStatement(sqlite3* pDatabase, const char* pSql)
    {
        if (sqlite3_prepare_v2(pDatabase, pSql, -1, &m_pStatement, nullptr) != SQLITE_OK) {
            m_pStatement = nullptr;
        }
    }
    ~CStatement() { sqlite3_finalize(m_pStatement); }
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    [[nodiscard]] sqlite3_stmt* Get() const { return m_pStatement; }
    [[nodiscard]] bool IsValid() const { return m_pStatement != nullptr; }

private:
    sqlite3_stmt* m_pStatement = nullptr;
};

bool Execute(sqlite3* pDatabase, const char* pSql)
{
    return sqlite3_exec(pDatabase, pSql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

QString Text(sqlite3_stmt* pStatement, int nColumn)
{
    const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(pStatement, nColumn));
    return pText == nullptr ? QString() : QString::fromUtf8(pText, sqlite3_column_bytes(pStatement, nColumn));
}

bool BindText(sqlite3_stmt* pStatement, int nParameter, const QString& strText)
{
    const QByteArray utf8 = strText.toUtf8();
    return sqlite3_bind_text(pStatement, nParameter, utf8.constData(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT)
        == SQLITE_OK;
}

bool InsertMeta(sqlite3_stmt* pInsert, const QString& strKey, const QString& strValue)
{
    const bool bOk
        = BindText(pInsert, 1, strKey) && BindText(pInsert, 2, strValue) && sqlite3_step(pInsert) == SQLITE_DONE;
    sqlite3_reset(pInsert);
    return bOk;
}

sqlite3* OpenDatabase(const QString& strPath)
{
    sqlite3* pDatabase = nullptr;
    if (sqlite3_open_v2(NameToBytes(strPath).constData(), &pDatabase,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW, nullptr)
        != SQLITE_OK) {
        sqlite3_close(pDatabase);
        return nullptr;
    }
    // Another instance comparing the same folder may be writing: wait for it a little.
    sqlite3_busy_timeout(pDatabase, 2000);
    return pDatabase;
}

// Whether the last call failed only because another connection holds the database: no sign of damage.
bool IsBusy(sqlite3* pDatabase)
{
    const int nError = sqlite3_errcode(pDatabase);
    return nError == SQLITE_BUSY || nError == SQLITE_LOCKED;
}

// Whether the database is ours, for this root, and whole; a new, empty one is given our tables.
bool IsOursOrNew(sqlite3* pDatabase, const QString& strRoot)
{
    int nTables = -1;
    {
        CStatement count(pDatabase, "SELECT count(*) FROM sqlite_schema");
        if (!count.IsValid() || sqlite3_step(count.Get()) != SQLITE_ROW) {
            return false;
        }
        nTables = sqlite3_column_int(count.Get(), 0);
    }
    if (nTables == 0) {
        if (!Execute(pDatabase, kSchema)) {
            return false;
        }
        CStatement insert(pDatabase, "INSERT INTO meta VALUES(?1, ?2)");
        return insert.IsValid() && InsertMeta(insert.Get(), QStringLiteral("format"), QLatin1String(kFormat))
            && InsertMeta(insert.Get(), QStringLiteral("root"), strRoot);
    }
    CStatement meta(pDatabase, "SELECT key, value FROM meta");
    if (!meta.IsValid()) {
        return false;
    }
    QString strFormat;
    QString strStoredRoot;
    while (sqlite3_step(meta.Get()) == SQLITE_ROW) {
        (Text(meta.Get(), 0) == QLatin1String("format") ? strFormat : strStoredRoot) = Text(meta.Get(), 1);
    }
    return strFormat == QLatin1String(kFormat) && strStoredRoot == strRoot;
}

} // namespace

CCrcCache::CCrcCache(sqlite3* pDatabase)
    : m_pDatabase(pDatabase)
{ }

CCrcCache::~CCrcCache()
{
    // Without a save, nothing of this run is kept: closing rolls the transaction back.
    sqlite3_finalize(m_pMerge);
    sqlite3_close(m_pDatabase);
}

QString CCrcCache::DatabasePath(const QString& strCacheFolder, const QString& strRoot)
{
    const QByteArray hash = QCryptographicHash::hash(strRoot.toUtf8(), QCryptographicHash::Sha256).toHex().left(24);
    return strCacheFolder + QLatin1Char('/') + QString::fromLatin1(hash) + QStringLiteral(".sqlite");
}

std::unique_ptr<CCrcCache> CCrcCache::Open(const QString& strCacheFolder, const QString& strRoot, const Clock& clock)
{
    // Both sides' caches open at once, on two threads: SQLite is set up once, before either touches it.
    static const int nInitialised = sqlite3_initialize();
    if (nInitialised != SQLITE_OK) {
        return nullptr;
    }
    if (!QDir().mkpath(strCacheFolder)) {
        return nullptr;
    }
    const QString strPath = DatabasePath(strCacheFolder, strRoot);
    for (int nAttempt = 0; nAttempt < 2; ++nAttempt) {
        sqlite3* pDatabase = OpenDatabase(strPath);
        if (pDatabase != nullptr && IsOursOrNew(pDatabase, strRoot)) {
            std::unique_ptr<CCrcCache> pCache(new CCrcCache(pDatabase));
            pCache->m_clock = clock ? clock : Clock(Now);
            if (pCache->Load()) {
                return pCache;
            }
            if (IsBusy(pDatabase)) {
                // Another comparison of this folder is writing it: this one goes without.
                return nullptr;
            }
        } else {
            const bool bBusy = pDatabase != nullptr && IsBusy(pDatabase);
            sqlite3_close(pDatabase);
            if (bBusy) {
                return nullptr;
            }
        }
        // Damaged, foreign or unreadable: it only ever held what can be computed again.
        Log("CCrcCache::Open::[%ld] %s is not a usable cache; it is made afresh", CurrentThreadId(), strPath);
        for (const char* pSuffix : { "", "-journal", "-wal", "-shm" }) {
            QFile::remove(strPath + QLatin1String(pSuffix));
        }
    }
    return nullptr;
}

bool CCrcCache::Load()
{
    // A row of ours takes more bytes in the file than this, so the file's size bounds the number of entries:
    // the array is reserved once (an odd file with more rows only makes it grow), and its pages never
    // written cost nothing.
    CStatement bytes(m_pDatabase, "SELECT page_count * page_size FROM pragma_page_count(), pragma_page_size()");
    if (!bytes.IsValid() || sqlite3_step(bytes.Get()) != SQLITE_ROW) {
        return false;
    }
    m_entries.reserve(
        static_cast<size_t>(std::max<sqlite3_int64>(0, sqlite3_column_int64(bytes.Get(), 0)) / kMinRowBytes));
    // Every page of the table is read here, once and in order: a damaged one fails the load, and the cache is
    // made afresh. A few pages of memory serve the whole read; a full page cache would only be filled once.
    CStatement cacheSize(m_pDatabase, "PRAGMA cache_size");
    if (!cacheSize.IsValid() || sqlite3_step(cacheSize.Get()) != SQLITE_ROW) {
        return false;
    }
    const QByteArray restoreCacheSize
        = "PRAGMA cache_size = " + QByteArray::number(sqlite3_column_int(cacheSize.Get(), 0));
    CStatement rows(m_pDatabase, "SELECT device, inode, size, mtime, ctime, written, crc, version FROM files");
    if (!rows.IsValid() || !Execute(m_pDatabase, "PRAGMA cache_size = 4")) {
        return false;
    }
    int nStep = SQLITE_ROW;
    while ((nStep = sqlite3_step(rows.Get())) == SQLITE_ROW) {
        sqlite3_stmt* pRow = rows.Get();
        Entry& entry = m_entries.emplace_back();
        entry.key = { static_cast<std::uint64_t>(sqlite3_column_int64(pRow, 0)),
            static_cast<std::uint64_t>(sqlite3_column_int64(pRow, 1)) };
        entry.nSize = sqlite3_column_int64(pRow, 2);
        entry.nModified = sqlite3_column_int64(pRow, 3);
        entry.nChanged = sqlite3_column_int64(pRow, 4);
        entry.nWritten = sqlite3_column_int64(pRow, 5);
        if (sqlite3_column_type(pRow, 6) != SQLITE_NULL) {
            entry.nCrc = static_cast<std::uint32_t>(sqlite3_column_int64(pRow, 6));
            entry.bHasCrc = true;
        }
        if (sqlite3_column_type(pRow, 7) != SQLITE_NULL) {
            m_versions[entry.key] = Text(pRow, 7);
            entry.bHasVersion = true;
        }
    }
    if (!Execute(m_pDatabase, restoreCacheSize.constData())) {
        return false;
    }
    // The table's own order is by key as well, but a damaged or edited one must not break the look-ups.
    std::sort(m_entries.begin(), m_entries.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });
    return nStep == SQLITE_DONE;
}

FileStamp StampOf(const struct stat& info)
{
    return { static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino), info.st_size,
        Nanoseconds(info.st_mtim), Nanoseconds(info.st_ctim) };
}

CCrcCache::Entry* CCrcCache::Loaded(const Key& key)
{
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), key,
        [](const Entry& entry, const Key& wanted) { return entry.key < wanted; });
    return it != m_entries.end() && it->key == key ? &*it : nullptr;
}

bool CCrcCache::Describes(const Entry& entry, const FileStamp& stamp)
{
    return stamp.nModified != kNoTime && stamp.nChanged != kNoTime && entry.nSize == stamp.nSize
        && entry.nModified == stamp.nModified && entry.nChanged == stamp.nChanged
        && std::max(stamp.nModified, stamp.nChanged) + kDistrustNs < entry.nWritten;
}

CCrcCache::Entry* CCrcCache::Trusted(const FileStamp& stamp)
{
    Entry* pEntry = Loaded({ stamp.nDevice, stamp.nInode });
    if (pEntry == nullptr || !Describes(*pEntry, stamp)) {
        return nullptr;
    }
    pEntry->bSeen = true;
    return pEntry;
}

CCrcCache::Entry CCrcCache::Fresh(const FileStamp& stamp)
{
    const Key key { stamp.nDevice, stamp.nInode };
    Entry entry { key, stamp.nSize, stamp.nModified, stamp.nChanged, m_clock(), 0, false, false, true, true };
    // What was learnt of this state of the file stays only if it could be trusted: the entry is written
    // anew, and its new time must not vouch for what was read while the file may still have been changing.
    if (const Entry* pLoaded = Loaded(key); pLoaded != nullptr && Describes(*pLoaded, stamp)) {
        entry.nCrc = pLoaded->nCrc;
        entry.bHasCrc = pLoaded->bHasCrc;
        entry.bHasVersion = pLoaded->bHasVersion;
    }
    return entry;
}

void CCrcCache::Keep(const Entry& entry)
{
    if (Entry* pLoaded = Loaded(entry.key)) {
        *pLoaded = entry;
        return;
    }
    // A file not known before is written at once, inside the transaction that Save ends: a first comparison
    // of a big tree would otherwise hold all its new entries in memory. A file met twice in one run (a hard
    // link) is written twice: what both learnt of one state of it is kept together, and a newer state
    // replaces an older one whole.
    if (m_bWriteFailed || !Begin()) {
        return;
    }
    if (m_pMerge == nullptr
        && sqlite3_prepare_v2(m_pDatabase,
               "INSERT INTO files VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8) ON CONFLICT(device, inode) DO UPDATE SET"
               " crc = CASE WHEN size = ?3 AND mtime = ?4 AND ctime = ?5 THEN COALESCE(?7, crc) ELSE ?7 END,"
               " version = CASE WHEN size = ?3 AND mtime = ?4 AND ctime = ?5 THEN COALESCE(?8, version) ELSE ?8 END,"
               " written = ?6, size = ?3, mtime = ?4, ctime = ?5",
               -1, &m_pMerge, nullptr)
            != SQLITE_OK) {
        m_bWriteFailed = true;
        return;
    }
    m_bWriteFailed = !Write(entry, m_pMerge);
}

bool CCrcCache::Begin()
{
    if (!m_bInTransaction) {
        m_bInTransaction = Execute(m_pDatabase, "BEGIN IMMEDIATE");
        m_bWriteFailed = !m_bInTransaction;
    }
    return m_bInTransaction;
}

bool CCrcCache::Write(const Entry& entry, sqlite3_stmt* pInsert)
{
    sqlite3_bind_int64(pInsert, 1, static_cast<sqlite3_int64>(entry.key.nDevice));
    sqlite3_bind_int64(pInsert, 2, static_cast<sqlite3_int64>(entry.key.nInode));
    sqlite3_bind_int64(pInsert, 3, entry.nSize);
    sqlite3_bind_int64(pInsert, 4, entry.nModified);
    sqlite3_bind_int64(pInsert, 5, entry.nChanged);
    sqlite3_bind_int64(pInsert, 6, entry.nWritten);
    if (entry.bHasCrc) {
        sqlite3_bind_int64(pInsert, 7, entry.nCrc);
    } else {
        sqlite3_bind_null(pInsert, 7);
    }
    if (entry.bHasVersion) {
        BindText(pInsert, 8, m_versions.at(entry.key));
    } else {
        sqlite3_bind_null(pInsert, 8);
    }
    const bool bOk = sqlite3_step(pInsert) == SQLITE_DONE;
    sqlite3_reset(pInsert);
    return bOk;
}

std::optional<std::uint32_t> CCrcCache::RecallCrc(const FileStamp& stamp)
{
    const Entry* pEntry = Trusted(stamp);
    return pEntry != nullptr && pEntry->bHasCrc ? std::optional(pEntry->nCrc) : std::nullopt;
}

void CCrcCache::RememberCrc(const FileStamp& stamp, std::uint32_t nCrc)
{
    Entry entry = Fresh(stamp);
    entry.nCrc = nCrc;
    entry.bHasCrc = true;
    Keep(entry);
}

std::optional<QString> CCrcCache::RecallVersion(const FileStamp& stamp)
{
    const Entry* pEntry = Trusted(stamp);
    if (pEntry == nullptr || !pEntry->bHasVersion) {
        return std::nullopt;
    }
    return m_versions.at({ stamp.nDevice, stamp.nInode });
}

void CCrcCache::RememberVersion(const FileStamp& stamp, const QString& strVersion)
{
    Entry entry = Fresh(stamp);
    entry.bHasVersion = true;
    m_versions[entry.key] = strVersion;
    Keep(entry);
}

bool CCrcCache::Save(bool bWhole)
{
    const bool bGone
        = bWhole && std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& entry) { return !entry.bSeen; });
    const bool bChanges = m_bInTransaction
        || std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& entry) { return entry.bDirty; });
    if (!bChanges && !bGone) {
        return true;
    }
    if (!Begin()) {
        return false;
    }
    // A loaded entry holds all that is known of its file.
    CStatement replace(m_pDatabase, "INSERT OR REPLACE INTO files VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
    CStatement remove(m_pDatabase, "DELETE FROM files WHERE device = ?1 AND inode = ?2");
    bool bOk = !m_bWriteFailed && replace.IsValid() && remove.IsValid();
    for (Entry& entry : m_entries) {
        if (!bOk) {
            break;
        }
        if (entry.bDirty) {
            bOk = Write(entry, replace.Get());
            entry.bDirty = false;
        } else if (bGone && !entry.bSeen) {
            sqlite3_bind_int64(remove.Get(), 1, static_cast<sqlite3_int64>(entry.key.nDevice));
            sqlite3_bind_int64(remove.Get(), 2, static_cast<sqlite3_int64>(entry.key.nInode));
            bOk = sqlite3_step(remove.Get()) == SQLITE_DONE;
            sqlite3_reset(remove.Get());
        }
    }
    m_bInTransaction = false;
    m_bWriteFailed = false;
    if (!bOk || !Execute(m_pDatabase, "COMMIT")) {
        Execute(m_pDatabase, "ROLLBACK");
        return false;
    }
    if (bGone) {
        std::erase_if(m_entries, [this](const Entry& entry) {
            if (!entry.bSeen) {
                m_versions.erase(entry.key);
            }
            return !entry.bSeen;
        });
    }
    for (Entry& entry : m_entries) {
        entry.bSeen = false;
    }
    return true;
}

QString DefaultCrcCacheFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/Quorvel/crc");
}
