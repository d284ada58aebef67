#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include <QString>

#include "rename/RenamePlan.h"
#include "tree/FolderComparison.h"

class CComparisonDocument;

// The renames of one side, in the order they run.
struct RenameBatch
{
    int nSide = SIDE_LEFT;
    std::vector<RenameStep> steps;
};

// Runs batches of renames step by step through the comparison's view (remote ones as jobs of the transfer
// list) and keeps what the last run did, so that it can be undone once. Run works on a worker; the window
// asks CanUndo and UndoBatches between runs.
class CRenameBatches
{
public:
    // Runs the batches, then reads the renamed sides again so that the tree shows every new name. A step from
    // a name whose own step failed does not run: that item keeps its name. bUndo: the batches undo the last
    // run, which then cannot be undone again.
    ComparisonOutcome Run(CComparisonDocument& document, const std::vector<RenameBatch>& batches, bool bUndo,
        const std::atomic<bool>& cancel, const std::function<void(const QString&)>& progress);
    [[nodiscard]] bool CanUndo() const;
    // The batches that put the last run's names back, checked against the names each side's folders hold
    // now (namesOn gives them for a side): nothing is renamed over an item that appeared since. Nothing, with
    // strWhyNot, when a name to restore is taken.
    std::optional<std::vector<RenameBatch>> UndoBatches(
        const std::function<FolderNames(int nSide)>& namesOn, QString& strWhyNot) const;

private:
    mutable std::mutex m_mutex;
    std::vector<RenameBatch> m_done; // the steps of the last run that were done, batch by batch
};
