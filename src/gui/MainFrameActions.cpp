#include "gui/MainFrame.h"

#include <QApplication>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QTreeView>

#include "gui/ActionMaker.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonPanes.h"
#include "gui/TraceView.h"
#include "gui/dialogs/TimerIntervalDialog.h"
#include "support/SettingsStore.h"
#include "support/Version.h"

QAction* CMainFrame::Action(const QString& strName) const
{
    return findChild<QAction*>(strName, Qt::FindDirectChildrenOnly);
}

void CMainFrame::BuildActions()
{
    connect(MakeAction(this, "open", QStringLiteral("&Open Comparison..."),
                QStringLiteral("Compare a local folder with an FTP folder"), { QKeySequence::Open }),
        &QAction::triggered, this, &CMainFrame::AskOpenComparison);
    connect(MakeAction(this, "close", QStringLiteral("&Close Comparison"),
                QStringLiteral("Close the comparison and its FTP connection")),
        &QAction::triggered, this, [this] {
            if (m_pDocument->HasRunningJobs()
                && !m_askQuit(
                    QStringLiteral("File transfer isn't complete yet. Cancel it and close the comparison?"))) {
                return;
            }
            m_pDocument->Close();
            ShowSnapshot(CTreeSnapshot::Empty());
            m_pPanes->SetRootTexts({}, {});
            UpdateCommands();
        });
    connect(MakeAction(this, "quit", QStringLiteral("E&xit"), QStringLiteral("Quit Quorvel"), { QKeySequence::Quit }),
        &QAction::triggered, this, &QWidget::close);

    connect(MakeAction(this, "refresh", QStringLiteral("&Refresh"),
                QStringLiteral("Compare again from the local folder and the mirror, without listing the FTP side"),
                { QKeySequence(Qt::Key_F5) }),
        &QAction::triggered, this, [this] { RefreshComparison(RefreshKind::Soft); });
    connect(MakeAction(this, "reloadLocal", QStringLiteral("Reload &Local Side"),
                QStringLiteral("Read the local folder again and compare")),
        &QAction::triggered, this, [this] { RefreshComparison(RefreshKind::ReloadLocal); });
    connect(MakeAction(this, "reloadRemote", QStringLiteral("Reload &FTP Side"),
                QStringLiteral("List every FTP folder again and compare"), { QKeySequence(Qt::CTRL | Qt::Key_F5) }),
        &QAction::triggered, this, [this] { RefreshComparison(RefreshKind::ReloadRemote); });
    connect(MakeAction(this, "fullRescan", QStringLiteral("F&ull Rescan"),
                QStringLiteral("List the FTP side again and fetch every cached copy again, then compare"),
                { QKeySequence(Qt::SHIFT | Qt::Key_F5) }),
        &QAction::triggered, this, [this] { RefreshComparison(RefreshKind::FullRescan); });

    connect(MakeAction(this, "nextDiff", QStringLiteral("&Next Difference"),
                QStringLiteral("Go to the next item that differs, opening folders on the way"),
                { QKeySequence(Qt::ALT | Qt::Key_Down) }),
        &QAction::triggered, this, [this] { GoToDifference(true); });
    connect(MakeAction(this, "prevDiff", QStringLiteral("&Previous Difference"),
                QStringLiteral("Go to the previous item that differs, opening folders on the way"),
                { QKeySequence(Qt::ALT | Qt::Key_Up) }),
        &QAction::triggered, this, [this] { GoToDifference(false); });
    QAction* pInclude = MakeAction(this, "includeFolders", QStringLiteral("&Include Folders to Diffs"),
        QStringLiteral("Next and previous difference also stop at folders that exist on one side only"));
    pInclude->setCheckable(true);
    pInclude->setChecked(m_settings.nIncludeFoldersForDiffs != 0);
    connect(pInclude, &QAction::toggled, this, &CMainFrame::SetIncludeFolders);
    QAction* pOnlyDiff = MakeAction(this, "onlyDiff", QStringLiteral("Show Only &Differences"),
        QStringLiteral("Hide the files that are the same on both sides"), { QKeySequence(Qt::CTRL | Qt::Key_D) });
    pOnlyDiff->setCheckable(true);
    connect(pOnlyDiff, &QAction::toggled, this, [this](bool bOnly) { m_pFilter->SetOnlyDifferences(bOnly); });
    connect(MakeAction(this, "expandAll", QStringLiteral("&Expand All"), QStringLiteral("Open every folder")),
        &QAction::triggered, this, [this] { m_pPanes->ExpandAll(); });
    connect(MakeAction(this, "collapseAll", QStringLiteral("C&ollapse All"), QStringLiteral("Close every folder")),
        &QAction::triggered, this, [this] { m_pPanes->CollapseAll(); });
    connect(MakeAction(this, "switchPane", QStringLiteral("&Switch Pane"), QStringLiteral("Move to the other pane"),
                { QKeySequence(Qt::ALT | Qt::Key_PageDown), QKeySequence(Qt::ALT | Qt::Key_PageUp) }),
        &QAction::triggered, this, [this] { m_pPanes->FocusPane(1 - m_pPanes->ActiveSide()); });
    connect(MakeAction(this, "filter", QStringLiteral("&Filter by Name"),
                QStringLiteral("Show only the names that match (*.html, part of a name)"), { QKeySequence::Find }),
        &QAction::triggered, this, [this] {
            m_pNameFilter->setFocus();
            m_pNameFilter->selectAll();
        });

    QAction* pTimer = MakeAction(this, "timer", QStringLiteral("&Start/Stop timer"),
        QStringLiteral("Refresh the comparison at a fixed interval while it holds at most 100 files"));
    pTimer->setCheckable(true);
    connect(pTimer, &QAction::triggered, this, [this] { StartStopTimer(); });
    connect(MakeAction(this, "report", QStringLiteral("&Report..."),
                QStringLiteral("Save or print what the comparison shows: text, HTML, PDF or the printer"),
                { QKeySequence::Print }),
        &QAction::triggered, this, &CMainFrame::ShowReportDialog);
    connect(MakeAction(this, "siteManager", QStringLiteral("&Site Manager..."),
                QStringLiteral("Keep FTP sites with their passwords and open a comparison of one"),
                { QKeySequence(Qt::CTRL | Qt::Key_M) }),
        &QAction::triggered, this, &CMainFrame::ShowSiteManager);
    connect(MakeAction(this, "preferences", QStringLiteral("&Preferences..."),
                QStringLiteral("Panes, connection, transfers, log, programs and messages"),
                { QKeySequence::Preferences, QKeySequence(Qt::CTRL | Qt::Key_Comma) }),
        &QAction::triggered, this, &CMainFrame::ShowPreferences);
    connect(MakeAction(this, "timerInterval", QStringLiteral("Change Timer &Interval (in Seconds)..."),
                QStringLiteral("How often the timer refreshes the comparison")),
        &QAction::triggered, this, &CMainFrame::ChangeTimerInterval);
    connect(MakeAction(this, "copyTrace", QStringLiteral("&Copy Trace Lines"),
                QStringLiteral("Copy the selected trace lines (all when none is selected) to the clipboard")),
        &QAction::triggered, this, [this] { m_pTrace->CopySelection(); });
    connect(MakeAction(this, "clearTrace", QStringLiteral("C&lear Trace"), QStringLiteral("Empty the trace pane")),
        &QAction::triggered, this, [this] { m_pTrace->clear(); });
    connect(MakeAction(this, "about", QStringLiteral("&About Quorvel"), QStringLiteral("Version and licence")),
        &QAction::triggered, this, [this] {
            QMessageBox::about(this, QStringLiteral("About Quorvel"),
                QStringLiteral("<b>Quorvel ") + QLatin1String(QUORVEL_VERSION)
                    + QStringLiteral(
                        "</b><p>Compares a local folder with an FTP folder and keeps the two in step.</p>"));
        });
}

