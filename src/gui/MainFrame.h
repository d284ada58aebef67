#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include <QMainWindow>

#include "app/ComparisonDocument.h"
#include "app/PaneSettings.h"
#include "app/RefreshTimer.h"
#include "app/RenameBatches.h"
#include "app/TreeSnapshot.h"
#include "app/WindowPlacement.h"
#include "gui/PaneView.h"
#include "gui/dialogs/ReportDialog.h"
#include "support/CredentialStore.h"
#include "support/Licence.h"

class CComparisonFilter;
class CComparisonModel;
class CComparisonPanes;
class CComparisonTask;
class CFileOpening;
class CReportRunner;
class CStatusCounts;
class CTraceView;
class CTransferListWidget;
class CWaitDialog;
class QAction;
class QLabel;
class QLineEdit;
class QSplitter;
class QTimer;

// The main window: the two comparison panes above, the trace pane and the transfer list below, menus,
// toolbar and status bar. It holds no comparison logic: it turns commands into calls on the comparison
// document and runs the slow ones on a worker behind the wait dialog.
class CMainFrame : public QMainWindow
{
    Q_OBJECT

public:
    explicit CMainFrame(QWidget* pParent = nullptr);
    ~CMainFrame() override;

    [[nodiscard]] CComparisonDocument& Document() { return *m_pDocument; }
    [[nodiscard]] CComparisonPanes& Panes() const { return *m_pPanes; }
    [[nodiscard]] CComparisonFilter& Filter() const { return *m_pFilter; }
    [[nodiscard]] CComparisonModel& Model() const { return *m_pModel; }
    [[nodiscard]] CTraceView& TracePane() const { return *m_pTrace; }
    [[nodiscard]] CTransferListWidget& Transfers() const { return *m_pTransfers; }
    [[nodiscard]] CStatusCounts& Counts() const { return *m_pCounts; }
    [[nodiscard]] QAction* Action(const QString& strName) const;

    // Opens a comparison on a worker; Finished tells when it is done.
    void OpenComparison(const OpenRequest& request);
    void RefreshComparison(RefreshKind kind);
    [[nodiscard]] bool IsBusy() const;

    // The question before quitting while transfers run; tests answer it themselves.
    void SetQuitQuestion(std::function<bool(const QString&)> ask) { m_askQuit = std::move(ask); }
    // Where saved sites' passwords go; the system's secret store unless a test gives another.
    void SetCredentialStore(std::unique_ptr<ICredentialStore> pSecrets) { m_pSecrets = std::move(pSecrets); }
    [[nodiscard]] ICredentialStore& Secrets() const { return *m_pSecrets; }
    // Asks check now and once a day whether the use is registered; the title says when it is not.
    void StartLicenceChecks(std::function<LicenceState()> check);
    [[nodiscard]] const LicenceState& Licence() const { return m_licence; }
    // Writes (or prints) a report of what the comparison shows on a worker; ReportFinished tells the outcome.
    void StartReport(const ReportOptions& options, ReportOutput output, const QString& strPath);
    // Reads the settings again and shows them: panes, colours, log switches, transfers.
    void ApplySettings();
    // The placement as "WindowPos" keeps it, and applying one.
    [[nodiscard]] WindowPlacement Placement() const;
    void ApplyPlacement(const WindowPlacement& placement);

signals:
    // A comparison was opened or refreshed (or failed: bOk false), and the panes show it.
    void ComparisonShown(bool bOk);
    // A report was written or printed (bOk), or failed or was cancelled; strOutcome says which.
    void ReportFinished(bool bOk, const QString& strOutcome);

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    void BuildLayout();
    void BuildActions();
    void BuildMenus();
    void BuildToolBar();
    void BuildStatusBar();
    void RestoreLayout();
    void SaveLayout();

    void AskOpenComparison();
    void SetTitle(const QString& strTitle);
    void ShowSiteManager();
    void ShowPreferences();
    void ShowReportDialog();
    void ShowMultiRename();
    void UndoRenames();
    void RunRenames(std::vector<RenameBatch> batches, bool bUndo);
    [[nodiscard]] ReportHeader CurrentReportHeader() const;
    void ReportWritten(ReportOutput output, const QString& strPath, const QString& strError, bool bCancelled);
    void RunTask(const QString& strTitle,
        std::function<ComparisonOutcome(const std::atomic<bool>&, const std::function<void(const QString&)>&)> work);
    void TaskFinished(const ComparisonOutcome& outcome, const std::shared_ptr<const CTreeSnapshot>& pSnapshot);
    void ShowSnapshot(std::shared_ptr<const CTreeSnapshot> pSnapshot);
    // Shows the jobs' changes of the tree: polled, and never waiting for a worker that holds the tree.
    void PollTree();
    void UpdateStatusBar();
    void UpdateCommands();

    // The commands on the selection of the panes.
    void BuildPaneCommands();
    void UpdatePaneCommands();
    [[nodiscard]] std::vector<int> SelectedNodes() const;
    void DeleteSelection();
    void RenameCurrent();
    void Rename(int nNode, int nSide, const QString& strNewName);
    void NewFolder();

    // Copies: either way, dropped, pasted, within the server.
    void CopySelection(int nFromSide, bool bOnlyDifferences);
    void StartCopy(const std::vector<ItemPath>& items, int nFromSide, long long nBytes);
    void DropItems(const DraggedItems& dragged);
    void DropFiles(const QStringList& paths, int nToSide, int nFolder);
    void CopyFilesToClipboard();
    void PasteFiles();
    void CopyWithinFtp();

    void StartStopTimer();
    void ChangeTimerInterval();
    void OnRefreshTimer();
    void GoToDifference(bool bForward);
    void SetIncludeFolders(bool bInclude);

    std::unique_ptr<CComparisonDocument> m_pDocument;
    CPaneSettings m_settings;
    std::unique_ptr<ICredentialStore> m_pSecrets;
    CComparisonModel* m_pModel = nullptr;
    CComparisonFilter* m_pFilter = nullptr;
    CComparisonPanes* m_pPanes = nullptr;
    CTraceView* m_pTrace = nullptr;
    CTransferListWidget* m_pTransfers = nullptr;
    CStatusCounts* m_pCounts = nullptr;
    QSplitter* m_pVertical = nullptr;
    QSplitter* m_pBottom = nullptr;
    QLineEdit* m_pNameFilter = nullptr;
    QLabel* m_pConnection = nullptr;
    QLabel* m_pJobs = nullptr;
    QTimer* m_pPoll = nullptr;
    QTimer* m_pAutoRefresh = nullptr;
    CComparisonTask* m_pTask = nullptr;
    CWaitDialog* m_pWait = nullptr;
    CRefreshTimer m_refreshTimer;
    unsigned m_nShownGeneration = 0;
    std::function<bool(const QString&)> m_askQuit;
    std::function<LicenceState()> m_checkLicence;
    LicenceState m_licence;
    QTimer* m_pLicenceTimer = nullptr;
    CReportRunner* m_pReports = nullptr;
    CRenameBatches m_renames;
    QString m_strTitle;
    CFileOpening* m_pOpening = nullptr;
};
