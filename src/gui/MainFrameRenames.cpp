// The main window's multi-rename: the selection's items on the active side, planned in the dialog, renamed
// on a worker step by step, the side read again when the batch ends; the last batch can be undone.
#include <map>

#include <QFileInfo>
#include <QStatusBar>

#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "gui/dialogs/MultiRenameDialog.h"
#include "support/TextFormat.h"

namespace {

// The names each folder of the selection holds on the side, as the tree knows them.
std::map<QString, QStringList> FolderNamesOf(const CTreeSnapshot& snapshot, const std::vector<int>& nodes, int nSide)
{
    std::map<QString, QStringList> names;
    for (const int nNode : nodes) {
        const int nParent = snapshot.Node(nNode).nParent;
        const QString& strFolder = snapshot.Folder(nNode, nSide);
        if (names.count(strFolder) != 0 || nParent < 0) {
            continue;
        }
        QStringList& held = names[strFolder];
        const SnapshotNode& parent = snapshot.Node(nParent);
        for (int nChild = parent.nFirstChild; nChild < parent.nFirstChild + parent.nChildCount; ++nChild) {
            if (snapshot.Node(nChild).IsOn(nSide)) {
                held.append(snapshot.Node(nChild).strName);
            }
        }
    }
    return names;
}

} // namespace

void CMainFrame::ShowMultiRename()
{
    if (m_pDocument->View() == nullptr || IsBusy()) {
        return;
    }
    const int nSide = m_pPanes->ActiveSide();
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    std::vector<int> nodes;
    std::vector<RenameSource> sources;
    for (const int nNode : SelectedNodes()) {
        if (nNode > 0 && snapshot.Node(nNode).IsOn(nSide)) {
            nodes.push_back(nNode);
            const QString& strFolder = snapshot.Folder(nNode, nSide);
            sources.push_back({ strFolder, snapshot.Node(nNode).strName,
                { static_cast<int>(sources.size()), QFileInfo(strFolder).fileName(), {} } });
        }
    }
    if (sources.empty() && !m_lastRename.done) {
        statusBar()->showMessage(QStringLiteral("Select the items to rename on this side first."), 5000);
        return;
    }
    auto names = std::make_shared<std::map<QString, QStringList>>(FolderNamesOf(snapshot, nodes, nSide));
    auto* pDialog = new CMultiRenameDialog(
        sources,
        [names](const QString& strFolder) {
            const auto found = names->find(strFolder);
            return found != names->end() ? found->second : QStringList();
        },
        m_lastRename.done && !m_lastRename.done->empty(), this);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(pDialog, &CMultiRenameDialog::RenameRequested, this,
        [this, nSide](const RenamePlan& plan) { RunRenames(nSide, plan.Steps()); });
    connect(pDialog, &CMultiRenameDialog::UndoRequested, this, &CMainFrame::UndoRenames);
    pDialog->open();
}

void CMainFrame::UndoRenames()
{
    if (!m_lastRename.done || m_lastRename.done->empty()) {
        return;
    }
    // The names the folders hold now come from the side itself when the undo runs: the batch is checked
    // again the same way, and nothing is renamed over an item that appeared since.
    const int nSide = m_lastRename.nSide;
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    std::map<QString, QStringList> names;
    for (int nNode = 1; nNode < snapshot.Size(); ++nNode) {
        if (snapshot.Node(nNode).IsOn(nSide)) {
            names[snapshot.Folder(nNode, nSide)].append(snapshot.Node(nNode).strName);
        }
    }
    const RenamePlan undo = MakeUndoPlan(*m_lastRename.done, [&names](const QString& strFolder) {
        const auto found = names.find(strFolder);
        return found != names.end() ? found->second : QStringList();
    });
    if (!undo.CanRun()) {
        statusBar()->showMessage(
            QStringLiteral("The last batch cannot be undone: a name it would restore is taken now."), 10000);
        return;
    }
    RunRenames(nSide, undo.Steps());
}

void CMainFrame::RunRenames(int nSide, std::vector<RenameStep> steps)
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || steps.empty()) {
        return;
    }
    auto pDone = std::make_shared<std::vector<RenameStep>>();
    m_lastRename = { nSide, pDone };
    RunTask(QStringLiteral("Renaming"),
        [this, pView, nSide, steps = std::move(steps), pDone](const std::atomic<bool>& cancel, const auto& progress) {
            int nFailed = 0;
            QStringList failedNames;
            for (size_t i = 0; i < steps.size(); ++i) {
                const RenameStep& step = steps[i];
                // A step from a name whose own step failed cannot run: that item keeps its name.
                if (cancel.load() || failedNames.contains(step.strFrom)) {
                    failedNames.append(step.strTo);
                    ++nFailed;
                    continue;
                }
                progress(FormatText("Renaming %s (%d of %d)...", step.strFrom, static_cast<int>(i + 1),
                    static_cast<int>(steps.size())));
                if (!pView->RenameInFolder(nSide, step.strFolder, step.strFrom, step.strTo).isEmpty()) {
                    failedNames.append(step.strTo);
                    ++nFailed;
                    continue;
                }
                pDone->push_back(step);
            }
            // The side is read again: the tree shows every new name, whatever succeeded.
            const ComparisonOutcome reread = m_pDocument->Refresh(
                nSide == SIDE_LEFT ? RefreshKind::ReloadLocal : RefreshKind::ReloadRemote, cancel, progress);
            if (nFailed > 0) {
                return ComparisonOutcome { false,
                    FormatText("%d of %d renames could not be done; the trace pane says why. The others were done "
                               "and can be undone.",
                        nFailed, static_cast<int>(steps.size())) };
            }
            return reread;
        });
}
