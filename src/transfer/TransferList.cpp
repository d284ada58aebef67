#include "transfer/TransferList.h"

#include <algorithm>

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"
#include "transfer/TransferRoutines.h"

namespace {

// Progress notices closer together than this are folded into one.
constexpr std::chrono::milliseconds kProgressNoticeInterval(250);

QString MessageOf(const JobRecord& record)
{
    switch (record.state) {
    case JobState::Waiting:
        return QStringLiteral("Waiting...");
    case JobState::Running:
        return QStringLiteral("In Progress.");
    case JobState::Completed:
        return QStringLiteral("Complete.");
    case JobState::Cancelled:
        return QStringLiteral("Cancelled.");
    case JobState::Failed:
        break;
    }
    return record.strFailure;
}

QString LocalColumnOf(const JobRecord& record)
{
    if (record.purpose == JobPurpose::IntoMirror) {
        return QStringLiteral("Cache");
    }
    switch (record.job.operation) {
    case TransferOperation::Copy:
    case TransferOperation::Rename:
        return record.job.strTargetRemotePath;
    case TransferOperation::Delete:
        return {};
    case TransferOperation::Upload:
    case TransferOperation::Download:
        break;
    }
    return record.job.strLocalPath;
}

} // namespace

QString StatusText(JobState state)
{
    switch (state) {
    case JobState::Completed:
        return QStringLiteral("Completed");
    case JobState::Cancelled:
        return QStringLiteral("Cancelled");
    case JobState::Failed:
        return QStringLiteral("Failed");
    case JobState::Waiting:
    case JobState::Running:
        break;
    }
    return {};
}

JobState StateOfResult(int nResult)
{
    return nResult == TRANSFER_DONE     ? JobState::Completed
        : nResult == TRANSFER_CANCELLED ? JobState::Cancelled
                                        : JobState::Failed;
}

TransferRow RowOf(const JobRecord& record)
{
    const TransferJob& job = record.job;
    return { record.nJobId, record.state,
        { job.bFolder ? job.strName + QLatin1Char('/') : job.strName, StatusText(record.state), LocalColumnOf(record),
            RemotePathOf(job), OperationWord(job.operation), MessageOf(record) } };
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
        } else if (!m_progress.contains(nJobId)) {
            m_lastProgressNotice.erase(nJobId);
        }
        changed = m_changed;
    }
    if (changed) {
        changed();
    }
}

int CTransferListView::RowIndexLocked(int nJobId) const
{
    // Rows stand in the order of their ids, which only grow.
    const auto found = std::lower_bound(
        m_jobs.begin(), m_jobs.end(), nJobId, [](const JobRecord& record, int nId) { return record.nJobId < nId; });
    if (nJobId >= 0 && found != m_jobs.end() && found->nJobId == nJobId) {
        return static_cast<int>(found - m_jobs.begin());
    }
    Log("CTransferListView::FindCurListCtrlIndex[%ld] idx not found for unique idx(%d)", CurrentThreadId(), nJobId);
    return -1;
}

JobRecord* CTransferListView::RecordLocked(int nJobId)
{
    const int nRow = RowIndexLocked(nJobId);
    return nRow < 0 ? nullptr : &m_jobs[static_cast<size_t>(nRow)];
}

int CTransferListView::FindCurListCtrlIndex(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    return RowIndexLocked(nJobId);
}

int CTransferListView::AddJob(const TransferJob& job, JobPurpose purpose, std::int64_t nTotalBytes)
{
    int nJobId = 0;
    {
        // The row and its record appear together: no other thread may see one without the other.
        std::lock_guard lock(m_mutex);
        nJobId = ++m_nLastJobId;
        m_jobs.push_back({ nJobId, JobState::Waiting, job, purpose, {} });
        const TransferRow row = RowOf(m_jobs.back());
        Log("CTransferListView::AddThis[%ld] %s, %s, %s, %s, %s", CurrentThreadId(), row.columns[COL_FILENAME],
            row.columns[COL_LOCAL_PATH], row.columns[COL_FTP_PATH], row.columns[COL_OPERATION],
            row.columns[COL_MESSAGE]);
        m_progress[nJobId]
            = std::make_shared<CProgressEntry>(static_cast<int>(m_jobs.size()) - 1, nTotalBytes, CurrentThreadId());
    }
    Notify(nJobId, false);
    return nJobId;
}

bool CTransferListView::ReopenJob(int nJobId, std::int64_t nTotalBytes)
{
    {
        std::lock_guard lock(m_mutex);
        JobRecord* pRecord = RecordLocked(nJobId);
        if (pRecord == nullptr || IsLive(pRecord->state) || pRecord->state == JobState::Completed) {
            return false;
        }
        pRecord->state = JobState::Waiting;
        pRecord->strFailure.clear();
        m_progress[nJobId] = std::make_shared<CProgressEntry>(RowIndexLocked(nJobId), nTotalBytes, CurrentThreadId());
    }
    Notify(nJobId, false);
    return true;
}

void CTransferListView::SetJobTotal(int nJobId, std::int64_t nTotalBytes)
{
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_progress.find(nJobId);
        if (found == m_progress.end() || !found->second) {
            return;
        }
        found->second->SetTotal(nTotalBytes);
    }
    Notify(nJobId, false);
}

