// The main window's commands on the selection of the panes: building them, judging which apply, and delete,
// rename and new folder. Copies and opening files have files of their own.
#include <QApplication>
#include <QClipboard>
#include <QInputDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QStatusBar>
#include <QTreeView>

#include "app/PaneCommandRules.h"
#include "gui/ActionMaker.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/FileOpening.h"
#include "gui/MainFrame.h"
#include "gui/widgets/SilenceableMessageBox.h"
#include "support/TextFormat.h"

namespace {

// The command of each PaneCommand, by object name.
constexpr const char* kCommandNames[kPaneCommands]
    = { "upload", "download", "copyDifferences", "deleteItems", "renameItem", "newFolder", "openItem", "editItem",
          "viewBoth", "showInFolder", "copyWithinFtp", "copyFiles", "pasteFiles" };

const char* SideName(int nSide)
{
    return nSide == SIDE_LEFT ? "local" : "FTP";
}

} // namespace

void CMainFrame::BuildPaneCommands()
{
    connect(MakeAction(this, "upload", QStringLiteral("Copy to &FTP Side"),
                QStringLiteral("Upload the selected local items"), { QKeySequence(Qt::ALT | Qt::Key_Right) }),
        &QAction::triggered, this, [this] { CopySelection(SIDE_LEFT, false); });
    connect(MakeAction(this, "download", QStringLiteral("Copy to &Local Side"),
                QStringLiteral("Download the selected FTP items"), { QKeySequence(Qt::ALT | Qt::Key_Left) }),
        &QAction::triggered, this, [this] { CopySelection(SIDE_RIGHT, false); });
    connect(MakeAction(this, "copyDifferences", QStringLiteral("Copy &Differences to the Other Side"),
                QStringLiteral("Copy only what differs below the selection, from this pane's side")),
        &QAction::triggered, this, [this] { CopySelection(m_pPanes->ActiveSide(), true); });
    connect(MakeAction(this, "deleteItems", QStringLiteral("De&lete"),
                QStringLiteral("Delete the selected items on this pane's side"), { QKeySequence::Delete }),
        &QAction::triggered, this, &CMainFrame::DeleteSelection);
    connect(MakeAction(this, "renameItem", QStringLiteral("&Rename"), QStringLiteral("Rename the item on this side"),
                { QKeySequence(Qt::Key_F2) }),
        &QAction::triggered, this, &CMainFrame::RenameCurrent);
    connect(
        MakeAction(this, "newFolder", QStringLiteral("New &Folder..."),
            QStringLiteral("Make a folder on this pane's side"), { QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N) }),
        &QAction::triggered, this, &CMainFrame::NewFolder);
    connect(MakeAction(this, "openItem", QStringLiteral("&Open"),
                QStringLiteral("Open the file with the desktop's application for it"),
                { QKeySequence(Qt::CTRL | Qt::Key_Return) }),
        &QAction::triggered, m_pOpening, &CFileOpening::OpenCurrent);
    connect(MakeAction(this, "editItem", QStringLiteral("&Edit"),
                QStringLiteral("Edit the file; an FTP file is offered to the server each time it is saved"),
                { QKeySequence(Qt::Key_F4) }),
        &QAction::triggered, m_pOpening, &CFileOpening::EditCurrent);
    connect(MakeAction(this, "viewBoth", QStringLiteral("&View Both Sides"),
                QStringLiteral("Show the local and the FTP file side by side in a comparison program")),
        &QAction::triggered, m_pOpening, &CFileOpening::ViewBothSides);
    connect(MakeAction(this, "showInFolder", QStringLiteral("Show in File &Manager"),
                QStringLiteral("Open the local folder that holds the item")),
        &QAction::triggered, m_pOpening, &CFileOpening::ShowInFileManager);

    connect(MakeAction(this, "multiRename", QStringLiteral("&Multi-Rename..."),
                QStringLiteral("Rename the selected items on this side by rules, with a preview"),
                { QKeySequence(Qt::CTRL | Qt::Key_F2) }),
        &QAction::triggered, this, &CMainFrame::ShowMultiRename);
    connect(MakeAction(this, "copyWithinFtp", QStringLiteral("Copy &within FTP Server..."),
                QStringLiteral("Copy the selected FTP items into another folder of the server")),
        &QAction::triggered, this, &CMainFrame::CopyWithinFtp);
    // Copy and paste of files belong to the panes: elsewhere the keys copy and paste text.
    QAction* pCopyFiles = MakeAction(this, "copyFiles", QStringLiteral("&Copy Files"),
        QStringLiteral("Put the selected local files on the clipboard for the file manager"), { QKeySequence::Copy });
    QAction* pPaste = MakeAction(this, "pasteFiles", QStringLiteral("&Paste Files"),
        QStringLiteral("Copy the files on the clipboard into this side's folder"), { QKeySequence::Paste });
    pCopyFiles->setShortcutContext(Qt::WidgetShortcut);
    pPaste->setShortcutContext(Qt::WidgetShortcut);
    connect(pCopyFiles, &QAction::triggered, this, &CMainFrame::CopyFilesToClipboard);
    connect(pPaste, &QAction::triggered, this, &CMainFrame::PasteFiles);
    connect(QApplication::clipboard(), &QClipboard::dataChanged, this, &CMainFrame::UpdatePaneCommands);

    for (int nSide = 0; nSide < 2; ++nSide) {
        CPaneView* pPane = m_pPanes->Pane(nSide);
        connect(pPane, &CPaneView::ItemsDropped, this, &CMainFrame::DropItems);
        connect(pPane, &CPaneView::FilesDropped, this,
            [this, nSide](const QStringList& paths, int nFolder) { DropFiles(paths, nSide, nFolder); });
        for (const char* pName : kCommandNames) {
            pPane->addAction(Action(QLatin1String(pName)));
        }
        pPane->addAction(Action(QStringLiteral("multiRename")));
        auto* pSeparator = new QAction(pPane);
        pSeparator->setSeparator(true);
        pPane->addAction(pSeparator);
    }
    connect(m_pPanes->Selection(), &QItemSelectionModel::selectionChanged, this, &CMainFrame::UpdatePaneCommands);
    connect(m_pPanes, &CComparisonPanes::ActivePaneChanged, this, &CMainFrame::UpdatePaneCommands);
    connect(m_pModel, &CComparisonModel::RenameRequested, this, &CMainFrame::Rename);
}

