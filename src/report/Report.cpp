#include "report/Report.h"

#include <QLocale>

#include "app/PaneCommandRules.h"
#include "support/TextFormat.h"
#include "tree/FileTexts.h"

namespace {

// The classes of the by-status layout, in the order a reader wants them: what needs doing first.
constexpr StatusClass kStatusOrder[] = { CLASS_DIFF, CLASS_LEFT_ONLY, CLASS_RIGHT_ONLY, CLASS_UNKNOWN, CLASS_SAME };

// The section a node goes to in the by-status layout; a folder on one side goes with that side's items.
StatusClass SectionClassOf(const SnapshotNode& node)
{
    if (node.nClass == CLASS_FOLDER_ONE_SIDE) {
        return node.IsOn(SIDE_LEFT) ? CLASS_LEFT_ONLY : CLASS_RIGHT_ONLY;
    }
    return node.nClass;
}

QString SectionTitle(StatusClass nClass)
{
    switch (nClass) {
    case CLASS_DIFF:
        return QStringLiteral("Different");
    case CLASS_LEFT_ONLY:
        return QStringLiteral("Only on the local side");
    case CLASS_RIGHT_ONLY:
        return QStringLiteral("Only on the FTP side");
    case CLASS_UNKNOWN:
        return QStringLiteral("Undecided");
    default:
        return QStringLiteral("Same");
    }
}

} // namespace

std::optional<CReport> BuildReport(std::shared_ptr<const CTreeSnapshot> pSnapshot, const ReportHeader& header,
    const ReportOptions& options, std::vector<ReportJob> jobs, const std::atomic<bool>* pCancel)
{
    CReport report;
    report.pSnapshot = std::move(pSnapshot);
    report.header = header;
    report.options = options;
    if (options.bAppendix) {
        report.jobs = std::move(jobs);
    }
    const CTreeSnapshot& snapshot = *report.pSnapshot;
    if (options.layout == ReportLayout::Summary || snapshot.Size() <= 1) {
        return report;
    }
    const std::vector<bool> kept = options.rule.KeptNodes(snapshot);
    std::vector<ReportSection> sections;
    if (options.layout == ReportLayout::SideBySide) {
        sections.push_back({ {}, CLASS_SAME, {} });
    } else {
        for (const StatusClass nClass : kStatusOrder) {
            sections.push_back({ SectionTitle(nClass), nClass, {} });
        }
    }
    // Depth first from the root, children in sibling order: the order the panes show.
    std::vector<ReportLine> pending { { 0, -1 } };
    long long nVisited = 0;
    while (!pending.empty()) {
        const ReportLine line = pending.back();
        pending.pop_back();
        if ((++nVisited & 0xFFF) == 0 && pCancel != nullptr && pCancel->load()) {
            return std::nullopt;
        }
        const SnapshotNode& node = snapshot.Node(line.nNode);
        if (line.nNode > 0) {
            for (int nSide = 0; nSide < 2 && !report.bVersions; ++nSide) {
                const QString& strVersion = snapshot.Version(line.nNode, nSide);
                report.bVersions = !strVersion.isEmpty() && strVersion != kUnknownVersion;
            }
            if (options.layout == ReportLayout::SideBySide) {
                sections.front().lines.push_back(line);
            } else if (node.nKind == KIND_FILE || node.nClass == CLASS_FOLDER_ONE_SIDE) {
                const StatusClass nClass = SectionClassOf(node);
                for (ReportSection& section : sections) {
                    if (section.nClass == nClass) {
                        section.lines.push_back({ line.nNode, 0 });
                    }
                }
            }
        }
        // A folder on one side goes whole into its section: what lies below it is said by the folder.
        if (options.layout == ReportLayout::ByStatus && node.nClass == CLASS_FOLDER_ONE_SIDE) {
            continue;
        }
        for (int nChild = node.nFirstChild + node.nChildCount - 1; nChild >= node.nFirstChild; --nChild) {
            if (kept[static_cast<size_t>(nChild)]) {
                pending.push_back({ nChild, line.nDepth + 1 });
            }
        }
    }
    for (ReportSection& section : sections) {
        if (!section.lines.empty() || options.layout == ReportLayout::SideBySide) {
            report.sections.push_back(std::move(section));
        }
    }
    return report;
}

