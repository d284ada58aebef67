#include "tree/SiblingIndex.h"

#include <algorithm>

#include "tree/FileItem.h"
#include "tree/NameRules.h"

namespace {

int Rank(int nKind)
{
    return nKind == KIND_DIR ? 0 : 1;
}

// Compares the case-folded forms of two names without folding them, as long as both are plain ASCII:
// most names are, and folding every name on every step of a descent would allocate for each mixed-case one.
int CompareOrderKeys(const QString& strA, const QString& strB)
{
    const qsizetype nCommon = std::min(strA.size(), strB.size());
    for (qsizetype i = 0; i < nCommon; ++i) {
        char16_t a = strA[i].unicode();
        char16_t b = strB[i].unicode();
        if (a >= 0x80 || b >= 0x80) {
            // Beyond ASCII a letter may fold to several, or to an ASCII one: fold both in full.
            return QString::compare(NameOrderKey(strA), NameOrderKey(strB), Qt::CaseSensitive);
        }
        if (a >= u'A' && a <= u'Z') {
            a = static_cast<char16_t>(a + (u'a' - u'A'));
        }
        if (b >= u'A' && b <= u'Z') {
            b = static_cast<char16_t>(b + (u'a' - u'A'));
        }
        if (a != b) {
            return a < b ? -1 : 1;
        }
    }
    // One is a prefix of the other, and folding never turns a letter into nothing.
    return strA.size() < strB.size() ? -1 : (strA.size() > strB.size() ? 1 : 0);
}

// Negative, zero or positive as the rank-and-name (a) comes before, with or after (b).
int CompareNames(int nRankA, const QString& strA, int nRankB, const QString& strB)
{
    if (nRankA != nRankB) {
        return nRankA < nRankB ? -1 : 1;
    }
    return CompareOrderKeys(strA, strB);
}

} // namespace

bool PrecedesAsSibling(int nKindA, const QString& strA, int nKindB, const QString& strB)
{
    const int nOrder = CompareNames(Rank(nKindA), strA, Rank(nKindB), strB);
    if (nOrder != 0) {
        return nOrder < 0;
    }
    return QString::compare(strA, strB, Qt::CaseSensitive) < 0;
}

bool CSiblingIndex::Order::operator()(const CFileItem* pA, const CFileItem* pB) const
{
    return PrecedesAsSibling(pA->kind, pA->strName, pB->kind, pB->strName);
}

bool CSiblingIndex::Order::operator()(const CFileItem* pItem, const Probe& probe) const
{
    const int nOrder = CompareNames(Rank(pItem->kind), pItem->strName, probe.nRank, probe.strName);
    if (nOrder != 0) {
        return nOrder < 0;
    }
    return probe.bExact && QString::compare(pItem->strName, probe.strName, Qt::CaseSensitive) < 0;
}

bool CSiblingIndex::Order::operator()(const Probe& probe, const CFileItem* pItem) const
{
    const int nOrder = CompareNames(probe.nRank, probe.strName, Rank(pItem->kind), pItem->strName);
    if (nOrder != 0) {
        return nOrder < 0;
    }
    return !probe.bExact || QString::compare(probe.strName, pItem->strName, Qt::CaseSensitive) < 0;
}

CFileItem* CSiblingIndex::Find(int nKind, const QString& strName) const
{
    return Locate(nKind, strName).pMatch;
}

CSiblingIndex::Place CSiblingIndex::Locate(int nKind, const QString& strName) const
{
    // Ignoring case, a folder holds at most one child per folded name, so the first of that folded name is
    // the match; without one, a new item goes where any spelling of the name would.
    const bool bExact = CurrentNameMatching() == NameMatching::CaseSensitive;
    const Probe probe { Rank(nKind), strName, bExact };
    return PlaceAt(m_items.lower_bound(probe), probe);
}

CSiblingIndex::Place CSiblingIndex::Locate(Cursor& cursor, int nKind, const QString& strName) const
{
    const bool bExact = CurrentNameMatching() == NameMatching::CaseSensitive;
    const Probe probe { Rank(nKind), strName, bExact };
    const Order order;
    auto next = cursor.m_bSet ? cursor.m_next : m_items.end();
    if (!cursor.m_bSet || (next != m_items.begin() && !order(*std::prev(next), probe))) {
        next = m_items.lower_bound(probe);
    } else {
        while (next != m_items.end() && order(*next, probe)) {
            ++next;
        }
    }
    cursor.m_next = next;
    cursor.m_bSet = true;
    return PlaceAt(next, probe);
}

CSiblingIndex::Place CSiblingIndex::PlaceAt(Items::const_iterator next, const Probe& probe) const
{
    if (next == m_items.end()) {
        return {};
    }
    const CFileItem* pNext = *next;
    const bool bMatch = CompareNames(Rank(pNext->kind), pNext->strName, probe.nRank, probe.strName) == 0
        && (!probe.bExact || pNext->strName == probe.strName);
    return bMatch ? Place { *next, nullptr } : Place { nullptr, *next };
}

void CSiblingIndex::Insert(CFileItem* pItem)
{
    const auto [it, bInserted] = m_items.insert(pItem);
    if (!bInserted) {
        m_items.insert(m_items.erase(it), pItem);
    }
}

void CSiblingIndex::Insert(Cursor& cursor, CFileItem* pItem)
{
    if (!cursor.m_bSet) {
        Insert(pItem);
        return;
    }
    const auto it = m_items.insert(cursor.m_next, pItem);
    if (*it != pItem) {
        m_items.insert(m_items.erase(it), pItem);
        cursor.Reset();
    }
}

void CSiblingIndex::Erase(const CFileItem* pItem)
{
    const auto found = m_items.find(pItem);
    if (found != m_items.end() && *found == pItem) {
        m_items.erase(found);
    }
}
