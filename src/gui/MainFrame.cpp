#include "gui/MainFrame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QScreen>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>

#include "app/QuorvelView.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/ComparisonTask.h"
#include "gui/FileOpening.h"
#include "gui/ReportRunner.h"
#include "gui/StatusCounts.h"
#include "gui/StatusIcons.h"
#include "gui/TraceView.h"
#include "gui/TransferListModel.h"
#include "gui/TransferListWidget.h"
#include "gui/dialogs/OpenComparisonDialog.h"
#include "gui/dialogs/PreferencesDialog.h"
#include "gui/dialogs/SiteManagerDialog.h"
#include "gui/widgets/WaitDialog.h"
#include "support/CredentialStore.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"

namespace {

CPaneSettings ReadSettings()
{
    CSettingsStore store;
    return CPaneSettings::Read(store);
}

// A snapshot of the document's tree, taken under the view's lock.
std::shared_ptr<const CTreeSnapshot> TakeSnapshot(CComparisonDocument& document)
{
    CQuorvelView* pView = document.View();
    if (pView == nullptr) {
        return CTreeSnapshot::Empty();
    }
    std::lock_guard lock(pView->ViewLock());
    return CTreeSnapshot::Take(pView->Tree().Root());
}

} // namespace

CMainFrame::CMainFrame(QWidget* pParent)
    : QMainWindow(pParent)
    , m_pDocument(std::make_unique<CComparisonDocument>())
    , m_settings(ReadSettings())
    , m_pSecrets(MakeSystemCredentialStore())
    , m_refreshTimer([] { return static_cast<std::int64_t>(QDateTime::currentSecsSinceEpoch()); })
{
    setObjectName(QStringLiteral("mainFrame"));
    SetTitle(QStringLiteral("Quorvel"));
    setWindowIcon(CStatusIcons::AppIcon());
    m_refreshTimer.SetInterval(
        static_cast<unsigned>(std::max(5LL, CSettingsStore().ReadInt("Misc.", "AutoRefreshSeconds"))));
    m_askQuit = [this](const QString& strQuestion) {
        return QMessageBox::question(
                   this, QStringLiteral("Quorvel"), strQuestion, QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
            == QMessageBox::Yes;
    };
    m_pReports = new CReportRunner(this);
    connect(m_pReports, &CReportRunner::Finished, this, &CMainFrame::ReportWritten);
    BuildLayout();
    BuildActions();
    BuildPaneCommands();
    BuildMenus();
    BuildToolBar();
    BuildStatusBar();
    RestoreLayout();

    m_pPoll = new QTimer(this);
    connect(m_pPoll, &QTimer::timeout, this, [this] {
        PollTree();
        UpdateStatusBar();
    });
    m_pPoll->start(CTransferListModel::kRefreshMilliseconds);
    m_pAutoRefresh = new QTimer(this);
    m_pAutoRefresh->setSingleShot(true);
    connect(m_pAutoRefresh, &QTimer::timeout, this, &CMainFrame::OnRefreshTimer);
    UpdateCommands();
    statusBar()->showMessage(QStringLiteral("Open a comparison with File > Open Comparison (Ctrl+O)."));
}

bool CMainFrame::IsBusy() const
{
    return m_pTask != nullptr || m_pReports->IsRunning();
}

CMainFrame::~CMainFrame()
{
    // The worker and every view of the document's data go before the document itself.
    delete m_pTask;
    m_pTask = nullptr;
    m_pTrace->Attach(nullptr);
    delete m_pTransfers;
    delete m_pOpening;
    m_pOpening = nullptr;
    m_pDocument->Close();
}

void CMainFrame::BuildLayout()
{
    m_pModel = new CComparisonModel(m_settings, this);
    m_pFilter = new CComparisonFilter(*m_pModel, this);
    m_pPanes = new CComparisonPanes(*m_pFilter, m_settings, this);
    connect(m_pPanes, &CComparisonPanes::DifferenceRequested, this, &CMainFrame::GoToDifference);
    m_pOpening = new CFileOpening(this, *m_pDocument, *m_pModel, *m_pPanes);
    m_pTrace = new CTraceView(this);
    m_pTrace->Attach(&m_pDocument->Trace());
    m_pTransfers = new CTransferListWidget(m_pDocument->List(), this);
    m_pTransfers->SetResubmitter([this](int nJobId) {
        if (CQuorvelView* pView = m_pDocument->View(); pView != nullptr && !IsBusy()) {
            pView->ResubmitJob(nJobId);
        }
    });

    m_pBottom = new QSplitter(Qt::Horizontal, this);
    m_pBottom->addWidget(m_pTrace);
    m_pBottom->addWidget(m_pTransfers);
    m_pVertical = new QSplitter(Qt::Vertical, this);
    m_pVertical->addWidget(m_pPanes);
    m_pVertical->addWidget(m_pBottom);
    m_pVertical->setStretchFactor(0, 3);
    m_pVertical->setStretchFactor(1, 1);
    setCentralWidget(m_pVertical);
}

void CMainFrame::BuildStatusBar()
{
    m_pCounts = new CStatusCounts(m_settings, this);
    statusBar()->addPermanentWidget(m_pCounts);
    m_pJobs = new QLabel(this);
    statusBar()->addPermanentWidget(m_pJobs);
    m_pConnection = new QLabel(this);
    m_pConnection->setObjectName(QStringLiteral("connectionState"));
    statusBar()->addPermanentWidget(m_pConnection);
    const unsigned nShown = static_cast<unsigned>(CSettingsStore().ReadInt("Misc.", "ShowStatusMask"));
    m_pCounts->SetShownClasses(nShown);
    m_pFilter->SetShownClasses(nShown & kAllToggleClasses);
    connect(m_pCounts, &CStatusCounts::ShownClassesChanged, this, [this](unsigned nClasses) {
        m_pFilter->SetShownClasses(nClasses);
        CSettingsStore().WriteInt("Misc.", "ShowStatusMask", nClasses);
    });
}

void CMainFrame::RestoreLayout()
{
    CSettingsStore store;
    resize(1280, 820);
    if (const std::optional<WindowPlacement> placement
        = ParseWindowPlacement(store.ReadString("Settings", "WindowPos"))) {
        ApplyPlacement(*placement);
    }
    if (const std::optional<ViewsHeights> heights = ParseViewsHeights(store.ReadString("Settings", "ViewsHeights"))) {
        m_pPanes->setSizes({ heights->nLeftPaneWidth, heights->nRightPaneWidth });
        m_pVertical->setSizes({ heights->nPanesHeight, heights->nBottomHeight });
        m_pBottom->setSizes({ heights->nTraceWidth, heights->nTransferWidth });
    } else {
        m_pPanes->setSizes({ 1, 1 });
        m_pVertical->setSizes({ 560, 220 });
        m_pBottom->setSizes({ 1, 1 });
    }
    m_pTransfers->RestoreColumnWidths(store);
}

void CMainFrame::SaveLayout()
{
    CSettingsStore store;
    store.WriteString("Settings", "WindowPos", FormatWindowPlacement(Placement()));
    const QList<int> panes = m_pPanes->sizes();
    const QList<int> vertical = m_pVertical->sizes();
    const QList<int> bottom = m_pBottom->sizes();
    const ViewsHeights heights { panes.value(0), panes.value(1), vertical.value(0), vertical.value(1), bottom.value(0),
        bottom.value(1) };
    store.WriteString("Settings", "ViewsHeights", FormatViewsHeights(heights));
    m_pTransfers->SaveColumnWidths(store);
    if (!store.Sync()) {
        Log("CMainFrame::SaveLayout::[%ld] the window layout could not be saved in %s", CurrentThreadId(),
            store.Location());
    }
}

WindowPlacement CMainFrame::Placement() const
{
    WindowPlacement placement;
    placement.nShowCmd = isMinimized() ? SHOW_MINIMIZED : isMaximized() ? SHOW_MAXIMIZED : SHOW_NORMAL;
    // Qt keeps no separate minimised or maximised position: the system decides those.
    const QRect normal = isMaximized() || isMinimized() ? normalGeometry() : geometry();
    placement.nLeft = normal.x();
    placement.nTop = normal.y();
    placement.nRight = normal.x() + normal.width();
    placement.nBottom = normal.y() + normal.height();
    return placement;
}

void CMainFrame::ApplyPlacement(const WindowPlacement& placement)
{
    const QRect rect(
        placement.nLeft, placement.nTop, placement.nRight - placement.nLeft, placement.nBottom - placement.nTop);
    if (rect.width() < 200 || rect.height() < 150) {
        return;
    }
    // A window saved on a screen that is gone comes back at the default place rather than out of sight.
    bool bOnScreen = QGuiApplication::screens().isEmpty();
    for (const QScreen* pScreen : QGuiApplication::screens()) {
        bOnScreen = bOnScreen || pScreen->availableVirtualGeometry().intersects(rect);
    }
    if (bOnScreen) {
        setGeometry(rect);
    }
    // A program that was minimised when it closed opens normally: starting hidden helps no one.
    if (placement.nShowCmd == SHOW_MAXIMIZED) {
        setWindowState(windowState() | Qt::WindowMaximized);
    }
}

void CMainFrame::closeEvent(QCloseEvent* pEvent)
{
    if (m_pDocument->HasRunningJobs()
        && !m_askQuit(QStringLiteral("File transfer isn't complete yet. Do you really want to quit?"))) {
        pEvent->ignore();
        return;
    }
    SaveLayout();
    m_pAutoRefresh->stop();
    m_pPoll->stop();
    delete m_pTask;
    m_pTask = nullptr;
    delete m_pWait;
    m_pWait = nullptr;
    // Cancels every job and joins its worker.
    m_pDocument->Close();
    pEvent->accept();
}

void CMainFrame::AskOpenComparison()
{
    if (IsBusy()) {
        return;
    }
    auto* pDialog = new COpenComparisonDialog(this);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    if (m_pDocument->View() != nullptr) {
        OpenRequest previous = m_pDocument->Request();
        previous.site.strPassword.clear();
        pDialog->SetRequest(previous);
    }
    connect(pDialog, &QDialog::accepted, this, [this, pDialog] { OpenComparison(pDialog->Request()); });
    pDialog->open();
}

void CMainFrame::StartLicenceChecks(std::function<LicenceState()> check)
{
    m_checkLicence = std::move(check);
    if (m_pLicenceTimer == nullptr) {
        m_pLicenceTimer = new QTimer(this);
        m_pLicenceTimer->setObjectName(QStringLiteral("licenceTimer"));
        // A licence that expires while the program runs is noticed within a day.
        m_pLicenceTimer->setInterval(24 * 60 * 60 * 1000);
        connect(m_pLicenceTimer, &QTimer::timeout, this, [this] {
            m_licence = m_checkLicence();
            SetTitle(m_strTitle);
        });
    }
    m_licence = m_checkLicence();
    Log("CMainFrame::[%ld] licence: %s", CurrentThreadId(), m_licence.strSummary);
    SetTitle(m_strTitle);
    m_pLicenceTimer->start();
}

void CMainFrame::SetTitle(const QString& strTitle)
{
    m_strTitle = strTitle;
    setWindowTitle(m_licence.bRegistered ? strTitle : strTitle + QStringLiteral(" - UnRegistered"));
}

void CMainFrame::ShowSiteManager()
{
    if (IsBusy()) {
        return;
    }
    auto* pDialog = new CSiteManagerDialog(*m_pSecrets, this);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(pDialog, &CSiteManagerDialog::ConnectRequested, this, &CMainFrame::OpenComparison);
    pDialog->open();
}

void CMainFrame::ShowPreferences()
{
    CPreferencesDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    CSettingsStore store;
    if (!dialog.Save(store)) {
        QMessageBox::warning(
            this, QStringLiteral("Preferences"), FormatText("The settings cannot be written to %s.", store.Location()));
    }
    ApplySettings();
}

void CMainFrame::ApplySettings()
{
    CSettingsStore store;
    m_settings = CPaneSettings::Read(store);
    m_pModel->SetSettings(m_settings);
    if (CQuorvelView* pView = m_pDocument->View()) {
        pView->SetRemoveCompletedRows(m_settings.bDeleteRowOfGoodXfer);
    }
    m_pPanes->ApplySettings(m_settings);
    m_pCounts->SetIcons(m_settings);
    LoadLogSwitches(store);
    if (CQuorvelView* pView = m_pDocument->View()) {
        pView->Runner().SetUploadThroughWorkingName(store.ReadInt("Settings", "UploadThroughWorkingName") != 0);
    }
    Action(QStringLiteral("includeFolders"))->setChecked(m_settings.nIncludeFoldersForDiffs != 0);
}

void CMainFrame::OpenComparison(const OpenRequest& request)
{
    if (m_pDocument->HasRunningJobs()
        && !m_askQuit(QStringLiteral("File transfer isn't complete yet. Cancel it and open another comparison?"))) {
        return;
    }
    m_pModel->SetSnapshot(nullptr);
    RunTask(QStringLiteral("Opening the comparison"),
        [this, request](const std::atomic<bool>& cancel, const std::function<void(const QString&)>& progress) {
            return m_pDocument->Open(request, cancel, progress);
        });
}

void CMainFrame::RefreshComparison(RefreshKind kind)
{
    if (m_pDocument->View() == nullptr) {
        return;
    }
    RunTask(QStringLiteral("Refreshing the comparison"),
        [this, kind](const std::atomic<bool>& cancel, const std::function<void(const QString&)>& progress) {
            return m_pDocument->Refresh(kind, cancel, progress);
        });
}

void CMainFrame::RunTask(const QString& strTitle,
    std::function<ComparisonOutcome(const std::atomic<bool>&, const std::function<void(const QString&)>&)> work)
{
    if (IsBusy()) {
        return;
    }
    m_pTask = new CComparisonTask(
        std::move(work), [this] { return TakeSnapshot(*m_pDocument); }, this);
    m_pWait = new CWaitDialog(strTitle, this);
    m_pWait->SetText(strTitle + QStringLiteral("..."));
    connect(m_pTask, &CComparisonTask::ProgressChanged, m_pWait, &CWaitDialog::SetText);
    connect(m_pTask, &CComparisonTask::ProgressChanged, this,
        [this](const QString& strText) { statusBar()->showMessage(strText); });
    connect(m_pWait, &CWaitDialog::CancelRequested, m_pTask, &CComparisonTask::Cancel);
    connect(m_pTask, &CComparisonTask::Finished, this, &CMainFrame::TaskFinished);
    UpdateCommands();
    m_pTask->Start();
    m_pWait->show();
}

void CMainFrame::TaskFinished(const ComparisonOutcome& outcome, const std::shared_ptr<const CTreeSnapshot>& pSnapshot)
{
    const bool bCancelled = m_pTask != nullptr && m_pTask->IsCancelled();
    delete m_pTask;
    m_pTask = nullptr;
    delete m_pWait;
    m_pWait = nullptr;
    if (CQuorvelView* pView = m_pDocument->View(); pView != nullptr && pSnapshot) {
        // Jobs may change the tree again at once: anything after this generation is polled in.
        m_nShownGeneration = pView->TreeGeneration();
        ShowSnapshot(pSnapshot);
        const OpenRequest& request = m_pDocument->Request();
        m_pPanes->SetRootTexts(request.strLocalFolder, request.strRight);
        SetTitle(QStringLiteral("Quorvel - ") + QFileInfo(request.strLocalFolder).fileName());
        if (outcome.bOk) {
            COpenComparisonDialog::RememberPair(request);
        }
    } else if (m_pDocument->View() == nullptr) {
        ShowSnapshot(CTreeSnapshot::Empty());
        m_pPanes->SetRootTexts({}, {});
        SetTitle(QStringLiteral("Quorvel"));
    }
    UpdateCommands();
    UpdateStatusBar();
    if (!outcome.bOk) {
        statusBar()->showMessage(outcome.strError);
        if (!bCancelled) {
            auto* pBox = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quorvel"),
                EscapeControlCharacters(outcome.strError), QMessageBox::Ok, this);
            pBox->setAttribute(Qt::WA_DeleteOnClose);
            pBox->open();
        }
    } else if (!m_pDocument->Warnings().isEmpty()) {
        statusBar()->showMessage(FormatText("Compared, with %d warnings: %s", m_pDocument->Warnings().size(),
            EscapeControlCharacters(m_pDocument->Warnings().first())));
    } else {
        statusBar()->showMessage(QStringLiteral("Compared."), 5000);
    }
    emit ComparisonShown(outcome.bOk);
}

