#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include <QString>

#include "tree/FileItem.h"

// The classes of item that the panes count, colour and can hide, one bit each.
enum StatusClass : unsigned char
{
    CLASS_SAME = 0,
    CLASS_DIFF,
    CLASS_LEFT_ONLY,
    CLASS_RIGHT_ONLY,
    CLASS_UNKNOWN,
    CLASS_FOLDER_ONE_SIDE, // a folder that exists on one side only
    CLASS_FOLDER_BOTH, // a folder on both sides: shown only as the way to what lies below, or unfiltered
    kStatusClasses
};
inline constexpr unsigned kAllToggleClasses = (1u << CLASS_FOLDER_BOTH) - 1; // every class a user can toggle
inline constexpr unsigned kDifferenceClasses = (1u << CLASS_DIFF) | (1u << CLASS_LEFT_ONLY) | (1u << CLASS_RIGHT_ONLY)
    | (1u << CLASS_UNKNOWN) | (1u << CLASS_FOLDER_ONE_SIDE);

// The class of a tree item by its kind and status.
StatusClass ClassOf(int nKind, int nStatus);

// One item of the tree as the panes show it. Texts are shared with the tree (Qt's implicit sharing), and a
// node is kept small: a big tree's snapshot is taken while the user waits for the panes.
struct SnapshotNode
{
    QString strName;
    std::array<QString, 2> strSize;
    std::array<QString, 2> strTime;
    // The folder that holds the item on each side, among the snapshot's folder texts (siblings share one);
    // -1 where the item is missing.
    std::array<int, 2> nFolder { -1, -1 };
    int nVersions = -1; // among the snapshot's version texts; -1 when neither side has one, as for most files
    int nParent = -1; // -1 for the root
    int nFirstChild = 0; // children lie next to each other from here
    int nChildCount = 0;
    int nRow = 0; // place among its siblings
    unsigned nSubtreeClasses = 0; // the classes of this node and of everything below it
    std::int8_t nKind = KIND_DIR;
    std::int8_t nStatus = -1;
    std::array<std::int8_t, 2> icon { 0, 0 };
    std::array<SideRead, 2> nRead { SideRead::Full, SideRead::Full };
    std::int8_t nAttrSource = 0;
    VerdictBasis nBasis = VerdictBasis::None;
    ListedBy nListedBy = ListedBy::None; // of the FTP side: a folder's own listing, a file's folder's
    const char* pMinuteNote = ""; // MinuteTimeNote of the item
    StatusClass nClass = CLASS_FOLDER_BOTH;

    [[nodiscard]] bool IsOn(int nSide) const { return nFolder[nSide] >= 0; }
    // Whether anything below a folder differs.
    [[nodiscard]] bool DiffersBelow() const { return (nSubtreeClasses & kDifferenceClasses) != 0; }
};

// Counts and bytes of one status class.
struct ClassTotals
{
    long long nItems = 0;
    long long nBytes = 0;
};

// A copy of the merged tree as the panes show it, taken under the view's lock in one pass and read after
// that without any lock: jobs may change the live tree meanwhile, and the next snapshot shows it. Node 0 is
// the root; every node's children lie next to each other in sibling order.
class CTreeSnapshot
{
public:
    // Copies the tree below pRoot; the caller holds the lock that guards it.
    static std::shared_ptr<const CTreeSnapshot> Take(const CFileItem* pRoot);
    static std::shared_ptr<const CTreeSnapshot> Empty();

    [[nodiscard]] const std::vector<SnapshotNode>& Nodes() const { return m_nodes; }
    [[nodiscard]] const SnapshotNode& Node(int nIndex) const { return m_nodes[static_cast<size_t>(nIndex)]; }
    [[nodiscard]] int Size() const { return static_cast<int>(m_nodes.size()); }
    [[nodiscard]] const std::array<ClassTotals, kStatusClasses>& Totals() const { return m_totals; }
    [[nodiscard]] long long FileCount() const { return m_nFiles; }
    // The folder that holds a node on a side, as the user knows it; empty where the node is missing.
    [[nodiscard]] const QString& Folder(int nNode, int nSide) const;
    // The full name shown to the user on a side; empty where the node is missing.
    [[nodiscard]] QString FullPath(int nNode, int nSide) const;
    [[nodiscard]] const QString& Version(int nNode, int nSide) const;
    // A path that names the node in any snapshot of the same comparison: expanded folders and the selection
    // are found again by it after a refresh.
    [[nodiscard]] QString KeyOf(int nIndex) const;

private:
    std::vector<SnapshotNode> m_nodes;
    std::vector<QString> m_folders;
    std::vector<std::array<QString, 2>> m_versions;
    std::array<ClassTotals, kStatusClasses> m_totals {};
    long long m_nFiles = 0;
};

// The nodes of `to` that stand where `nodes` of `from` stood (two snapshots of one comparison), by key;
// 0 where one is gone. Only the folders on the way to them are searched.
std::vector<int> FindNodesAgain(const CTreeSnapshot& from, const std::vector<int>& nodes, const CTreeSnapshot& to);

// Why a node has its status, in words: "the sizes differ", "not downloaded: compared by size only" ...
QString VerdictOf(const CTreeSnapshot& snapshot, int nNode);

// The short name of a status class, as the status bar and the reports give it.
QString ClassName(StatusClass nClass);
