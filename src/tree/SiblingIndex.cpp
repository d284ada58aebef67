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
    const Key key = MakeKey(nKind, strName);
    if (CurrentNameMatching() == NameMatching::CaseSensitive) {
        const auto found = m_items.find(key);
        return found != m_items.end() ? found->second : nullptr;
    }
    // Ignoring case, a folder holds at most one child per folded name: the first of that folded name.
    const auto found = m_items.lower_bound(Key { key.nRank, key.strOrder, QString() });
    if (found != m_items.end() && found->first.nRank == key.nRank && found->first.strOrder == key.strOrder) {
        return found->second;
    }
    return nullptr;
}

CFileItem* CSiblingIndex::InsertionSuccessor(int nKind, const QString& strName) const
{
    const auto next = m_items.lower_bound(MakeKey(nKind, strName));
    return next != m_items.end() ? next->second : nullptr;
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
