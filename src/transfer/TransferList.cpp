#include "transfer/TransferList.h"

#include <algorithm>

#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/ThreadId.h"

namespace {

// Progress notices closer together than this are folded into one.
constexpr std::chrono::milliseconds kProgressNoticeInterval(250);

const QString kCompleted = QStringLiteral("Completed");

bool IsWaitingOrRunning(const QString& strMessage)
{
    return strMessage.startsWith(QLatin1String("In Progress"), Qt::CaseSensitive)
        || strMessage.compare(QLatin1String("Waiting..."), Qt::CaseInsensitive) == 0;
}

std::array<QString, kTransferColumns> ColumnsOf(const JobFields& fields, const QString& strStatus)
{
    return { fields.strFilename, strStatus, fields.strLocalPath, fields.strFtpPath, fields.strOperation,
        fields.strMessage };
}

} // namespace

JobFields FieldsOf(const TransferRow& row)
{
    return { row.columns[COL_FILENAME], row.columns[COL_LOCAL_PATH], row.columns[COL_FTP_PATH],
        row.columns[COL_OPERATION], row.columns[COL_MESSAGE] };
}

QString FormatJobLine(int nJobId, const JobFields& fields)
{
    return FormatText("%d;%s;%s;%s;%s;%s", nJobId, fields.strFilename, fields.strLocalPath, fields.strFtpPath,
        fields.strOperation, fields.strMessage);
}

std::optional<std::pair<int, JobFields>> ParseJobLine(const QString& strLine, const JobFields& rowFields)
{
    const QStringList parts = strLine.split(QLatin1Char(';'));
    if (parts.size() != kTransferColumns) {
        return std::nullopt;
    }
    bool bNumber = false;
    const int nJobId = parts[0].toInt(&bNumber);
    const JobFields fields { parts[1], parts[2], parts[3], parts[4], parts[5] };
    const bool bSame = fields.strFilename == rowFields.strFilename && fields.strLocalPath == rowFields.strLocalPath
        && fields.strFtpPath == rowFields.strFtpPath && fields.strOperation == rowFields.strOperation
        && fields.strMessage == rowFields.strMessage;
    if (!bNumber || !bSame) {
        return std::nullopt;
    }
    return std::make_pair(nJobId, fields);
}

const std::array<QString, kTransferColumns>& CTransferListView::ColumnTitles()
{
    static const std::array<QString, kTransferColumns> kTitles { QStringLiteral("Filename"), QStringLiteral("Status"),
        QStringLiteral("Local Path"), QStringLiteral("FTP Path"), QStringLiteral("Operation"),
        QStringLiteral("Message") };
    return kTitles;
}

CTransferListView::CTransferListView() = default;

void CTransferListView::SetObserver(std::function<void()> changed)
{
    std::lock_guard lock(m_mutex);
    m_changed = std::move(changed);
}

void CTransferListView::Notify(int nJobId, bool bProgressOnly)
{
    std::function<void()> changed;
    {
        std::lock_guard lock(m_mutex);
        if (bProgressOnly) {
            const auto now = std::chrono::steady_clock::now();
            auto& last = m_lastProgressNotice[nJobId];
            if (now - last < kProgressNoticeInterval) {
                return;
            }
            last = now;
        }
        changed = m_changed;
    }
    if (changed) {
        changed();
    }
}

int CTransferListView::RowIndexLocked(int nJobId) const
{
    if (nJobId >= 0) {
        for (size_t i = 0; i < m_rows.size(); ++i) {
            if (m_rows[i].nJobId == nJobId) {
                return static_cast<int>(i);
            }
        }
    }
    Log("CTransferListView::FindCurListCtrlIndex[%ld] idx not found for unique idx(%d)", CurrentThreadId(), nJobId);
    return -1;
}

int CTransferListView::FindCurListCtrlIndex(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    return RowIndexLocked(nJobId);
}

int CTransferListView::AddThis(const JobFields& fields, const QString& strStatus)
{
    Log("CTransferListView::AddThis[%ld] %s, %s, %s, %s, %s", CurrentThreadId(), fields.strFilename,
        fields.strLocalPath, fields.strFtpPath, fields.strOperation, fields.strMessage);
    int nJobId = 0;
    {
        std::lock_guard lock(m_mutex);
        nJobId = ++m_nLastJobId;
        m_rows.push_back({ nJobId, ColumnsOf(fields, strStatus) });
    }
    Notify(nJobId, false);
    return nJobId;
}

