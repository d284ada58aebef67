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

    // The child that a new item of that kind and name goes before, or null when it goes last.
    [[nodiscard]] CFileItem* InsertionSuccessor(int nKind, const QString& strName) const;

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