QString CReport::NameOf(const ReportLine& line) const
{
    const SnapshotNode& node = pSnapshot->Node(line.nNode);
    const QString strSuffix = node.nKind == KIND_DIR ? QStringLiteral("/") : QString();
    return options.layout == ReportLayout::ByStatus
        ? QString(RelativePathOf(*pSnapshot, line.nNode) + strSuffix)
        : QString(QString(line.nDepth * 2, QLatin1Char(' ')) + node.strName + strSuffix);
}

ReportCells CReport::CellsOf(const ReportLine& line) const
{
    const CTreeSnapshot& snapshot = *pSnapshot;
    const SnapshotNode& node = snapshot.Node(line.nNode);
    ReportCells cells;
    cells.strName = NameOf(line);
    for (int nSide = 0; nSide < 2; ++nSide) {
        if (node.IsOn(nSide) && node.nKind == KIND_FILE) {
            cells.size[static_cast<size_t>(nSide)] = node.strSize[nSide];
            cells.time[static_cast<size_t>(nSide)] = node.strTime[nSide];
            const QString& strVersion = snapshot.Version(line.nNode, nSide);
            cells.version[static_cast<size_t>(nSide)] = strVersion == kUnknownVersion ? QString() : strVersion;
        }
    }
    cells.strVerdict = VerdictOf(snapshot, line.nNode);
    cells.nClass = node.nClass;
    return cells;
}

long long CReport::LineCount() const
{
    long long nLines = 0;
    for (const ReportSection& section : sections) {
        nLines += static_cast<long long>(section.lines.size());
    }
    return nLines;
}

std::vector<std::pair<QString, QString>> CReport::HeaderFields() const
{
    std::vector<std::pair<QString, QString>> fields;
    fields.emplace_back(QStringLiteral("Local folder"), header.strLocal);
    fields.emplace_back(QStringLiteral("FTP folder"), header.strRemote);
    fields.emplace_back(QStringLiteral("Made"), QLocale::system().toString(header.made, QLocale::ShortFormat));
    fields.emplace_back(QStringLiteral("Method"),
        QStringLiteral("files are Same when their versions, sizes and CRC-32 agree; times are never compared"));
    if (header.nCacheKb >= 0) {
        fields.emplace_back(QStringLiteral("Contents"),
            FormatText("FTP files up to %lld KB downloaded and compared by CRC-32 (%d files); larger ones by size",
                header.nCacheKb, header.nComparedByContents));
    }
    QStringList filter;
    if (options.rule.OnlyDifferences()) {
        filter.append(QStringLiteral("differences only"));
    }
    if (options.rule.ShownClasses() != kAllToggleClasses) {
        QStringList shown;
        for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
            if ((options.rule.ShownClasses() & (1u << nClass)) != 0) {
                shown.append(ClassName(static_cast<StatusClass>(nClass)));
            }
        }
        filter.append(QStringLiteral("showing ") + shown.join(QStringLiteral(", ")));
    }
    if (!options.rule.NameFilter().isEmpty()) {
        filter.append(FormatText("names matching \"%s\"", options.rule.NameFilter()));
    }
    fields.emplace_back(
        QStringLiteral("Shown"), filter.isEmpty() ? QStringLiteral("everything") : filter.join(QStringLiteral("; ")));
    return fields;
}

std::vector<CReport::Count> CReport::Counts() const
{
    std::vector<Count> counts;
    for (int nClass = 0; nClass < kStatusClasses; ++nClass) {
        const ClassTotals& totals = pSnapshot->Totals()[static_cast<size_t>(nClass)];
        counts.push_back({ ClassName(static_cast<StatusClass>(nClass)), totals.nItems, totals.nBytes });
    }
    return counts;
}