std::vector<int> CMainFrame::SelectedNodes() const
{
    std::vector<int> nodes;
    for (const QModelIndex& index : m_pPanes->Selection()->selectedRows()) {
        nodes.push_back(CComparisonModel::NodeOf(index));
    }
    return nodes;
}

void CMainFrame::UpdatePaneCommands()
{
    SelectionFacts facts;
    const bool bOpen = m_pDocument->View() != nullptr && !IsBusy();
    facts.pSnapshot = bOpen ? &m_pModel->Snapshot() : nullptr;
    facts.selected = SelectedNodes();
    facts.nActiveSide = m_pPanes->ActiveSide();
    facts.bFtpReady = bOpen && IsFtpLocation(m_pDocument->Request().strRight);
    const QMimeData* pClipboard = QApplication::clipboard()->mimeData();
    facts.bClipboardHasFiles = pClipboard != nullptr && pClipboard->hasUrls() && !LocalFilesOf(*pClipboard).isEmpty();
    const std::array<CommandState, kPaneCommands> states = JudgePaneCommands(facts);
    for (int i = 0; i < kPaneCommands; ++i) {
        QAction* pAction = Action(QLatin1String(kCommandNames[i]));
        pAction->setEnabled(states[static_cast<size_t>(i)].bEnabled);
        pAction->setToolTip(
            states[static_cast<size_t>(i)].bEnabled ? pAction->statusTip() : states[static_cast<size_t>(i)].strWhyNot);
    }
    // Many names at once, on the side whose items are selected; an undo needs no selection.
    Action(QStringLiteral("multiRename"))->setEnabled(states[CMD_DELETE].bEnabled || m_renames.CanUndo());
}

