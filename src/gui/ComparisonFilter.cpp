#include "gui/ComparisonFilter.h"

#include "gui/ComparisonModel.h"

CComparisonFilter::CComparisonFilter(CComparisonModel& model, QObject* pParent)
    : QSortFilterProxyModel(pParent)
    , m_model(model)
{
    setDynamicSortFilter(false);
    setSourceModel(&model);
}

void CComparisonFilter::SetShownClasses(unsigned nClasses)
{
    m_nShown = nClasses & kAllToggleClasses;
    Refilter();
}

void CComparisonFilter::SetOnlyDifferences(bool bOnly)
{
    m_bOnlyDifferences = bOnly;
    Refilter();
}

void CComparisonFilter::SetNameFilter(const QString& strPattern)
{
    const QString strTrimmed = strPattern.trimmed();
    m_bNameFilter = !strTrimmed.isEmpty();
    if (m_bNameFilter) {
        const bool bWildcard = strTrimmed.contains(QLatin1Char('*')) || strTrimmed.contains(QLatin1Char('?'));
        m_name = bWildcard
            ? QRegularExpression::fromWildcard(strTrimmed, Qt::CaseInsensitive)
            : QRegularExpression(QRegularExpression::escape(strTrimmed), QRegularExpression::CaseInsensitiveOption);
    }
    Refilter();
}

void CComparisonFilter::Refilter()
{
    // One reset for the whole tree: removing the hidden rows one range at a time, or a layout change, costs
    // a big expanded tree seconds. The panes keep what was open and selected across the reset.
    m_model.Reload();
}

unsigned CComparisonFilter::EffectiveClasses() const
{
    unsigned nClasses = m_nShown;
    if (m_bOnlyDifferences) {
        nClasses &= kDifferenceClasses;
    }
    // A folder on both sides is shown for its own sake only when nothing is filtered out.
    if (nClasses == kAllToggleClasses && !m_bNameFilter) {
        nClasses |= 1u << CLASS_FOLDER_BOTH;
    }
    return nClasses;
}

bool CComparisonFilter::Matches(const SnapshotNode& node, unsigned nClasses) const
{
    return (nClasses & (1u << node.nClass)) != 0 && (!m_bNameFilter || m_name.match(node.strName).hasMatch());
}

bool CComparisonFilter::AnyBelowMatches(const CTreeSnapshot& snapshot, int nNode, unsigned nClasses) const
{
    const SnapshotNode& folder = snapshot.Node(nNode);
    for (int i = folder.nFirstChild; i < folder.nFirstChild + folder.nChildCount; ++i) {
        const SnapshotNode& child = snapshot.Node(i);
        if ((child.nSubtreeClasses & nClasses) == 0) {
            continue;
        }
        if (Matches(child, nClasses) || AnyBelowMatches(snapshot, i, nClasses)) {
            return true;
        }
    }
    return false;
}

bool CComparisonFilter::filterAcceptsRow(int nSourceRow, const QModelIndex& sourceParent) const
{
    const CTreeSnapshot& snapshot = m_model.Snapshot();
    const int nNode = snapshot.Node(CComparisonModel::NodeOf(sourceParent)).nFirstChild + nSourceRow;
    const SnapshotNode& node = snapshot.Node(nNode);
    const unsigned nClasses = EffectiveClasses();
    if ((node.nSubtreeClasses & nClasses) == 0) {
        return false;
    }
    if (!m_bNameFilter) {
        return true;
    }
    return Matches(node, nClasses) || AnyBelowMatches(snapshot, nNode, nClasses);
}
