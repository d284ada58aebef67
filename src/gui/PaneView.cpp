#include "gui/PaneView.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QUrl>

#include "app/PaneCommandRules.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"

namespace {

const QString kItemsFormat = QStringLiteral("application/x-quorvel-items");

// The items are named by paths, percent-encoded so that no name (a newline is a valid one) breaks a line.
QByteArray EncodeItems(int nFromSide, const std::vector<ItemPath>& items, long long nBytes)
{
    QByteArray data = QByteArray::number(QApplication::applicationPid()) + ' ' + QByteArray::number(nFromSide) + ' '
        + QByteArray::number(nBytes) + '\n';
    for (const ItemPath& item : items) {
        data += QByteArray::number(item.nKind) + ' ' + QUrl::toPercentEncoding(item.strRelative) + '\n';
    }
    return data;
}

} // namespace

CPaneView::CPaneView(int nSide, QWidget* pParent)
    : QTreeView(pParent)
    , m_nSide(nSide)
{
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::CopyAction);
}

const CTreeSnapshot* CPaneView::Snapshot() const
{
    const auto* pFilter = qobject_cast<const CComparisonFilter*>(model());
    return pFilter != nullptr ? pFilter->Model().SharedSnapshot().get() : nullptr;
}

QMimeData* CPaneView::MakeDragData(const std::vector<int>& nodes) const
{
    auto* pData = new QMimeData;
    const CTreeSnapshot* pSnapshot = Snapshot();
    if (pSnapshot == nullptr) {
        return pData;
    }
    std::vector<ItemPath> items;
    QList<QUrl> urls;
    long long nBytes = 0;
    for (const int nNode : nodes) {
        const SnapshotNode& node = pSnapshot->Node(nNode);
        if (nNode <= 0 || !node.IsOn(m_nSide)) {
            continue;
        }
        items.push_back({ RelativePathOf(*pSnapshot, nNode), node.nKind });
        nBytes += std::max<std::int64_t>(0, BytesOfSizeText(node.strSize[m_nSide]));
        if (m_nSide == SIDE_LEFT) {
            urls.append(QUrl::fromLocalFile(pSnapshot->FullPath(nNode, SIDE_LEFT)));
        }
    }
    pData->setData(kItemsFormat, EncodeItems(m_nSide, items, nBytes));
    // The file manager takes the local files; the FTP side's have no place on this disk to offer.
    if (!urls.isEmpty()) {
        pData->setUrls(urls);
    }
    return pData;
}

std::optional<DraggedItems> CPaneView::ReadDraggedItems(const QMimeData& data)
{
    if (!data.hasFormat(kItemsFormat)) {
        return std::nullopt;
    }
    const QList<QByteArray> lines = data.data(kItemsFormat).split('\n');
    const QList<QByteArray> header = lines.value(0).split(' ');
    // Items of another instance name another comparison's tree.
    if (header.size() != 3 || header[0].toLongLong() != QApplication::applicationPid()) {
        return std::nullopt;
    }
    DraggedItems dragged;
    dragged.nFromSide = header[1].toInt() == SIDE_RIGHT ? SIDE_RIGHT : SIDE_LEFT;
    dragged.nBytes = header[2].toLongLong();
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype nSpace = lines[i].indexOf(' ');
        if (nSpace > 0) {
            dragged.items.push_back({ QUrl::fromPercentEncoding(lines[i].mid(nSpace + 1)),
                lines[i].left(nSpace).toInt() == KIND_DIR ? KIND_DIR : KIND_FILE });
        }
    }
    return dragged;
}

int CPaneView::DropFolderAt(const QPoint& pos) const
{
    const CTreeSnapshot* pSnapshot = Snapshot();
    const int nNode = CComparisonModel::NodeOf(indexAt(pos));
    return pSnapshot != nullptr && nNode > 0 ? FolderNodeOnSide(*pSnapshot, nNode, m_nSide) : 0;
}

void CPaneView::startDrag(Qt::DropActions)
{
    std::vector<int> nodes;
    for (const QModelIndex& index : selectionModel()->selectedRows()) {
        nodes.push_back(CComparisonModel::NodeOf(index));
    }
    QMimeData* pData = MakeDragData(nodes);
    if (const std::optional<DraggedItems> dragged = ReadDraggedItems(*pData); !dragged || dragged->items.empty()) {
        delete pData;
        return;
    }
    auto* pDrag = new QDrag(this);
    pDrag->setMimeData(pData);
    pDrag->exec(Qt::CopyAction, Qt::CopyAction);
}

bool CPaneView::Accepts(const QMimeData& mime) const
{
    if (const std::optional<DraggedItems> dragged = ReadDraggedItems(mime)) {
        // Within a pane a drop would copy items onto themselves.
        return dragged->nFromSide != m_nSide && !dragged->items.empty();
    }
    return !LocalFilesOf(mime).isEmpty();
}

void CPaneView::dragEnterEvent(QDragEnterEvent* pEvent)
{
    AcceptIfFits(pEvent);
}

void CPaneView::dragMoveEvent(QDragMoveEvent* pEvent)
{
    AcceptIfFits(pEvent);
}

void CPaneView::AcceptIfFits(QDragMoveEvent* pEvent) const
{
    if (pEvent->mimeData() != nullptr && Accepts(*pEvent->mimeData())) {
        pEvent->setDropAction(Qt::CopyAction);
        pEvent->accept();
    } else {
        pEvent->ignore();
    }
}

void CPaneView::dropEvent(QDropEvent* pEvent)
{
    const QMimeData* pData = pEvent->mimeData();
    if (pData == nullptr || !Accepts(*pData)) {
        pEvent->ignore();
        return;
    }
    pEvent->setDropAction(Qt::CopyAction);
    pEvent->accept();
    if (const std::optional<DraggedItems> dragged = ReadDraggedItems(*pData)) {
        emit ItemsDropped(*dragged);
    } else {
        emit FilesDropped(LocalFilesOf(*pData), DropFolderAt(pEvent->position().toPoint()));
    }
}

QStringList LocalFilesOf(const QMimeData& data)
{
    QStringList paths;
    for (const QUrl& url : data.urls()) {
        if (url.isLocalFile() && !url.toLocalFile().isEmpty()) {
            paths.append(url.toLocalFile());
        }
    }
    return paths;
}