void CMainFrame::ShowSnapshot(std::shared_ptr<const CTreeSnapshot> pSnapshot)
{
    m_pModel->SetSnapshot(std::move(pSnapshot));
    m_pCounts->ShowTotals(m_pModel->Snapshot().Totals());
}

void CMainFrame::PollTree()
{
    CQuorvelView* pView = m_pDocument->View();
    if (IsBusy() || pView == nullptr) {
        return;
    }
    // Read before the lock: a change that ends after this read counts again and is shown at the next poll.
    const unsigned nGeneration = pView->TreeGeneration();
    if (nGeneration == m_nShownGeneration) {
        return;
    }
    std::unique_lock lock(pView->ViewLock(), std::try_to_lock);
    if (!lock.owns_lock()) {
        return;
    }
    std::shared_ptr<const CTreeSnapshot> pSnapshot = CTreeSnapshot::Take(pView->Tree().Root());
    lock.unlock();
    m_nShownGeneration = nGeneration;
    ShowSnapshot(std::move(pSnapshot));
}

void CMainFrame::UpdateStatusBar()
{
    const int nActive = m_pDocument->List().ActiveJobs();
    m_pJobs->setText(
        nActive > 0 ? FormatText(nActive == 1 ? "%d transfer running" : "%d transfers running", nActive) : QString());
    m_pConnection->setText(IsBusy() ? QStringLiteral("Working...") : m_pDocument->ConnectionState());
}

