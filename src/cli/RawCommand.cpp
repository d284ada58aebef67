#include <cstdio>

#include "cli/CliCommands.h"
#include "cli/CliSession.h"
#include "cli/RemoteSide.h"
#include "ftp/FtpSession.h"
#include "support/TextFormat.h"

namespace {

constexpr const char* kRawUsage = R"(Usage: quorvel-cli raw [OPTIONS] URL COMMAND...

Opens the FTP site at URL (ftp://[user@]host[:port]/folder, or ftps:// for TLS from the start), sends each
COMMAND as it stands and prints the server's reply, or what arrived over the data connection for LIST,
NLST, MLSD and RETR. Quote a command that holds spaces: quorvel-cli raw ftp://host/ "SIZE index.html".

The password is never taken from the command line. It comes from the environment variable
QUORVEL_PASSWORD, from the file named by --password-file, from ~/.netrc, or from a prompt on a terminal.
Without a user name in the URL the log-on is anonymous.

Options:
  --trace              print every trace line (commands, replies, status, errors) to standard error
  --password-file F    read the password from the first line of the file F
  --active             let the server connect back for data (default: passive)
  --explicit-tls       switch to TLS with AUTH TLS before logging on, and protect the data channel
  --pin sha256//KEY    trust the server certificate with this public key instead of the system's CAs
  --retries N          connection attempts (default: the "DefaultRetries" setting)
  --retry-delay S      seconds between attempts (default: the "DefaultRetryDelay" setting)
  -h, --help           show this help

Exit status: 0 every command succeeded, 1 the server refused a command, 2 the site could not be opened.
)";

// Sends each command and prints what came back; stops at the first the server refuses.
int SendEach(CFtpSession& session, const QStringList& commands)
{
    for (const QString& strCommand : commands) {
        const QString strResult = session.FTPSendFtpCommand(strCommand, IsDataCommand(strCommand));
        if (strResult.startsWith(QLatin1String("ERROR"))) {
            PrintError(strResult.trimmed());
            return kExitDifferences;
        }
        QStringList lines = strResult.split(QLatin1Char('\n'));
        if (lines.size() > 1 && lines.last().isEmpty()) {
            lines.removeLast();
        }
        for (const QString& strLine : lines) {
            PrintLine(QString(strLine).remove(QLatin1Char('\r')));
        }
    }
    return kExitOk;
}

} // namespace

int RunRaw(const QStringList& arguments)
{
    RemoteOptions options;
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            std::fputs(kRawUsage, stdout);
            return kExitOk;
        }
        // Once the URL is given, everything is a command to send, whatever it begins with.
        if (!positional.isEmpty()) {
            positional.append(argument);
        } else if (const QString strError = TakeSharedArgument(arguments, i, options, positional);
                   !strError.isEmpty()) {
            PrintError(QStringLiteral("quorvel-cli raw: ") + strError + QStringLiteral(" See quorvel-cli raw --help."));
            return kExitError;
        }
    }
    if (positional.size() < 2) {
        PrintError(QStringLiteral(
            "quorvel-cli raw: give the site's URL and at least one command. See quorvel-cli raw --help."));
        return kExitError;
    }
    CRemoteSide remote;
    if (const QString strError = remote.Open(positional.takeFirst(), options); !strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli raw: ") + strError);
        return kExitError;
    }
    const int nExit = SendEach(remote.Session(), positional);
    remote.Session().CloseFtpSession();
    return nExit;
}
