#include "gui/ComparisonPanes.h"

#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/PaneSettings.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/PaneView.h"

namespace {

QFont PaneFont(const CPaneSettings& settings)
{
    QFont font(settings.strFontName);
    // A negative size is a character height in pixels, as the settings have always kept it.
    if (settings.nFontSize < 0) {
        font.setPixelSize(-settings.nFontSize + 1);
    } else if (settings.nFontSize > 0) {
        font.setPointSize(settings.nFontSize);
    }
    return font;
}

} // namespace

CComparisonPanes::CComparisonPanes(CComparisonFilter& filter, const CPaneSettings& settings, QWidget* pParent)
    : QSplitter(Qt::Horizontal, pParent)
    , m_filter(filter)
{
    auto* pSelection = new QItemSelectionModel(&filter, this);
    for (int nSide = 0; nSide < 2; ++nSide) {
        auto* pBox = new QWidget(this);
        auto* pLayout = new QVBoxLayout(pBox);
        pLayout->setContentsMargins(0, 0, 0, 0);
        pLayout->setSpacing(2);
        m_pRootLabels[nSide] = new QLabel(pBox);
        m_pRootLabels[nSide]->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_pRootLabels[nSide]->setIndent(4);
        pLayout->addWidget(m_pRootLabels[nSide]);

        auto* pView = new CPaneView(nSide, pBox);
        m_pViews[nSide] = pView;
        pView->setObjectName(nSide == SIDE_LEFT ? QStringLiteral("leftPane") : QStringLiteral("rightPane"));
        pView->setModel(&filter);
        pView->setSelectionModel(pSelection);
        pView->setSelectionMode(QAbstractItemView::ExtendedSelection);
        pView->setSelectionBehavior(QAbstractItemView::SelectRows);
        pView->setUniformRowHeights(true);
        pView->setAllColumnsShowFocus(true);
        pView->setExpandsOnDoubleClick(true);
        // Renaming starts from the window's command (F2), which checks the item first.
        pView->setEditTriggers(QAbstractItemView::NoEditTriggers);
        pView->header()->setStretchLastSection(true);
        pView->header()->setSectionsMovable(false);
        pView->installEventFilter(this);
        pView->setTreePosition(nSide == SIDE_LEFT ? COL_LEFT_NAME : COL_RIGHT_NAME);
        pView->header()->resizeSection(nSide == SIDE_LEFT ? COL_LEFT_NAME : COL_RIGHT_NAME, 260);
        for (int nField = 1; nField < kColumnsPerSide; ++nField) {
            pView->header()->resizeSection(nSide * kColumnsPerSide + nField, nField == 2 ? 120 : 80);
        }
        const QColor background = pView->palette().color(QPalette::Base);
        filter.Model().SetBackground(background);
        pLayout->addWidget(pView);
        addWidget(pBox);
    }
    setChildrenCollapsible(false);
    ApplySettings(settings);

    // A new snapshot or new filter rules reset the filter: what was open and selected is found again.
    connect(&filter, &QAbstractItemModel::modelAboutToBeReset, this, [this] { m_savedState = SaveState(); });
    connect(&filter, &QAbstractItemModel::modelReset, this, [this] {
        RestoreState(m_savedState);
        m_savedState = {};
    });
    for (int nSide = 0; nSide < 2; ++nSide) {
        QTreeView* pView = m_pViews[nSide];
        QTreeView* pOther = m_pViews[1 - nSide];
        connect(pView, &QTreeView::expanded, this,
            [this, nSide](const QModelIndex& index) { MirrorExpansion(nSide, index, true); });
        connect(pView, &QTreeView::collapsed, this,
            [this, nSide](const QModelIndex& index) { MirrorExpansion(nSide, index, false); });
        connect(pView->verticalScrollBar(), &QScrollBar::valueChanged, pOther->verticalScrollBar(),
            [this, pOther](int nValue) {
                if (!m_bMirroring) {
                    m_bMirroring = true;
                    pOther->verticalScrollBar()->setValue(nValue);
                    m_bMirroring = false;
                }
            });
        connect(
            pView->header(), &QHeaderView::sectionResized, this, [this, nSide, pOther](int nSection, int, int nSize) {
                if (m_bMirroring || SideOfColumn(nSection) != nSide) {
                    return;
                }
                m_bMirroring = true;
                pOther->header()->resizeSection(nSection % kColumnsPerSide + (1 - nSide) * kColumnsPerSide, nSize);
                m_bMirroring = false;
            });
    }
}

void CComparisonPanes::ApplySettings(const CPaneSettings& settings)
{
    const QFont font = PaneFont(settings);
    for (int nSide = 0; nSide < 2; ++nSide) {
        CPaneView* pView = m_pViews[nSide];
        pView->setFont(font);
        pView->header()->setFont(font);
        for (int nColumn = 0; nColumn < kComparisonColumns; ++nColumn) {
            const bool bOtherSide = SideOfColumn(nColumn) != nSide;
            const int nField = nColumn % kColumnsPerSide;
            const bool bOff = (nField == 1 && !settings.bFileSize) || (nField == 2 && !settings.bFileTimestamp)
                || (nField == 3 && !settings.bFileVersion);
            pView->setColumnHidden(nColumn, bOtherSide || bOff);
        }
        // Styling the items replaces the native selection painting: it is restated with the palette.
        pView->setStyleSheet(settings.nGridlinesEnabled == 0
                ? QString()
                : QStringLiteral("QTreeView::item { border-bottom: 1px solid palette(midlight); }"
                                 "QTreeView::item:selected { background: palette(highlight);"
                                 " color: palette(highlighted-text); }"));
    }
}

