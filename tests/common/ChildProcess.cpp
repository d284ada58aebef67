#include "common/ChildProcess.h"

#include <vector>

#include <QDeadlineTimer>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

CChildProcess::~CChildProcess()
{
    Stop();
}

bool CChildProcess::Start(const QString& strProgram, const QStringList& arguments, const QString& strErrorFile)
{
    Stop();
    // Everything the child needs is made before fork: between fork and exec it may only make system calls.
    const QByteArray program = strProgram.toLocal8Bit();
    std::vector<QByteArray> texts { program };
    for (const QString& strArgument : arguments) {
        texts.push_back(strArgument.toLocal8Bit());
    }
    std::vector<char*> argv;
    for (QByteArray& text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    const int nErrors = ::open(strErrorFile.toLocal8Bit().constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    int pipeEnds[2] = { -1, -1 };
    if (nErrors < 0 || ::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        m_strError = QString::fromLocal8Bit(std::strerror(errno));
        if (nErrors >= 0) {
            ::close(nErrors);
        }
        return false;
    }
    m_pid = ::fork();
    if (m_pid == 0) {
        ::dup2(pipeEnds[1], STDOUT_FILENO);
        ::dup2(nErrors, STDERR_FILENO);
        ::execv(program.constData(), argv.data());
        ::_exit(127);
    }
    ::close(pipeEnds[1]);
    ::close(nErrors);
    if (m_pid < 0) {
        m_strError = QString::fromLocal8Bit(std::strerror(errno));
        ::close(pipeEnds[0]);
        return false;
    }
    m_nOutput = pipeEnds[0];
    return true;
}

bool CChildProcess::ReadLine(QByteArray& line, int nMilliseconds)
{
    const QDeadlineTimer deadline(nMilliseconds);
    for (;;) {
        if (const qsizetype nEnd = m_pending.indexOf('\n'); nEnd >= 0) {
            line = m_pending.left(nEnd);
            m_pending.remove(0, nEnd + 1);
            return true;
        }
        if (m_nOutput < 0 || deadline.hasExpired()) {
            return false;
        }
        pollfd ready { m_nOutput, POLLIN, 0 };
        if (::poll(&ready, 1, static_cast<int>(deadline.remainingTime())) <= 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t nRead = ::read(m_nOutput, buffer, sizeof buffer);
        if (nRead <= 0) {
            return false;
        }
        m_pending.append(buffer, nRead);
    }
}

void CChildProcess::Stop()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        int nStatus = 0;
        while (::waitpid(m_pid, &nStatus, 0) < 0 && errno == EINTR) { }
    }
    if (m_nOutput >= 0) {
        ::close(m_nOutput);
    }
    m_pid = -1;
    m_nOutput = -1;
    m_pending.clear();
}
