#include "tree/TreeOperations.h"

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "tree/NameRules.h"
#include "tree/SiblingIndex.h"

namespace {

CSiblingIndex& ChildIndex(CFileItem* pFolder)
{
    if (!pFolder->pChildIndex) {
        pFolder->pChildIndex = std::make_unique<CSiblingIndex>();
    }
    return *pFolder->pChildIndex;
}

void MergeFolder(CFileItem* pExisting, CFileItem& incoming)
{
    switch (incoming.status) {
    case DIR_RIGHT_ONLY:
        if (pExisting->status == DIR_LEFT_ONLY || pExisting->status == DIR_BOTH) {
            pExisting->status = DIR_BOTH;
        }
        pExisting->strPaths[SIDE_RIGHT] = std::move(incoming.strPaths[SIDE_RIGHT]);
        pExisting->strShowPaths[SIDE_RIGHT] = std::move(incoming.strShowPaths[SIDE_RIGHT]);
        pExisting->bExpanded[SIDE_RIGHT] = incoming.bExpanded[SIDE_RIGHT];
        pExisting->bListed[SIDE_RIGHT] = incoming.bListed[SIDE_RIGHT];
        pExisting->bLink[SIDE_RIGHT] = incoming.bLink[SIDE_RIGHT];
        pExisting->nRead[SIDE_RIGHT] = incoming.nRead[SIDE_RIGHT];
        pExisting->nListedBy = incoming.nListedBy;
        RenameItem(pExisting, incoming.strName);
        break;
    case DIR_LEFT_ONLY:
        if (pExisting->status == DIR_RIGHT_ONLY || pExisting->status == DIR_BOTH) {
            pExisting->status = DIR_BOTH;
        }
        pExisting->strPaths[SIDE_LEFT] = std::move(incoming.strPaths[SIDE_LEFT]);
        pExisting->strShowPaths[SIDE_LEFT] = std::move(incoming.strShowPaths[SIDE_LEFT]);
        pExisting->bExpanded[SIDE_LEFT] = incoming.bExpanded[SIDE_LEFT];
        pExisting->bListed[SIDE_LEFT] = incoming.bListed[SIDE_LEFT];
        pExisting->bLink[SIDE_LEFT] = incoming.bLink[SIDE_LEFT];
        pExisting->nRead[SIDE_LEFT] = incoming.nRead[SIDE_LEFT];
        break;
    case DIR_BOTH:
        pExisting->status = DIR_BOTH;
        break;
    default:
        break;
    }
}

// The texts are taken, not copied: most are shared by thousands of items, and a copy would write their
// count, which the threads merging other folders write as well.
void MoveFileSide(CFileItem* pTo, CFileItem& from, int nSide)
{
    pTo->strPaths[nSide] = std::move(from.strPaths[nSide]);
    pTo->strVersion[nSide] = std::move(from.strVersion[nSide]);
    pTo->strTime[nSide] = std::move(from.strTime[nSide]);
    pTo->strSize[nSide] = std::move(from.strSize[nSide]);
    pTo->strShowPaths[nSide] = std::move(from.strShowPaths[nSide]);
    pTo->nRead[nSide] = from.nRead[nSide];
    pTo->bKnownCrc[nSide] = from.bKnownCrc[nSide];
    pTo->nKnownCrc[nSide] = from.nKnownCrc[nSide];
}

void MergeFile(CFileItem* pExisting, CFileItem& incoming)
{
    switch (incoming.status) {
    case FILE_RIGHT_ONLY:
        if (pExisting->status != FILE_RIGHT_ONLY) {
            pExisting->status = FILE_UNKNOWN;
        }
        MoveFileSide(pExisting, incoming, SIDE_RIGHT);
        RenameItem(pExisting, incoming.strName);
        break;
    case FILE_LEFT_ONLY:
        if (pExisting->status != FILE_LEFT_ONLY) {
            pExisting->status = FILE_UNKNOWN;
        }
        MoveFileSide(pExisting, incoming, SIDE_LEFT);
        break;
    case FILE_UNKNOWN:
        pExisting->status = FILE_UNKNOWN;
        break;
    default:
        break;
    }
}

void LinkBefore(CFileItem* pItem, CFileItem* pSuccessor, CFileItem* pParent)
{
    if (pSuccessor == nullptr) {
        pItem->pPrev = pParent->pLastChild;
        if (pParent->pLastChild != nullptr) {
            pParent->pLastChild->pNext = pItem;
        } else {
            pParent->pFirstChild = pItem;
        }
        pParent->pLastChild = pItem;
        return;
    }
    pItem->pNext = pSuccessor;
    pItem->pPrev = pSuccessor->pPrev;
    if (pSuccessor->pPrev != nullptr) {
        pSuccessor->pPrev->pNext = pItem;
    } else {
        pParent->pFirstChild = pItem;
    }
    pSuccessor->pPrev = pItem;
}

void Unlink(CFileItem* pItem)
{
    CFileItem* pParent = pItem->fParent;
    if (pParent != nullptr) {
        if (pParent->pChildIndex) {
            pParent->pChildIndex->Erase(pItem);
        }
        if (pParent->pFirstChild == pItem) {
            pParent->pFirstChild = pItem->pNext;
        }
        if (pParent->pLastChild == pItem) {
            pParent->pLastChild = pItem->pPrev;
        }
    }
    if (pItem->pPrev != nullptr) {
        pItem->pPrev->pNext = pItem->pNext;
    }
    if (pItem->pNext != nullptr) {
        pItem->pNext->pPrev = pItem->pPrev;
    }
    pItem->pPrev = nullptr;
    pItem->pNext = nullptr;
    pItem->fParent = nullptr;
}

// Splits "folder/name" at its last separator; false when there is none.
bool SplitFullName(const QString& strFullName, QString& strFolder, QString& strName)
{
    const qsizetype nCut = strFullName.lastIndexOf(kPathSeparator);
    if (nCut < 0) {
        return false;
    }
    strFolder = strFullName.left(nCut);
    strName = strFullName.mid(nCut + 1);
    return true;
}

bool HasFolderOnEitherSide(const CFileItem& item, const QString& strFolder)
{
    return NamesMatch(item.strPaths[SIDE_LEFT].Text(), strFolder)
        || NamesMatch(item.strPaths[SIDE_RIGHT].Text(), strFolder);
}

CFileItem* FindByPath(const QString& strFullName, CFileItem* pStart, int nKind)
{
    QString strFolder;
    QString strName;
    if (pStart == nullptr || !SplitFullName(strFullName, strFolder, strName)) {
        return nullptr;
    }
    CFileItem* pItem = pStart->pFirstChild;
    while (pItem != nullptr) {
        if ((nKind < 0 || pItem->kind == nKind) && NamesMatch(pItem->strName, strName)
            && HasFolderOnEitherSide(*pItem, strFolder)) {
            return pItem;
        }
        pItem = NextInPreOrder(pItem, pStart);
    }
    return nullptr;
}

} // namespace

