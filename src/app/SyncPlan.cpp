#include "app/SyncPlan.h"

#include "tree/FileItem.h"

namespace {

QString RelativeName(const QString& strPrefix, const QString& strName)
{
    return strPrefix.isEmpty() ? strName : strPrefix + QLatin1Char('/') + strName;
}

// The first reason found in the item or below it why its side cannot be copied whole.
QString UnreadableBelow(const CFileItem& item, int nSide)
{
    if (item.nRead[nSide] == SideRead::Unreadable || item.nRead[nSide] == SideRead::LinkNotFollowed
        || item.nRead[nSide] == SideRead::ListingFailed) {
        return NotReadInFullReason(item, nSide);
    }
    for (const CFileItem* pChild = item.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (!pChild->strPaths[nSide].IsEmpty()) {
            if (QString strWhy = UnreadableBelow(*pChild, nSide); !strWhy.isEmpty()) {
                return pChild->strName + QStringLiteral(": ") + strWhy;
            }
        }
    }
    return {};
}

class CPlanner
{
public:
    CPlanner(bool bUpload, bool bDelete, bool bHiddenDotNames)
        : m_nSource(bUpload ? SIDE_LEFT : SIDE_RIGHT)
        , m_bDelete(bDelete)
        , m_bHiddenDotNames(bHiddenDotNames)
    { }

    // strKeepWhy: why the source side of this folder was not read in full, or empty.
    void Walk(CFileItem* pFolder, const QString& strPrefix, const QString& strKeepWhy)
    {
        const int nTarget = 1 - m_nSource;
        for (CFileItem* pChild = pFolder->pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            const QString strRelative = RelativeName(strPrefix, pChild->strName);
            const bool bSourceHasIt = !pChild->strPaths[m_nSource].IsEmpty();
            const bool bTargetHasIt = !pChild->strPaths[nTarget].IsEmpty();
            if (!bSourceHasIt) {
                if (!m_bDelete) {
                    continue;
                }
                if (!strKeepWhy.isEmpty()) {
                    m_steps.push_back({ pChild, SyncAction::Keep, strRelative, strKeepWhy });
                } else if (m_bHiddenDotNames && nTarget == SIDE_LEFT && pChild->strName.startsWith(QLatin1Char('.'))) {
                    m_steps.push_back({ pChild, SyncAction::Keep, strRelative,
                        QStringLiteral("the server may hide names beginning with a dot from its listings") });
                } else {
                    m_steps.push_back(
                        { pChild, SyncAction::Delete, strRelative, QStringLiteral("only on the target") });
                }
                continue;
            }
            if (IsLink(*pChild, m_nSource)) {
                m_steps.push_back({ pChild, SyncAction::Skip, strRelative,
                    QStringLiteral("it is a link, which is not copied as what it leads to") });
                continue;
            }
            if (bTargetHasIt && IsLink(*pChild, nTarget)) {
                m_steps.push_back({ pChild, SyncAction::Skip, strRelative,
                    QStringLiteral("it is a link on the target side, and nothing is written through a link") });
                continue;
            }
            if (m_bHiddenDotNames && !bTargetHasIt && nTarget == SIDE_RIGHT
                && pChild->strName.startsWith(QLatin1Char('.'))) {
                m_steps.push_back({ pChild, SyncAction::Skip, strRelative,
                    QStringLiteral("the server may hide names beginning with a dot, so it may be there already"),
                    pChild->kind == KIND_FILE });
                continue;
            }
            if (const QString strUnreadable = UnreadableBelow(*pChild, m_nSource);
                !strUnreadable.isEmpty() && pChild->kind == KIND_FILE) {
                m_steps.push_back({ pChild, SyncAction::Skip, strRelative, strUnreadable });
                continue;
            }
            if (pChild->kind == KIND_FILE) {
                if (pChild->status == FILE_SAME) {
                    continue;
                }
                if (bTargetHasIt && pChild->nRead[nTarget] == SideRead::Unreadable) {
                    m_steps.push_back({ pChild, SyncAction::Skip, strRelative, NotReadInFullReason(*pChild, nTarget) });
                    continue;
                }
                const QString strWhy = !bTargetHasIt ? QStringLiteral("missing")
                    : pChild->status == FILE_DIFF    ? QStringLiteral("different")
                                                     : QStringLiteral("not compared");
                m_steps.push_back({ pChild, SyncAction::Copy, strRelative, strWhy });
                continue;
            }
            if (!bTargetHasIt) {
                if (pChild->nRead[m_nSource] == SideRead::Unreadable
                    || pChild->nRead[m_nSource] == SideRead::ListingFailed) {
                    m_steps.push_back(
                        { pChild, SyncAction::Skip, strRelative, NotReadInFullReason(*pChild, m_nSource) });
                    continue;
                }
                // The folder is copied with what was read of it; what was not is named, never guessed at.
                m_steps.push_back({ pChild, SyncAction::Copy, strRelative, QStringLiteral("missing") });
                SkipUnreadBelow(*pChild, strRelative);
                continue;
            }
            QString strChildKeepWhy = strKeepWhy;
            if (strChildKeepWhy.isEmpty()) {
                strChildKeepWhy = NotReadInFullReason(*pChild, m_nSource);
            }
            Walk(pChild, strRelative, strChildKeepWhy);
        }
    }

