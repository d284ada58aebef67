#pragma once

#include <vector>

#include <QAbstractProxyModel>

#include "app/TreeFilter.h"
#include "app/TreeSnapshot.h"

class CComparisonModel;

// The one filter between the model and both panes: which status classes are shown, "only differences",
// and a name filter. A folder stays while anything below it is shown.
//
// Built for trees of 100,000 items: which rows are shown is worked out in two linear passes over the
// snapshot and kept in flat arrays, so that mapping an index either way costs an array read. An index of
// the filter carries the snapshot node as the model's indexes do.
class CComparisonFilter : public QAbstractProxyModel
{
    Q_OBJECT

public:
    explicit CComparisonFilter(CComparisonModel& model, QObject* pParent = nullptr);

    // Bits of StatusClass; CLASS_FOLDER_BOTH is managed here.
    void SetShownClasses(unsigned nClasses);
    [[nodiscard]] unsigned ShownClasses() const { return m_rule.ShownClasses(); }
    void SetOnlyDifferences(bool bOnly);
    [[nodiscard]] bool OnlyDifferences() const { return m_rule.OnlyDifferences(); }
    // Case-insensitive wildcard ("*.html") or plain part of a name; empty shows every name.
    void SetNameFilter(const QString& strPattern);
    // The rule as it stands, for a report of what the panes show.
    [[nodiscard]] const CTreeFilterRule& Rule() const { return m_rule; }

    [[nodiscard]] CComparisonModel& Model() const { return m_model; }
    // The row of a snapshot node in this filter, or an invalid index while it is filtered out.
    [[nodiscard]] QModelIndex IndexOfNode(int nNode, int nColumn = 0) const;

    QModelIndex mapToSource(const QModelIndex& proxyIndex) const override;
    QModelIndex mapFromSource(const QModelIndex& sourceIndex) const override;
    QModelIndex index(int nRow, int nColumn, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    QModelIndex sibling(int nRow, int nColumn, const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;

private:
    // Where a node stands among what is shown.
    struct Place
    {
        int nRow = -1; // among its parent's shown children; -1 while filtered out
        int nFirst = 0; // its shown children are m_shown[nFirst .. nFirst + nCount)
        int nCount = 0;
    };

    void Refilter();
    void Recompute();

    CComparisonModel& m_model;
    CTreeFilterRule m_rule;
    std::vector<Place> m_places; // one per snapshot node
    std::vector<int> m_shown; // the shown nodes, each folder's together and in sibling order
};
