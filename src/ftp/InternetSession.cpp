#include "ftp/InternetSession.h"

#include "support/TextFormat.h"

CMyInternetSession::CMyInternetSession(QString strAgent)
    : m_strAgent(std::move(strAgent))
{ }

void CMyInternetSession::AttachWindow(StatusSink sink)
{
    std::lock_guard lock(m_mutex);
    m_sink = std::move(sink);
}

void CMyInternetSession::OnStatusCallback(int nContext, int nStatus, const QString& strInfo)
{
    StatusSink sink;
    {
        std::lock_guard lock(m_mutex);
        sink = m_sink;
    }
    if (sink) {
        sink(StatusText(nContext, nStatus, strInfo));
    }
}

QString CMyInternetSession::StatusText(int nContext, int nStatus, const QString& strInfo)
{
    // The pairing of 50, 51, 60 and 70 with their texts is the one users have always seen.
    switch (nStatus) {
    case 10:
        return FormatText("[%d] resolving name for %s", nContext, strInfo);
    case 11:
        return FormatText("[%d] resolved name for %s!", nContext, strInfo);
    case 20:
        return FormatText("[%d] Connecting to server...", nContext);
    case 21:
        return FormatText("[%d] Connected to server!", nContext);
    case 30:
        return FormatText("[%d] Sending request...", nContext);
    case 31:
        return FormatText("[%d] Request sent", nContext);
    case 40:
        return FormatText("[%d] Receiving response...", nContext);
    case 41:
        return FormatText("[%d] Response received!", nContext);
    case 50:
        return FormatText("[%d] Closing connection...", nContext);
    case 51:
        return FormatText("[%d] Connection close!", nContext);
    case 60:
        return FormatText("[%d] Connection created!", nContext);
    case 70:
        return FormatText("[%d] Closing Connection...", nContext);
    case 100:
        return FormatText("[%d] request complete", nContext);
    case 110:
        return FormatText("[%d] Redirected to URL", nContext);
    case 200:
        return FormatText("[%d] Busy", nContext);
    default:
        return FormatText("[%d] Unknown status: %d", nContext, nStatus);
    }
}
