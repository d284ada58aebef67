#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

#include "app/JobMaking.h"
#include "app/PaneSettings.h"
#include "transfer/JobQueue.h"
#include "transfer/JobRunner.h"
#include "transfer/TransferJob.h"
#include "tree/FolderComparison.h"

class CFtpSession;
class CTraceBuffer;
class CTransferListView;
struct TransferContext;

// What the user answers when a copy would replace an item on the target side.
enum class ConflictAnswer
{
    Replace,
    ReplaceAll,
    Skip,
    Stop
};

// Asks whether a copy may replace what the target side has. The desktop program answers with a dialog, the
// command line from its options, tests with a fixed answer. Asked on the thread that gave the command.
class IConflictPrompt
{
public:
    virtual ~IConflictPrompt() = default;
    // strTarget: the file or folder that would be replaced, on side nToSide.
    virtual ConflictAnswer AskReplace(const QString& strTarget, int nToSide) = 0;
};

// An item named by where it stands below the tree's root ("docs/a.txt"), found again under the view's lock
// when a command runs: a pointer kept outside the lock would dangle once a job's refresh or a new
// comparison replaced the item.
struct ItemPath
{
    QString strRelative;
    int nKind = KIND_FILE;
};
ItemPath PathOfItem(const CFileItem& item);
std::vector<ItemPath> PathsOfItems(const std::vector<CFileItem*>& items);

// What the drop-and-paste worker takes over: the dropped paths, the side and folder item they go to.
struct DropHandOver
{
    QStringList paths;
    int nToSide = SIDE_RIGHT;
    QString strTargetFolder; // on that side: a local folder, or a remote one
};

// Counts a change of the tree when it goes out of scope: declared before the view's lock is taken, it
// counts after the lock is released, so whoever sees the new count finds the change made.
struct TreeChangeNotice
{
    explicit TreeChangeNotice(std::atomic<unsigned>& nGeneration)
        : m_nGeneration(nGeneration)
    { }
    ~TreeChangeNotice() { ++m_nGeneration; }
    TreeChangeNotice(const TreeChangeNotice&) = delete;
    TreeChangeNotice& operator=(const TreeChangeNotice&) = delete;

private:
    std::atomic<unsigned>& m_nGeneration;
};

struct JobTotals
{
    int nCompleted = 0;
    int nCancelled = 0;
    int nFailed = 0;
};

// The engine half of a comparison view: the merged tree and the one lock that guards it, the FTP session
// it works through, and the commands that turn selections into jobs. Jobs wait in a queue with as many
// workers as the site allows connections; each reports into the transfer list and refreshes the tree when
// it ends. Destroying the view cancels the jobs still waiting or running and joins every worker.
class CQuorvelView
{
public:
    CQuorvelView(CFtpSession& session, CTraceBuffer& trace, CTransferListView& list, ViewFolders folders);
    ~CQuorvelView();
    CQuorvelView(const CQuorvelView&) = delete;
    CQuorvelView& operator=(const CQuorvelView&) = delete;

    // Scans both folders into a new tree and compares it, then asks the server for checksums of the files
    // left undecided (unless turned off); a cancelled comparison leaves the old tree.
    ComparisonOutcome Compare(
        int nThreads, const CFolderScanner::Progress& progress = {}, const std::atomic<bool>* pCancel = nullptr);
    // Whether Compare asks the server for checksums; "UseServerChecksums" unless set here.
    void UseServerChecksums(bool bOn) { m_bServerChecksums = bOn; }
    [[nodiscard]] CFileTree& Tree() { return m_comparison->Tree(); }
    [[nodiscard]] const CFolderComparison& Comparison() const { return *m_comparison; }
    // Files on both sides compared again since the view was made, over every comparison and refresh.
    [[nodiscard]] int ComparedFiles() const { return m_nComparedFiles.load(); }
    void AddComparedFiles(int nFiles) { m_nComparedFiles += nFiles; }
    // Grows each time the tree has been changed (a comparison, a job's refresh), once the change is whole: a
    // display compares it with the generation it last showed.
    [[nodiscard]] unsigned TreeGeneration() const { return m_nTreeGeneration.load(); }
    // Held by whoever reads or changes the tree while jobs may be refreshing it.
    [[nodiscard]] std::mutex& ViewLock() { return m_viewLock; }
    [[nodiscard]] const ViewFolders& Folders() const { return m_paths.Folders(); }
    [[nodiscard]] const CViewPaths& Paths() const { return m_paths; }
    // The appearance and behaviour settings, read from the profile when the view was made.
    [[nodiscard]] const CPaneSettings& PaneSettings() const { return m_paneSettings; }
    // Whether a job's row goes when it completes ("DeleteRowOfGoodXfer"); the window changes it with its
    // preferences.
    [[nodiscard]] bool RemovesCompletedRows() const { return m_bRemoveCompletedRows; }
    void SetRemoveCompletedRows(bool bRemove) { m_bRemoveCompletedRows = bRemove; }

    void SetConflictPrompt(IConflictPrompt* pPrompt) { m_pPrompt = pPrompt; }
    [[nodiscard]] CJobRunner& Runner() { return m_runner; }

