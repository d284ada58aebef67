#include <thread>

#include "ftp/InternetSession.h"
#include "ftp/TraceBuffer.h"
#include "support/LogFixture.h"
#include "support/ThreadId.h"

namespace {

class CRecordingObserver final : public ITraceObserver
{
public:
    void OnTraceLine(const TraceLine& line, bool bEmptiedFirst) override
    {
        lines.push_back(line);
        nEmptied += bEmptiedFirst ? 1 : 0;
    }
    std::vector<TraceLine> lines;
    int nEmptied = 0;
};

using TraceBuffer = LogFixture;

TEST_F(TraceBuffer, EveryKindHasItsExactPrefixAndColour)
{
    CTraceBuffer trace;
    const QString strId = QStringLiteral("[%1] ").arg(CurrentThreadId());
    const struct
    {
        int nKind;
        const char* prefix;
        TraceColor color;
    } cases[] = {
        { 1, "command> ", { 0, 0, 255 } },
        { 2, "status>       ", { 0, 130, 0 } },
        { 3, "error>         ", { 255, 0, 0 } },
        { 4, "                  ", { 0, 255, 0 } },
        { 0, "                  ", { 0, 0, 0 } },
        { 7, "                  ", { 0, 0, 0 } },
    };
    for (const auto& c : cases) {
        trace.AddTraceLine(c.nKind, "text %d", c.nKind);
        const TraceLine line = trace.Lines().back();
        EXPECT_EQ(
            line.strText, QString::fromLatin1(c.prefix) + strId + QStringLiteral("text ") + QString::number(c.nKind));
        EXPECT_EQ(line.color, c.color) << "kind " << c.nKind;
        EXPECT_EQ(line.nKind, c.nKind);
    }
    EXPECT_EQ(TracePrefix(TRACE_COMMAND).size(), 9);
    EXPECT_EQ(TracePrefix(TRACE_STATUS).size(), 14);
    EXPECT_EQ(TracePrefix(TRACE_ERROR).size(), 15);
    EXPECT_EQ(TracePrefix(7).size(), 18);
}

TEST_F(TraceBuffer, TheLineAfterTheFullPaneStartsItAfresh)
{
    CTraceBuffer trace;
    CRecordingObserver observer;
    trace.SetObserver(&observer);
    for (int i = 1; i <= 256; ++i) {
        trace.AddTraceLine(TRACE_PLAIN, "line %d", i);
    }
    EXPECT_EQ(trace.Lines().size(), 256u) << "the 256th line is appended normally";
    EXPECT_EQ(observer.nEmptied, 0);
    trace.AddTraceLine(TRACE_PLAIN, "line %d", 257);
    ASSERT_EQ(trace.Lines().size(), 1u) << "the 257th line empties the pane first";
    EXPECT_TRUE(trace.Lines().front().strText.endsWith(QStringLiteral("line 257")));
    EXPECT_EQ(observer.nEmptied, 1);
    EXPECT_EQ(observer.lines.size(), 257u);
    trace.SetObserver(nullptr);
}

TEST_F(TraceBuffer, RepliesOfSeveralLinesBecomeOneLineAndReachTheLog)
{
    const QString strLog = NewLog();
    CTraceBuffer trace;
    trace.AddTraceText(TRACE_PLAIN, QStringLiteral("230-Welcome\r\n230 Login successful.\r\n"));
    const QString strExpected = QString(18, QLatin1Char(' '))
        + QStringLiteral("[%1] 230-Welcome230 Login successful.").arg(CurrentThreadId());
    EXPECT_EQ(trace.Lines().back().strText, strExpected);
    EXPECT_THAT(ReadFileLines(strLog), testing::ElementsAre(QStringLiteral("AddTraceLine::") + strExpected));
}

TEST_F(TraceBuffer, LinesFromWorkerThreadsCarryTheirOwnIds)
{
    CTraceBuffer trace;
    long nWorkerId = 0;
    std::thread worker([&] {
        nWorkerId = CurrentThreadId();
        trace.AddTraceLine(TRACE_STATUS, "from the worker");
    });
    worker.join();
    trace.AddTraceLine(TRACE_STATUS, "from the main thread");
    const std::vector<TraceLine> lines = trace.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].strText.contains(QStringLiteral("[%1] from the worker").arg(nWorkerId)));
    EXPECT_TRUE(lines[1].strText.contains(QStringLiteral("[%1] from the main thread").arg(CurrentThreadId())));
    EXPECT_NE(nWorkerId, CurrentThreadId());
}

TEST(InternetSessionStatus, TextsFollowTheFixedTable)
{
    const struct
    {
        int nStatus;
        const char* text;
    } cases[] = {
        { 10, "[7] resolving name for ftp.example.com" },
        { 11, "[7] resolved name for ftp.example.com!" },
        { 20, "[7] Connecting to server..." },
        { 21, "[7] Connected to server!" },
        { 30, "[7] Sending request..." },
        { 31, "[7] Request sent" },
        { 40, "[7] Receiving response..." },
        { 41, "[7] Response received!" },
        { 50, "[7] Closing connection..." },
        { 51, "[7] Connection close!" },
        { 60, "[7] Connection created!" },
        { 70, "[7] Closing Connection..." },
        { 100, "[7] request complete" },
        { 110, "[7] Redirected to URL" },
        { 200, "[7] Busy" },
        { 42, "[7] Unknown status: 42" },
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CMyInternetSession::StatusText(7, c.nStatus, QStringLiteral("ftp.example.com")),
            QString::fromLatin1(c.text));
    }
    CMyInternetSession session(QStringLiteral("Quorvel"));
    session.OnStatusCallback(1, 20, {});
    QStringList received;
    session.AttachWindow([&](const QString& strText) { received.append(strText); });
    session.OnStatusCallback(1, 21, {});
    EXPECT_EQ(received, QStringList { QStringLiteral("[1] Connected to server!") })
        << "without a window texts are dropped";
}

} // namespace
