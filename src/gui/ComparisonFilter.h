#pragma once

#include <QSortFilterProxyModel>

#include "app/TreeSnapshot.h"

class CComparisonModel;

// The one filter between the model and both panes: which status classes are shown, "only differences",
// and a name filter. A folder stays while anything below it is shown. Works on the snapshot in memory.
class CComparisonFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit CComparisonFilter(CComparisonModel& model, QObject* pParent = nullptr);

    // Bits of StatusClass; CLASS_FOLDER_BOTH is managed here.
    void SetShownClasses(unsigned nClasses);
    [[nodiscard]] unsigned ShownClasses() const { return m_nShown; }
    void SetOnlyDifferences(bool bOnly);
    [[nodiscard]] bool OnlyDifferences() const { return m_bOnlyDifferences; }
    // Case-insensitive wildcard ("*.html") or plain part of a name; empty shows every name.
    void SetNameFilter(const QString& strPattern);

protected:
    bool filterAcceptsRow(int nSourceRow, const QModelIndex& sourceParent) const override;

private:
    void Refilter();
    [[nodiscard]] unsigned EffectiveClasses() const;
    [[nodiscard]] bool Matches(const SnapshotNode& node, unsigned nClasses) const;
    [[nodiscard]] bool AnyBelowMatches(const CTreeSnapshot& snapshot, int nNode, unsigned nClasses) const;

    CComparisonModel& m_model;
    unsigned m_nShown = kAllToggleClasses;
    bool m_bOnlyDifferences = false;
    QRegularExpression m_name;
    bool m_bNameFilter = false;
};