int CTransferListView::AddJob(std::int64_t nTotalBytes, const JobFields& fields)
{
    Log("CTransferListView::AddThis[%ld] %s, %s, %s, %s, %s", CurrentThreadId(), fields.strFilename,
        fields.strLocalPath, fields.strFtpPath, fields.strOperation, fields.strMessage);
    int nJobId = 0;
    {
        // The row and its record appear together: no other thread may see one without the other.
        std::lock_guard lock(m_mutex);
        ++m_nActiveJobs;
        nJobId = ++m_nLastJobId;
        m_rows.push_back({ nJobId, ColumnsOf(fields, QString()) });
        m_progress[nJobId]
            = std::make_shared<CProgressEntry>(static_cast<int>(m_rows.size()) - 1, nTotalBytes, CurrentThreadId());
    }
    Notify(nJobId, false);
    return nJobId;
}

int CTransferListView::ReopenJob(int nJobId, std::int64_t nTotalBytes, const JobFields& fields)
{
    int nRow = -1;
    {
        std::lock_guard lock(m_mutex);
        ++m_nActiveJobs;
        nRow = RowIndexLocked(nJobId);
        if (nRow < 0) {
            return -1;
        }
        m_rows[static_cast<size_t>(nRow)].columns = ColumnsOf(fields, QString());
        m_progress[nJobId] = std::make_shared<CProgressEntry>(nRow, nTotalBytes, CurrentThreadId());
    }
    Notify(nJobId, false);
    return nRow;
}

void CTransferListView::UpdateJob(int nJobId, const JobFields& fields, const QString& strStatus)
{
    {
        std::lock_guard lock(m_mutex);
        const int nRow = RowIndexLocked(nJobId);
        if (nRow < 0) {
            return;
        }
        const std::array<QString, kTransferColumns> texts = ColumnsOf(fields, strStatus);
        for (int nColumn = 0; nColumn < kTransferColumns; ++nColumn) {
            if (!texts[static_cast<size_t>(nColumn)].isEmpty()) {
                m_rows[static_cast<size_t>(nRow)].columns[static_cast<size_t>(nColumn)]
                    = texts[static_cast<size_t>(nColumn)];
            }
        }
    }
    Notify(nJobId, false);
}

void CTransferListView::AdvanceProgress(int nJobId, std::int64_t nBytes)
{
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_progress.find(nJobId);
        if (found == m_progress.end() || !found->second || found->second->nRow == -1 || found->second->bCancelled) {
            return;
        }
        found->second->Advance(nBytes);
    }
    Notify(nJobId, true);
}

void CTransferListView::SetProgress(int nJobId, std::int64_t nPosition)
{
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_progress.find(nJobId);
        if (found == m_progress.end() || !found->second) {
            return;
        }
        found->second->SetPosition(nPosition);
    }
    Notify(nJobId, true);
}

bool CTransferListView::IsJobCancelled(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_progress.find(nJobId);
    return found != m_progress.end() && found->second && found->second->bCancelled;
}

std::shared_ptr<const CProgressEntry> CTransferListView::ProgressRecord(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_progress.find(nJobId);
    return found != m_progress.end() ? found->second : nullptr;
}

void CTransferListView::EmptiedLocked()
{
    m_progress.clear();
    m_lastProgressNotice.clear();
    m_nLastJobId = -1;
}

void CTransferListView::FinishJob(int nJobId, bool bRemoveIfCompleted)
{
    {
        std::lock_guard lock(m_mutex);
        --m_nActiveJobs;
        const int nRow = RowIndexLocked(nJobId);
        if (nRow < 0) {
            return;
        }
        const auto found = m_progress.find(nJobId);
        if (found != m_progress.end() && found->second) {
            found->second->bBarVisible = false;
            found->second->nRow = -1;
            found->second.reset();
        }
        if (bRemoveIfCompleted
            && m_rows[static_cast<size_t>(nRow)].columns[COL_STATUS].compare(kCompleted, Qt::CaseInsensitive) == 0) {
            m_rows.erase(m_rows.begin() + nRow);
            if (m_rows.empty()) {
                EmptiedLocked();
            }
        }
    }
    Notify(nJobId, false);
}

bool CTransferListView::IsBusyLocked(int nRow) const
{
    return IsWaitingOrRunning(m_rows[static_cast<size_t>(nRow)].columns[COL_MESSAGE]);
}

bool CTransferListView::CanDelete(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    return !selection.empty() && std::none_of(selection.begin(), selection.end(), [this](int nRow) {
        return nRow >= 0 && nRow < static_cast<int>(m_rows.size()) && IsBusyLocked(nRow);
    });
}

bool CTransferListView::CanCancel(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    return std::any_of(selection.begin(), selection.end(),
        [this](int nRow) { return nRow >= 0 && nRow < static_cast<int>(m_rows.size()) && IsBusyLocked(nRow); });
}

