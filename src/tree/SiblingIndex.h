#pragma once

#include <set>

#include <QString>

struct CFileItem;

// The children of one folder, ordered as the sibling list is: folders before files, then by case-folded
// name, then by exact name. Looking up a child and finding where a new one goes both cost O(log n), where
// walking the sibling list would make merging a folder of n entries cost O(n²). The index holds only
// pointers and orders them by the items' own kind and name, so an item's name must not change while it is
// indexed.
class CSiblingIndex
{
public:
    // The child of that kind and name under the name-matching rule in force, or null.
    [[nodiscard]] CFileItem* Find(int nKind, const QString& strName) const;

    // Where an item of that kind and name stands: the child it matches, or else the child a new item goes
    // before (null when it goes last). One descent of the index answers both.
    struct Place
    {
        CFileItem* pMatch = nullptr;
        CFileItem* pSuccessor = nullptr;
    };
    [[nodiscard]] Place Locate(int nKind, const QString& strName) const;

    // Takes the place of an indexed namesake, if there is one.
    void Insert(CFileItem* pItem);
    void Erase(const CFileItem* pItem);

private:
    // A kind and name looked for. Without bExact it stands before every child whose case-folded name it
    // shares, so that the first of them is found.
    struct Probe
    {
        int nRank;
        const QString& strName;
        bool bExact;
    };

    struct Order
    {
        using is_transparent = void;
        bool operator()(const CFileItem* pA, const CFileItem* pB) const;
        bool operator()(const CFileItem* pItem, const Probe& probe) const;
        bool operator()(const Probe& probe, const CFileItem* pItem) const;
    };

    std::set<CFileItem*, Order> m_items;
};
