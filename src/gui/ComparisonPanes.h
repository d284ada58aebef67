#pragma once

#include <memory>
#include <vector>

#include <QSplitter>

#include "gui/PaneView.h"

class CComparisonFilter;
class CComparisonModel;
class CTreeSnapshot;
class QItemSelectionModel;
class QLabel;
struct CPaneSettings;

// What the panes showed before a reset: nodes of the snapshot they showed, found again by key when a new
// snapshot comes in.
struct PaneState
{
    std::shared_ptr<const CTreeSnapshot> pSnapshot;
    std::vector<int> expanded;
    std::vector<int> selected;
    int nCurrent = 0; // 0: none
    int nScroll = 0;
};

// The two comparison panes: one proxy, two tree views side by side, the local side's columns on the left
// and the FTP side's on the right, with one selection model. Expanding, collapsing, scrolling and column
// widths are kept in step, so that a row always faces its counterpart.
class CComparisonPanes : public QSplitter
{
    Q_OBJECT

public:
    CComparisonPanes(CComparisonFilter& filter, const CPaneSettings& settings, QWidget* pParent = nullptr);

    [[nodiscard]] CPaneView* Pane(int nSide) const { return m_pViews[nSide]; }
    [[nodiscard]] QItemSelectionModel* Selection() const;
    // The pane that has (or last had) the focus.
    [[nodiscard]] int ActiveSide() const { return m_nActiveSide; }
    void FocusPane(int nSide);
    void SetRootTexts(const QString& strLocal, const QString& strRight);
    // Font, columns and grid lines from the settings.
    void ApplySettings(const CPaneSettings& settings);

    // Moves to the next (or previous) item in display order that differs, expanding folders on the way;
    // false when there is none. Folders on one side count when bIncludeFolders is set.
    bool GoToDifference(bool bForward, bool bIncludeFolders);

    [[nodiscard]] PaneState SaveState() const;
    void RestoreState(const PaneState& state);
    void ExpandAll();
    void CollapseAll();

signals:
    void ActivePaneChanged(int nSide);
    // Alt+Down (bForward) or Alt+Up in a pane.
    void DifferenceRequested(bool bForward);

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;

private:
    void MirrorExpansion(int nFromSide, const QModelIndex& index, bool bExpanded);
    [[nodiscard]] bool IsDifference(const QModelIndex& index, bool bIncludeFolders) const;
    [[nodiscard]] QModelIndex NextInDisplayOrder(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex PreviousInDisplayOrder(const QModelIndex& index) const;
    // The item after index and everything below it: its next sibling, or the next sibling of a folder above.
    [[nodiscard]] QModelIndex NextPastSubtree(const QModelIndex& index) const;
    void RevealAndSelect(const QModelIndex& index);

    CComparisonFilter& m_filter;
    CPaneView* m_pViews[2] {};
    QLabel* m_pRootLabels[2] {};
    int m_nActiveSide = 0;
    bool m_bMirroring = false;
    PaneState m_savedState;
    bool m_bRestoring = false;
    // Open folders that the filter hides: open again when the filter shows them, while the snapshot stays.
    PaneState m_hiddenOpen;
};
