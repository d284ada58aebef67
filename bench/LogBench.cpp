// Cost of one diagnostic-log line. The log opens, writes and closes its file for every line so that it
// survives a crash; this measures that price against the floor of the same three system calls done
// directly, and shows that a switched-off log costs next to nothing in a loop.
#include <fcntl.h>
#include <unistd.h>

#include <QDir>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"

namespace {

void BM_LogSwitchedOff(benchmark::State& state)
{
    SetLogEnabled(false);
    long nItem = 0;
    for (auto _ : state) {
        Log("CompareItem::[%ld] %s is Same", CurrentThreadId(), QStringLiteral("docs/index.html"));
        benchmark::DoNotOptimize(++nItem);
    }
}
BENCHMARK(BM_LogSwitchedOff);

void BM_LogLine(benchmark::State& state)
{
    QTemporaryDir folder;
    qputenv("TMPDIR", QFile::encodeName(folder.path()));
    SetLogEnabled(true);
    SetLogTimestampLines(true);
    MakeLogFilePath(QStringLiteral("QuorvelBench"), QStringLiteral("log"), true);
    for (auto _ : state) {
        Log("CompareItem::[%ld] %s is Same", CurrentThreadId(), QStringLiteral("docs/index.html"));
    }
    SetLogEnabled(false);
}
BENCHMARK(BM_LogLine);

void BM_ReferenceOpenWriteClose(benchmark::State& state)
{
    QTemporaryDir folder;
    const QByteArray path = QFile::encodeName(folder.filePath(QStringLiteral("reference.log")));
    const char line[] = "[03/15/26 14:29:07] CompareItem::[4711] docs/index.html is Same\n";
    for (auto _ : state) {
        const int fd = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        benchmark::DoNotOptimize(::write(fd, line, sizeof line - 1));
        ::close(fd);
    }
}
BENCHMARK(BM_ReferenceOpenWriteClose);

} // namespace

BENCHMARK_MAIN();
