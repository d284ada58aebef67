#include "app/TreeSnapshot.h"

#include <QHash>
#include <QSet>

#include "tree/FileTexts.h"

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

namespace {

const QString& NoText()
{
    static const QString strNone;
    return strNone;
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
    size_t nCount = 0;
    for (const CFileItem* pItem = pRoot; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        ++nCount;
    }
    std::vector<const CFileItem*> items;
    items.reserve(nCount);
    nodes.reserve(nCount);
    items.push_back(pRoot);
    nodes.emplace_back();
    std::vector<QString>& folders = pSnapshot->m_folders;
    std::array<int, 2> lastFolder { -1, -1 };
    const auto copyItem = [&](const CFileItem& item, SnapshotNode& node) {
        node.strName = item.strName;
        node.nKind = static_cast<std::int8_t>(item.kind);
        node.nStatus = static_cast<std::int8_t>(item.status);
        node.nAttrSource = static_cast<std::int8_t>(item.nAttrSource);
        node.nBasis = item.nBasis;
        node.nListedBy = ListingOf(item);
        node.pMinuteNote = MinuteTimeNote(item);
        node.nClass = ClassOf(item.kind, item.status);
        for (int nSide = 0; nSide < 2; ++nSide) {
            node.icon[nSide] = static_cast<std::int8_t>(item.icon[nSide]);
            node.nRead[nSide] = item.nRead[nSide];
            if (item.strPaths[nSide].IsEmpty()) {
                continue;
            }
            node.strSize[nSide] = item.strSize[nSide];
            node.strTime[nSide] = item.strTime[nSide];
            const QString& strFolder
                = item.strShowPaths[nSide].IsEmpty() ? item.strPaths[nSide] : item.strShowPaths[nSide];
            // Siblings come one after another, so comparing with the side's last folder finds the shared text.
            if (lastFolder[nSide] < 0 || folders[static_cast<size_t>(lastFolder[nSide])] != strFolder) {
                lastFolder[nSide] = static_cast<int>(folders.size());
                folders.push_back(strFolder);
            }
            node.nFolder[nSide] = lastFolder[nSide];
        }
        if (!item.strVersion[SIDE_LEFT].IsEmpty() || !item.strVersion[SIDE_RIGHT].IsEmpty()) {
            node.nVersions = static_cast<int>(pSnapshot->m_versions.size());
            pSnapshot->m_versions.push_back({ item.strVersion[SIDE_LEFT], item.strVersion[SIDE_RIGHT] });
        }
    };
    // Breadth first, so that the children of every node are appended together.
    for (size_t i = 0; i < items.size(); ++i) {
        const int nFirst = static_cast<int>(items.size());
        int nRow = 0;
        for (const CFileItem* pChild = items[i] != nullptr ? items[i]->pFirstChild : nullptr; pChild != nullptr;
             pChild = pChild->pNext) {
            items.push_back(pChild);
            SnapshotNode& node = nodes.emplace_back();
            copyItem(*pChild, node);
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
            totals.nBytes += std::max<std::int64_t>(
                0, BytesOfSizeText(node.strSize[node.IsOn(SIDE_LEFT) ? SIDE_LEFT : SIDE_RIGHT]));
        }
    }
    return pSnapshot;
}

const QString& CTreeSnapshot::Folder(int nNode, int nSide) const
{
    const int nFolder = Node(nNode).nFolder[nSide];
    return nFolder >= 0 ? m_folders[static_cast<size_t>(nFolder)] : NoText();
}

QString CTreeSnapshot::FullPath(int nNode, int nSide) const
{
    return Node(nNode).IsOn(nSide) ? JoinPath(Folder(nNode, nSide), Node(nNode).strName) : QString();
}

const QString& CTreeSnapshot::Version(int nNode, int nSide) const
{
    const int nVersions = Node(nNode).nVersions;
    return nVersions >= 0 ? m_versions[static_cast<size_t>(nVersions)][nSide] : NoText();
}

QString CTreeSnapshot::KeyOf(int nIndex) const
{
    return FullPath(nIndex, Node(nIndex).IsOn(SIDE_LEFT) ? SIDE_LEFT : SIDE_RIGHT);
}

std::vector<int> FindNodesAgain(const CTreeSnapshot& from, const std::vector<int>& nodes, const CTreeSnapshot& to)
{
    std::vector<int> found(nodes.size(), 0);
    QHash<QString, std::vector<size_t>> wanted;
    QSet<QString> onTheWay;
    for (size_t i = 0; i < nodes.size(); ++i) {
        if (nodes[i] <= 0 || nodes[i] >= from.Size()) {
            continue;
        }
        wanted[from.KeyOf(nodes[i])].push_back(i);
        for (int nFolder = from.Node(nodes[i]).nParent; nFolder > 0; nFolder = from.Node(nFolder).nParent) {
            const QString strKey = from.KeyOf(nFolder);
            if (onTheWay.contains(strKey)) {
                break; // and so are the folders above it
            }
            onTheWay.insert(strKey);
        }
    }
    std::vector<int> pending { 0 };
    while (!pending.empty()) {
        const SnapshotNode& folder = to.Node(pending.back());
        pending.pop_back();
        for (int nChild = folder.nFirstChild; nChild < folder.nFirstChild + folder.nChildCount; ++nChild) {
            const QString strKey = to.KeyOf(nChild);
            const auto it = wanted.constFind(strKey);
            if (it != wanted.cend()) {
                for (const size_t nSlot : *it) {
                    found[nSlot] = nChild;
                }
            }
            if (onTheWay.contains(strKey)) {
                pending.push_back(nChild);
            }
        }
    }
    return found;
}

QString VerdictOf(const CTreeSnapshot& snapshot, int nNode)
{
    const SnapshotNode& node = snapshot.Node(nNode);
    switch (node.nClass) {
    case CLASS_SAME:
        return node.nBasis == VerdictBasis::ServerChecksum
            ? QStringLiteral("Same: the server's checksum of its file matches the local file's")
            : QStringLiteral("Same: version, size and CRC-32 agree");
    case CLASS_DIFF:
        if (node.nBasis == VerdictBasis::ServerChecksum) {
            return QStringLiteral("Different: the server's checksum of its file differs from the local file's");
        }
        if (snapshot.Version(nNode, SIDE_LEFT) != snapshot.Version(nNode, SIDE_RIGHT)) {
            return QStringLiteral("Different: the versions differ");
        }
        if (node.strSize[SIDE_LEFT] != node.strSize[SIDE_RIGHT]) {
            return node.nAttrSource == ATTR_FROM_MARKER
                ? QStringLiteral("Different: the sizes differ (not downloaded, compared by size)")
                : QStringLiteral("Different: the sizes differ");
        }
        return QStringLiteral("Different: the contents differ (CRC-32)");
    case CLASS_LEFT_ONLY:
        return QStringLiteral("Only on the local side");
    case CLASS_RIGHT_ONLY:
        return QStringLiteral("Only on the FTP side");
    case CLASS_UNKNOWN:
        if (snapshot.Version(nNode, SIDE_RIGHT) == kUnknownVersion || node.nAttrSource == ATTR_FROM_MARKER) {
            return QStringLiteral("Undecided: not downloaded (larger than the cache limit); the sizes agree");
        }
        return QStringLiteral("Undecided: the contents could not be read");
    case CLASS_FOLDER_ONE_SIDE:
        return node.IsOn(SIDE_LEFT) ? QStringLiteral("Folder only on the local side")
                                    : QStringLiteral("Folder only on the FTP side");
    default:
        return node.DiffersBelow() ? QStringLiteral("Folder on both sides; something below it differs")
                                   : QStringLiteral("Folder on both sides; everything below it is the same");
    }
}

QString ClassName(StatusClass nClass)
{
    switch (nClass) {
    case CLASS_SAME:
        return QStringLiteral("Same");
    case CLASS_DIFF:
        return QStringLiteral("Diff");
    case CLASS_LEFT_ONLY:
        return QStringLiteral("Local only");
    case CLASS_RIGHT_ONLY:
        return QStringLiteral("FTP only");
    case CLASS_UNKNOWN:
        return QStringLiteral("Undecided");
    case CLASS_FOLDER_ONE_SIDE:
        return QStringLiteral("One-sided folders");
    default:
        return QStringLiteral("Folders");
    }
}
