#pragma once

#include "tree/FileItem.h"
#include "tree/SiblingIndex.h"

// Merges one side's entry into the children of pParent. An entry whose kind and name a child already has
// is merged into that child (met from the other side it becomes a both-sides item, met again from the
// same side it takes the newer values) and freed; otherwise it is linked in at its place in the order.
// Returns the item that now stands for the entry.
CFileItem* AddItem(CFileItemPtr pNew, CFileItem* pParent);

// The steps of AddItem, for entries that come in sibling order (each is placed from where the one before it
// went, the cursor belonging to pParent's children) and that are built only once it is known whether they
// are new: where the entry goes, then merging it into its namesake (taking its texts) or linking it in at
// that place.
CSiblingIndex::Place LocateChild(CFileItem* pParent, CSiblingIndex::Cursor& cursor, int nKind, const QString& strName);
CFileItem* MergeChild(CFileItem* pExisting, CFileItem&& incoming, CSiblingIndex::Cursor& cursor);
CFileItem* LinkChild(
    CFileItemPtr pNew, CFileItem* pParent, const CSiblingIndex::Place& place, CSiblingIndex::Cursor& cursor);

// The first sibling from pFirst on of that kind whose name matches.
CFileItem* FindSibling(int nKind, const QString& strName, CFileItem* pFirst);

// Depth-first searches below pStart for a file (folder, either) whose folder on either side equals the
// folder part of strFullName and whose name equals its last part.
CFileItem* FindFileByPath(const QString& strFullName, CFileItem* pStart);
CFileItem* FindAnyByPath(const QString& strFullName, CFileItem* pStart);
// The same for a folder, among the siblings of pItem only.
CFileItem* FindDirByPath(const QString& strFullName, CFileItem* pItem);

// How many items stand below pRoot, at any depth.
size_t CountItems(const CFileItem* pRoot);
// Numbers every item below pRoot in pre-order from 0; returns the first item.
CFileItem* NumberItems(CFileItem* pRoot);
CFileItem* FindItemByIndex(CFileItem* pRoot, int nIndex);

CFileItem* LastSibling(CFileItem* pItem);
bool IsDescendantOf(const CFileItem* pItem, const CFileItem* pFolder);

// Take one side away from a file or folder, leaving it on the other side only.
void DropSide(int nSide, CFileItem* pItem);
void DropDirSide(int nSide, CFileItem* pItem);
// After a successful copy: the target side shows what the source side shows, and the file is Same.
void CopySide(int nFromSide, int nToSide, CFileItem* pItem);

// Changes an item's name and moves it to its new place among its siblings.
void RenameItem(CFileItem* pItem, const QString& strNewName);

// Unlinks the item from its folder and siblings and hands it, with its subtree, to the caller.
CFileItemPtr DetachItem(CFileItem* pItem);

void DeleteChildren(CFileItem* pFolder);
// Unlinks the item from its folder and siblings and frees it with its subtree.
void DeleteItem(CFileItem* pItem);
