#pragma once

#include <functional>

#include "tree/FileItem.h"

// Anything, or a given kind, for the look-ups by name.
inline constexpr int KIND_ANY = -1;

// The merged tree of one comparison: its root folder item, which owns every item, and the root folder of
// each side.
class CFileTree
{
public:
    CFileTree();
    ~CFileTree();
    CFileTree(const CFileTree&) = delete;
    CFileTree& operator=(const CFileTree&) = delete;

    [[nodiscard]] CFileItem* Root() const { return m_pRoot.get(); }

    // The folders being compared: the user's folder on the left, the mirror folder on the right.
    void SetRootPath(int nSide, const QString& strPath) { m_strRootPaths[nSide] = strPath; }
    [[nodiscard]] const QString& RootPath(int nSide) const { return m_strRootPaths[nSide]; }

    // Row to item. The panes give their own lookup; without one, rows are the pre-order numbers that
    // NumberItems() gives.
    void SetRowLookup(std::function<CFileItem*(int nIndex)> rowLookup) { m_rowLookup = std::move(rowLookup); }
    [[nodiscard]] CFileItem* GetTreeItem(int nIndex) const;

    // The folder on side nDSTview into which pItem is to be copied or created. bDerived is false when the
    // item's own folder on that side was used, true when it had to be found from the item's ancestors.
    [[nodiscard]] QString FillOutTargetPath(const CFileItem* pItem, int nDSTview, bool& bDerived) const;

    // Removes every item.
    void Clear();

private:
    CFileItemPtr m_pRoot;
    QString m_strRootPaths[2];
    std::function<CFileItem*(int)> m_rowLookup;
};

// The index of the first item, depth-first from pRoot, of the wanted kind (or KIND_ANY) whose full name on
// the left or right side is strFullName; -1 when there is none. nSideFound: 0 when only the left name
// matched, 1 when only the right one did, 2 when both did.
int find_index_from_FileList(const QString& strFullName, CFileItem* pRoot, int nKind, int& nSideFound);
