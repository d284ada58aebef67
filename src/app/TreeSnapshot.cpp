#include "app/TreeSnapshot.h"

StatusClass ClassOf(int nKind, int nStatus)
{
    if (nKind == KIND_DIR) {
        return nStatus == DIR_BOTH ? CLASS_FOLDER_BOTH : CLASS_FOLDER_ONE_SIDE;
    }
    switch (nStatus) {
    case FILE_SAME:
        return CLASS_SAME;
    case FILE_DIFF:
        return CLASS_DIFF;
    case FILE_LEFT_ONLY:
        return CLASS_LEFT_ONLY;
    case FILE_RIGHT_ONLY:
        return CLASS_RIGHT_ONLY;
    default:
        return CLASS_UNKNOWN;
    }
}

long long BytesOfSizeText(const QString& strSize)
{
    long long nBytes = 0;
    bool bDigits = false;
    for (const QChar c : strSize) {
        if (c == QLatin1Char(',')) {
            continue;
        }
        if (!c.isDigit() || nBytes > (INT64_MAX - 9) / 10) {
            return 0;
        }
        nBytes = nBytes * 10 + c.digitValue();
        bDigits = true;
    }
    return bDigits ? nBytes : 0;
}

namespace {

void CopyItem(const CFileItem& item, SnapshotNode& node)
{
    node.strName = item.strName;
    node.nKind = item.kind;
    node.nStatus = item.status;
    node.nAttrSource = item.nAttrSource;
    node.nClass = ClassOf(item.kind, item.status);
    for (int nSide = 0; nSide < 2; ++nSide) {
        node.icon[nSide] = item.icon[nSide];
        node.nRead[nSide] = item.nRead[nSide];
        if (item.strPaths[nSide].isEmpty()) {
            continue;
        }
        node.strSize[nSide] = item.strSize[nSide];
        node.strTime[nSide] = item.strTime[nSide];
        node.strVersion[nSide] = item.strVersion[nSide];
        node.strFolder[nSide] = item.strShowPaths[nSide].isEmpty() ? item.strPaths[nSide] : item.strShowPaths[nSide];
    }
}

} // namespace

std::shared_ptr<const CTreeSnapshot> CTreeSnapshot::Empty()
{
    auto pSnapshot = std::make_shared<CTreeSnapshot>();
    pSnapshot->m_nodes.emplace_back();
    return pSnapshot;
}

std::shared_ptr<const CTreeSnapshot> CTreeSnapshot::Take(const CFileItem* pRoot)
{
    auto pSnapshot = std::make_shared<CTreeSnapshot>();
    std::vector<SnapshotNode>& nodes = pSnapshot->m_nodes;
    std::vector<const CFileItem*> items { pRoot };
    nodes.emplace_back();
    // Breadth first, so that the children of every node are appended together.
    for (size_t i = 0; i < items.size(); ++i) {
        const int nFirst = static_cast<int>(items.size());
        int nRow = 0;
        for (const CFileItem* pChild = items[i] != nullptr ? items[i]->pFirstChild : nullptr; pChild != nullptr;
             pChild = pChild->pNext) {
            items.push_back(pChild);
            SnapshotNode& node = nodes.emplace_back();
            CopyItem(*pChild, node);
            node.nParent = static_cast<int>(i);
            node.nRow = nRow++;
        }
        nodes[i].nFirstChild = nFirst;
        nodes[i].nChildCount = nRow;
    }
    // Children stand after their parents, so one backward pass gathers every subtree.
    for (size_t i = nodes.size(); i-- > 1;) {
        SnapshotNode& node = nodes[i];
        node.nSubtreeClasses |= 1u << node.nClass;
        nodes[static_cast<size_t>(node.nParent)].nSubtreeClasses |= node.nSubtreeClasses;
        ClassTotals& totals = pSnapshot->m_totals[node.nClass];
        ++totals.nItems;
        if (node.nKind == KIND_FILE) {
            ++pSnapshot->m_nFiles;
            totals.nBytes += BytesOfSizeText(node.strSize[node.IsOn(SIDE_LEFT) ? SIDE_LEFT : SIDE_RIGHT]);
        }
    }
    return pSnapshot;
}

QString CTreeSnapshot::KeyOf(int nIndex) const
{
    const SnapshotNode& node = Node(nIndex);
    return node.FullPath(node.IsOn(SIDE_LEFT) ? SIDE_LEFT : SIDE_RIGHT);
}