QItemSelectionModel* CComparisonPanes::Selection() const
{
    return m_pViews[SIDE_LEFT]->selectionModel();
}

void CComparisonPanes::SetRootTexts(const QString& strLocal, const QString& strRight)
{
    m_pRootLabels[SIDE_LEFT]->setText(strLocal);
    m_pRootLabels[SIDE_RIGHT]->setText(strRight);
}

void CComparisonPanes::FocusPane(int nSide)
{
    m_pViews[nSide]->setFocus(Qt::OtherFocusReason);
}

bool CComparisonPanes::eventFilter(QObject* pWatched, QEvent* pEvent)
{
    for (int nSide = 0; nSide < 2; ++nSide) {
        if (pWatched != m_pViews[nSide]) {
            continue;
        }
        if (pEvent->type() == QEvent::FocusIn && m_nActiveSide != nSide) {
            m_nActiveSide = nSide;
            emit ActivePaneChanged(nSide);
        }
        if (pEvent->type() == QEvent::KeyPress) {
            const auto* pKey = static_cast<QKeyEvent*>(pEvent);
            // Tab moves to the other pane, on the same row.
            if (pKey->key() == Qt::Key_Tab && pKey->modifiers() == Qt::NoModifier) {
                FocusPane(1 - nSide);
                return true;
            }
            // The tree would take Alt+Up and Alt+Down for plain cursor moves when no shortcut claims them.
            if ((pKey->key() == Qt::Key_Down || pKey->key() == Qt::Key_Up) && pKey->modifiers() == Qt::AltModifier) {
                emit DifferenceRequested(pKey->key() == Qt::Key_Down);
                return true;
            }
        }
    }
    return QSplitter::eventFilter(pWatched, pEvent);
}

void CComparisonPanes::MirrorExpansion(int nFromSide, const QModelIndex& index, bool bExpanded)
{
    if (m_bMirroring) {
        return;
    }
    m_bMirroring = true;
    QTreeView* pOther = m_pViews[1 - nFromSide];
    if (pOther->isExpanded(index) != bExpanded) {
        pOther->setExpanded(index, bExpanded);
    }
    m_bMirroring = false;
    // Expanding can change the scroll range of one view before the other: line them up again (once at the
    // end when many folders are opened at a time, since each alignment lays the view out).
    if (!m_bRestoring) {
        pOther->verticalScrollBar()->setValue(m_pViews[nFromSide]->verticalScrollBar()->value());
    }
}

bool CComparisonPanes::IsDifference(const QModelIndex& index, bool bIncludeFolders) const
{
    const int nClass = index.data(RoleClass).toInt();
    switch (nClass) {
    case CLASS_DIFF:
    case CLASS_LEFT_ONLY:
    case CLASS_RIGHT_ONLY:
    case CLASS_UNKNOWN:
        return true;
    case CLASS_FOLDER_ONE_SIDE:
        return bIncludeFolders;
    default:
        return false;
    }
}

QModelIndex CComparisonPanes::NextInDisplayOrder(const QModelIndex& index) const
{
    if (m_filter.rowCount(index) > 0 && (!index.isValid() || index.column() == 0)) {
        return m_filter.index(0, 0, index);
    }
    return NextPastSubtree(index);
}

QModelIndex CComparisonPanes::NextPastSubtree(const QModelIndex& index) const
{
    for (QModelIndex current = index; current.isValid(); current = current.parent()) {
        const QModelIndex parent = current.parent();
        if (current.row() + 1 < m_filter.rowCount(parent)) {
            return m_filter.index(current.row() + 1, 0, parent);
        }
    }
    return {};
}

QModelIndex CComparisonPanes::PreviousInDisplayOrder(const QModelIndex& index) const
{
    if (!index.isValid()) {
        return {};
    }
    if (index.row() == 0) {
        return index.parent();
    }
    // The last item below the previous sibling.
    QModelIndex current = m_filter.index(index.row() - 1, 0, index.parent());
    while (m_filter.rowCount(current) > 0) {
        current = m_filter.index(m_filter.rowCount(current) - 1, 0, current);
    }
    return current;
}

bool CComparisonPanes::GoToDifference(bool bForward, bool bIncludeFolders)
{
    QModelIndex start = Selection()->currentIndex();
    start = start.isValid() ? start.siblingAtColumn(0) : QModelIndex();
    if (!start.isValid() && !bForward) {
        // From nowhere, backwards starts after the very last item.
        QModelIndex last;
        for (QModelIndex current = NextInDisplayOrder({}); current.isValid(); current = NextInDisplayOrder(current)) {
            last = current;
        }
        if (last.isValid() && IsDifference(last, bIncludeFolders)) {
            RevealAndSelect(last);
            return true;
        }
        start = last;
    }
    for (QModelIndex current = bForward ? NextInDisplayOrder(start) : PreviousInDisplayOrder(start); current.isValid();
         current = bForward ? NextInDisplayOrder(current) : PreviousInDisplayOrder(current)) {
        if (IsDifference(current, bIncludeFolders)) {
            RevealAndSelect(current);
            return true;
        }
    }
    return false;
}

