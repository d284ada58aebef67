#include "gui/ComparisonModel.h"

#include "tree/FileTexts.h"

CComparisonModel::CComparisonModel(const CPaneSettings& settings, QObject* pParent)
    : QAbstractItemModel(pParent)
    , m_settings(settings)
    , m_icons(settings)
    , m_pSnapshot(CTreeSnapshot::Empty())
{ }

void CComparisonModel::SetSnapshot(std::shared_ptr<const CTreeSnapshot> pSnapshot)
{
    beginResetModel();
    m_pSnapshot = pSnapshot ? std::move(pSnapshot) : CTreeSnapshot::Empty();
    endResetModel();
}

QModelIndex CComparisonModel::IndexOfNode(int nNode, int nColumn) const
{
    if (nNode <= 0 || nNode >= m_pSnapshot->Size()) {
        return {};
    }
    return createIndex(m_pSnapshot->Node(nNode).nRow, nColumn, static_cast<quintptr>(nNode));
}

void CComparisonModel::SetBackground(const QColor& background)
{
    m_background = background;
}

void CComparisonModel::SetSettings(const CPaneSettings& settings)
{
    beginResetModel();
    m_settings = settings;
    m_icons = CStatusIcons(settings);
    endResetModel();
}

int CComparisonModel::NodeOf(const QModelIndex& index)
{
    return index.isValid() ? static_cast<int>(index.internalId()) : 0;
}

QModelIndex CComparisonModel::index(int nRow, int nColumn, const QModelIndex& parent) const
{
    if (nRow < 0 || nColumn < 0 || nColumn >= kComparisonColumns || parent.column() > 0) {
        return {};
    }
    const SnapshotNode& folder = m_pSnapshot->Node(NodeOf(parent));
    if (nRow >= folder.nChildCount) {
        return {};
    }
    return createIndex(nRow, nColumn, static_cast<quintptr>(folder.nFirstChild) + static_cast<quintptr>(nRow));
}

QModelIndex CComparisonModel::parent(const QModelIndex& child) const
{
    const int nParent = child.isValid() ? m_pSnapshot->Node(NodeOf(child)).nParent : -1;
    if (nParent <= 0) {
        return {};
    }
    return createIndex(m_pSnapshot->Node(nParent).nRow, 0, static_cast<quintptr>(nParent));
}

int CComparisonModel::rowCount(const QModelIndex& parent) const
{
    return parent.column() > 0 ? 0 : m_pSnapshot->Node(NodeOf(parent)).nChildCount;
}

int CComparisonModel::columnCount(const QModelIndex&) const
{
    return kComparisonColumns;
}

bool CComparisonModel::hasChildren(const QModelIndex& parent) const
{
    return rowCount(parent) > 0;
}

Qt::ItemFlags CComparisonModel::flags(const QModelIndex& index) const
{
    Qt::ItemFlags flags = QAbstractItemModel::flags(index);
    // Spares the views an expanded mark per file when everything is expanded.
    if (!index.isValid()) {
        return flags;
    }
    const SnapshotNode& node = m_pSnapshot->Node(NodeOf(index));
    if (node.nKind == KIND_FILE) {
        flags |= Qt::ItemNeverHasChildren;
    }
    if (index.column() % kColumnsPerSide == 0 && node.IsOn(SideOfColumn(index.column()))) {
        flags |= Qt::ItemIsEditable;
    }
    return flags;
}

bool CComparisonModel::setData(const QModelIndex& index, const QVariant& value, int nRole)
{
    if (nRole != Qt::EditRole || !(flags(index) & Qt::ItemIsEditable)) {
        return false;
    }
    const QString strNewName = value.toString();
    if (strNewName != m_pSnapshot->Node(NodeOf(index)).strName) {
        emit RenameRequested(NodeOf(index), SideOfColumn(index.column()), strNewName);
    }
    return false;
}

QColor CComparisonModel::ColorOf(const SnapshotNode& node) const
{
    return ReadableOn(ColorFromRef(m_settings.ColourOf(node)), m_background);
}

namespace {

// What the user should know of how much of a side was read; null when all of it was.
const char* HowReadText(SideRead nRead)
{
    switch (nRead) {
    case SideRead::Full:
        break;
    case SideRead::Unreadable:
        return "could not be read";
    case SideRead::LinkNotFollowed:
        return "a link: shown, never followed, copied into or deleted through";
    case SideRead::ListingEmpty:
        return "listed as empty, which a failed listing looks like too";
    case SideRead::ListingPartial:
        return "not listed in full: nothing is deleted on its strength";
    case SideRead::ListingFailed:
        return "its listing failed: nothing in it is known";
    }
    return nullptr;
}

} // namespace

