#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class CCurlConnection;

// The connections of one site beyond the view's own: transfer workers each borrow one and give it back.
// At most nCapacity are out at once; a worker that finds none free waits ("Waiting...") until one comes
// back or its job is cancelled. Idle connections stay logged on for the next borrower.
class CConnectionPool
{
public:
    explicit CConnectionPool(int nCapacity);
    ~CConnectionPool();

    using Factory = std::function<std::unique_ptr<CCurlConnection>()>;

    // A connection, idle or new from the factory; null when *pCancel was set while waiting. onWaiting is
    // called once, when the caller starts to wait.
    std::unique_ptr<CCurlConnection> Acquire(
        const Factory& make, const std::atomic<bool>* pCancel, const std::function<void()>& onWaiting);

    void Release(std::unique_ptr<CCurlConnection> pConnection);

    // Closes the idle connections.
    void Clear();

    [[nodiscard]] int InUse() const;
    [[nodiscard]] int Capacity() const { return m_nCapacity; }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_returned;
    int m_nCapacity;
    int m_nInUse = 0;
    std::vector<std::unique_ptr<CCurlConnection>> m_idle;
};
