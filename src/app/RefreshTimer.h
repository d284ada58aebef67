#pragma once

#include <cstdint>
#include <functional>

class CSettingsStore;

// The auto-refresh timer's id; 234 belongs to the licence checks.
inline constexpr int kAutoRefreshTimerId = 123;
inline constexpr unsigned kDefaultRefreshIntervalSeconds = 60;

// What one tick of the auto-refresh timer does.
struct TickDecision
{
    bool bRearm = false; // set the timer again for the interval
    bool bRefresh = false; // compare again
};

// The decisions of the auto-refresh timer: whether each tick re-arms it and whether the comparison is still
// cheap enough to refresh. The window only arms a timer and runs the refresh; the clock and the settings are
// given, so that every rule can be tried without waiting.
class CRefreshTimer
{
public:
    using Clock = std::function<std::int64_t()>; // seconds since 1970

    explicit CRefreshTimer(Clock clock);

    void SetInterval(unsigned nSeconds) { m_nIntervalSeconds = nSeconds; }
    [[nodiscard]] unsigned Interval() const { return m_nIntervalSeconds; }
    [[nodiscard]] bool IsRunning() const { return m_bRunning; }

    // The timer is set: the cycle starts now.
    void Start();
    void Stop() { m_bRunning = false; }

    // One tick. nFileCount is asked only when the tick may refresh: counting the panes' files is not free.
    TickDecision OnTimer(const CSettingsStore& store, const std::function<int()>& fileCount);

private:
    Clock m_clock;
    unsigned m_nIntervalSeconds = kDefaultRefreshIntervalSeconds;
    std::int64_t m_nStart = 0;
    double m_dElapsed = 0.0;
    bool m_bRunning = false;
};

// A comparison of more files than this is too slow to redo on every tick.
inline constexpr int kMaxFilesForAutoRefresh = 100;