CFileItem* AddItem(CFileItemPtr pNew, CFileItem* pParent)
{
    CSiblingIndex::Cursor cursor;
    const CSiblingIndex::Place place = LocateChild(pParent, cursor, pNew->kind, pNew->strName);
    if (place.pMatch != nullptr) {
        return MergeChild(place.pMatch, std::move(*pNew), cursor);
    }
    return LinkChild(std::move(pNew), pParent, place, cursor);
}

CSiblingIndex::Place LocateChild(CFileItem* pParent, CSiblingIndex::Cursor& cursor, int nKind, const QString& strName)
{
    return ChildIndex(pParent).Locate(cursor, nKind, strName);
}

CFileItem* MergeChild(CFileItem* pExisting, CFileItem&& incoming, CSiblingIndex::Cursor& cursor)
{
    if (pExisting->strName != incoming.strName) {
        // Merging may rename the item the cursor stands on.
        cursor.Reset();
    }
    if (incoming.kind == KIND_DIR) {
        MergeFolder(pExisting, incoming);
    } else {
        MergeFile(pExisting, incoming);
    }
    LogFull("AddItem::[%ld] %s merged, status=%d", CurrentThreadId(), pExisting->strName, pExisting->status);
    return pExisting;
}

CFileItem* LinkChild(
    CFileItemPtr pNew, CFileItem* pParent, const CSiblingIndex::Place& place, CSiblingIndex::Cursor& cursor)
{
    CFileItem* pItem = pNew.release();
    pItem->fParent = pParent;
    LinkBefore(pItem, place.pSuccessor, pParent);
    ChildIndex(pParent).Insert(cursor, pItem);
    LogFull("AddItem::[%ld] %s added, status=%d", CurrentThreadId(), pItem->strName, pItem->status);
    return pItem;
}

CFileItem* FindSibling(int nKind, const QString& strName, CFileItem* pFirst)
{
    if (pFirst == nullptr) {
        return nullptr;
    }
    CFileItem* pParent = pFirst->fParent;
    if (pParent != nullptr && pParent->pChildIndex && pParent->pFirstChild == pFirst) {
        return pParent->pChildIndex->Find(nKind, strName);
    }
    for (CFileItem* pItem = pFirst; pItem != nullptr; pItem = pItem->pNext) {
        if (pItem->kind == nKind && NamesMatch(pItem->strName, strName)) {
            return pItem;
        }
    }
    return nullptr;
}

CFileItem* FindFileByPath(const QString& strFullName, CFileItem* pStart)
{
    return FindByPath(strFullName, pStart, KIND_FILE);
}

CFileItem* FindAnyByPath(const QString& strFullName, CFileItem* pStart)
{
    return FindByPath(strFullName, pStart, -1);
}

