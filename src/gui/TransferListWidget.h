#pragma once

#include <array>
#include <functional>
#include <vector>

#include <QTableView>

#include "transfer/TransferList.h"

class CSettingsStore;
class CTransferListModel;
class QMenu;

// The transfer list: one row per job with the Part's six columns, a progress bar drawn over the Status
// cell of each live job, and the context menu Delete, Cancel, Resubmit with their enabling rules.
class CTransferListWidget : public QTableView
{
    Q_OBJECT

public:
    CTransferListWidget(CTransferListView& list, QWidget* pParent = nullptr);

    [[nodiscard]] CTransferListModel& Model() const { return *m_pModel; }
    // Where Resubmit sends a job: the comparison view's ResubmitJob. Without it, Resubmit stays disabled.
    void SetResubmitter(std::function<void(int nJobId)> resubmit);

    // The selected rows, top to bottom.
    [[nodiscard]] std::vector<int> SelectedRows() const;
    // The context menu for the current selection, as it would open (null with no row selected).
    [[nodiscard]] QMenu* MakeContextMenu();

    // "XferWidths" when it holds six widths, else shares of the list's width. Saving writes all six.
    static std::array<int, kTransferColumns> ColumnWidths(const CSettingsStore& store, int nClientWidth);
    void RestoreColumnWidths(const CSettingsStore& store);
    void SaveColumnWidths(CSettingsStore& store) const;

protected:
    void contextMenuEvent(QContextMenuEvent* pEvent) override;

private:
    CTransferListView& m_list;
    CTransferListModel* m_pModel;
    std::function<void(int)> m_resubmit;
};
