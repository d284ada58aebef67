// Timings of the comparison engine that the benchmark script prints beside reference tools.
//   bench_engine contents LEFT RIGHT [REPEATS]   best time of CompareFileContents on two files
//   bench_engine merge N                         time to merge N left and N right entries into one folder
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include <QString>

#include "tree/FileContents.h"
#include "tree/FileTree.h"
#include "tree/FolderComparison.h"
#include "tree/TreeOperations.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

int BenchContents(const char* pLeft, const char* pRight, int nRepeats)
{
    double dBest = 1e9;
    int nResult = 0;
    for (int i = 0; i < nRepeats; ++i) {
        const auto start = Clock::now();
        nResult = CompareFileContents(QString::fromLocal8Bit(pLeft), QString::fromLocal8Bit(pRight));
        dBest = std::min(dBest, Seconds(start));
    }
    std::printf("%.4f %d\n", dBest, nResult);
    return 0;
}

int BenchMerge(int nEntries)
{
    std::mt19937 random(1);
    std::vector<QString> names;
    names.reserve(static_cast<size_t>(nEntries));
    for (int i = 0; i < nEntries; ++i) {
        names.push_back(QStringLiteral("file-%1-%2.html").arg(random() % 1000000).arg(i));
    }
    const QString strLeft = QStringLiteral("/local/site");
    const QString strRight = QStringLiteral("/mirror/site");
    CFileTree tree;
    const auto start = Clock::now();
    for (int side = 0; side < 2; ++side) {
        std::shuffle(names.begin(), names.end(), random);
        for (const QString& name : names) {
            CFileItemPtr pItem = NewItem();
            pItem->kind = KIND_FILE;
            pItem->strName = name;
            pItem->strPaths[side] = side == SIDE_LEFT ? strLeft : strRight;
            pItem->status = side == SIDE_LEFT ? FILE_LEFT_ONLY : FILE_RIGHT_ONLY;
            AddItem(std::move(pItem), tree.Root());
        }
    }
    std::printf("%.4f\n", Seconds(start));
    return 0;
}

// Scan and compare phases of a whole-tree comparison, timed apart.
int BenchTree(const char* pLeft, const char* pRight, int nThreads)
{
    const auto start = Clock::now();
    CFolderComparison comparison(QString::fromLocal8Bit(pLeft), QString::fromLocal8Bit(pRight));
    const ComparisonOutcome outcome = comparison.Run(nThreads);
    std::printf("%.4f %s\n", Seconds(start), outcome.bOk ? "ok" : qPrintable(outcome.strError));
    return outcome.bOk ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 4 && std::strcmp(argv[1], "contents") == 0) {
        return BenchContents(argv[2], argv[3], argc >= 5 ? std::atoi(argv[4]) : 5);
    }
    if (argc >= 4 && std::strcmp(argv[1], "tree") == 0) {
        return BenchTree(argv[2], argv[3], argc >= 5 ? std::atoi(argv[4]) : 2);
    }
    if (argc >= 3 && std::strcmp(argv[1], "merge") == 0) {
        return BenchMerge(std::atoi(argv[2]));
    }
    std::fputs("usage: bench_engine contents LEFT RIGHT [REPEATS] | tree LEFT RIGHT [THREADS] | merge N\n", stderr);
    return 2;
}