bool CTransferListView::CanResubmit(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    if (selection.empty()) {
        return false;
    }
    QString strStatuses;
    for (const int nRow : selection) {
        if (nRow < 0 || nRow >= static_cast<int>(m_rows.size())) {
            return false;
        }
        const TransferRow& row = m_rows[static_cast<size_t>(nRow)];
        strStatuses += row.columns[COL_STATUS];
        if (row.columns[COL_FTP_PATH].isEmpty() || row.columns[COL_MESSAGE].startsWith(QLatin1String("In Progress"))) {
            return false;
        }
    }
    return !strStatuses.contains(kCompleted, Qt::CaseSensitive);
}

void CTransferListView::DeleteSelected(std::vector<int> selection)
{
    {
        std::lock_guard lock(m_mutex);
        std::sort(selection.begin(), selection.end());
        selection.erase(std::unique(selection.begin(), selection.end()), selection.end());
        const size_t nRowsBefore = m_rows.size();
        size_t nDeleted = 0;
        for (auto it = selection.rbegin(); it != selection.rend(); ++it) {
            if (*it >= 0 && *it < static_cast<int>(m_rows.size())) {
                m_rows.erase(m_rows.begin() + *it);
                ++nDeleted;
            }
        }
        if (nDeleted == nRowsBefore) {
            EmptiedLocked();
        }
    }
    Notify(-1, false);
}

void CTransferListView::CancelSelected(const std::vector<int>& selection)
{
    {
        std::lock_guard lock(m_mutex);
        for (auto it = selection.rbegin(); it != selection.rend(); ++it) {
            if (*it < 0 || *it >= static_cast<int>(m_rows.size())) {
                continue;
            }
            const auto found = m_progress.find(m_rows[static_cast<size_t>(*it)].nJobId);
            if (found != m_progress.end() && found->second && found->second->nRow != -1) {
                found->second->bCancelled = true;
            }
        }
    }
    Notify(-1, false);
}

void CTransferListView::ResubmitSelected(
    const std::vector<int>& selection, const std::function<void(int, const JobFields&)>& resubmit)
{
    std::vector<int> rows = selection;
    std::sort(rows.begin(), rows.end());
    std::vector<std::pair<int, JobFields>> jobs;
    {
        std::lock_guard lock(m_mutex);
        for (const int nRow : rows) {
            if (nRow >= 0 && nRow < static_cast<int>(m_rows.size())) {
                const auto& columns = m_rows[static_cast<size_t>(nRow)].columns;
                jobs.push_back({ m_rows[static_cast<size_t>(nRow)].nJobId,
                    { columns[COL_FILENAME], columns[COL_LOCAL_PATH], columns[COL_FTP_PATH], columns[COL_OPERATION],
                        columns[COL_MESSAGE] } });
            }
        }
    }
    for (const auto& [nJobId, fields] : jobs) {
        resubmit(nJobId, fields);
    }
}

std::vector<TransferRow> CTransferListView::Rows() const
{
    std::lock_guard lock(m_mutex);
    return m_rows;
}

std::optional<TransferRow> CTransferListView::Row(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    for (const TransferRow& row : m_rows) {
        if (row.nJobId == nJobId) {
            return row;
        }
    }
    return std::nullopt;
}

std::optional<int> CTransferListView::BarPosition(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    const auto found = m_progress.find(nJobId);
    if (found == m_progress.end() || !found->second) {
        return std::nullopt;
    }
    return found->second->nBarPosition;
}

std::map<int, JobProgress> CTransferListView::ProgressOfJobs() const
{
    std::lock_guard lock(m_mutex);
    std::map<int, JobProgress> progress;
    for (const auto& [nJobId, pEntry] : m_progress) {
        if (pEntry && pEntry->nRow >= 0) {
            progress[nJobId] = JobProgress { pEntry->nBarPosition, pEntry->nDone, pEntry->nTotal };
        }
    }
    return progress;
}

int CTransferListView::ActiveJobs() const
{
    std::lock_guard lock(m_mutex);
    return m_nActiveJobs;
}

int CTransferListView::LastJobId() const
{
    std::lock_guard lock(m_mutex);
    return m_nLastJobId;
}

std::array<int, kTransferColumns> CTransferListView::ColumnWidths(const CSettingsStore& store, int nClientWidth)
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

void CTransferListView::SaveColumnWidths(CSettingsStore& store, const std::array<int, kTransferColumns>& widths)
{
    store.WriteString("Settings", "XferWidths",
        FormatText("%d,%d,%d,%d,%d,%d", widths[0], widths[1], widths[2], widths[3], widths[4], widths[5]));
}
