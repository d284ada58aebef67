#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// Runs work in the order it was given on at most nWorkers threads, started as work arrives and kept until
// the queue stops. A job's worker count matches the connections its site allows, so a copy of thousands of
// files is thousands of queued entries, not thousands of threads waiting for a connection.
class CJobQueue
{
public:
    explicit CJobQueue(int nWorkers);
    ~CJobQueue();
    CJobQueue(const CJobQueue&) = delete;
    CJobQueue& operator=(const CJobQueue&) = delete;

    // Work submitted after Stop runs nowhere; false then.
    bool Submit(std::function<void()> work);
    // Waits until nothing is queued or running; false when nMilliseconds passed first (negative: as long as
    // it takes).
    bool WaitIdle(int nMilliseconds = -1) const;
    // Runs what is queued, then ends and joins every worker. Whoever stops the queue cancels the jobs first
    // so that what is queued ends at once.
    void Stop();
    // Threads started since the queue was made.
    [[nodiscard]] int ThreadsStarted() const;

private:
    void Work();

    const int m_nWorkers;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_pending;
    std::vector<std::thread> m_threads;
    int m_nIdle = 0;
    int m_nBusy = 0;
    int m_nStarted = 0;
    bool m_bStopping = false;
};
