#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QDateTime>
#include <QString>

#include "app/PaneSettings.h"
#include "app/TreeFilter.h"
#include "app/TreeSnapshot.h"

enum class ReportLayout
{
    Summary, // the header with the counts and bytes per status
    SideBySide, // every item with both sides, indented by folder, as the panes show it
    ByStatus // items grouped under Diff, local only, FTP only, undecided, same
};

// What a report is about: both roots (the FTP side without a password), when and how it was compared.
struct ReportHeader
{
    QString strLocal;
    QString strRemote;
    QDateTime made;
    long long nCacheKb = -1; // files up to this size were downloaded and compared by contents; -1 unknown
    int nComparedByContents = 0;
};

// A job of the transfer list, for the appendix.
struct ReportJob
{
    QString strName;
    QString strOperation;
    QString strStatus;
    QString strMessage;
};

struct ReportOptions
{
    ReportLayout layout = ReportLayout::SideBySide;
    CTreeFilterRule rule;
    bool bAppendix = false;
};

// One line of the report: a node of the snapshot and how deep it stands.
struct ReportLine
{
    int nNode = 0;
    int nDepth = 0;
};

struct ReportSection
{
    QString strTitle; // empty for the one section of the side-by-side layout
    StatusClass nClass = CLASS_SAME;
    std::vector<ReportLine> lines;
};

// The texts of one line, as every output shows them.
struct ReportCells
{
    QString strName;
    std::array<QString, 2> size;
    std::array<QString, 2> time;
    std::array<QString, 2> version;
    QString strVerdict;
    StatusClass nClass = CLASS_SAME;
};

// A report of a comparison, worked out once and rendered as text, HTML, PDF or on a printer.
class CReport
{
public:
    std::shared_ptr<const CTreeSnapshot> pSnapshot;
    ReportHeader header;
    ReportOptions options;
    std::vector<ReportSection> sections;
    std::vector<ReportJob> jobs;
    bool bVersions = false; // some shown line has a version text: the outputs give versions a column

    [[nodiscard]] ReportCells CellsOf(const ReportLine& line) const;
    // The name a line shows: indented by depth, or the path below the root in the by-status layout.
    [[nodiscard]] QString NameOf(const ReportLine& line) const;
    [[nodiscard]] long long LineCount() const;
    // The header's lines as "Name: value" pairs, in order.
    [[nodiscard]] std::vector<std::pair<QString, QString>> HeaderFields() const;
    // The counts table: per status its name, items and bytes.
    struct Count
    {
        QString strName;
        long long nItems;
        long long nBytes;
    };
    [[nodiscard]] std::vector<Count> Counts() const;
};

// Works the report out; nothing when cancelled (checked every few thousand nodes).
std::optional<CReport> BuildReport(std::shared_ptr<const CTreeSnapshot> pSnapshot, const ReportHeader& header,
    const ReportOptions& options, std::vector<ReportJob> jobs = {}, const std::atomic<bool>* pCancel = nullptr);

// Plain text with aligned columns, for a terminal or a file.
QString RenderReportText(const CReport& report);
// One self-contained HTML file, coloured as the panes are (readable without the colours too).
QString RenderReportHtml(const CReport& report, const CPaneSettings& colours);
