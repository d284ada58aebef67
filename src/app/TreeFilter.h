#pragma once

#include <vector>

#include <QRegularExpression>
#include <QString>

#include "app/TreeSnapshot.h"

// What the panes (and a report of them) show of a snapshot: status classes, "only differences" and a name
// filter. A folder stays while anything below it is shown.
class CTreeFilterRule
{
public:
    // Bits of StatusClass; CLASS_FOLDER_BOTH is decided here.
    void SetShownClasses(unsigned nClasses) { m_nShown = nClasses; }
    [[nodiscard]] unsigned ShownClasses() const { return m_nShown; }
    void SetOnlyDifferences(bool bOnly) { m_bOnlyDifferences = bOnly; }
    [[nodiscard]] bool OnlyDifferences() const { return m_bOnlyDifferences; }
    // Case-insensitive wildcard ("*.html") or plain part of a name; empty shows every name.
    void SetNameFilter(const QString& strPattern);
    [[nodiscard]] const QString& NameFilter() const { return m_strName; }
    // Whether anything is left out at all.
    [[nodiscard]] bool IsFiltering() const;

    // Which nodes are shown, by node (the root always). One backward pass over the snapshot.
    [[nodiscard]] std::vector<bool> KeptNodes(const CTreeSnapshot& snapshot) const;

private:
    [[nodiscard]] unsigned EffectiveClasses() const;

    unsigned m_nShown = kAllToggleClasses;
    bool m_bOnlyDifferences = false;
    QString m_strName;
    QRegularExpression m_name;
};
