#include "app/RenameBatches.h"

#include <algorithm>

#include "app/ComparisonDocument.h"
#include "app/QuorvelView.h"
#include "support/TextFormat.h"

ComparisonOutcome CRenameBatches::Run(CComparisonDocument& document, const std::vector<RenameBatch>& batches,
    bool bUndo, const std::atomic<bool>& cancel, const std::function<void(const QString&)>& progress)
{
    CQuorvelView* pView = document.View();
    if (pView == nullptr) {
        return { false, QStringLiteral("No comparison is open.") };
    }
    {
        std::lock_guard lock(m_mutex);
        m_done.clear();
    }
    int nFailed = 0;
    int nSteps = 0;
    bool bSides[2] = { false, false };
    for (const RenameBatch& batch : batches) {
        bSides[batch.nSide] = true;
        RenameBatch done { batch.nSide, {} };
        QStringList failedNames;
        for (const RenameStep& step : batch.steps) {
            ++nSteps;
            if (cancel.load() || failedNames.contains(step.strFrom)) {
                failedNames.append(step.strTo);
                ++nFailed;
                continue;
            }
            progress(FormatText("Renaming %s...", step.strFrom));
            if (!pView->RenameInFolder(batch.nSide, step.strFolder, step.strFrom, step.strTo).isEmpty()) {
                failedNames.append(step.strTo);
                ++nFailed;
                continue;
            }
            done.steps.push_back(step);
        }
        if (!bUndo) {
            std::lock_guard lock(m_mutex);
            m_done.push_back(std::move(done));
        }
    }
    ComparisonOutcome reread;
    if (bSides[SIDE_LEFT]) {
        reread = document.Refresh(RefreshKind::ReloadLocal, cancel, progress);
    }
    if (bSides[SIDE_RIGHT] && reread.bOk) {
        reread = document.Refresh(RefreshKind::ReloadRemote, cancel, progress);
    }
    if (nFailed > 0) {
        return { false,
            FormatText("%d of %d renames could not be done; the trace pane and the transfer list say why.%s", nFailed,
                nSteps, bUndo ? "" : " The others were done and can be undone.") };
    }
    return reread;
}

bool CRenameBatches::CanUndo() const
{
    std::lock_guard lock(m_mutex);
    return std::any_of(m_done.begin(), m_done.end(), [](const RenameBatch& batch) { return !batch.steps.empty(); });
}

std::optional<std::vector<RenameBatch>> CRenameBatches::UndoBatches(
    const std::function<FolderNames(int nSide)>& namesOn, QString& strWhyNot) const
{
    std::lock_guard lock(m_mutex);
    std::vector<RenameBatch> batches;
    for (const RenameBatch& batch : m_done) {
        if (batch.steps.empty()) {
            continue;
        }
        const RenamePlan undo = MakeUndoPlan(batch.steps, namesOn(batch.nSide));
        if (!undo.CanRun()) {
            strWhyNot = QStringLiteral("The last batch cannot be undone: a name it would restore is taken now.");
            return std::nullopt;
        }
        batches.push_back({ batch.nSide, undo.Steps() });
    }
    return batches;
}