    std::vector<SyncStep> Take() { return std::move(m_steps); }

private:
    static bool IsLink(const CFileItem& item, int nSide)
    {
        return item.kind == KIND_DIR && (item.bLink[nSide] || item.nRead[nSide] == SideRead::LinkNotFollowed);
    }

    // Names what a copy of a new folder leaves out: links, and what could not be read.
    void SkipUnreadBelow(const CFileItem& folder, const QString& strPrefix)
    {
        for (const CFileItem* pChild = folder.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            if (pChild->strPaths[m_nSource].IsEmpty()) {
                continue;
            }
            const QString strRelative = RelativeName(strPrefix, pChild->strName);
            if (IsLink(*pChild, m_nSource)) {
                m_steps.push_back({ const_cast<CFileItem*>(pChild), SyncAction::Skip, strRelative,
                    QStringLiteral("it is a link, which is not copied as what it leads to") });
            } else if (pChild->nRead[m_nSource] != SideRead::Full
                && pChild->nRead[m_nSource] != SideRead::ListingEmpty) {
                m_steps.push_back({ const_cast<CFileItem*>(pChild), SyncAction::Skip, strRelative,
                    NotReadInFullReason(*pChild, m_nSource) });
            } else if (pChild->kind == KIND_DIR) {
                SkipUnreadBelow(*pChild, strRelative);
            }
        }
    }

    int m_nSource;
    bool m_bDelete;
    bool m_bHiddenDotNames;
    std::vector<SyncStep> m_steps;
};

} // namespace

QString NotReadInFullReason(const CFileItem& folder, int nSide)
{
    const bool bRemote = nSide == SIDE_RIGHT;
    switch (folder.nRead[nSide]) {
    case SideRead::Unreadable:
        return folder.kind == KIND_FILE ? QStringLiteral("the file could not be read")
                                        : QStringLiteral("its folder could not be read");
    case SideRead::LinkNotFollowed:
        return QStringLiteral("its folder is a link that was not followed");
    case SideRead::ListingEmpty:
        return QStringLiteral("the server listed its folder as empty, which a failed listing also does");
    case SideRead::ListingPartial:
        return QStringLiteral("the server's listing of its folder held lines that could not be read");
    case SideRead::ListingFailed:
        return QStringLiteral("the server's listing of its folder failed");
    case SideRead::Full:
        break;
    }
    // The compared folders themselves are read, or there would be no comparison.
    if (folder.fParent != nullptr && folder.kind == KIND_DIR && !folder.strPaths[nSide].IsEmpty()
        && !folder.bListed[nSide]) {
        return bRemote ? QStringLiteral("its folder on the server was not listed")
                       : QStringLiteral("its folder could not be read");
    }
    return {};
}

std::vector<SyncStep> MakeSyncPlan(CFileItem* pRoot, bool bUpload, bool bDelete, bool bServerHidesDotNames)
{
    CPlanner planner(bUpload, bDelete, bServerHidesDotNames);
    planner.Walk(pRoot, QString(), NotReadInFullReason(*pRoot, bUpload ? SIDE_LEFT : SIDE_RIGHT));
    return planner.Take();
}
