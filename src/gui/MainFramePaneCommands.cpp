// The main window's commands on the selection of the panes: copy, delete, rename, new folder, open, view
// both sides, show in the file manager.
#include <QDesktopServices>
#include <QFileInfo>
#include <QInputDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTreeView>
#include <QUrl>

#include "app/PaneCommandRules.h"
#include "gui/ActionMaker.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "gui/dialogs/ConflictPrompt.h"
#include "support/CompanionLookup.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

// The command of each PaneCommand, by object name.
constexpr const char* kCommandNames[kPaneCommands] = { "upload", "download", "copyDifferences", "deleteItems",
    "renameItem", "newFolder", "openItem", "viewBoth", "showInFolder" };

// A copy this large is confirmed first.
constexpr long long kConfirmItems = 100;
constexpr long long kConfirmBytes = 100LL * 1024 * 1024;

const char* SideName(int nSide)
{
    return nSide == SIDE_LEFT ? "local" : "FTP";
}

// The comparison program for two files: the one in the preferences, else the first known one installed.
QString FindCompareProgram()
{
    const QString strChosen = CSettingsStore().ReadString("Settings", "CompareProgram").trimmed();
    if (!strChosen.isEmpty()) {
        return QStandardPaths::findExecutable(strChosen).isEmpty() && !QFileInfo(strChosen).isExecutable() ? QString()
                                                                                                           : strChosen;
    }
    for (const char* pName : { "meld", "kdiff3", "kompare" }) {
        if (const QString strPath = QStandardPaths::findExecutable(QLatin1String(pName)); !strPath.isEmpty()) {
            return strPath;
        }
    }
    return {};
}

// The nodes that are on nSide, as the view's commands name them; *pBytes adds up their files' sizes there.
std::vector<ItemPath> ItemsOnSide(
    const CTreeSnapshot& snapshot, const std::vector<int>& nodes, int nSide, long long* pBytes = nullptr)
{
    std::vector<ItemPath> items;
    for (const int nNode : nodes) {
        const SnapshotNode& node = snapshot.Node(nNode);
        if (node.IsOn(nSide)) {
            items.push_back({ RelativePathOf(snapshot, nNode), node.nKind });
            if (pBytes != nullptr) {
                *pBytes += BytesOfSizeText(node.strSize[nSide]);
            }
        }
    }
    return items;
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
        &QAction::triggered, this, &CMainFrame::OpenCurrent);
    connect(MakeAction(this, "viewBoth", QStringLiteral("&View Both Sides"),
                QStringLiteral("Show the local and the FTP file side by side in a comparison program")),
        &QAction::triggered, this, &CMainFrame::ViewBothSides);
    connect(MakeAction(this, "showInFolder", QStringLiteral("Show in File &Manager"),
                QStringLiteral("Open the local folder that holds the item")),
        &QAction::triggered, this, &CMainFrame::ShowInFileManager);

    for (int nSide = 0; nSide < 2; ++nSide) {
        QTreeView* pPane = m_pPanes->Pane(nSide);
        for (const char* pName : kCommandNames) {
            pPane->addAction(Action(QLatin1String(pName)));
        }
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
    const std::array<CommandState, kPaneCommands> states = JudgePaneCommands(facts);
    for (int i = 0; i < kPaneCommands; ++i) {
        QAction* pAction = Action(QLatin1String(kCommandNames[i]));
        pAction->setEnabled(states[static_cast<size_t>(i)].bEnabled);
        pAction->setToolTip(
            states[static_cast<size_t>(i)].bEnabled ? pAction->statusTip() : states[static_cast<size_t>(i)].strWhyNot);
    }
}

