#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include <QString>

#include "support/TextFormat.h"

// Kinds of trace line; any other number is shown plain.
inline constexpr int TRACE_PLAIN = 0;
inline constexpr int TRACE_COMMAND = 1;
inline constexpr int TRACE_STATUS = 2;
inline constexpr int TRACE_ERROR = 3;
inline constexpr int TRACE_HIGHLIGHT = 4;

struct TraceColor
{
    int nRed = 0;
    int nGreen = 0;
    int nBlue = 0;
    bool operator==(const TraceColor&) const = default;
};

// One line of the FTP trace: the full text as shown (prefix, thread id, message), its kind and colour.
struct TraceLine
{
    QString strText;
    int nKind = TRACE_PLAIN;
    TraceColor color;
};

// The prefix ("command> ", "status>       " ...) and colour of a kind.
QString TracePrefix(int nKind);
TraceColor TraceColorOf(int nKind);

// Told of every line as it is added, on the thread that adds it; it must not block (the GUI queues the
// line to its own thread, the CLI prints it).
class ITraceObserver
{
public:
    virtual ~ITraceObserver() = default;
    // bEmptiedFirst: the buffer was emptied before this line, so a view should clear itself too.
    virtual void OnTraceLine(const TraceLine& line, bool bEmptiedFirst) = 0;
};

// What the FTP client did, line by line: the commands it sent, the state of the connection and the
// errors it met. Callable from any thread; every line is mirrored into the diagnostic log.
class CTraceBuffer
{
public:
    // More lines than this and the next line starts the buffer afresh.
    static constexpr size_t kMaxLines = 255;

    void AddTraceText(int nKind, const QString& strText);

    template <typename... Args> void AddTraceLine(int nKind, std::string_view fmt, const Args&... args)
    {
        AddTraceText(nKind, FormatText(fmt, args...));
    }

    [[nodiscard]] std::vector<TraceLine> Lines() const;

    // Null detaches the observer. The observer must outlive the buffer or be detached first.
    void SetObserver(ITraceObserver* pObserver);

private:
    mutable std::mutex m_mutex;
    std::vector<TraceLine> m_lines;
    ITraceObserver* m_pObserver = nullptr;
};
