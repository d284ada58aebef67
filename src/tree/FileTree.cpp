#include "tree/FileTree.h"

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "tree/NameRules.h"
#include "tree/TreeOperations.h"

namespace {

template <typename... Args> void LogTarget(std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled()) {
        WriteLogLine(FormatText("FillOutTargetPath::[%ld] ", CurrentThreadId()) + FormatText(fmt, args...),
            LogTimestampWish::IfEnabled);
    }
}

} // namespace

CFileTree::CFileTree()
    : m_pRoot(NewItem())
{
    m_pRoot->status = DIR_BOTH;
}

CFileTree::~CFileTree() = default;

void CFileTree::Clear()
{
    DeleteChildren(m_pRoot.get());
}

CFileItem* CFileTree::GetTreeItem(int nIndex) const
{
    if (m_rowLookup) {
        return m_rowLookup(nIndex);
    }
    const int nTotal = static_cast<int>(CountItems(m_pRoot.get()));
    if (nIndex < 0 || nIndex >= nTotal) {
        Log("GetTreeItem:: index passed in out of range. nIndex=%d, total items=%d", nIndex, nTotal);
        return nullptr;
    }
    return FindItemByIndex(m_pRoot.get(), nIndex);
}

int find_index_from_FileList(const QString& strFullName, CFileItem* pRoot, int nKind, int& nSideFound)
{
    nSideFound = -1;
    if (pRoot == nullptr) {
        Log("find_index_from_FileList:: pParent=NULL for strFullName=[%s]", strFullName);
        return -1;
    }
    if (strFullName.isEmpty()) {
        Log("find_index_from_FileList:: empty strFullName");
        return -1;
    }
    const CFileItem* pItem = pRoot->pFirstChild;
    while (pItem != nullptr) {
        if (nKind == KIND_ANY || pItem->kind == nKind) {
            const bool bLeft
                = !pItem->strPaths[SIDE_LEFT].IsEmpty() && NamesMatch(FullName(*pItem, SIDE_LEFT), strFullName);
            const bool bRight
                = !pItem->strPaths[SIDE_RIGHT].IsEmpty() && NamesMatch(FullName(*pItem, SIDE_RIGHT), strFullName);
            if (bLeft || bRight) {
                nSideFound = bLeft && bRight ? 2 : (bLeft ? 0 : 1);
                Log("find_index_from_FileList:: Index found (=%d) for strFullName=[%s]. View=%d", pItem->index,
                    strFullName, nSideFound);
                return pItem->index;
            }
        }
        pItem = NextInPreOrder(pItem, pRoot);
    }
    Log("find_index_from_FileList:: returning Index(=%d) for strFullName=[%s]. View=%d", -1, strFullName, nSideFound);
    return -1;
}

QString CFileTree::FillOutTargetPath(const CFileItem* pItem, int nDSTview, bool& bDerived) const
{
    bDerived = false;
    if (!pItem->strPaths[nDSTview].IsEmpty()) {
        LogTarget("pItemTmp->strPaths[nDSTview(=%d)] has string(=%s) in it, so returning that string...", nDSTview,
            pItem->strPaths[nDSTview]);
        return pItem->strPaths[nDSTview];
    }
    bDerived = true;

    if (pItem->fParent == nullptr) {
        // A detached copy, as transfer jobs hold: find the live item in the tree by its full name.
        LogTarget("pItemTmp->fParent is NULL.");
        const int nSrcView = (nDSTview + 1) % 2;
        const bool bDir = pItem->kind == KIND_DIR;
        const QString strDest
            = bDir ? JoinPath(pItem->strPaths[nDSTview], pItem->strName) : pItem->strPaths[nDSTview].Text();
        LogTarget(bDir ? "DIR item. Trying to find nIdx from dest view(=%d), i.e. %s."
                       : "FILE item. Trying to find nIdx from dest view(=%d), i.e. %s.",
            nDSTview, strDest);
        int nSide = 0;
        int nIdx = find_index_from_FileList(strDest, Root(), KIND_ANY, nSide);
        if (nIdx == -1) {
            const QString strSrc
                = bDir ? JoinPath(pItem->strPaths[nSrcView], pItem->strName) : pItem->strPaths[nSrcView].Text();
            LogTarget(bDir ? "DIR item. nIdx not found. Trying again from src view(=%d), i.e. %s."
                           : "FILE item. nIdx not found. Trying again from src view(=%d), i.e. %s.",
                nSrcView, strSrc);
            nIdx = find_index_from_FileList(strSrc, Root(), KIND_ANY, nSide);
        }
        if (nIdx == -1) {
            LogTarget("nIdx = -1. returning an empty string...");
            return {};
        }
        pItem = GetTreeItem(nIdx);
        if (pItem == nullptr) {
            LogTarget("NULL pItemTmp. returning an empty string...");
            return {};
        }
    }

    const CFileItem* pParent = pItem->fParent;
    if (pParent == nullptr) {
        LogTarget("pItemTmp->fParent is NULL. returning an empty string...");
        return {};
    }
    if (!pParent->strPaths[nDSTview].IsEmpty()) {
        LogTarget("pItemTmp->fParent->strPaths[nDSTview(=%d)] has string(=%s) in it, so returning that string appended "
                  "by %s...",
            nDSTview, pParent->strPaths[nDSTview], pParent->strName);
        return JoinPath(pParent->strPaths[nDSTview], pParent->strName);
    }
    if (pParent == Root()) {
        for (const CFileItem* p = Root()->pFirstChild; p != nullptr; p = p->pNext) {
            if (!p->strPaths[nDSTview].IsEmpty()) {
                LogTarget("p->strPaths[nDSTview(=%d)] has string(=%s) in it, so returning that string...", nDSTview,
                    p->strPaths[nDSTview]);
                return p->strPaths[nDSTview];
            }
        }
        LogTarget("while( p ) still couldn't find it. returning an empty string...");
        return {};
    }

    QString strRelative;
    const CFileItem* pFolder = pParent;
    while (pFolder != nullptr && pFolder != Root() && pFolder->strPaths[nDSTview].IsEmpty()) {
        strRelative = strRelative.isEmpty() ? pFolder->strName : JoinPath(pFolder->strName, strRelative);
        pFolder = pFolder->fParent;
    }
    if (strRelative.isEmpty()) {
        return {};
    }
    if (pFolder == nullptr || pFolder == Root()) {
        return JoinPath(RootPath(nDSTview), strRelative);
    }
    return JoinPath(JoinPath(pFolder->strPaths[nDSTview], pFolder->strName), strRelative);
}