void CMainFrame::BuildMenus()
{
    const auto add = [this](QMenu* pMenu, std::initializer_list<const char*> names) {
        for (const char* pName : names) {
            if (pName == nullptr) {
                pMenu->addSeparator();
            } else {
                pMenu->addAction(Action(QLatin1String(pName)));
            }
        }
    };
    add(menuBar()->addMenu(QStringLiteral("&File")),
        { "open", "siteManager", "close", nullptr, "report", nullptr, "quit" });
    add(menuBar()->addMenu(QStringLiteral("&Commands")),
        { "upload", "download", "copyDifferences", "copyWithinFtp", nullptr, "copyFiles", "pasteFiles", nullptr,
            "deleteItems", "renameItem", "multiRename", "newFolder", nullptr, "openItem", "editItem", "viewBoth",
            "showInFolder" });
    add(menuBar()->addMenu(QStringLiteral("&View")),
        { "refresh", "reloadLocal", "reloadRemote", "fullRescan", nullptr, "onlyDiff", "filter", nullptr, "expandAll",
            "collapseAll" });
    add(menuBar()->addMenu(QStringLiteral("&Go")), { "nextDiff", "prevDiff", "includeFolders", nullptr, "switchPane" });
    add(menuBar()->addMenu(QStringLiteral("&Tools")),
        { "timer", "timerInterval", nullptr, "copyTrace", "clearTrace", nullptr, "preferences" });
    add(menuBar()->addMenu(QStringLiteral("&Help")), { "about" });

    for (int nSide = 0; nSide < 2; ++nSide) {
        QTreeView* pPane = m_pPanes->Pane(nSide);
        pPane->setContextMenuPolicy(Qt::ActionsContextMenu);
        for (const char* pName : { "nextDiff", "prevDiff", "expandAll", "collapseAll", "refresh" }) {
            pPane->addAction(Action(QLatin1String(pName)));
        }
    }
}

