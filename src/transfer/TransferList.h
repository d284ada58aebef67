#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

#include "transfer/ProgressEntry.h"

class CSettingsStore;

// Columns of the transfer list, in order.
enum TransferColumn : int
{
    COL_FILENAME = 0,
    COL_STATUS = 1,
    COL_LOCAL_PATH = 2,
    COL_FTP_PATH = 3,
    COL_OPERATION = 4,
    COL_MESSAGE = 5
};
inline constexpr int kTransferColumns = 6;

// One row: the job's id and its six texts.
struct TransferRow
{
    int nJobId = -1;
    std::array<QString, kTransferColumns> columns;
};

// A live job's progress as a view draws it.
struct JobProgress
{
    int nBarPosition = 0;
    std::int64_t nDone = 0;
    std::int64_t nTotal = 0;
};

// The texts of a job as a row shows them.
struct JobFields
{
    QString strFilename;
    QString strLocalPath;
    QString strFtpPath;
    QString strOperation;
    QString strMessage;
};

// The texts of a row as a job's fields.
JobFields FieldsOf(const TransferRow& row);

// A job written as one line for resubmission ("%d;%s;%s;%s;%s;%s"), and read back.
QString FormatJobLine(int nJobId, const JobFields& fields);
// The fields as the line gives them, or nothing when they do not read back as written (a field held ";"):
// a job must never run with shifted paths.
std::optional<std::pair<int, JobFields>> ParseJobLine(const QString& strLine, const JobFields& rowFields);

// The transfer list's data: one row per job, one progress record per live job, the job ids and the count
// of active jobs. Worker threads and the user-interface thread call it at once, so every operation takes
// its lock. Observers hear of changes, progress at most a few times a second per job.
class CTransferListView
{
public:
    static const std::array<QString, kTransferColumns>& ColumnTitles();

    CTransferListView();

    // Called after each change, on the thread that made it; it must not block.
    void SetObserver(std::function<void()> changed);

    int FindCurListCtrlIndex(int nJobId) const;
    int AddThis(const JobFields& fields, const QString& strStatus);
    int AddJob(std::int64_t nTotalBytes, const JobFields& fields);
    int ReopenJob(int nJobId, std::int64_t nTotalBytes, const JobFields& fields);
    // Writes each non-empty text into its column; the others stay.
    void UpdateJob(int nJobId, const JobFields& fields, const QString& strStatus);
    void AdvanceProgress(int nJobId, std::int64_t nBytes);
    void SetProgress(int nJobId, std::int64_t nPosition);
    [[nodiscard]] bool IsJobCancelled(int nJobId) const;
    // The job's record, kept alive for as long as the caller holds it (a transfer loop polls its cancel
    // flag); null when the job has none.
    [[nodiscard]] std::shared_ptr<const CProgressEntry> ProgressRecord(int nJobId) const;
    void FinishJob(int nJobId, bool bRemoveIfCompleted);

    // The context menu's rules over a selection of row indices.
    [[nodiscard]] bool CanDelete(const std::vector<int>& selection) const;
    [[nodiscard]] bool CanCancel(const std::vector<int>& selection) const;
    [[nodiscard]] bool CanResubmit(const std::vector<int>& selection) const;
    void DeleteSelected(std::vector<int> selection);
    void CancelSelected(const std::vector<int>& selection);
    // Hands each selected row, from the top, to resubmit (the comparison view's ResubmitJob).
    void ResubmitSelected(
        const std::vector<int>& selection, const std::function<void(int nJobId, const JobFields&)>& resubmit);

    [[nodiscard]] std::vector<TransferRow> Rows() const;
    [[nodiscard]] std::optional<TransferRow> Row(int nJobId) const;
    [[nodiscard]] std::optional<int> BarPosition(int nJobId) const;
    // The bar and byte counts of every live job, read at once.
    [[nodiscard]] std::map<int, JobProgress> ProgressOfJobs() const;
    [[nodiscard]] int ActiveJobs() const;
    [[nodiscard]] int LastJobId() const;

    // Column widths: "XferWidths" when present, else shares of the client width. Saving writes all six.
    static std::array<int, kTransferColumns> ColumnWidths(const CSettingsStore& store, int nClientWidth);
    static void SaveColumnWidths(CSettingsStore& store, const std::array<int, kTransferColumns>& widths);

private:
    int RowIndexLocked(int nJobId) const;
    bool IsBusyLocked(int nRow) const;
    void EmptiedLocked();
    void Notify(int nJobId, bool bProgressOnly);

    mutable std::mutex m_mutex;
    std::vector<TransferRow> m_rows;
    std::map<int, std::shared_ptr<CProgressEntry>> m_progress;
    int m_nLastJobId = -1;
    int m_nActiveJobs = 0;
    std::function<void()> m_changed;
    std::map<int, std::chrono::steady_clock::time_point> m_lastProgressNotice;
};
