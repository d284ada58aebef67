#include <cstdio>

#include "cli/CliCommands.h"
#include "cli/CliSession.h"
#include "cli/SavedSites.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
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

} // namespace

int RunRaw(const QStringList& arguments)
{
    FtpSite site = PassiveSite();
    QString strPasswordFile;
    bool bTrace = false;
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        auto value = [&]() -> std::optional<QString> {
            return i + 1 < arguments.size() ? std::optional<QString>(arguments[++i]) : std::nullopt;
        };
        if (argument == QStringLiteral("-h") || argument == QStringLiteral("--help")) {
            std::fputs(kRawUsage, stdout);
            return kExitOk;
        }
        if (argument == QStringLiteral("--trace")) {
            bTrace = true;
        } else if (argument == QStringLiteral("--active")) {
            site.bPassive = false;
        } else if (argument == QStringLiteral("--explicit-tls")) {
            site.bExplicitTls = true;
        } else if (argument == QStringLiteral("--password-file") || argument == QStringLiteral("--pin")
            || argument == QStringLiteral("--retries") || argument == QStringLiteral("--retry-delay")) {
            const std::optional<QString> given = value();
            bool bNumber = true;
            if (!given) {
                PrintError(FormatText("quorvel-cli raw: %s needs a value. See quorvel-cli raw --help.", argument));
                return kExitError;
            }
            if (argument == QStringLiteral("--password-file")) {
                strPasswordFile = *given;
            } else if (argument == QStringLiteral("--pin")) {
                site.strPinnedPublicKey = *given;
            } else if (argument == QStringLiteral("--retries")) {
                site.nRetries = given->toInt(&bNumber);
            } else {
                site.nRetryDelaySeconds = given->toInt(&bNumber);
            }
            if (!bNumber) {
                PrintError(
                    FormatText("quorvel-cli raw: %s needs a whole number. See quorvel-cli raw --help.", argument));
                return kExitError;
            }
        } else if (argument.startsWith(QLatin1Char('-')) && positional.isEmpty()) {
            PrintError(FormatText("quorvel-cli raw: unknown option \"%s\". See quorvel-cli raw --help.", argument));
            return kExitError;
        } else {
            positional.append(argument);
        }
    }
    if (positional.size() < 2) {
        PrintError(QStringLiteral(
            "quorvel-cli raw: give the site's URL and at least one command. See quorvel-cli raw --help."));
        return kExitError;
    }
    site.strUrl = positional.takeFirst();
    if (const QString strSiteError = ResolveSavedSite(site, nullptr); !strSiteError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli raw: ") + strSiteError);
        return kExitError;
    }
    const std::optional<FtpUrl> url = ParseFtpUrl(site.strUrl);
    if (!url) {
        PrintError(FormatText(
            "quorvel-cli raw: \"%s\" is not an FTP URL; write ftp://host/folder or ftps://host/folder.", site.strUrl));
        return kExitError;
    }
    if (!url->strPassword.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli raw: the URL holds a password, which others on this machine can read; "
                                  "give it in QUORVEL_PASSWORD, a --password-file or ~/.netrc instead."));
        return kExitError;
    }
    QString strError;
    if (site.strPassword.isEmpty()) {
        site.strPassword = FindPassword(*url, strPasswordFile, strError);
    }
    if (!strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli raw: ") + strError);
        return kExitError;
    }

    CTraceBuffer trace;
    CTracePrinter printer;
    if (bTrace) {
        trace.SetObserver(&printer);
    }
    int nExit = kExitOk;
    {
        CFtpSession session(trace);
        if (!session.OpenFtpSite(site)) {
            PrintError(QStringLiteral("quorvel-cli raw: ") + session.LastError());
            nExit = kExitError;
        } else {
            for (const QString& strCommand : positional) {
                const QString strResult = session.FTPSendFtpCommand(strCommand, IsDataCommand(strCommand));
                if (strResult.startsWith(QLatin1String("ERROR"))) {
                    PrintError(strResult.trimmed());
                    nExit = kExitDifferences;
                    break;
                }
                QStringList lines = strResult.split(QLatin1Char('\n'));
                if (lines.size() > 1 && lines.last().isEmpty()) {
                    lines.removeLast();
                }
                for (const QString& strLine : lines) {
                    PrintLine(QString(strLine).remove(QLatin1Char('\r')));
                }
            }
            session.CloseFtpSession();
        }
    }
    trace.SetObserver(nullptr);
    return nExit;
}
