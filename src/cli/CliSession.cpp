#include "cli/CliSession.h"

#include <cstdio>

#include <QDir>
#include <QFile>

#include <termios.h>
#include <unistd.h>

#include "support/Netrc.h"
#include "support/TextFormat.h"

CTracePrinter::CTracePrinter()
    : m_bColour(::isatty(STDERR_FILENO) != 0)
{ }

void CTracePrinter::OnTraceLine(const TraceLine& line, bool)
{
    static const char* const kColours[] = { "", "\033[34m", "\033[32m", "\033[31m", "\033[92m" };
    const char* pColour = line.nKind >= 1 && line.nKind <= 4 && m_bColour ? kColours[line.nKind] : "";
    std::fprintf(
        stderr, "%s%s%s\n", pColour, line.strText.toLocal8Bit().constData(), *pColour != '\0' ? "\033[0m" : "");
}

FtpSite PassiveSite()
{
    FtpSite site;
    site.bPassive = true;
    return site;
}

namespace {

QString PromptForPassword(const QString& strUser, const QString& strHost)
{
    FILE* pTerminal = std::fopen("/dev/tty", "r+");
    if (pTerminal == nullptr) {
        return {};
    }
    std::fprintf(
        pTerminal, "Password for %s@%s: ", strUser.toLocal8Bit().constData(), strHost.toLocal8Bit().constData());
    std::fflush(pTerminal);
    termios saved {};
    const int fd = ::fileno(pTerminal);
    const bool bEchoOff = ::tcgetattr(fd, &saved) == 0;
    if (bEchoOff) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    char buffer[1024] = {};
    const bool bRead = std::fgets(buffer, sizeof buffer, pTerminal) != nullptr;
    if (bEchoOff) {
        ::tcsetattr(fd, TCSAFLUSH, &saved);
    }
    std::fputc('\n', pTerminal);
    std::fclose(pTerminal);
    QString strPassword = bRead ? QString::fromLocal8Bit(buffer) : QString();
    while (strPassword.endsWith(QLatin1Char('\n')) || strPassword.endsWith(QLatin1Char('\r'))) {
        strPassword.chop(1);
    }
    return strPassword;
}

} // namespace

QString FindPassword(const FtpUrl& url, const QString& strPasswordFile, QString& strError)
{
    if (url.strUser.isEmpty()) {
        return {};
    }
    if (qEnvironmentVariableIsSet("QUORVEL_PASSWORD")) {
        return qEnvironmentVariable("QUORVEL_PASSWORD");
    }
    if (!strPasswordFile.isEmpty()) {
        QFile file(strPasswordFile);
        if (!file.open(QIODevice::ReadOnly)) {
            strError = FormatText("the password file \"%s\" cannot be read: %s.", strPasswordFile, file.errorString());
            return {};
        }
        QString strLine = QString::fromLocal8Bit(file.readLine());
        while (strLine.endsWith(QLatin1Char('\n')) || strLine.endsWith(QLatin1Char('\r'))) {
            strLine.chop(1);
        }
        return strLine;
    }
    QFile netrc(QDir::homePath() + QStringLiteral("/.netrc"));
    if (netrc.open(QIODevice::ReadOnly)) {
        if (const std::optional<QString> password
            = NetrcPassword(QString::fromLocal8Bit(netrc.readAll()), url.strHost, url.strUser)) {
            return *password;
        }
    }
    if (::isatty(STDIN_FILENO) != 0) {
        return PromptForPassword(url.strUser, url.strHost);
    }
    return {};
}
