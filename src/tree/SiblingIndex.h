#pragma once

#include <set>

#include <QString>

struct CFileItem;

// Whether a child of kind nKindA named strA stands before one of kind nKindB named strB among its siblings.
[[nodiscard]] bool PrecedesAsSibling(int nKindA, const QString& strA, int nKindB, const QString& strB);

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

    // Where the last look-up through it ended. Children that come in sibling order are each found from where
    // the one before them stood, so that merging a folder of n entries costs O(n) instead of O(n log n);
    // one that comes out of order is looked up afresh.
    class Cursor;
    [[nodiscard]] Place Locate(Cursor& cursor, int nKind, const QString& strName) const;

    // Takes the place of an indexed namesake, if there is one. Through a cursor the item goes where the
    // cursor's last look-up placed it.
    void Insert(CFileItem* pItem);
    void Insert(Cursor& cursor, CFileItem* pItem);
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

    using Items = std::set<CFileItem*, Order>;
    [[nodiscard]] Place PlaceAt(Items::const_iterator next, const Probe& probe) const;

    Items m_items;
};

class CSiblingIndex::Cursor
{
public:
    // To be called when an item the cursor may stand on is renamed or taken out.
    void Reset() { m_bSet = false; }

private:
    friend class CSiblingIndex;
    Items::const_iterator m_next;
    bool m_bSet = false;
};