void CMainFrame::StartStopTimer()
{
    if (m_refreshTimer.IsRunning()) {
        m_refreshTimer.Stop();
        m_pAutoRefresh->stop();
        statusBar()->showMessage(QStringLiteral("Auto-refresh stopped."), 5000);
    } else {
        m_refreshTimer.Start();
        m_pAutoRefresh->start(static_cast<int>(m_refreshTimer.Interval() * 1000));
        statusBar()->showMessage(FormatText("Auto-refresh every %u seconds.", m_refreshTimer.Interval()), 5000);
    }
    Action(QStringLiteral("timer"))->setChecked(m_refreshTimer.IsRunning());
}

void CMainFrame::OnRefreshTimer()
{
    const CSettingsStore store;
    const TickDecision decision = m_refreshTimer.OnTimer(
        store, [this] { return static_cast<int>(std::min<long long>(m_pModel->Snapshot().FileCount(), INT32_MAX)); });
    if (decision.bRearm) {
        m_pAutoRefresh->start(static_cast<int>(m_refreshTimer.Interval() * 1000));
    }
    Action(QStringLiteral("timer"))->setChecked(m_refreshTimer.IsRunning());
    // A refresh still running when the next tick comes is the overrun the timer skips.
    if (decision.bRefresh && !IsBusy() && m_pDocument->View() != nullptr) {
        RefreshComparison(RefreshKind::Soft);
    }
}

void CMainFrame::GoToDifference(bool bForward)
{
    if (!m_pPanes->GoToDifference(bForward, m_settings.nIncludeFoldersForDiffs != 0)) {
        statusBar()->showMessage(
            bForward ? QStringLiteral("No more differences below.") : QStringLiteral("No more differences above."),
            4000);
    }
}

void CMainFrame::SetIncludeFolders(bool bInclude)
{
    m_settings.nIncludeFoldersForDiffs = bInclude ? 1 : 0;
    CSettingsStore().WriteInt("Settings", "IncludeFoldersForDiffs", m_settings.nIncludeFoldersForDiffs);
}
