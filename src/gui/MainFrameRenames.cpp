// The main window's multi-rename: the selection's items on the active side (and, when asked, their twins on
// the other side), planned in the dialog and run as batches on a worker; the last batch can be undone.
#include <algorithm>
#include <map>

#include <QFileInfo>
#include <QMessageBox>
#include <QStatusBar>

#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "gui/dialogs/MultiRenameDialog.h"
#include "support/TextFormat.h"

namespace {

using NamesByFolder = std::map<QString, QStringList>;

// The selected items on a side, and the names their folders hold there, as the tree knows them.
struct SideSelection
{
    std::vector<RenameSource> sources;
    NamesByFolder names;
};

SideSelection SelectionOnSide(const CTreeSnapshot& snapshot, const std::vector<int>& nodes, int nSide)
{
    SideSelection selection;
    for (const int nNode : nodes) {
        const QString& strFolder = snapshot.Folder(nNode, nSide);
        // Items keep their place in the selection on both sides, so a counter numbers twins alike.
        selection.sources.push_back({ strFolder, snapshot.Node(nNode).strName,
            { static_cast<int>(selection.sources.size()), QFileInfo(strFolder).fileName(), {} } });
        const int nParent = snapshot.Node(nNode).nParent;
        if (selection.names.count(strFolder) != 0 || nParent < 0) {
            continue;
        }
        QStringList& held = selection.names[strFolder];
        const SnapshotNode& parent = snapshot.Node(nParent);
        for (int nChild = parent.nFirstChild; nChild < parent.nFirstChild + parent.nChildCount; ++nChild) {
            if (snapshot.Node(nChild).IsOn(nSide)) {
                held.append(snapshot.Node(nChild).strName);
            }
        }
    }
    return selection;
}

FolderNames LookUp(const std::shared_ptr<const NamesByFolder>& pNames)
{
    return [pNames](const QString& strFolder) {
        const auto found = pNames->find(strFolder);
        return found != pNames->end() ? found->second : QStringList();
    };
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
    std::vector<int> twins; // the selected items the other side has too
    for (const int nNode : SelectedNodes()) {
        if (nNode > 0 && snapshot.Node(nNode).IsOn(nSide)) {
            nodes.push_back(nNode);
            if (snapshot.Node(nNode).IsOn(1 - nSide)) {
                twins.push_back(nNode);
            }
        }
    }
    if (nodes.empty() && !m_renames.CanUndo()) {
        statusBar()->showMessage(QStringLiteral("Select the items to rename on this side first."), 5000);
        return;
    }
    const SideSelection active = SelectionOnSide(snapshot, nodes, nSide);
    auto pOther = std::make_shared<const SideSelection>(SelectionOnSide(snapshot, twins, 1 - nSide));
    const bool bOtherReady = 1 - nSide == SIDE_LEFT || IsFtpLocation(m_pDocument->Request().strRight);
    auto* pDialog = new CMultiRenameDialog(
        active.sources, LookUp(std::make_shared<const NamesByFolder>(active.names)), m_renames.CanUndo(), this);
    pDialog->OfferBothSides(!twins.empty() && bOtherReady,
        FormatText("Also rename them on the %s side, where %d of them are", 1 - nSide == SIDE_LEFT ? "local" : "FTP",
            static_cast<int>(twins.size())));
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(pDialog, &CMultiRenameDialog::RenameRequested, this,
        [this, nSide, pOther, pDialog](const RenamePlan& plan, bool bBothSides) {
            std::vector<RenameBatch> batches { { nSide, plan.Steps() } };
            if (bBothSides) {
                const RenamePlan other = MakeRenamePlan(
                    pOther->sources, pDialog->Rules(), LookUp(std::make_shared<const NamesByFolder>(pOther->names)));
                if (!other.CanRun()) {
                    const auto bad = std::find_if(other.entries.begin(), other.entries.end(),
                        [](const RenameEntry& entry) { return !entry.strWhy.isEmpty(); });
                    QMessageBox::warning(this, QStringLiteral("Multi-Rename"),
                        FormatText("Nothing was renamed: on the other side, %s -> %s: %s",
                            bad != other.entries.end() ? bad->source.strName : QString(),
                            bad != other.entries.end() ? bad->strNewName : QString(),
                            bad != other.entries.end() ? bad->strWhy : QString()));
                    return;
                }
                batches.push_back({ 1 - nSide, other.Steps() });
            }
            RunRenames(std::move(batches), false);
        });
    connect(pDialog, &CMultiRenameDialog::UndoRequested, this, &CMainFrame::UndoRenames);
    pDialog->open();
}

void CMainFrame::UndoRenames()
{
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const auto namesOn = [&snapshot](int nSide) {
        auto pNames = std::make_shared<NamesByFolder>();
        for (int nNode = 1; nNode < snapshot.Size(); ++nNode) {
            if (snapshot.Node(nNode).IsOn(nSide)) {
                (*pNames)[snapshot.Folder(nNode, nSide)].append(snapshot.Node(nNode).strName);
            }
        }
        return LookUp(pNames);
    };
    QString strWhyNot;
    std::optional<std::vector<RenameBatch>> undo = m_renames.UndoBatches(namesOn, strWhyNot);
    if (!undo) {
        statusBar()->showMessage(strWhyNot, 10000);
        return;
    }
    RunRenames(std::move(*undo), true);
}

void CMainFrame::RunRenames(std::vector<RenameBatch> batches, bool bUndo)
{
    if (m_pDocument->View() == nullptr || batches.empty()) {
        return;
    }
    RunTask(QStringLiteral("Renaming"),
        [this, batches = std::move(batches), bUndo](const std::atomic<bool>& cancel, const auto& progress) {
            return m_renames.Run(*m_pDocument, batches, bUndo, cancel, progress);
        });
}