void CMainFrame::CopySelection(int nFromSide, bool bOnlyDifferences)
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const std::vector<int> nodes
        = bOnlyDifferences ? DifferencesBelow(snapshot, SelectedNodes(), nFromSide) : SelectedNodes();
    long long nBytes = 0;
    const std::vector<ItemPath> items = ItemsOnSide(snapshot, nodes, nFromSide, &nBytes);
    if (items.empty()) {
        statusBar()->showMessage(QStringLiteral("Nothing to copy."), 5000);
        return;
    }
    const auto nItems = static_cast<long long>(items.size());
    if ((nItems > kConfirmItems || nBytes > kConfirmBytes)
        && QMessageBox::question(this, QStringLiteral("Copy"),
               FormatText("Copy %lld items (%s bytes in the files) to the %s side?", nItems,
                   MakeSizeText(static_cast<std::uint64_t>(nBytes)), SideName(1 - nFromSide)))
            != QMessageBox::Yes) {
        return;
    }
    CConflictPrompt prompt(this);
    pView->SetConflictPrompt(&prompt);
    const int nStarted = pView->CopySelectedItems(items, nFromSide);
    pView->SetConflictPrompt(nullptr);
    statusBar()->showMessage(FormatText("%d copies started.", nStarted), 5000);
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
    const QString strQuestion = nSide == SIDE_LEFT
        ? FormatText("Move %d local items to the trash?", static_cast<int>(items.size()))
        : FormatText("Delete %d items on the FTP server, with everything in the folders among them?\n\nThis cannot be "
                     "undone.",
            static_cast<int>(items.size()));
    if (QMessageBox::question(this, QStringLiteral("Delete"), strQuestion) != QMessageBox::Yes) {
        return;
    }
    RunTask(QStringLiteral("Deleting"), [pView, items, nSide](const std::atomic<bool>&, const auto&) {
        const int nDeleted = pView->DeleteSelectedItems(items, nSide, true);
        const int nLeft = static_cast<int>(items.size()) - nDeleted;
        return nLeft == 0 ? ComparisonOutcome {}
                          : ComparisonOutcome { false,
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
    int nFolder = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    if (nFolder > 0 && (snapshot.Node(nFolder).nKind != KIND_DIR || !snapshot.Node(nFolder).IsOn(nSide))) {
        nFolder = snapshot.Node(nFolder).nParent;
    }
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

void CMainFrame::OpenCurrent()
{
    CQuorvelView* pView = m_pDocument->View();
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    if (pView == nullptr || nNode <= 0) {
        return;
    }
    const int nSide = m_pPanes->ActiveSide();
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const QString strPath = nSide == SIDE_LEFT ? snapshot.FullPath(nNode, SIDE_LEFT)
                                               : pView->Paths().CachePathOf(snapshot.FullPath(nNode, SIDE_RIGHT));
    if (strPath.isEmpty() || !QDesktopServices::openUrl(QUrl::fromLocalFile(strPath))) {
        QMessageBox::warning(this, QStringLiteral("Open"),
            FormatText("\"%s\" could not be opened: no application is set up for it.", strPath));
    }
}

void CMainFrame::ViewBothSides()
{
    CQuorvelView* pView = m_pDocument->View();
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    if (pView == nullptr || nNode <= 0) {
        return;
    }
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const QString strLeft = snapshot.FullPath(nNode, SIDE_LEFT);
    const QString strRight = pView->Paths().CachePathOf(snapshot.FullPath(nNode, SIDE_RIGHT));
    // The suite's viewer shows the two tiled where it is registered; else a comparison program.
    const QString strViewer = GetCompanionPath(CRegistrationStore(), Companion::Plenora);
    if (!strViewer.isEmpty()) {
        if (!QProcess::startDetached(strViewer, { strLeft, strRight, QStringLiteral("/TILE_VERT") })) {
            LogError(errno, "Reason for failure of launching Plenora");
        }
        return;
    }
    const QString strProgram = FindCompareProgram();
    if (strProgram.isEmpty() || !QProcess::startDetached(strProgram, { strLeft, strRight })) {
        QMessageBox::information(this, QStringLiteral("View Both Sides"),
            QStringLiteral("No comparison program was found. Install meld, kdiff3 or kompare, or name the program "
                           "to use as \"CompareProgram\" in the settings."));
    }
}

void CMainFrame::ShowInFileManager()
{
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    if (nNode <= 0) {
        return;
    }
    const QString strPath = m_pModel->Snapshot().FullPath(nNode, SIDE_LEFT);
    const QString strFolder = QFileInfo(strPath).isDir() ? strPath : QFileInfo(strPath).path();
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strFolder))) {
        LogError(errno, "Reason for failure of launching Windows Explorer with %s", strFolder);
    }
}