CFileItem* FindDirByPath(const QString& strFullName, CFileItem* pItem)
{
    QString strFolder;
    QString strName;
    if (pItem == nullptr || pItem->fParent == nullptr || !SplitFullName(strFullName, strFolder, strName)) {
        return nullptr;
    }
    for (CFileItem* pSibling = pItem->fParent->pFirstChild; pSibling != nullptr; pSibling = pSibling->pNext) {
        if (pSibling->kind == KIND_DIR && NamesMatch(pSibling->strName, strName)
            && HasFolderOnEitherSide(*pSibling, strFolder)) {
            return pSibling;
        }
    }
    return nullptr;
}

size_t CountItems(const CFileItem* pRoot)
{
    size_t nCount = 0;
    for (const CFileItem* pItem = pRoot->pFirstChild; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        ++nCount;
    }
    return nCount;
}

CFileItem* NumberItems(CFileItem* pRoot)
{
    if (pRoot == nullptr) {
        return nullptr;
    }
    int nCounter = 0;
    CFileItem* pItem = pRoot->pFirstChild;
    while (pItem != nullptr) {
        pItem->index = nCounter++;
        pItem = NextInPreOrder(pItem, pRoot);
    }
    return pRoot->pFirstChild;
}

CFileItem* FindItemByIndex(CFileItem* pRoot, int nIndex)
{
    if (pRoot == nullptr) {
        return nullptr;
    }
    CFileItem* pItem = pRoot->pFirstChild;
    while (pItem != nullptr) {
        if (pItem->index == nIndex) {
            return pItem;
        }
        pItem = NextInPreOrder(pItem, pRoot);
    }
    return nullptr;
}

CFileItem* LastSibling(CFileItem* pItem)
{
    while (pItem != nullptr && pItem->pNext != nullptr) {
        pItem = pItem->pNext;
    }
    return pItem;
}

bool IsDescendantOf(const CFileItem* pItem, const CFileItem* pFolder)
{
    for (const CFileItem* pUp = pItem != nullptr ? pItem->fParent : nullptr; pUp != nullptr; pUp = pUp->fParent) {
        if (pUp == pFolder) {
            return true;
        }
    }
    return false;
}

void DropSide(int nSide, CFileItem* pItem)
{
    pItem->strPaths[nSide].Clear();
    pItem->strVersion[nSide].Clear();
    pItem->strTime[nSide].Clear();
    pItem->strSize[nSide].Clear();
    pItem->strShowPaths[nSide].Clear();
    pItem->nRead[nSide] = SideRead::Full;
    pItem->bKnownCrc[nSide] = false;
    pItem->status = nSide == SIDE_LEFT ? FILE_RIGHT_ONLY : FILE_LEFT_ONLY;
}

void DropDirSide(int nSide, CFileItem* pItem)
{
    pItem->strPaths[nSide].Clear();
    pItem->strShowPaths[nSide].Clear();
    pItem->bExpanded[nSide] = false;
    pItem->bListed[nSide] = false;
    pItem->nRead[nSide] = SideRead::Full;
    pItem->status = nSide == SIDE_LEFT ? DIR_RIGHT_ONLY : DIR_LEFT_ONLY;
}

void CopySide(int nFromSide, int nToSide, CFileItem* pItem)
{
    pItem->strVersion[nToSide] = pItem->strVersion[nFromSide];
    pItem->strTime[nToSide] = pItem->strTime[nFromSide];
    pItem->strSize[nToSide] = pItem->strSize[nFromSide];
    pItem->strShowPaths[nToSide] = pItem->strShowPaths[nFromSide];
    pItem->nRead[nToSide] = SideRead::Full;
    pItem->status = FILE_SAME;
}

void RenameItem(CFileItem* pItem, const QString& strNewName)
{
    if (pItem->strName == strNewName) {
        return;
    }
    CFileItem* pParent = pItem->fParent;
    if (pParent == nullptr) {
        pItem->strName = strNewName;
        return;
    }
    Unlink(pItem);
    pItem->strName = strNewName;
    pItem->fParent = pParent;
    CSiblingIndex& index = ChildIndex(pParent);
    // A name already taken goes beside its namesake rather than out of order.
    const CSiblingIndex::Place place = index.Locate(pItem->kind, pItem->strName);
    LinkBefore(pItem, place.pMatch != nullptr ? place.pMatch : place.pSuccessor, pParent);
    index.Insert(pItem);
}

void DeleteChildren(CFileItem* pFolder)
{
    CFileItem* pChild = pFolder->pFirstChild;
    while (pChild != nullptr) {
        CFileItem* pNextChild = pChild->pNext;
        delete pChild;
        pChild = pNextChild;
    }
    pFolder->pFirstChild = nullptr;
    pFolder->pLastChild = nullptr;
    pFolder->pChildIndex.reset();
}

CFileItemPtr DetachItem(CFileItem* pItem)
{
    Unlink(pItem);
    return CFileItemPtr(pItem);
}

void DeleteItem(CFileItem* pItem)
{
    if (pItem != nullptr) {
        DetachItem(pItem);
    }
}
