#include "ftp/TraceBuffer.h"

#include "support/DiagnosticLog.h"
#include "support/ThreadId.h"

QString TracePrefix(int nKind)
{
    switch (nKind) {
    case TRACE_COMMAND:
        return QStringLiteral("command> ");
    case TRACE_STATUS:
        return QStringLiteral("status>       ");
    case TRACE_ERROR:
        return QStringLiteral("error>         ");
    default:
        return QString(18, QLatin1Char(' '));
    }
}

TraceColor TraceColorOf(int nKind)
{
    switch (nKind) {
    case TRACE_COMMAND:
        return { 0, 0, 255 };
    case TRACE_STATUS:
        return { 0, 130, 0 };
    case TRACE_ERROR:
        return { 255, 0, 0 };
    case TRACE_HIGHLIGHT:
        return { 0, 255, 0 };
    default:
        return { 0, 0, 0 };
    }
}

void CTraceBuffer::AddTraceText(int nKind, const QString& strText)
{
    QString strMessage = strText;
    strMessage.remove(QLatin1Char('\n'));
    strMessage.remove(QLatin1Char('\r'));
    TraceLine line { TracePrefix(nKind)
            + FormatText("[%ld] %s", CurrentThreadId(), EscapeControlCharacters(strMessage)),
        nKind, TraceColorOf(nKind) };
    bool bEmptied = false;
    ITraceObserver* pObserver = nullptr;
    {
        std::lock_guard lock(m_mutex);
        if (m_lines.size() > kMaxLines) {
            m_lines.clear();
            bEmptied = true;
        }
        m_lines.push_back(line);
        pObserver = m_pObserver;
    }
    Log("AddTraceLine::%s", line.strText);
    if (pObserver != nullptr) {
        pObserver->OnTraceLine(line, bEmptied);
    }
}

std::vector<TraceLine> CTraceBuffer::Lines() const
{
    std::lock_guard lock(m_mutex);
    return m_lines;
}

void CTraceBuffer::SetObserver(ITraceObserver* pObserver)
{
    std::lock_guard lock(m_mutex);
    m_pObserver = pObserver;
}
