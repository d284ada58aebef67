#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <QObject>
#include <QString>

#include "app/TreeSnapshot.h"
#include "tree/FolderComparison.h"

// One slow piece of work off the window's thread: opening a comparison, a refresh. It reports its latest
// progress text (coalesced: one pending notice at a time) and, at the end, its outcome with a snapshot of
// the tree taken on the worker, so the window only swaps it in.
class CComparisonTask : public QObject
{
    Q_OBJECT

public:
    using Progress = std::function<void(const QString&)>;
    // The work, then the snapshot it leaves (taken on the worker); both see the cancel flag.
    using Work = std::function<ComparisonOutcome(const std::atomic<bool>& cancel, const Progress& progress)>;
    using Snapshot = std::function<std::shared_ptr<const CTreeSnapshot>()>;

    CComparisonTask(Work work, Snapshot snapshot, QObject* pParent = nullptr);
    ~CComparisonTask() override;

    void Start();
    void Cancel() { m_bCancel = true; }
    [[nodiscard]] bool IsCancelled() const { return m_bCancel.load(); }

signals:
    void ProgressChanged(const QString& strText);
    void Finished(const ComparisonOutcome& outcome, std::shared_ptr<const CTreeSnapshot> pSnapshot);

private:
    void Report(const QString& strText);
    void DeliverProgress();

    Work m_work;
    Snapshot m_snapshot;
    std::atomic<bool> m_bCancel { false };
    std::thread m_thread;
    std::mutex m_mutex;
    QString m_strProgress;
    bool m_bProgressPosted = false;
};
