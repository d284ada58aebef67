#pragma once

#include <atomic>
#include <functional>
#include <mutex>

#include <QDateTime>
#include <QString>

// The diagnostic log's process-wide state, shared by the files that implement the log. The switches are
// atomics because worker threads test them on every line; the texts are guarded by the mutex.
struct LogState
{
    std::atomic<bool> bEnabled { false };
    std::atomic<bool> bFullLog { false };
    std::atomic<bool> bTimestampLines { true };
    std::atomic<qint64> nSizeCap { 0 };

    std::mutex mutex;
    QString strLogFilePath;
    QString strFileStamp;
    QString strLogFolder;
    std::function<QDateTime()> clock;
    bool bRedirectRemembered = false;
    bool bRedirectSavedEnabled = false;
    QString strRedirectSavedPath;
};

LogState& TheLogState();

// The current time from the log's clock.
QDateTime LogNow();

// "MMdd_HHmmss", the stamp of log file names.
QString LogFileStampOf(const QDateTime& when);