void CMainFrame::BuildToolBar()
{
    QToolBar* pBar = addToolBar(QStringLiteral("Main"));
    pBar->setObjectName(QStringLiteral("mainToolBar"));
    pBar->setMovable(false);
    pBar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QStyle* pStyle = style();
    Action(QStringLiteral("open"))->setIcon(pStyle->standardIcon(QStyle::SP_DialogOpenButton));
    Action(QStringLiteral("refresh"))->setIcon(pStyle->standardIcon(QStyle::SP_BrowserReload));
    Action(QStringLiteral("prevDiff"))->setIcon(pStyle->standardIcon(QStyle::SP_ArrowUp));
    Action(QStringLiteral("nextDiff"))->setIcon(pStyle->standardIcon(QStyle::SP_ArrowDown));
    Action(QStringLiteral("onlyDiff"))->setIcon(pStyle->standardIcon(QStyle::SP_FileDialogDetailedView));
    Action(QStringLiteral("upload"))->setIcon(pStyle->standardIcon(QStyle::SP_ArrowRight));
    Action(QStringLiteral("download"))->setIcon(pStyle->standardIcon(QStyle::SP_ArrowLeft));
    Action(QStringLiteral("deleteItems"))->setIcon(pStyle->standardIcon(QStyle::SP_TrashIcon));
    for (const char* pName : std::initializer_list<const char*> {
             "open", "refresh", "prevDiff", "nextDiff", "onlyDiff", nullptr, "upload", "download", "deleteItems" }) {
        if (pName == nullptr) {
            pBar->addSeparator();
        } else {
            pBar->addAction(Action(QLatin1String(pName)));
        }
    }
    pBar->addSeparator();
    m_pNameFilter = new QLineEdit(this);
    m_pNameFilter->setObjectName(QStringLiteral("nameFilter"));
    m_pNameFilter->setPlaceholderText(QStringLiteral("Filter by name (Ctrl+F)"));
    m_pNameFilter->setClearButtonEnabled(true);
    m_pNameFilter->setMaximumWidth(260);
    pBar->addWidget(m_pNameFilter);
    connect(m_pNameFilter, &QLineEdit::textChanged, this, [this](const QString& strText) {
        m_pFilter->SetNameFilter(strText);
        if (!strText.trimmed().isEmpty()) {
            m_pPanes->ExpandAll();
        }
    });
}

void CMainFrame::UpdateCommands()
{
    const bool bOpen = m_pDocument->View() != nullptr;
    const bool bFtp = bOpen && IsFtpLocation(m_pDocument->Request().strRight);
    Action(QStringLiteral("open"))->setEnabled(!IsBusy());
    Action(QStringLiteral("close"))->setEnabled(bOpen && !IsBusy());
    for (const char* pName : { "refresh", "reloadLocal", "report" }) {
        Action(QLatin1String(pName))->setEnabled(bOpen && !IsBusy());
    }
    for (const char* pName : { "reloadRemote", "fullRescan" }) {
        Action(QLatin1String(pName))->setEnabled(bFtp && !IsBusy());
    }
    UpdatePaneCommands();
}

void CMainFrame::ChangeTimerInterval()
{
    auto* pDialog = new CTimerIntervalDialog(m_refreshTimer.Interval(), this);
    pDialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(pDialog, &QDialog::accepted, this, [this, pDialog] {
        m_refreshTimer.SetInterval(pDialog->Seconds());
        CSettingsStore().WriteInt("Misc.", "AutoRefreshSeconds", pDialog->Seconds());
        if (m_refreshTimer.IsRunning()) {
            m_refreshTimer.Start();
            m_pAutoRefresh->start(static_cast<int>(m_refreshTimer.Interval() * 1000));
        }
    });
    pDialog->open();
}
