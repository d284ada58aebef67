#include "gui/ComparisonFilter.h"

#include "gui/ComparisonModel.h"

CComparisonFilter::CComparisonFilter(CComparisonModel& model, QObject* pParent)
    : QAbstractProxyModel(pParent)
    , m_model(model)
{
    QAbstractProxyModel::setSourceModel(&model);
    // The model changes only by a new snapshot, which resets it.
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { beginResetModel(); });
    connect(&model, &QAbstractItemModel::modelReset, this, [this] {
        Recompute();
        endResetModel();
    });
    Recompute();
}

void CComparisonFilter::SetShownClasses(unsigned nClasses)
{
    m_rule.SetShownClasses(nClasses & kAllToggleClasses);
    Refilter();
}

void CComparisonFilter::SetOnlyDifferences(bool bOnly)
{
    m_rule.SetOnlyDifferences(bOnly);
    Refilter();
}

void CComparisonFilter::SetNameFilter(const QString& strPattern)
{
    m_rule.SetNameFilter(strPattern);
    Refilter();
}

void CComparisonFilter::Refilter()
{
    // One reset for the whole tree: removing the hidden rows one range at a time costs a big expanded tree
    // far more. The panes keep what was open and selected across the reset.
    beginResetModel();
    Recompute();
    endResetModel();
}

void CComparisonFilter::Recompute()
{
    const CTreeSnapshot& snapshot = m_model.Snapshot();
    const std::vector<SnapshotNode>& nodes = snapshot.Nodes();
    const std::vector<bool> kept = m_rule.KeptNodes(snapshot);
    m_places.assign(nodes.size(), Place {});
    m_places[0].nRow = 0;
    m_shown.clear();
    for (size_t i = 0; i < nodes.size(); ++i) {
        Place& place = m_places[i];
        place.nFirst = static_cast<int>(m_shown.size());
        if (place.nRow < 0) {
            continue;
        }
        const SnapshotNode& node = nodes[i];
        for (int nChild = node.nFirstChild; nChild < node.nFirstChild + node.nChildCount; ++nChild) {
            if (kept[static_cast<size_t>(nChild)]) {
                m_places[static_cast<size_t>(nChild)].nRow = place.nCount++;
                m_shown.push_back(nChild);
            }
        }
    }
}

QModelIndex CComparisonFilter::IndexOfNode(int nNode, int nColumn) const
{
    if (nNode <= 0 || static_cast<size_t>(nNode) >= m_places.size() || m_places[static_cast<size_t>(nNode)].nRow < 0) {
        return {};
    }
    return createIndex(m_places[static_cast<size_t>(nNode)].nRow, nColumn, static_cast<quintptr>(nNode));
}

QModelIndex CComparisonFilter::mapToSource(const QModelIndex& proxyIndex) const
{
    return proxyIndex.isValid() ? m_model.IndexOfNode(CComparisonModel::NodeOf(proxyIndex), proxyIndex.column())
                                : QModelIndex();
}

QModelIndex CComparisonFilter::mapFromSource(const QModelIndex& sourceIndex) const
{
    return sourceIndex.isValid() ? IndexOfNode(CComparisonModel::NodeOf(sourceIndex), sourceIndex.column())
                                 : QModelIndex();
}

QModelIndex CComparisonFilter::index(int nRow, int nColumn, const QModelIndex& parent) const
{
    if (nRow < 0 || nColumn < 0 || nColumn >= kComparisonColumns || parent.column() > 0) {
        return {};
    }
    const Place& folder = m_places[static_cast<size_t>(CComparisonModel::NodeOf(parent))];
    if (nRow >= folder.nCount) {
        return {};
    }
    return createIndex(
        nRow, nColumn, static_cast<quintptr>(m_shown[static_cast<size_t>(folder.nFirst) + static_cast<size_t>(nRow)]));
}

QModelIndex CComparisonFilter::parent(const QModelIndex& child) const
{
    const int nParent = child.isValid() ? m_model.Snapshot().Node(CComparisonModel::NodeOf(child)).nParent : -1;
    return IndexOfNode(nParent);
}

QModelIndex CComparisonFilter::sibling(int nRow, int nColumn, const QModelIndex& index) const
{
    if (!index.isValid() || nRow != index.row()) {
        return this->index(nRow, nColumn, parent(index));
    }
    return nColumn >= 0 && nColumn < kComparisonColumns ? createIndex(nRow, nColumn, index.internalId())
                                                        : QModelIndex();
}

int CComparisonFilter::rowCount(const QModelIndex& parent) const
{
    return parent.column() > 0 ? 0 : m_places[static_cast<size_t>(CComparisonModel::NodeOf(parent))].nCount;
}

int CComparisonFilter::columnCount(const QModelIndex&) const
{
    return kComparisonColumns;
}

bool CComparisonFilter::hasChildren(const QModelIndex& parent) const
{
    return rowCount(parent) > 0;
}
