#include "gui/TransferListWidget.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMenu>
#include <QPainter>
#include <QStyledItemDelegate>

#include "gui/TransferListModel.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

// Draws the job's bar over its Status cell while the job lives; other cells as usual.
class CProgressDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* pPainter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const QVariant position = index.data(CTransferListModel::RoleBarPosition);
        if (!position.isValid()) {
            QStyledItemDelegate::paint(pPainter, option, index);
            return;
        }
        QStyleOptionProgressBar bar;
        bar.rect = option.rect.adjusted(1, 2, -1, -2);
        bar.minimum = 0;
        bar.maximum = 100;
        bar.progress = std::clamp(position.toInt(), 0, 100);
        bar.text = QString::number(bar.progress) + QLatin1Char('%');
        bar.textVisible = true;
        bar.state = option.state | QStyle::State_Horizontal;
        const QWidget* pWidget = option.widget;
        QStyle* pStyle = pWidget != nullptr ? pWidget->style() : QApplication::style();
        pStyle->drawControl(QStyle::CE_ProgressBar, &bar, pPainter, pWidget);
    }
};

} // namespace

CTransferListWidget::CTransferListWidget(CTransferListView& list, QWidget* pParent)
    : QTableView(pParent)
    , m_list(list)
    , m_pModel(new CTransferListModel(list, this))
{
    setObjectName(QStringLiteral("transferList"));
    setModel(m_pModel);
    setItemDelegate(new CProgressDelegate(this));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setShowGrid(false);
    setWordWrap(false);
    setAlternatingRowColors(true);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setStretchLastSection(true);
    setContextMenuPolicy(Qt::DefaultContextMenu);
}

void CTransferListWidget::SetResubmitter(std::function<void(int)> resubmit)
{
    m_resubmit = std::move(resubmit);
}

std::vector<int> CTransferListWidget::SelectedRows() const
{
    std::vector<int> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows()) {
        rows.push_back(index.row());
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

QMenu* CTransferListWidget::MakeContextMenu()
{
    m_pModel->Refresh();
    const std::vector<int> rows = SelectedRows();
    if (rows.empty()) {
        return nullptr;
    }
    auto* pMenu = new QMenu(this);
    pMenu->setAttribute(Qt::WA_DeleteOnClose);
    QAction* pDelete = pMenu->addAction(QStringLiteral("&Delete"), this, [this, rows] {
        m_list.DeleteSelected(rows);
        clearSelection();
    });
    pDelete->setEnabled(m_list.CanDelete(rows));
    QAction* pCancel = pMenu->addAction(QStringLiteral("&Cancel"), this, [this, rows] { m_list.CancelSelected(rows); });
    pCancel->setEnabled(m_list.CanCancel(rows));
    QAction* pResubmit = pMenu->addAction(QStringLiteral("&Resubmit"), this, [this, rows] {
        if (m_resubmit) {
            m_list.ResubmitSelected(rows, m_resubmit);
        }
    });
    pResubmit->setEnabled(m_resubmit && m_list.CanResubmit(rows));
    return pMenu;
}

void CTransferListWidget::contextMenuEvent(QContextMenuEvent* pEvent)
{
    if (QMenu* pMenu = MakeContextMenu()) {
        pMenu->popup(pEvent->globalPos());
    }
}

std::array<int, kTransferColumns> CTransferListWidget::ColumnWidths(const CSettingsStore& store, int nClientWidth)
{
    const QStringList saved = store.ReadString("Settings", "XferWidths").split(QLatin1Char(','));
    if (saved.size() == kTransferColumns) {
        std::array<int, kTransferColumns> widths {};
        bool bAll = true;
        for (int i = 0; i < kTransferColumns; ++i) {
            bool bOk = false;
            widths[static_cast<size_t>(i)] = saved[i].trimmed().toInt(&bOk);
            bAll = bAll && bOk;
        }
        if (bAll) {
            return widths;
        }
    }
    const int nSixth = nClientWidth / 6;
    return { nSixth, nSixth, (2 * nClientWidth) / 6, (nSixth * 7) / 5, (nSixth * 4) / 5, nSixth };
}

void CTransferListWidget::RestoreColumnWidths(const CSettingsStore& store)
{
    const std::array<int, kTransferColumns> widths = ColumnWidths(store, std::max(viewport()->width(), 600));
    for (int nColumn = 0; nColumn < kTransferColumns; ++nColumn) {
        setColumnWidth(nColumn, std::max(widths[static_cast<size_t>(nColumn)], 30));
    }
}

void CTransferListWidget::SaveColumnWidths(CSettingsStore& store) const
{
    std::array<int, kTransferColumns> widths {};
    for (int nColumn = 0; nColumn < kTransferColumns; ++nColumn) {
        widths[static_cast<size_t>(nColumn)] = columnWidth(nColumn);
    }
    store.WriteString("Settings", "XferWidths",
        FormatText("%d,%d,%d,%d,%d,%d", widths[0], widths[1], widths[2], widths[3], widths[4], widths[5]));
}
