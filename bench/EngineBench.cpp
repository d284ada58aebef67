// Timings of the comparison engine that the benchmark script prints beside reference tools.
//   bench_engine contents LEFT RIGHT [REPEATS]   best time of CompareFileContents on two files
//   bench_engine merge N                         time to merge N left and N right entries into one folder
//   bench_engine create FOLDER N                 time to create N empty files in folders of 40, one thread
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

// The floor of writing a mirror file by file: the same number of empty files, made one after another.
int BenchCreate(const char* pFolder, int nFiles)
{
    const auto start = Clock::now();
    int nFolderFd = -1;
    for (int i = 0; i < nFiles; ++i) {
        if (i % 40 == 0) {
            if (nFolderFd >= 0) {
                ::close(nFolderFd);
            }
            const std::string strFolder = std::string(pFolder) + "/d" + std::to_string(i / 40);
            ::mkdir(strFolder.c_str(), 0755);
            nFolderFd = ::open(strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        }
        const std::string strName = "f" + std::to_string(i);
        const int fd = ::openat(nFolderFd, strName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0) {
            std::perror("bench_engine create");
            return 1;
        }
        ::close(fd);
    }
    if (nFolderFd >= 0) {
        ::close(nFolderFd);
    }
    std::printf("%.4f\n", Seconds(start));
    return 0;
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
    if (argc >= 4 && std::strcmp(argv[1], "create") == 0) {
        return BenchCreate(argv[2], std::atoi(argv[3]));
    }
    std::fputs(
        "usage: bench_engine contents LEFT RIGHT [REPEATS] | tree LEFT RIGHT [THREADS] | merge N | create FOLDER N\n",
        stderr);
    return 2;
}
