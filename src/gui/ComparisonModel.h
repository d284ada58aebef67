#pragma once

#include <memory>

#include <QAbstractItemModel>
#include <QColor>
#include <QFont>

#include "app/PaneSettings.h"
#include "app/TreeSnapshot.h"
#include "gui/StatusIcons.h"

// Columns: the left pane's four, then the right pane's four. Each pane hides the other side's.
enum ComparisonColumn : int
{
    COL_LEFT_NAME = 0,
    COL_LEFT_SIZE,
    COL_LEFT_TIME,
    COL_LEFT_VERSION,
    COL_RIGHT_NAME,
    COL_RIGHT_SIZE,
    COL_RIGHT_TIME,
    COL_RIGHT_VERSION,
    kComparisonColumns
};
inline constexpr int kColumnsPerSide = 4;

inline int SideOfColumn(int nColumn)
{
    return nColumn < kColumnsPerSide ? SIDE_LEFT : SIDE_RIGHT;
}

// Extra data roles.
enum ComparisonRole : int
{
    RoleNode = Qt::UserRole + 1, // the node's index in the snapshot
    RoleClass, // its StatusClass
    RoleKey // a path that finds it again after a refresh
};

// One model over the merged tree for both panes. It reads a snapshot of the tree, never the live tree, so
// jobs may change the tree while the panes draw; a new snapshot comes in with one reset. Texts are made
// when a row is drawn, never up front.
class CComparisonModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit CComparisonModel(const CPaneSettings& settings, QObject* pParent = nullptr);

    void SetSnapshot(std::shared_ptr<const CTreeSnapshot> pSnapshot);
    [[nodiscard]] const CTreeSnapshot& Snapshot() const { return *m_pSnapshot; }
    [[nodiscard]] std::shared_ptr<const CTreeSnapshot> SharedSnapshot() const { return m_pSnapshot; }
    // The snapshot node of an index of this model; 0 (the root) for an invalid index.
    [[nodiscard]] static int NodeOf(const QModelIndex& index);
    // The index of a snapshot node; invalid for the root.
    [[nodiscard]] QModelIndex IndexOfNode(int nNode, int nColumn = 0) const;
    // Background of the panes, so that colours stay readable on a dark palette.
    void SetBackground(const QColor& background);
    // New colours and icons: every row is drawn again.
    void SetSettings(const CPaneSettings& settings);

    QModelIndex index(int nRow, int nColumn, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // A name edited in a pane is a rename request: the model itself changes only with the next snapshot.
    bool setData(const QModelIndex& index, const QVariant& value, int nRole = Qt::EditRole) override;
    QVariant data(const QModelIndex& index, int nRole = Qt::DisplayRole) const override;
    QVariant headerData(int nSection, Qt::Orientation orientation, int nRole = Qt::DisplayRole) const override;

signals:
    void RenameRequested(int nNode, int nSide, const QString& strNewName);

private:
    [[nodiscard]] QColor ColorOf(const SnapshotNode& node) const;
    [[nodiscard]] QString ToolTipOf(int nNode) const;

    CPaneSettings m_settings;
    CStatusIcons m_icons;
    QColor m_background = Qt::white;
    std::shared_ptr<const CTreeSnapshot> m_pSnapshot;
};
