#include "tree/FileItem.h"

#include "tree/SiblingIndex.h"

CFileItem::CFileItem() = default;

CFileItem::~CFileItem()
{
    CFileItem* pChild = pFirstChild;
    while (pChild != nullptr) {
        CFileItem* pNextChild = pChild->pNext;
        delete pChild;
        pChild = pNextChild;
    }
}

CFileItemPtr NewItem()
{
    return std::make_unique<CFileItem>();
}

CFileItemPtr CloneItem(const CFileItem& item)
{
    CFileItemPtr pCopy = NewItem();
    pCopy->kind = item.kind;
    pCopy->status = item.status;
    pCopy->indent = item.indent;
    pCopy->icon[0] = item.icon[0];
    pCopy->icon[1] = item.icon[1];
    pCopy->index = item.index;
    pCopy->strName = item.strName;
    pCopy->nAttrSource = item.nAttrSource;
    pCopy->nAttrReserved = item.nAttrReserved;
    pCopy->nBasis = item.nBasis;
    pCopy->nListedBy = item.nListedBy;
    for (int side = 0; side < 2; ++side) {
        pCopy->strPaths[side] = item.strPaths[side];
        pCopy->strVersion[side] = item.strVersion[side];
        pCopy->strTime[side] = item.strTime[side];
        pCopy->strShowPaths[side] = item.strShowPaths[side];
        pCopy->strSize[side] = item.strSize[side];
        pCopy->bExpanded[side] = item.bExpanded[side];
        pCopy->bListed[side] = item.bListed[side];
        pCopy->bLink[side] = item.bLink[side];
        pCopy->nRead[side] = item.nRead[side];
    }
    return pCopy;
}

ListedBy ListingOf(const CFileItem& item)
{
    if (item.kind == KIND_DIR) {
        return item.nListedBy;
    }
    return item.fParent != nullptr && !item.strPaths[SIDE_RIGHT].IsEmpty() ? item.fParent->nListedBy : ListedBy::None;
}

const char* ListedByText(ListedBy nListedBy)
{
    switch (nListedBy) {
    case ListedBy::List:
        return "LIST";
    case ListedBy::Mlsd:
        return "MLSD";
    case ListedBy::None:
        break;
    }
    return "";
}

const char* MinuteTimeNote(const CFileItem& item)
{
    if (item.kind != KIND_FILE || item.status != FILE_SAME || item.nBasis != VerdictBasis::Contents
        || ListingOf(item) != ListedBy::List) {
        return "";
    }
    return "the server gives its time to the minute only: a change within the listed minute that kept the size "
           "would not show";
}

const char* VerdictBasisText(VerdictBasis nBasis)
{
    switch (nBasis) {
    case VerdictBasis::Contents:
        return "CRC of both files";
    case VerdictBasis::ServerChecksum:
        return "server checksum";
    case VerdictBasis::Size:
        return "size only";
    case VerdictBasis::Version:
        return "version";
    case VerdictBasis::None:
        break;
    }
    return "";
}

QString JoinPath(const QString& strFolder, const QString& strName)
{
    if (strFolder.isEmpty() || strFolder.endsWith(kPathSeparator)) {
        return strFolder + strName;
    }
    return strFolder + kPathSeparator + strName;
}

QString FullName(const CFileItem& item, int nSide)
{
    if (item.strPaths[nSide].IsEmpty()) {
        return {};
    }
    return JoinPath(item.strPaths[nSide], item.strName);
}

CFileItem* NextInPreOrder(const CFileItem* pItem, const CFileItem* pRoot, int* pDepth)
{
    if (pItem->pFirstChild != nullptr) {
        if (pDepth != nullptr) {
            ++*pDepth;
        }
        return pItem->pFirstChild;
    }
    while (pItem != nullptr && pItem != pRoot && pItem->pNext == nullptr) {
        pItem = pItem->fParent;
        if (pDepth != nullptr) {
            --*pDepth;
        }
    }
    return pItem == nullptr || pItem == pRoot ? nullptr : pItem->pNext;
}