void CTransferListView::SetRunning(int nJobId)
{
    {
        std::lock_guard lock(m_mutex);
        JobRecord* pRecord = RecordLocked(nJobId);
        if (pRecord == nullptr || pRecord->state != JobState::Waiting) {
            return;
        }
        pRecord->state = JobState::Running;
    }
    Notify(nJobId, false);
}

void CTransferListView::FinishJob(int nJobId, JobState outcome, const QString& strFailure, bool bRemoveIfCompleted)
{
    {
        std::lock_guard lock(m_mutex);
        const auto found = m_progress.find(nJobId);
        if (found != m_progress.end()) {
            if (found->second) {
                found->second->bBarVisible = false;
                found->second->nRow = -1;
            }
            m_progress.erase(found);
        }
        const int nRow = RowIndexLocked(nJobId);
        if (nRow < 0) {
            return;
        }
        JobRecord& record = m_jobs[static_cast<size_t>(nRow)];
        record.state = outcome;
        record.strFailure = outcome == JobState::Failed ? strFailure : QString();
        if (bRemoveIfCompleted && outcome == JobState::Completed) {
            m_jobs.erase(m_jobs.begin() + nRow);
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

bool CTransferListView::IsLiveRowLocked(int nRow) const
{
    return IsLive(m_jobs[static_cast<size_t>(nRow)].state);
}

bool CTransferListView::CanDelete(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    return !selection.empty() && std::none_of(selection.begin(), selection.end(), [this](int nRow) {
        return nRow >= 0 && nRow < static_cast<int>(m_jobs.size()) && IsLiveRowLocked(nRow);
    });
}

bool CTransferListView::CanCancel(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    return std::any_of(selection.begin(), selection.end(),
        [this](int nRow) { return nRow >= 0 && nRow < static_cast<int>(m_jobs.size()) && IsLiveRowLocked(nRow); });
}

bool CTransferListView::CanResubmit(const std::vector<int>& selection) const
{
    std::lock_guard lock(m_mutex);
    // A waiting job may be chosen with the others; it is in the queue already and stays there once.
    return !selection.empty() && std::all_of(selection.begin(), selection.end(), [this](int nRow) {
        if (nRow < 0 || nRow >= static_cast<int>(m_jobs.size())) {
            return false;
        }
        const JobState state = m_jobs[static_cast<size_t>(nRow)].state;
        return state != JobState::Running && state != JobState::Completed;
    });
}

void CTransferListView::DeleteSelected(std::vector<int> selection)
{
    {
        std::lock_guard lock(m_mutex);
        std::sort(selection.begin(), selection.end());
        selection.erase(std::unique(selection.begin(), selection.end()), selection.end());
        for (auto it = selection.rbegin(); it != selection.rend(); ++it) {
            if (*it >= 0 && *it < static_cast<int>(m_jobs.size()) && !IsLiveRowLocked(*it)) {
                m_jobs.erase(m_jobs.begin() + *it);
            }
        }
    }
    Notify(-1, false);
}

void CTransferListView::CancelSelected(const std::vector<int>& selection)
{
    {
        std::lock_guard lock(m_mutex);
        for (auto it = selection.rbegin(); it != selection.rend(); ++it) {
            if (*it < 0 || *it >= static_cast<int>(m_jobs.size())) {
                continue;
            }
            const auto found = m_progress.find(m_jobs[static_cast<size_t>(*it)].nJobId);
            if (found != m_progress.end() && found->second && found->second->nRow != -1) {
                found->second->bCancelled = true;
            }
        }
    }
    Notify(-1, false);
}

void CTransferListView::CancelAll()
{
    {
        std::lock_guard lock(m_mutex);
        for (auto& [nJobId, pEntry] : m_progress) {
            if (pEntry) {
                pEntry->bCancelled = true;
            }
        }
    }
    Notify(-1, false);
}

void CTransferListView::ResubmitSelected(const std::vector<int>& selection, const std::function<void(int)>& resubmit)
{
    std::vector<int> rows = selection;
    std::sort(rows.begin(), rows.end());
    std::vector<int> ids;
    {
        std::lock_guard lock(m_mutex);
        for (const int nRow : rows) {
            if (nRow >= 0 && nRow < static_cast<int>(m_jobs.size())) {
                ids.push_back(m_jobs[static_cast<size_t>(nRow)].nJobId);
            }
        }
    }
    for (const int nJobId : ids) {
        resubmit(nJobId);
    }
}

std::optional<JobRecord> CTransferListView::Job(int nJobId) const
{
    std::lock_guard lock(m_mutex);
    const int nRow = RowIndexLocked(nJobId);
    return nRow < 0 ? std::nullopt : std::optional<JobRecord>(m_jobs[static_cast<size_t>(nRow)]);
}

std::vector<JobRecord> CTransferListView::Jobs() const
{
    std::lock_guard lock(m_mutex);
    return m_jobs;
}

std::vector<TransferRow> CTransferListView::Rows() const
{
    std::lock_guard lock(m_mutex);
    std::vector<TransferRow> rows;
    rows.reserve(m_jobs.size());
    for (const JobRecord& record : m_jobs) {
        rows.push_back(RowOf(record));
    }
    return rows;
}

std::optional<TransferRow> CTransferListView::Row(int nJobId) const
{
    const std::optional<JobRecord> record = Job(nJobId);
    return record ? std::optional<TransferRow>(RowOf(*record)) : std::nullopt;
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
    return static_cast<int>(
        std::count_if(m_jobs.begin(), m_jobs.end(), [](const JobRecord& record) { return IsLive(record.state); }));
}