void CComparisonPanes::RevealAndSelect(const QModelIndex& index)
{
    QModelIndexList ancestors;
    for (QModelIndex parent = index.parent(); parent.isValid(); parent = parent.parent()) {
        ancestors.prepend(parent);
    }
    for (const QModelIndex& ancestor : ancestors) {
        m_pViews[m_nActiveSide]->expand(ancestor);
    }
    Selection()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_pViews[m_nActiveSide]->scrollTo(index);
}

PaneState CComparisonPanes::SaveState() const
{
    PaneState state;
    state.pSnapshot = m_filter.Model().SharedSnapshot();
    const CTreeSnapshot& snapshot = *state.pSnapshot;
    for (int nNode = 1; nNode < snapshot.Size(); ++nNode) {
        if (snapshot.Node(nNode).nChildCount == 0) {
            continue;
        }
        const QModelIndex index = m_filter.IndexOfNode(nNode);
        if (index.isValid() && m_pViews[SIDE_LEFT]->isExpanded(index)) {
            state.expanded.push_back(nNode);
        }
    }
    if (m_hiddenOpen.pSnapshot == state.pSnapshot) {
        state.expanded.insert(state.expanded.end(), m_hiddenOpen.expanded.begin(), m_hiddenOpen.expanded.end());
    }
    for (const QModelIndex& index : Selection()->selectedRows()) {
        state.selected.push_back(CComparisonModel::NodeOf(index));
    }
    state.nCurrent = CComparisonModel::NodeOf(Selection()->currentIndex());
    state.nScroll = m_pViews[SIDE_LEFT]->verticalScrollBar()->value();
    return state;
}

void CComparisonPanes::RestoreState(const PaneState& state)
{
    m_hiddenOpen = {};
    const std::shared_ptr<const CTreeSnapshot> pSnapshot = m_filter.Model().SharedSnapshot();
    if (!state.pSnapshot || (state.expanded.empty() && state.selected.empty() && state.nCurrent == 0)) {
        return;
    }
    PaneState now = state;
    if (state.pSnapshot != pSnapshot) {
        // Another snapshot: the nodes are found again by key, all in one search.
        std::vector<int> nodes = state.expanded;
        nodes.insert(nodes.end(), state.selected.begin(), state.selected.end());
        nodes.push_back(state.nCurrent);
        const std::vector<int> found = FindNodesAgain(*state.pSnapshot, nodes, *pSnapshot);
        const auto nExpanded = static_cast<std::ptrdiff_t>(state.expanded.size());
        now.expanded.assign(found.begin(), found.begin() + nExpanded);
        now.selected.assign(found.begin() + nExpanded, found.end() - 1);
        now.nCurrent = found.back();
    }
    now.pSnapshot = pSnapshot;

    m_bRestoring = true;
    m_hiddenOpen.pSnapshot = pSnapshot;
    for (const int nNode : now.expanded) {
        const QModelIndex index = m_filter.IndexOfNode(nNode);
        if (index.isValid()) {
            m_pViews[SIDE_LEFT]->expand(index);
        } else if (nNode > 0) {
            m_hiddenOpen.expanded.push_back(nNode);
        }
    }
    QItemSelection selection;
    for (const int nNode : now.selected) {
        const QModelIndex index = m_filter.IndexOfNode(nNode);
        if (index.isValid()) {
            selection.select(index, index.siblingAtColumn(kComparisonColumns - 1));
        }
    }
    const QModelIndex current = m_filter.IndexOfNode(now.nCurrent);
    if (current.isValid()) {
        Selection()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
    }
    Selection()->select(selection, QItemSelectionModel::ClearAndSelect);
    m_bRestoring = false;
    // The views lay out lazily; the scroll range is right only after that.
    for (QTreeView* pView : m_pViews) {
        pView->doItemsLayout();
    }
    m_pViews[SIDE_LEFT]->verticalScrollBar()->setValue(state.nScroll);
    if (current.isValid()) {
        m_pViews[SIDE_LEFT]->scrollTo(current);
    }
    m_pViews[SIDE_RIGHT]->verticalScrollBar()->setValue(m_pViews[SIDE_LEFT]->verticalScrollBar()->value());
}

void CComparisonPanes::ExpandAll()
{
    m_bMirroring = true;
    m_pViews[SIDE_LEFT]->expandAll();
    m_pViews[SIDE_RIGHT]->expandAll();
    m_bMirroring = false;
}

void CComparisonPanes::CollapseAll()
{
    m_bMirroring = true;
    m_pViews[SIDE_LEFT]->collapseAll();
    m_pViews[SIDE_RIGHT]->collapseAll();
    m_bMirroring = false;
}
