// How the comparison panes cope with a big tree: 100,000 files in 2,000 folders. Each side runs in a process
// of its own so that its memory is its own: Quorvel's snapshot, model and filter under two tree views,
// against the same rows loaded into a QStandardItemModel under a QSortFilterProxyModel, as a naive window
// would. Prints one table: time to a shown, scrollable tree, to expand everything, to toggle "only
// differences", and the memory the display adds per item; each the best of three runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <vector>

#include <QApplication>
#include <QProcess>
#include <QScrollBar>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTreeView>

#include "app/PaneSettings.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "support/SettingsStore.h"
#include "tree/FileTexts.h"
#include "tree/TreeOperations.h"

namespace {

constexpr int kFolders = 2000;
constexpr int kFilesPerFolder = 50;

long ResidentKb()
{
    std::ifstream status("/proc/self/status");
    std::string strLine;
    while (std::getline(status, strLine)) {
        if (strLine.rfind("VmRSS:", 0) == 0) {
            return std::stol(strLine.substr(6));
        }
    }
    return 0;
}

double Seconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Lets the views lay out and paint what they show.
void Settle(QWidget& widget)
{
    widget.repaint();
    QApplication::processEvents();
}

// One file in twenty differs, one in fifty is on one side only: a web site after a day's edits.
CFileItemPtr MakeTree()
{
    CFileItemPtr pRoot = NewItem();
    const QString strTime = MakeTimeText(1'700'000'000);
    for (int nFolder = 0; nFolder < kFolders; ++nFolder) {
        CFileItemPtr pFolder = NewItem();
        pFolder->kind = KIND_DIR;
        pFolder->status = DIR_BOTH;
        pFolder->strName = QStringLiteral("folder%1").arg(nFolder, 4, 10, QLatin1Char('0'));
        pFolder->strPaths[0] = QStringLiteral("/local");
        pFolder->strPaths[1] = QStringLiteral("/mirror");
        CFileItem* pLiveFolder = AddItem(std::move(pFolder), pRoot.get());
        for (int nFile = 0; nFile < kFilesPerFolder; ++nFile) {
            CFileItemPtr pFile = NewItem();
            pFile->kind = KIND_FILE;
            const int nKind = (nFolder * kFilesPerFolder + nFile) % 100;
            pFile->status = nKind < 5 ? FILE_DIFF
                : nKind == 5          ? FILE_LEFT_ONLY
                : nKind == 6          ? FILE_RIGHT_ONLY
                                      : FILE_SAME;
            pFile->strName = QStringLiteral("page%1.html").arg(nFile);
            for (int nSide = 0; nSide < 2; ++nSide) {
                if ((pFile->status == FILE_LEFT_ONLY && nSide == 1)
                    || (pFile->status == FILE_RIGHT_ONLY && nSide == 0)) {
                    continue;
                }
                pFile->strPaths[nSide] = QString(QStringLiteral("/side/") + pLiveFolder->strName);
                pFile->strSize[nSide] = MakeSizeText(static_cast<std::uint64_t>(1000 + nFile * 37));
                pFile->strTime[nSide] = strTime;
            }
            AddItem(std::move(pFile), pLiveFolder);
        }
    }
    return pRoot;
}

// Quorvel: snapshot, one model, one filter, two views.
void RunOurs()
{
    CFileItemPtr pRoot = MakeTree();
    CSettingsStore store;
    const CPaneSettings settings = CPaneSettings::Read(store);
    const long nBefore = ResidentKb();
    CComparisonModel model(settings);
    CComparisonFilter filter(model);
    CComparisonPanes panes(filter, settings);
    panes.resize(1400, 800);
    panes.show();
    const double dShown = Seconds([&] {
        model.SetSnapshot(CTreeSnapshot::Take(pRoot.get()));
        Settle(panes);
        panes.Pane(0)->verticalScrollBar()->setValue(panes.Pane(0)->verticalScrollBar()->maximum());
        Settle(panes);
    });
    const double dExpand = Seconds([&] {
        panes.ExpandAll();
        Settle(panes);
    });
    const long nAfter = ResidentKb();
    const double dToggle = Seconds([&] {
        filter.SetOnlyDifferences(true);
        Settle(panes);
    });
    std::printf("%.3f %.3f %.3f %.1f\n", dShown, dExpand, dToggle,
        static_cast<double>(nAfter - nBefore) * 1024.0 / (kFolders * (kFilesPerFolder + 1)));
}

// A naive window: every cell a QStandardItem, the status in a role, Qt's recursive filtering.
void RunNaive()
{
    CFileItemPtr pRoot = MakeTree();
    const long nBefore = ResidentKb();
    QStandardItemModel model;
    QSortFilterProxyModel filter;
    filter.setRecursiveFilteringEnabled(true);
    filter.setFilterRole(Qt::UserRole);
    filter.setSourceModel(&model);
    QTreeView left;
    QTreeView right;
    for (QTreeView* pView : { &left, &right }) {
        pView->setModel(&filter);
        pView->setUniformRowHeights(true);
        pView->resize(700, 800);
        pView->show();
    }
    const auto row = [](const CFileItem& item) {
        QList<QStandardItem*> cells;
        for (int nSide = 0; nSide < 2; ++nSide) {
            for (const QString& strText : { item.strName, item.strSize[nSide].Text(), item.strTime[nSide].Text(),
                     item.strVersion[nSide].Text() }) {
                auto* pCell = new QStandardItem(strText);
                pCell->setData(
                    item.kind == KIND_DIR ? QStringLiteral("dir") : QString::number(item.status), Qt::UserRole);
                cells.append(pCell);
            }
        }
        return cells;
    };
    const double dShown = Seconds([&] {
        for (const CFileItem* pFolder = pRoot->pFirstChild; pFolder != nullptr; pFolder = pFolder->pNext) {
            QList<QStandardItem*> folderRow = row(*pFolder);
            for (const CFileItem* pFile = pFolder->pFirstChild; pFile != nullptr; pFile = pFile->pNext) {
                folderRow.first()->appendRow(row(*pFile));
            }
            model.appendRow(folderRow);
        }
        Settle(left);
        left.verticalScrollBar()->setValue(left.verticalScrollBar()->maximum());
        Settle(left);
    });
    const double dExpand = Seconds([&] {
        left.expandAll();
        right.expandAll();
        Settle(left);
    });
    const long nAfter = ResidentKb();
    const double dToggle = Seconds([&] {
        // Only differences: everything but status 0 (Same); folders stay through their children.
        filter.setFilterRegularExpression(QStringLiteral("^[1-4]$"));
        Settle(left);
    });
    std::printf("%.3f %.3f %.3f %.1f\n", dShown, dExpand, dToggle,
        static_cast<double>(nAfter - nBefore) * 1024.0 / (kFolders * (kFilesPerFolder + 1)));
}

constexpr int kRuns = 3;

// The best of kRuns processes, measure by measure: a busy machine only ever makes a run slower.
std::vector<double> Measure(const QString& strMode)
{
    std::vector<double> best;
    for (int nRun = 0; nRun < kRuns; ++nRun) {
        QProcess process;
        process.start(QApplication::applicationFilePath(), { strMode });
        process.waitForFinished(-1);
        const QStringList fields
            = QString::fromLatin1(process.readAllStandardOutput()).trimmed().split(QLatin1Char(' '));
        if (fields.size() != 4) {
            return {};
        }
        for (int i = 0; i < 4; ++i) {
            const double dValue = fields[i].toDouble();
            if (nRun == 0) {
                best.push_back(dValue);
            } else {
                best[static_cast<size_t>(i)] = std::min(best[static_cast<size_t>(i)], dValue);
            }
        }
    }
    return best;
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() > 1 && arguments[1] == QLatin1String("ours")) {
        RunOurs();
        return 0;
    }
    if (arguments.size() > 1 && arguments[1] == QLatin1String("naive")) {
        RunNaive();
        return 0;
    }
    const std::vector<double> ours = Measure(QStringLiteral("ours"));
    const std::vector<double> naive = Measure(QStringLiteral("naive"));
    if (ours.size() != 4 || naive.size() != 4) {
        std::fprintf(stderr, "bench_gui: a measurement failed\n");
        return 1;
    }
    std::printf("%d files in %d folders, two panes, best of %d runs\n\n", kFolders * kFilesPerFolder, kFolders, kRuns);
    std::printf("%-34s %14s %20s %8s\n", "measure", "Quorvel", "QStandardItemModel", "ratio");
    const char* const kNames[] = { "shown and scrolled (s)", "expand everything (s)", "toggle only differences (s)",
        "memory per item (bytes)" };
    for (size_t i = 0; i < 4; ++i) {
        std::printf(
            "%-34s %14.3f %20.3f %7.1fx\n", kNames[i], ours[i], naive[i], ours[i] > 0 ? naive[i] / ours[i] : 0.0);
    }
    return 0;
}