QString CComparisonModel::ToolTipOf(int nNode) const
{
    const SnapshotNode& node = m_pSnapshot->Node(nNode);
    QString strTip = QStringLiteral("<b>") + VerdictOf(*m_pSnapshot, nNode).toHtmlEscaped() + QStringLiteral("</b>");
    if (const char* pBasis = VerdictBasisText(node.nBasis); *pBasis != '\0') {
        strTip += QStringLiteral("<br>Decided by: ") + QLatin1String(pBasis);
    }
    if (*node.pMinuteNote != '\0') {
        strTip += QStringLiteral("<br><i>Note: ") + QLatin1String(node.pMinuteNote) + QStringLiteral("</i>");
    }
    static const char* const kSideNames[2] = { "Local", "FTP" };
    for (int nSide = 0; nSide < 2; ++nSide) {
        strTip += QStringLiteral("<br>") + QLatin1String(kSideNames[nSide]) + QStringLiteral(": ");
        if (!node.IsOn(nSide)) {
            strTip += QStringLiteral("<i>missing</i>");
            continue;
        }
        strTip += m_pSnapshot->FullPath(nNode, nSide).toHtmlEscaped();
        if (const char* pListedBy = ListedByText(node.nListedBy); nSide == SIDE_RIGHT && *pListedBy != '\0') {
            strTip += QStringLiteral("<br>&nbsp;&nbsp;listed with ") + QLatin1String(pListedBy)
                + (node.nListedBy == ListedBy::Mlsd ? QStringLiteral(" (exact sizes and times)")
                                                    : QStringLiteral(" (times to the minute)"));
        }
        if (const char* pHow = HowReadText(node.nRead[nSide]); pHow != nullptr) {
            strTip += QStringLiteral("<br>&nbsp;&nbsp;<i>") + QLatin1String(pHow) + QStringLiteral("</i>");
        }
        if (node.nKind == KIND_FILE) {
            strTip += QStringLiteral("<br>&nbsp;&nbsp;") + node.strSize[nSide].toHtmlEscaped()
                + QStringLiteral(" bytes, ") + node.strTime[nSide].toHtmlEscaped();
            if (const QString& strVersion = m_pSnapshot->Version(nNode, nSide); !strVersion.isEmpty()) {
                strTip += QStringLiteral(", version ") + strVersion.toHtmlEscaped();
            }
        }
    }
    return strTip;
}

QVariant CComparisonModel::data(const QModelIndex& index, int nRole) const
{
    if (!index.isValid()) {
        return {};
    }
    const int nNode = NodeOf(index);
    const SnapshotNode& node = m_pSnapshot->Node(nNode);
    const int nSide = SideOfColumn(index.column());
    const int nField = index.column() % kColumnsPerSide;
    switch (nRole) {
    case Qt::EditRole:
        return nField == 0 ? QVariant(node.strName) : QVariant();
    case Qt::DisplayRole:
        if (!node.IsOn(nSide)) {
            return {};
        }
        switch (nField) {
        case 0:
            return node.strName;
        case 1:
            return node.strSize[nSide];
        case 2:
            return node.strTime[nSide];
        default:
            return m_pSnapshot->Version(nNode, nSide);
        }
    case Qt::DecorationRole:
        if (nField != 0) {
            return {};
        }
        if (!node.IsOn(nSide)) {
            return m_icons.Icon(node.nKind == KIND_DIR ? ICON_BLANK_DIR : ICON_BLANK_FILE);
        }
        return m_icons.Icon(node.nKind == KIND_DIR ? ICON_CLOSE : node.icon[nSide]);
    case Qt::ForegroundRole:
        return ColorOf(node);
    case Qt::ToolTipRole:
        return ToolTipOf(nNode);
    case Qt::TextAlignmentRole:
        return nField == 1 ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case RoleNode:
        return nNode;
    case RoleClass:
        return static_cast<int>(node.nClass);
    case RoleKey:
        return m_pSnapshot->KeyOf(nNode);
    default:
        return {};
    }
}

QVariant CComparisonModel::headerData(int nSection, Qt::Orientation orientation, int nRole) const
{
    if (orientation != Qt::Horizontal || nRole != Qt::DisplayRole) {
        return {};
    }
    switch (nSection % kColumnsPerSide) {
    case 0:
        return nSection < kColumnsPerSide ? QStringLiteral("Local") : QStringLiteral("FTP");
    case 1:
        return QStringLiteral("Size");
    case 2:
        return QStringLiteral("Time");
    default:
        return QStringLiteral("Version");
    }
}
