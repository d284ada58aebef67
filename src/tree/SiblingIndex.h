#pragma once

#include <map>

#include <QString>

struct CFileItem;

// The children of one folder, ordered as the sibling list is: folders before files, then by case-folded
// name, then by exact name. Looking up a child and finding where a new one goes both cost O(log n), where
// walking the sibling list would make merging a folder of n entries cost O(n²).
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

    void Insert(CFileItem* pItem);
    void Erase(const CFileItem* pItem);

private:
    struct Key
    {
        int nRank;
        QString strOrder;
        QString strExact;
        bool operator<(const Key& other) const;
    };
    static Key MakeKey(int nKind, const QString& strName);

    std::map<Key, CFileItem*> m_items;
};
