#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

// A program started for a test with fork and exec, its output read line by line from a pipe and its errors
// written to a file. QProcess starts children with a vfork-like clone that shares the test's memory, and the
// child's calls into ThreadSanitizer's interceptors then corrupt what it knows of the test's main thread:
// every later lock on that thread may be forgotten and reported as a race.
class CChildProcess
{
public:
    CChildProcess() = default;
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // False, with the reason in Error(), when the program could not be started.
    bool Start(const QString& strProgram, const QStringList& arguments, const QString& strErrorFile);
    // The next line of output without its line end; false when none came within nMilliseconds or the
    // output ended.
    bool ReadLine(QByteArray& line, int nMilliseconds);
    // Kills the program and waits for it.
    void Stop();

    [[nodiscard]] const QString& Error() const { return m_strError; }

private:
    pid_t m_pid = -1;
    int m_nOutput = -1;
    QByteArray m_pending;
    QString m_strError;
};
