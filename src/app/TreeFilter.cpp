#include "app/TreeFilter.h"

void CTreeFilterRule::SetNameFilter(const QString& strPattern)
{
    m_strName = strPattern.trimmed();
    if (!m_strName.isEmpty()) {
        const bool bWildcard = m_strName.contains(QLatin1Char('*')) || m_strName.contains(QLatin1Char('?'));
        m_name = bWildcard
            ? QRegularExpression::fromWildcard(m_strName, Qt::CaseInsensitive)
            : QRegularExpression(QRegularExpression::escape(m_strName), QRegularExpression::CaseInsensitiveOption);
    }
}

bool CTreeFilterRule::IsFiltering() const
{
    return m_bOnlyDifferences || m_nShown != kAllToggleClasses || !m_strName.isEmpty();
}

unsigned CTreeFilterRule::EffectiveClasses() const
{
    unsigned nClasses = m_nShown;
    if (m_bOnlyDifferences) {
        nClasses &= kDifferenceClasses;
    }
    // A folder on both sides is shown for its own sake only when nothing is filtered out.
    if (nClasses == kAllToggleClasses && m_strName.isEmpty()) {
        nClasses |= 1u << CLASS_FOLDER_BOTH;
    }
    return nClasses;
}

std::vector<bool> CTreeFilterRule::KeptNodes(const CTreeSnapshot& snapshot) const
{
    const std::vector<SnapshotNode>& nodes = snapshot.Nodes();
    const unsigned nClasses = EffectiveClasses();
    const bool bNameFilter = !m_strName.isEmpty();
    std::vector<bool> kept(nodes.size(), false);
    if (kept.empty()) {
        return kept;
    }
    kept[0] = true;
    // Children stand after their parents: a backward pass learns which folders hold a match below them.
    std::vector<bool> matchBelow(nodes.size(), false);
    for (size_t i = nodes.size(); i-- > 1;) {
        const SnapshotNode& node = nodes[i];
        if ((node.nSubtreeClasses & nClasses) == 0) {
            continue;
        }
        if (!bNameFilter || matchBelow[i]
            || ((nClasses & (1u << node.nClass)) != 0 && m_name.match(node.strName).hasMatch())) {
            kept[i] = true;
            matchBelow[static_cast<size_t>(node.nParent)] = true;
        }
    }
    return kept;
}
