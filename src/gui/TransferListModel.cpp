#include "gui/TransferListModel.h"

#include <QColor>
#include <QTimer>

#include "support/TextFormat.h"

CTransferListModel::CTransferListModel(CTransferListView& list, QObject* pParent)
    : QAbstractTableModel(pParent)
    , m_list(list)
{
    m_list.SetObserver([this] { m_bChanged = true; });
    auto* pTimer = new QTimer(this);
    connect(pTimer, &QTimer::timeout, this, &CTransferListModel::Refresh);
    pTimer->start(kRefreshMilliseconds);
    Refresh();
}

CTransferListModel::~CTransferListModel()
{
    m_list.SetObserver({});
}

void CTransferListModel::Refresh()
{
    if (!m_bChanged.exchange(false)) {
        return;
    }
    std::vector<TransferRow> rows = m_list.Rows();
    std::map<int, JobProgress> progress = m_list.ProgressOfJobs();
    const auto now = std::chrono::steady_clock::now();
    std::map<int, Rate> rates;
    for (const auto& [nJobId, job] : progress) {
        const auto found = m_rates.find(nJobId);
        Rate rate = found != m_rates.end() ? found->second : Rate { now, job.nDone, 0.0 };
        const double dSeconds = std::chrono::duration<double>(now - rate.start).count();
        if (dSeconds >= 1.0) {
            rate.dBytesPerSecond = static_cast<double>(job.nDone - rate.nStartDone) / dSeconds;
            // A new window every few seconds, so the speed follows the transfer as it changes.
            if (dSeconds >= 4.0) {
                rate.start = now;
                rate.nStartDone = job.nDone;
            }
        }
        rates[nJobId] = rate;
    }
    m_rates.swap(rates);
    if (rows.size() != m_rows.size()) {
        beginResetModel();
        m_rows.swap(rows);
        m_progress.swap(progress);
        endResetModel();
        return;
    }
    m_rows.swap(rows);
    m_progress.swap(progress);
    if (!m_rows.empty()) {
        emit dataChanged(index(0, 0), index(static_cast<int>(m_rows.size()) - 1, kTransferColumns - 1));
    }
}

int CTransferListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int CTransferListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : kTransferColumns;
}

QString CTransferListModel::ProgressText(const TransferRow& row) const
{
    const auto job = m_progress.find(row.nJobId);
    if (job == m_progress.end() || row.state != JobState::Running) {
        return {};
    }
    QString strText = ByteCountText(job->second.nDone) + QStringLiteral(" of ") + ByteCountText(job->second.nTotal);
    const auto rate = m_rates.find(row.nJobId);
    if (rate != m_rates.end() && rate->second.dBytesPerSecond > 0.0) {
        const double dPerSecond = rate->second.dBytesPerSecond;
        strText += QStringLiteral(", ") + ByteCountText(static_cast<std::int64_t>(dPerSecond)) + QStringLiteral("/s");
        const std::int64_t nLeft = std::max<std::int64_t>(0, job->second.nTotal - job->second.nDone);
        const long long nSeconds = static_cast<long long>(static_cast<double>(nLeft) / dPerSecond);
        strText += FormatText(", %lld:%02lld left", nSeconds / 60, nSeconds % 60);
    }
    return strText;
}

QVariant CTransferListModel::data(const QModelIndex& index, int nRole) const
{
    if (!index.isValid() || index.row() >= static_cast<int>(m_rows.size())) {
        return {};
    }
    const TransferRow& row = m_rows[static_cast<size_t>(index.row())];
    switch (nRole) {
    case Qt::DisplayRole: {
        const QString& strText = row.columns[static_cast<size_t>(index.column())];
        if (index.column() == COL_MESSAGE) {
            const QString strProgress = ProgressText(row);
            return strProgress.isEmpty() ? strText : strText + QLatin1Char(' ') + strProgress;
        }
        return strText;
    }
    case Qt::ToolTipRole: {
        QString strTip = row.columns[COL_OPERATION] + QLatin1Char(' ') + row.columns[COL_FILENAME]
            + QStringLiteral("\nLocal: ") + row.columns[COL_LOCAL_PATH] + QStringLiteral("\nFTP: ")
            + row.columns[COL_FTP_PATH] + QLatin1Char('\n') + row.columns[COL_MESSAGE];
        const QString strProgress = ProgressText(row);
        return strProgress.isEmpty() ? strTip : strTip + QLatin1Char(' ') + strProgress;
    }
    case Qt::ForegroundRole:
        if (row.state == JobState::Failed) {
            return QColor(198, 40, 40);
        }
        return {};
    case RoleBarPosition: {
        const auto job = m_progress.find(row.nJobId);
        if (job == m_progress.end() || index.column() != COL_STATUS || !IsLive(row.state)) {
            return {};
        }
        return job->second.nBarPosition;
    }
    default:
        return {};
    }
}

QVariant CTransferListModel::headerData(int nSection, Qt::Orientation orientation, int nRole) const
{
    if (orientation != Qt::Horizontal || nRole != Qt::DisplayRole || nSection < 0 || nSection >= kTransferColumns) {
        return {};
    }
    static const std::array<QString, kTransferColumns> kTitles { QStringLiteral("Filename"), QStringLiteral("Status"),
        QStringLiteral("Local Path"), QStringLiteral("FTP Path"), QStringLiteral("Operation"),
        QStringLiteral("Message") };
    return kTitles[static_cast<size_t>(nSection)];
}
