#pragma once

#include <cstdint>
#include <memory>

#include <QString>

#include "support/BulkMemory.h"
#include "support/SharedText.h"

// Item kinds.
inline constexpr int KIND_DIR = 0;
inline constexpr int KIND_FILE = 1;

// Side numbers: every per-side pair is indexed by these.
inline constexpr int SIDE_LEFT = 0;
inline constexpr int SIDE_RIGHT = 1;

// Status of a file item.
inline constexpr int FILE_SAME = 0;
inline constexpr int FILE_DIFF = 1;
inline constexpr int FILE_LEFT_ONLY = 2;
inline constexpr int FILE_RIGHT_ONLY = 3;
inline constexpr int FILE_UNKNOWN = 4;

// Status of a folder item: folders have no Same or Diff of their own.
inline constexpr int DIR_LEFT_ONLY = 0;
inline constexpr int DIR_RIGHT_ONLY = 1;
inline constexpr int DIR_BOTH = 2;

// Icons, the same numbers on both sides.
inline constexpr int ICON_CLOSE = 0;
inline constexpr int ICON_OPEN = 1;
inline constexpr int ICON_SAME = 2;
inline constexpr int ICON_DIFF = 3;
inline constexpr int ICON_1ST = 4;
inline constexpr int ICON_2ND = 5;
inline constexpr int ICON_BLANK_DIR = 6;
inline constexpr int ICON_BLANK_FILE = 7;
inline constexpr int ICON_UNKNOWN_FILE = 8;

class CSiblingIndex;

// How a file's status was reached, for the user: the panes' tooltip and the command line's JSON say it.
enum class VerdictBasis : unsigned char
{
    None, // one-sided, a folder, or undecided
    Contents, // the CRC-32 of both files
    ServerChecksum, // the server's checksum of its file against the same checksum of the local one
    Size, // the sizes differ
    Version // the versions differ
};

// "CRC of both files", "server checksum", "size only", "version"; empty for None.
const char* VerdictBasisText(VerdictBasis nBasis);

// How much of a side was read below a folder, or of a file. Nothing on the other side is ever deleted
// on the strength of a folder that was not read in full: what it did not show may well be there.
enum class SideRead : unsigned char
{
    Full,
    Unreadable, // the folder or file could not be read (permission denied, an I/O error)
    LinkNotFollowed, // a link to a folder: on the server always, locally when it leads outside or back up
    ListingEmpty, // the server's listing gave no entry, which a failed listing does as well
    ListingPartial, // the server's listing held lines that could not be read, or names that were left out
    ListingFailed // the server refused to list the folder, or the listing broke off
};

// Which command listed a folder on the server: MLSD gives sizes and times to the second, LIST times to the
// minute (or the day).
enum class ListedBy : unsigned char
{
    None, // a local folder, or one not listed
    List,
    Mlsd
};

// One item of the merged tree: a file or folder that exists on the left (local) side, the right (FTP,
// read through its mirror folder) side, or both. Folders own their children: destroying a folder frees
// its whole subtree.
struct CFileItem
{
    CFileItem();
    ~CFileItem();
    CFileItem(const CFileItem&) = delete;
    CFileItem& operator=(const CFileItem&) = delete;
    // Items are made and freed with their trees, by the hundred thousand.
    static void* operator new(size_t nBytes)
    {
        static_assert(alignof(CFileItem) <= kBulkAlignment);
        return BulkAllocate(nBytes);
    }
    static void operator delete(void* pItem) noexcept { BulkFree(pItem); }

    // A big tree holds millions of items: the fields are ordered and sized to pack, and the texts that
    // siblings share (folder paths, sizes, times) are shared rather than copied.
    QString strName;
    CSharedText strPaths[2];
    CSharedText strVersion[2];
    CSharedText strTime[2];
    CSharedText strShowPaths[2];
    CSharedText strSize[2];
    CFileItem* pNext = nullptr;
    CFileItem* pPrev = nullptr;
    CFileItem* pFirstChild = nullptr;
    CFileItem* pLastChild = nullptr;
    CFileItem* fParent = nullptr;

    // Finds a child by kind and name in O(log n), and its place in the sibling order; kept by the tree's
    // operations, never by hand.
    std::unique_ptr<CSiblingIndex> pChildIndex;

    // A side's CRC-32 as the CRC cache knew it when the side was scanned; read only by the comparison that
    // follows the scan, which clears it.
    std::uint32_t nKnownCrc[2] = { 0, 0 };
    int index = -1;
    std::int16_t indent = -1;
    std::int8_t kind = KIND_DIR;
    std::int8_t status = -1;
    std::int8_t icon[2] = { 0, 0 };
    std::int8_t nAttrSource = 0;
    std::int8_t nAttrReserved = -1;
    bool bExpanded[2] = { false, false };
    bool bListed[2] = { false, false };
    // A folder that is a link on that side: never entered by a copy or a deletion, removed as a link.
    bool bLink[2] = { false, false };
    bool bKnownCrc[2] = { false, false };
    SideRead nRead[2] = { SideRead::Full, SideRead::Full };
    ListedBy nListedBy = ListedBy::None; // of a folder on the FTP side
    VerdictBasis nBasis = VerdictBasis::None;
};

using CFileItemPtr = std::unique_ptr<CFileItem>;

// How the FTP side of an item was listed: a folder's own listing, a file's folder's.
ListedBy ListingOf(const CFileItem& item);
// "MLSD", "LIST"; empty for None.
const char* ListedByText(ListedBy nListedBy);

// What the user should know of a Same verdict that rests on a time the server gave to the minute only: the
// copy compared was taken as current because the listed size and minute had not changed, and a change within
// that minute that kept the size would not show. Empty for every other item.
const char* MinuteTimeNote(const CFileItem& item);

// Attribute sources.
inline constexpr int ATTR_FROM_MARKER = 0;
inline constexpr int ATTR_FROM_FILE = 2;

CFileItemPtr NewItem();

// A detached copy: every field but the links and the child index.
CFileItemPtr CloneItem(const CFileItem& item);

// The item's full name on a side: its folder there, a separator and its name; empty where it is missing.
QString FullName(const CFileItem& item, int nSide);

// The item after pItem in a pre-order walk of the tree below pRoot, or null at the end. The walk needs no
// stack, so deep trees cannot exhaust it. nDepth, when given, follows the level of the item returned.
CFileItem* NextInPreOrder(const CFileItem* pItem, const CFileItem* pRoot, int* pDepth = nullptr);

// The separator of the paths the tree keeps.
inline constexpr QChar kPathSeparator = QLatin1Char('/');

// Joins a folder and a name without doubling a separator the folder already ends with.
QString JoinPath(const QString& strFolder, const QString& strName);
