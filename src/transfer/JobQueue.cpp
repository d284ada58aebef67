#include "transfer/JobQueue.h"

#include <algorithm>
#include <chrono>

CJobQueue::CJobQueue(int nWorkers)
    : m_nWorkers(std::max(1, nWorkers))
{ }

CJobQueue::~CJobQueue()
{
    Stop();
}

bool CJobQueue::Submit(std::function<void()> work)
{
    std::lock_guard lock(m_mutex);
    if (m_bStopping) {
        return false;
    }
    m_pending.push_back(std::move(work));
    if (static_cast<int>(m_pending.size()) > m_nIdle && static_cast<int>(m_threads.size()) < m_nWorkers) {
        m_threads.emplace_back([this] { Work(); });
        ++m_nStarted;
    } else {
        m_wake.notify_one();
    }
    return true;
}

void CJobQueue::Work()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        ++m_nIdle;
        m_wake.wait(lock, [this] { return m_bStopping || !m_pending.empty(); });
        --m_nIdle;
        if (m_pending.empty()) {
            return;
        }
        std::function<void()> work = std::move(m_pending.front());
        m_pending.pop_front();
        ++m_nBusy;
        lock.unlock();
        work();
        lock.lock();
        --m_nBusy;
    }
}

bool CJobQueue::WaitIdle(int nMilliseconds) const
{
    // Polled: a few milliseconds of latency cost nothing at the end of a job, and the timed wait of a
    // condition variable in this C++ library is one that ThreadSanitizer cannot follow.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(nMilliseconds, 0));
    for (;;) {
        {
            std::lock_guard lock(m_mutex);
            if (m_pending.empty() && m_nBusy == 0) {
                return true;
            }
        }
        if (nMilliseconds >= 0 && std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void CJobQueue::Stop()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard lock(m_mutex);
        m_bStopping = true;
        threads.swap(m_threads);
    }
    m_wake.notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

int CJobQueue::ThreadsStarted() const
{
    std::lock_guard lock(m_mutex);
    return m_nStarted;
}
