#pragma once

#include <QStringList>
#include <QTreeView>

#include "app/QuorvelView.h"

class CTreeSnapshot;
class QMimeData;

// What a drag out of a pane carries for another pane of this program: the side, the items by path, the
// bytes of their files.
struct DraggedItems
{
    int nFromSide = SIDE_LEFT;
    std::vector<ItemPath> items;
    long long nBytes = 0;
};

// One comparison pane: the tree view of one side, taking part in drag and drop. A drag carries the items
// by path (and, from the local side, their files for the file manager); a drop becomes a request that
// the window turns into copies.
class CPaneView : public QTreeView
{
    Q_OBJECT

public:
    CPaneView(int nSide, QWidget* pParent);
    [[nodiscard]] int Side() const { return m_nSide; }

    // What a drag of these snapshot nodes carries; the caller owns it.
    [[nodiscard]] QMimeData* MakeDragData(const std::vector<int>& nodes) const;
    // The items a drag from a pane of this program carries, when it is one.
    [[nodiscard]] static std::optional<DraggedItems> ReadDraggedItems(const QMimeData& data);
    // The folder node that receives what is dropped at pos: the folder under it, else the folder of the
    // item under it, the nearest one this side has; 0 (the root) elsewhere.
    [[nodiscard]] int DropFolderAt(const QPoint& pos) const;

signals:
    // Items dragged from the other pane were dropped here.
    void ItemsDropped(const DraggedItems& dragged);
    // Files from outside (the file manager) were dropped on the folder node nFolder of this side.
    void FilesDropped(const QStringList& paths, int nFolder);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent* pEvent) override;
    void dragMoveEvent(QDragMoveEvent* pEvent) override;
    void dropEvent(QDropEvent* pEvent) override;

private:
    [[nodiscard]] const CTreeSnapshot* Snapshot() const;
    [[nodiscard]] bool Accepts(const QMimeData& mime) const;
    // A drag enters or moves over the pane: taken as a copy when the pane can take it.
    void AcceptIfFits(QDragMoveEvent* pEvent) const;

    int m_nSide;
};

// Local files a drag or the clipboard carries: its file URLs as paths, nothing else.
QStringList LocalFilesOf(const QMimeData& data);