void CMainFrame::DeleteSelection()
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    const int nSide = m_pPanes->ActiveSide();
    const std::vector<ItemPath> items = ItemsOnSide(m_pModel->Snapshot(), SelectedNodes(), nSide);
    if (items.empty()) {
        return;
    }
    // Local items go to the trash, from where they come back: that question may be silenced. What the
    // server deletes is gone, so that one is always asked.
    const bool bYes = nSide == SIDE_LEFT
        ? CSilenceableMessageBox::Ask(this, "ConfirmMoveToTrash", QMessageBox::Question, QStringLiteral("Delete"),
              FormatText("Move %d local items to the trash?", static_cast<int>(items.size())),
              QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Yes)
            == QMessageBox::Yes
        : QMessageBox::question(this, QStringLiteral("Delete"),
              FormatText("Delete %d items on the FTP server, with everything in the folders among them?\n\nThis "
                         "cannot be undone.",
                  static_cast<int>(items.size())))
            == QMessageBox::Yes;
    if (!bYes) {
        return;
    }
    RunTask(
        QStringLiteral("Deleting"), [this, pView, items, nSide](const std::atomic<bool>& cancel, const auto& progress) {
            const int nDeleted = pView->DeleteSelectedItems(items, nSide, true);
            const int nLeft = static_cast<int>(items.size()) - nDeleted;
            if (nLeft == 0) {
                return ComparisonOutcome {};
            }
            // A folder the server refused half way has lost some of its files: the listing says which.
            if (nSide == SIDE_RIGHT) {
                (void)m_pDocument->Refresh(RefreshKind::ReloadRemote, cancel, progress);
            }
            return ComparisonOutcome { false,
                FormatText("%d of the items could not be deleted; the trace pane says why.", nLeft) };
        });
}

void CMainFrame::RenameCurrent()
{
    const int nSide = m_pPanes->ActiveSide();
    const QModelIndex current = m_pPanes->Selection()->currentIndex();
    if (!current.isValid()) {
        return;
    }
    QTreeView* pPane = m_pPanes->Pane(nSide);
    pPane->edit(current.siblingAtColumn(nSide == SIDE_LEFT ? COL_LEFT_NAME : COL_RIGHT_NAME));
}

void CMainFrame::Rename(int nNode, int nSide, const QString& strNewName)
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const ItemPath item { RelativePathOf(snapshot, nNode), snapshot.Node(nNode).nKind };
    RunTask(QStringLiteral("Renaming"),
        [this, pView, item, nSide, strNewName](const std::atomic<bool>& cancel, const auto& progress) {
            const QString strError = pView->RenameItem(item, nSide, strNewName);
            if (!strError.isEmpty()) {
                return ComparisonOutcome { false, strError };
            }
            // What a renamed FTP folder holds is listed again under its new name.
            return item.nKind == KIND_DIR && nSide == SIDE_RIGHT
                ? m_pDocument->Refresh(RefreshKind::ReloadRemote, cancel, progress)
                : ComparisonOutcome {};
        });
}

void CMainFrame::NewFolder()
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    const int nSide = m_pPanes->ActiveSide();
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    // Inside the selected folder, else beside the current item, else at the top.
    const int nFolder = FolderNodeOnSide(
        snapshot, std::max(CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex()), 0), nSide);
    const QString strWhere = nFolder > 0 ? RelativePathOf(snapshot, nFolder) : QString();
    bool bOk = false;
    const QString strName = QInputDialog::getText(this, QStringLiteral("New Folder"),
        FormatText("Name of the new folder on the %s side, in \"%s\":", SideName(nSide),
            strWhere.isEmpty() ? QStringLiteral("/") : strWhere),
        QLineEdit::Normal, QStringLiteral("New folder"), &bOk);
    if (!bOk) {
        return;
    }
    RunTask(QStringLiteral("Making a folder"),
        [pView, folder = ItemPath { strWhere, KIND_DIR }, nSide, strName](const std::atomic<bool>&, const auto&) {
            const QString strError = pView->MakeFolder(folder, nSide, strName.trimmed());
            return strError.isEmpty() ? ComparisonOutcome {} : ComparisonOutcome { false, strError };
        });
}
