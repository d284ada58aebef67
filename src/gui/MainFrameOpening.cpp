// The main window's commands that open files: open, edit, view both sides, show in the file manager. An FTP
// file is opened from the mirror, downloaded into it first where it holds only a placeholder; an edited FTP
// file is a copy of its own that is offered to the server each time it is saved.
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>
#include <QStatusBar>
#include <QUrl>

#include "app/PaneCommandRules.h"
#include "app/RemoteEditSession.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/MainFrame.h"
#include "support/CompanionLookup.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "transfer/TransferRoutines.h"

namespace {

// The comparison program for two files: the one in the preferences, else the first known one installed.
QString FindCompareProgram()
{
    const QString strChosen = CSettingsStore().ReadString("Settings", "CompareProgram").trimmed();
    if (!strChosen.isEmpty()) {
        return QStandardPaths::findExecutable(strChosen).isEmpty() && !QFileInfo(strChosen).isExecutable() ? QString()
                                                                                                           : strChosen;
    }
    for (const char* pName : { "meld", "kdiff3", "kompare" }) {
        if (QString strPath = QStandardPaths::findExecutable(QLatin1String(pName)); !strPath.isEmpty()) {
            return strPath;
        }
    }
    return {};
}

} // namespace

void CMainFrame::WithLocalCopy(int nNode, int nSide, const std::function<void(const QString&)>& use)
{
    CQuorvelView* pView = m_pDocument->View();
    const CTreeSnapshot& snapshot = m_pModel->Snapshot();
    if (pView == nullptr || nNode <= 0 || !snapshot.Node(nNode).IsOn(nSide)) {
        return;
    }
    if (nSide == SIDE_LEFT) {
        use(snapshot.FullPath(nNode, SIDE_LEFT));
        return;
    }
    const QString strRemote = snapshot.FullPath(nNode, SIDE_RIGHT);
    const QString strCached = pView->Paths().CachePathOf(strRemote);
    if (strCached.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Open"),
            FormatText("%s lies outside the compared FTP folder; it has no place in the cache.", strRemote));
        return;
    }
    if (snapshot.Node(nNode).nAttrSource != ATTR_FROM_MARKER && QFileInfo::exists(strCached)) {
        use(strCached);
        return;
    }
    statusBar()->showMessage(FormatText("Downloading %s into the cache first...", strRemote));
    // The worker tells the result on its own thread; the window acts on it in its own.
    pView->CacheSelectedItems(
        { { RelativePathOf(snapshot, nNode), KIND_FILE } }, [this, use, strCached, strRemote](int nResult) {
            QMetaObject::invokeMethod(
                this,
                [this, use, strCached, strRemote, nResult] {
                    if (nResult == TRANSFER_DONE && QFileInfo::exists(strCached)) {
                        statusBar()->clearMessage();
                        use(strCached);
                    } else {
                        QMessageBox::warning(this, QStringLiteral("Open"),
                            FormatText("%s could not be downloaded; the transfer list and the trace pane say why.",
                                strRemote));
                    }
                },
                Qt::QueuedConnection);
        });
}

void CMainFrame::OpenCurrent()
{
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    WithLocalCopy(nNode, m_pPanes->ActiveSide(), [this](const QString& strPath) {
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strPath))) {
            QMessageBox::warning(this, QStringLiteral("Open"),
                FormatText("\"%s\" could not be opened: no application is set up for it.", strPath));
        }
    });
}

void CMainFrame::OpenWithEditor(const QString& strPath)
{
    const QString strEditor = CSettingsStore().ReadString("Settings", "EditorProgram").trimmed();
    const bool bStarted = strEditor.isEmpty() ? QDesktopServices::openUrl(QUrl::fromLocalFile(strPath))
                                              : QProcess::startDetached(strEditor, { strPath });
    if (!bStarted) {
        QMessageBox::warning(this, QStringLiteral("Edit"),
            strEditor.isEmpty()
                ? FormatText("\"%s\" could not be opened: no application is set up for it.", strPath)
                : FormatText(
                    "The editor \"%s\" could not be started; check \"EditorProgram\" in the settings.", strEditor));
    }
}

void CMainFrame::EditCurrent()
{
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    const int nSide = m_pPanes->ActiveSide();
    if (nSide == SIDE_LEFT) {
        WithLocalCopy(nNode, nSide, [this](const QString& strPath) { OpenWithEditor(strPath); });
        return;
    }
    const QString strRemote = m_pModel->Snapshot().FullPath(nNode, SIDE_RIGHT);
    WithLocalCopy(nNode, nSide, [this, strRemote](const QString& strCached) { EditRemote(strCached, strRemote); });
}

void CMainFrame::EditRemote(const QString& strCached, const QString& strRemotePath)
{
    QString strError;
    const QString strCopy = m_pEdits->StartEdit(
        QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).filePath(QStringLiteral("edits")),
        strCached, strRemotePath, strError);
    if (strCopy.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Edit"), strError);
        return;
    }
    statusBar()->showMessage(
        FormatText("Editing a copy of %s: each time it is saved, you are asked whether to send it to the server.",
            strRemotePath),
        10000);
    OpenWithEditor(strCopy);
}

void CMainFrame::ViewBothSides()
{
    const int nNode = CComparisonModel::NodeOf(m_pPanes->Selection()->currentIndex());
    const QString strLeft = m_pModel->Snapshot().FullPath(nNode, SIDE_LEFT);
    WithLocalCopy(nNode, SIDE_RIGHT, [this, strLeft](const QString& strRight) {
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
    });
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
