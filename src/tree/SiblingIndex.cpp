#include "tree/SiblingIndex.h"

#include "tree/FileItem.h"
#include "tree/NameRules.h"

bool CSiblingIndex::Key::operator<(const Key& other) const
{
    if (nRank != other.nRank) {
        return nRank < other.nRank;
    }
    if (const int nOrder = QString::compare(strOrder, other.strOrder, Qt::CaseSensitive); nOrder != 0) {
        return nOrder < 0;
    }
    return QString::compare(strExact, other.strExact, Qt::CaseSensitive) < 0;
}

CSiblingIndex::Key CSiblingIndex::MakeKey(int nKind, const QString& strName)
{
    return Key { nKind == KIND_DIR ? 0 : 1, NameOrderKey(strName), strName };
}

CFileItem* CSiblingIndex::Find(int nKind, const QString& strName) const
{
    return Locate(nKind, strName).pMatch;
}

CSiblingIndex::Place CSiblingIndex::Locate(int nKind, const QString& strName) const
{
    Key key = MakeKey(nKind, strName);
    const bool bExact = CurrentNameMatching() == NameMatching::CaseSensitive;
    if (!bExact) {
        // Ignoring case, a folder holds at most one child per folded name, so the first of that folded
        // name is the match; without one, a new item goes where any spelling of the name would.
        key.strExact.clear();
    }
    const auto next = m_items.lower_bound(key);
    if (next == m_items.end()) {
        return {};
    }
    const Key& found = next->first;
    const bool bMatch
        = found.nRank == key.nRank && found.strOrder == key.strOrder && (!bExact || found.strExact == key.strExact);
    return bMatch ? Place { next->second, nullptr } : Place { nullptr, next->second };
}

void CSiblingIndex::Insert(CFileItem* pItem)
{
    m_items.insert_or_assign(MakeKey(pItem->kind, pItem->strName), pItem);
}

void CSiblingIndex::Erase(const CFileItem* pItem)
{
    const auto found = m_items.find(MakeKey(pItem->kind, pItem->strName));
    if (found != m_items.end() && found->second == pItem) {
        m_items.erase(found);
    }
}