    // Copies each item to the other side as a job of its own; an item the target side has already is
    // copied only when the prompt allows it. Returns the number of jobs started.
    int CopySelectedItems(const std::vector<ItemPath>& items, int nFromSide);
    // Downloads remote items into the mirror, where they can be compared and opened; whenDone hears each
    // job's result on its worker.
    int CacheSelectedItems(const std::vector<ItemPath>& items, const std::function<void(int)>& whenDone = {});
    // Deletes items on one side at once, each in a row of its own; returns how many were deleted. Local
    // items go to the desktop's trash with bLocalToTrash.
    int DeleteSelectedItems(const std::vector<ItemPath>& items, int nSide, bool bLocalToTrash = false);
    // Renames an item on one side in place, never over another item; a remote one through a connection of
    // its own (RNFR, RNTO). The tree shows the new name at once. An error sentence, or empty.
    QString RenameItem(const ItemPath& item, int nSide, const QString& strNewName);
    // Renames strFrom in strFolder (a local folder, or an FTP folder on the right) to strTo, never over
    // another item, without touching the tree: a batch of renames reads its folders again when it ends. An
    // error sentence, or empty.
    QString RenameInFolder(int nSide, const QString& strFolder, const QString& strFrom, const QString& strTo);
    // Makes a folder strName inside the folder item (the root for an empty path) on one side. An error
    // sentence, or empty.
    QString MakeFolder(const ItemPath& folder, int nSide, const QString& strName);
    // Copies remote items into another remote folder, on the server, each as a job of its own; an item the
    // folder has already is replaced only when the prompt allows it. Returns the number of jobs started.
    int CopyWithinFtp(const std::vector<ItemPath>& items, const QString& strTargetRemoteFolder);
    // Copies dropped or pasted local files into a folder of one side: locally, or by upload jobs.
    void DropFiles(const QStringList& paths, int nToSide, const QString& strTargetFolder);
    // Queues a finished job of the list again, in its row.
    void ResubmitJob(int nJobId);
    // Adds the job's row and queues it; its id, or -1 (with a trace line) when the site is gone.
    int QueueJob(const PreparedJob& prepared);
    // Queues the job and waits for it to end; its result. Never called on a queue worker.
    int RunJobAndWait(const PreparedJob& prepared);

    void CancelAllJobs();
    // Waits for every queued job to end; false when nMilliseconds passed first (negative: as long as it takes).
    bool WaitForJobs(int nMilliseconds = -1) { return m_queue.WaitIdle(nMilliseconds); }
    // Job threads started so far: never more than the site's connections.
    [[nodiscard]] int JobThreadsStarted() const { return m_queue.ThreadsStarted(); }
    [[nodiscard]] JobTotals Totals() const;

    // What the job threads use.
    [[nodiscard]] CFtpSession& Session() { return m_session; }
    [[nodiscard]] CTraceBuffer& Trace() { return m_trace; }
    [[nodiscard]] CTransferListView& List() { return m_list; }
    // After a job that completed: the tree shows the copied item on both sides, the mirror forgets what an
    // upload changed on the server, and a cached item is compared again.
    void RefreshAfterCopy(const TransferJob& job);
    void RefreshAfterCache(const QString& strRemotePath, bool bFolder);
    void RefreshAfterDelete(const TransferJob& job, int nSide);
    void RefreshAfterServerCopy(const TransferJob& job);
    // The mirror forgets both names of a renamed FTP item; the next listing shows the new one.
    void RefreshAfterRemoteRename(const TransferJob& job);
    // A folder job made from a row is given its plan from the tree again: it copies or deletes only what the
    // comparison saw. False, with strWhyNot, when the folder is no longer in the comparison.
    bool PlanFolderJob(TransferJob& job, QString& strWhyNot);
    // The bytes the tree records for a remote file or folder; 0 when it records none.
    [[nodiscard]] std::int64_t RecordedSize(const QString& strRemotePath);
    void RefreshAfterDrop(const QString& strPath, int nSide, const QString& strTargetFolder);
    // After a rename or a new folder: strName stands in the folder item on nSide now, where pFormer (a copy
    // of the renamed item; null for a new folder) stood before.
    void RefreshAfterNewName(const ItemPath& folder, int nSide, const QString& strName, const CFileItem* pFormer);
    void CountResult(int nResult);

private:
    CFileItem* FindByRelativePath(const QString& strRelative, int nKind) const;
    void ForgetMirrorCopy(const QString& strRemotePath) const;
    // Shows an item the server has now in the tree, before the mirror lists it: undecided where the local
    // side has it too. Called under the view's lock.
    void ShowNewOnServer(CFileItem* pFolder, const QString& strRemoteFolder, const QString& strName, bool bFolder,
        const QString& strSize, const QString& strTime);
    // Where a folder item itself lies on a side: the side's root folder for the tree's root.
    QString FolderPathOn(const CFileItem& folder, int nSide) const;
    // Runs one remote command on a connection of its own; TRANSFER_DONE or a failure, strFailure says why.
    int RunRemoteCommand(const std::function<int(TransferContext&)>& command, QString& strFailure);
    // Asks before replacing; false when the item is to be left alone. bStop: nothing more is to be copied.
    bool MayReplace(const QString& strTarget, int nToSide, bool& bReplaceAll, bool& bStop);

    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    CTransferListView& m_list;
    CViewPaths m_paths;
    CPaneSettings m_paneSettings;
    CJobRunner m_runner;
    std::unique_ptr<CFolderComparison> m_comparison;
    bool m_bServerChecksums = true;
    std::atomic<bool> m_bRemoveCompletedRows;
    IConflictPrompt* m_pPrompt = nullptr;
    std::mutex m_viewLock;
    std::atomic<int> m_nComparedFiles { 0 };
    std::atomic<unsigned> m_nTreeGeneration { 0 };

    mutable std::mutex m_totalsMutex;
    JobTotals m_totals;
    // Last: its workers use everything above, and stop before any of it goes.
    CJobQueue m_queue;
};
