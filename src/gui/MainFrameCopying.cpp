// The main window's copies: either way between the panes, dragged and dropped, pasted from the file manager,
// and within the FTP server.
#include <QApplication>
#include <QClipboard>
#include <QInputDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QStatusBar>

#include "app/PaneCommandRules.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "gui/dialogs/ConflictPrompt.h"
#include "gui/widgets/SilenceableMessageBox.h"
#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

// A copy this large is confirmed first.
constexpr long long kConfirmItems = 100;
constexpr long long kConfirmBytes = 100LL * 1024 * 1024;

const char* SideName(int nSide)
{
    return nSide == SIDE_LEFT ? "local" : "FTP";
}

} // namespace

void CMainFrame::CopySelection(int nFromSide, bool bOnlyDifferences)
{
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const std::vector<int> nodes
        = bOnlyDifferences ? DifferencesBelow(snapshot, SelectedNodes(), nFromSide) : SelectedNodes();
    long long nBytes = 0;
    const std::vector<ItemPath> items = ItemsOnSide(snapshot, nodes, nFromSide, &nBytes);
    StartCopy(items, nFromSide, nBytes);
}

void CMainFrame::StartCopy(const std::vector<ItemPath>& items, int nFromSide, long long nBytes)
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    if (items.empty()) {
        statusBar()->showMessage(QStringLiteral("Nothing to copy."), 5000);
        return;
    }
    if (!IsFtpLocation(m_pDocument->Request().strRight)) {
        statusBar()->showMessage(QStringLiteral("The FTP server is not connected."), 5000);
        return;
    }
    const auto nItems = static_cast<long long>(items.size());
    if ((nItems > kConfirmItems || nBytes > kConfirmBytes)
        && CSilenceableMessageBox::Ask(this, "ConfirmLargeCopy", QMessageBox::Question, QStringLiteral("Copy"),
               FormatText("Copy %lld items (%s bytes in the files) to the %s side?", nItems,
                   MakeSizeText(static_cast<std::uint64_t>(nBytes)), SideName(1 - nFromSide)),
               QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Yes)
            != QMessageBox::Yes) {
        return;
    }
    CConflictPrompt prompt(this);
    pView->SetConflictPrompt(&prompt);
    const int nStarted = pView->CopySelectedItems(items, nFromSide);
    pView->SetConflictPrompt(nullptr);
    statusBar()->showMessage(FormatText("%d copies started.", nStarted), 5000);
}

void CMainFrame::DropItems(const DraggedItems& dragged)
{
    // A drop between the panes copies to the other side, where the comparison pairs the items.
    StartCopy(dragged.items, dragged.nFromSide, dragged.nBytes);
}

void CMainFrame::DropFiles(const QStringList& paths, int nToSide, int nFolder)
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy() || paths.isEmpty()) {
        return;
    }
    if (nToSide == SIDE_RIGHT && !IsFtpLocation(m_pDocument->Request().strRight)) {
        statusBar()->showMessage(QStringLiteral("The FTP server is not connected."), 5000);
        return;
    }
    // Into a folder of the tree: a local one, or the FTP folder it stands for.
    const QString strFolder = nFolder > 0 ? m_pModel->Snapshot().FullPath(nFolder, nToSide)
        : nToSide == SIDE_LEFT            ? pView->Folders().strLocal
                                          : pView->Folders().strRemote;
    CConflictPrompt prompt(this);
    pView->SetConflictPrompt(&prompt);
    pView->DropFiles(paths, nToSide, strFolder);
    pView->SetConflictPrompt(nullptr);
    statusBar()->showMessage(
        FormatText("Copying %d dropped items into %s.", static_cast<int>(paths.size()), strFolder), 5000);
}

void CMainFrame::CopyFilesToClipboard()
{
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    QList<QUrl> urls;
    for (const int nNode : SelectedNodes()) {
        if (nNode > 0 && snapshot.Node(nNode).IsOn(SIDE_LEFT)) {
            urls.append(QUrl::fromLocalFile(snapshot.FullPath(nNode, SIDE_LEFT)));
        }
    }
    auto* pData = new QMimeData;
    pData->setUrls(urls);
    QApplication::clipboard()->setMimeData(pData);
    statusBar()->showMessage(
        FormatText("%d local items copied to the clipboard.", static_cast<int>(urls.size())), 5000);
}

void CMainFrame::PasteFiles()
{
    const QMimeData* pData = QApplication::clipboard()->mimeData();
    const QStringList paths = pData != nullptr ? LocalFilesOf(*pData) : QStringList();
    if (paths.isEmpty()) {
        statusBar()->showMessage(QStringLiteral("The clipboard holds no files."), 5000);
        return;
    }
    const int nSide = m_pPanes->ActiveSide();
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    DropFiles(paths, nSide, FolderNodeOnSide(m_pModel->Snapshot(), std::max(nNode, 0), nSide));
}

void CMainFrame::CopyWithinFtp()
{
    CQuorvelView* pView = m_pDocument->View();
    if (pView == nullptr || IsBusy()) {
        return;
    }
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    const std::vector<int> nodes = SelectedNodes();
    const std::vector<ItemPath> items = ItemsOnSide(snapshot, nodes, SIDE_RIGHT);
    if (items.empty()) {
        return;
    }
    // The server's folders the tree knows, the selection's own folder first.
    QStringList folders { pView->Folders().strRemote };
    for (int nNode = 1; nNode < snapshot.Size(); ++nNode) {
        if (snapshot.Node(nNode).nKind == KIND_DIR && snapshot.Node(nNode).IsOn(SIDE_RIGHT)) {
            folders.append(snapshot.FullPath(nNode, SIDE_RIGHT));
        }
    }
    const QString strOwn = snapshot.Folder(nodes.front(), SIDE_RIGHT);
    bool bOk = false;
    const QString strTarget = QInputDialog::getItem(this, QStringLiteral("Copy within FTP Server"),
        FormatText("Copy %d items on the server into the folder:", static_cast<int>(items.size())), folders,
        std::max<qsizetype>(0, folders.indexOf(strOwn)), true, &bOk);
    if (!bOk || strTarget.trimmed().isEmpty()) {
        return;
    }
    CConflictPrompt prompt(this);
    pView->SetConflictPrompt(&prompt);
    const int nStarted = pView->CopyWithinFtp(items, strTarget.trimmed());
    pView->SetConflictPrompt(nullptr);
    statusBar()->showMessage(nStarted == 0 ? QStringLiteral("Nothing was copied; the trace pane says why.")
                                           : FormatText("%d copies on the server started.", nStarted),
        5000);
}
