#include "gui/FileOpening.h"

#include <QMainWindow>

#include "app/ComparisonDocument.h"
#include "app/QuorvelView.h"

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

CFileOpening::CFileOpening(
    QMainWindow* pWindow, CComparisonDocument& document, CComparisonModel& model, CComparisonPanes& panes)
    : QObject(pWindow)
    , m_pWindow(pWindow)
    , m_document(document)
    , m_model(model)
    , m_panes(panes)
    , m_edits(
          document,
          [pWindow](const QString& strCopy, const QString& strRemote) {
              return QMessageBox::question(pWindow, QStringLiteral("Edit"),
                         FormatText("%s was saved. Send it to the FTP server as %s?", strCopy, strRemote))
                  == QMessageBox::Yes;
          },
          [pWindow](const QString& strText) { QMessageBox::warning(pWindow, QStringLiteral("Edit"), strText); })
{ }

void CFileOpening::WithLocalCopy(int nNode, int nSide, const std::function<void(const QString&)>& use)
{
    CQuorvelView* pView = m_document.View();
    const CTreeSnapshot& snapshot = m_model.Snapshot();
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
        QMessageBox::warning(m_pWindow, QStringLiteral("Open"),
            FormatText("%s lies outside the compared FTP folder; it has no place in the cache.", strRemote));
        return;
    }
    if (snapshot.Node(nNode).nAttrSource != ATTR_FROM_MARKER && QFileInfo::exists(strCached)) {
        use(strCached);
        return;
    }
    m_pWindow->statusBar()->showMessage(FormatText("Downloading %s into the cache first...", strRemote));
    // The worker tells the result on its own thread; the window acts on it in its own.
    pView->CacheSelectedItems(
        { { RelativePathOf(snapshot, nNode), KIND_FILE } }, [this, use, strCached, strRemote](int nResult) {
            QMetaObject::invokeMethod(
                this,
                [this, use, strCached, strRemote, nResult] {
                    if (nResult == TRANSFER_DONE && QFileInfo::exists(strCached)) {
                        m_pWindow->statusBar()->clearMessage();
                        use(strCached);
                    } else {
                        QMessageBox::warning(m_pWindow, QStringLiteral("Open"),
                            FormatText("%s could not be downloaded; the transfer list and the trace pane say why.",
                                strRemote));
                    }
                },
                Qt::QueuedConnection);
        });
}

void CFileOpening::OpenCurrent()
{
    const int nNode = CComparisonModel::NodeOf(m_panes.Selection()->currentIndex());
    WithLocalCopy(nNode, m_panes.ActiveSide(), [this](const QString& strPath) {
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strPath))) {
            QMessageBox::warning(m_pWindow, QStringLiteral("Open"),
                FormatText("\"%s\" could not be opened: no application is set up for it.", strPath));
        }
    });
}

void CFileOpening::OpenWithEditor(const QString& strPath)
{
    const QString strEditor = CSettingsStore().ReadString("Settings", "EditorProgram").trimmed();
    const bool bStarted = strEditor.isEmpty() ? QDesktopServices::openUrl(QUrl::fromLocalFile(strPath))
                                              : QProcess::startDetached(strEditor, { strPath });
    if (!bStarted) {
        QMessageBox::warning(m_pWindow, QStringLiteral("Edit"),
            strEditor.isEmpty()
                ? FormatText("\"%s\" could not be opened: no application is set up for it.", strPath)
                : FormatText(
                    "The editor \"%s\" could not be started; check \"EditorProgram\" in the settings.", strEditor));
    }
}

void CFileOpening::EditCurrent()
{
    const int nNode = CComparisonModel::NodeOf(m_panes.Selection()->currentIndex());
    const int nSide = m_panes.ActiveSide();
    if (nSide == SIDE_LEFT) {
        WithLocalCopy(nNode, nSide, [this](const QString& strPath) { OpenWithEditor(strPath); });
        return;
    }
    const QString strRemote = m_model.Snapshot().FullPath(nNode, SIDE_RIGHT);
    WithLocalCopy(nNode, nSide, [this, strRemote](const QString& strCached) { EditRemote(strCached, strRemote); });
}

void CFileOpening::EditRemote(const QString& strCached, const QString& strRemotePath)
{
    QString strError;
    const QString strCopy = m_edits.StartEdit(
        QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).filePath(QStringLiteral("edits")),
        strCached, strRemotePath, strError);
    if (strCopy.isEmpty()) {
        QMessageBox::warning(m_pWindow, QStringLiteral("Edit"), strError);
        return;
    }
    m_pWindow->statusBar()->showMessage(
        FormatText("Editing a copy of %s: each time it is saved, you are asked whether to send it to the server.",
            strRemotePath),
        10000);
    OpenWithEditor(strCopy);
}

void CFileOpening::ViewBothSides()
{
    const int nNode = CComparisonModel::NodeOf(m_panes.Selection()->currentIndex());
    const QString strLeft = m_model.Snapshot().FullPath(nNode, SIDE_LEFT);
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
            QMessageBox::information(m_pWindow, QStringLiteral("View Both Sides"),
                QStringLiteral("No comparison program was found. Install meld, kdiff3 or kompare, or name the program "
                               "to use as \"CompareProgram\" in the settings."));
        }
    });
}

void CFileOpening::ShowInFileManager()
{
    const int nNode = CComparisonModel::NodeOf(m_panes.Selection()->currentIndex());
    if (nNode <= 0) {
        return;
    }
    const QString strPath = m_model.Snapshot().FullPath(nNode, SIDE_LEFT);
    const QString strFolder = QFileInfo(strPath).isDir() ? strPath : QFileInfo(strPath).path();
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(strFolder))) {
        LogError(errno, "Reason for failure of launching Windows Explorer with %s", strFolder);
    }
}
