#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <vector>

#include <QAbstractTableModel>

#include "transfer/TransferList.h"

// The transfer list's rows for a table view. Workers change the list at any moment; the model reads it
// on a timer, at most a few times a second and only after a change, so a busy transfer costs a handful
// of repaints per second whatever the number of jobs.
class CTransferListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    static constexpr int kRefreshMilliseconds = 250;
    // The bar's position over the Status column (0..100), for the delegate; absent for rows with no bar.
    static constexpr int RoleBarPosition = Qt::UserRole + 1;

    explicit CTransferListModel(CTransferListView& list, QObject* pParent = nullptr);
    ~CTransferListModel() override;

    [[nodiscard]] CTransferListView& List() { return m_list; }
    // Reads the list again when it has changed since the last read.
    void Refresh();

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int nRole = Qt::DisplayRole) const override;
    QVariant headerData(int nSection, Qt::Orientation orientation, int nRole = Qt::DisplayRole) const override;

private:
    // Bytes per second over the last seconds of a job, for its speed and time left.
    struct Rate
    {
        std::chrono::steady_clock::time_point start;
        std::int64_t nStartDone = 0;
        double dBytesPerSecond = 0.0;
    };

    [[nodiscard]] QString ProgressText(const TransferRow& row) const;

    CTransferListView& m_list;
    std::atomic<bool> m_bChanged { true };
    std::vector<TransferRow> m_rows;
    std::map<int, JobProgress> m_progress;
    std::map<int, Rate> m_rates;
};
