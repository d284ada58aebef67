#include "ftp/ConnectionPool.h"

#include <chrono>

#include "ftp/CurlConnection.h"

CConnectionPool::CConnectionPool(int nCapacity)
    : m_nCapacity(nCapacity < 1 ? 1 : nCapacity)
{ }

CConnectionPool::~CConnectionPool() = default;

std::unique_ptr<CCurlConnection> CConnectionPool::Acquire(
    const Factory& make, const std::atomic<bool>* pCancel, const std::function<void()>& onWaiting)
{
    std::unique_lock lock(m_mutex);
    bool bToldWaiting = false;
    while (m_nInUse >= m_nCapacity) {
        if (pCancel != nullptr && pCancel->load()) {
            return nullptr;
        }
        if (!bToldWaiting && onWaiting) {
            bToldWaiting = true;
            lock.unlock();
            onWaiting();
            lock.lock();
            continue;
        }
        // Woken by a return, or every so often to see whether the job was cancelled meanwhile.
        m_returned.wait_for(lock, std::chrono::milliseconds(100));
    }
    ++m_nInUse;
    if (!m_idle.empty()) {
        std::unique_ptr<CCurlConnection> pIdle = std::move(m_idle.back());
        m_idle.pop_back();
        return pIdle;
    }
    lock.unlock();
    std::unique_ptr<CCurlConnection> pConnection = make();
    if (!pConnection) {
        Release(nullptr);
    }
    return pConnection;
}

void CConnectionPool::Release(std::unique_ptr<CCurlConnection> pConnection)
{
    std::unique_ptr<CCurlConnection> pClosing;
    {
        std::lock_guard lock(m_mutex);
        --m_nInUse;
        if (pConnection && pConnection->IsLoggedOn()) {
            m_idle.push_back(std::move(pConnection));
        } else {
            pClosing = std::move(pConnection);
        }
    }
    m_returned.notify_one();
}

void CConnectionPool::Clear()
{
    std::vector<std::unique_ptr<CCurlConnection>> closing;
    {
        std::lock_guard lock(m_mutex);
        closing.swap(m_idle);
    }
}

int CConnectionPool::InUse() const
{
    std::lock_guard lock(m_mutex);
    return m_nInUse;
}
