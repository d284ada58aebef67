#pragma once

#include <functional>
#include <mutex>

#include <QString>

// The internet session of a comparison view: turns the connection's status events into the texts its
// window shows ("[%d] Connecting to server..."). With no window attached the texts are dropped.
class CMyInternetSession
{
public:
    using StatusSink = std::function<void(const QString& strText)>;

    explicit CMyInternetSession(QString strAgent);

    [[nodiscard]] const QString& Agent() const { return m_strAgent; }

    // The sink is called on the thread that reports the status; it must not block.
    void AttachWindow(StatusSink sink);

    void OnStatusCallback(int nContext, int nStatus, const QString& strInfo);

    static QString StatusText(int nContext, int nStatus, const QString& strInfo);

private:
    QString m_strAgent;
    std::mutex m_mutex;
    StatusSink m_sink;
};
