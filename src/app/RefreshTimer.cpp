#include "app/RefreshTimer.h"

#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"

CRefreshTimer::CRefreshTimer(Clock clock)
    : m_clock(std::move(clock))
{ }

void CRefreshTimer::Start()
{
    m_nStart = m_clock();
    m_bRunning = true;
}

TickDecision CRefreshTimer::OnTimer(const CSettingsStore& store, const std::function<int()>& fileCount)
{
    const std::int64_t nNow = m_clock();
    m_dElapsed = static_cast<double>(nNow - m_nStart);
    Log("OnTimer(): start=%ld, finish=%ld, elapse=%.0f, interval=%u", m_nStart, nNow, m_dElapsed, m_nIntervalSeconds);
    m_bRunning = false;
    if (store.ReadInt("Misc.", "DisableAutoRefresh") != 0) {
        return {};
    }
    TickDecision decision;
    decision.bRearm = true;
    m_bRunning = true;
    m_nStart = nNow;
    // The last cycle overran its interval: a refresh now would only pile up behind it.
    if (static_cast<double>(m_nIntervalSeconds) + 2.0 < m_dElapsed) {
        return decision;
    }
    const int nFiles = fileCount();
    const bool bLogRefresh = store.ReadInt("Misc.", "LogRefresh") == 1;
    if (bLogRefresh) {
        RedirectLog(false, QStringLiteral("timer"));
        Log("OnTimer(): Determining AutoRefresh() by # of files (=%d)", nFiles);
    }
    decision.bRefresh = nFiles <= kMaxFilesForAutoRefresh;
    if (bLogRefresh) {
        RedirectLog(true);
    }
    return decision;
}
