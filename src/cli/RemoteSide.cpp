#include "cli/RemoteSide.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <unistd.h>

#include "app/ChecksumVerifier.h"
#include "app/ComparisonRun.h"
#include "app/SiteRecords.h"
#include "cli/CliCommands.h"
#include "cli/Interrupt.h"
#include "cli/SavedSites.h"
#include "ftp/FtpSession.h"
#include "ftp/RemoteListing.h"
#include "support/TextFormat.h"
#include "tree/FolderComparison.h"

std::optional<QString> ParseRemoteOption(const QStringList& arguments, qsizetype& i, RemoteOptions& options)
{
    const QString& argument = arguments[i];
    if (argument == QStringLiteral("--no-server-checksums")) {
        options.bServerChecksums = false;
        return QString();
    }
    if (argument == QStringLiteral("--refresh-all")) {
        options.bRefreshAll = true;
    } else if (argument == QStringLiteral("--trace")) {
        options.bTrace = true;
    } else if (argument == QStringLiteral("--active")) {
        options.site.bPassive = false;
    } else if (argument == QStringLiteral("--explicit-tls")) {
        options.site.bExplicitTls = true;
    } else if (argument == QStringLiteral("--cache-kb") || argument == QStringLiteral("--retries")
        || argument == QStringLiteral("--retry-delay") || argument == QStringLiteral("--password-file")
        || argument == QStringLiteral("--pin") || argument == QStringLiteral("--time-offset")
        || argument == QStringLiteral("--charset")) {
        if (i + 1 >= arguments.size()) {
            return FormatText("%s needs a value.", argument);
        }
        const QString& strValue = arguments[++i];
        bool bOk = true;
        if (argument == QStringLiteral("--password-file")) {
            options.strPasswordFile = strValue;
        } else if (argument == QStringLiteral("--pin")) {
            options.site.strPinnedPublicKey = strValue;
        } else if (argument == QStringLiteral("--cache-kb")) {
            options.nCacheKb = strValue.toLongLong(&bOk);
            bOk = bOk && options.nCacheKb >= 0;
        } else if (argument == QStringLiteral("--charset")) {
            const std::optional<NameCharset> charset = NameCharsetFromWord(strValue);
            if (!charset) {
                return FormatText("%s is auto, utf-8, latin-1 or windows-1252.", argument);
            }
            options.site.charset = *charset;
        } else if (argument == QStringLiteral("--time-offset")) {
            options.site.nTimeOffsetMinutes = strValue.toInt(&bOk);
            if (!bOk || std::abs(*options.site.nTimeOffsetMinutes) > kMaxTimeOffsetMinutes) {
                return FormatText(
                    "%s needs minutes from -%d to %d.", argument, kMaxTimeOffsetMinutes, kMaxTimeOffsetMinutes);
            }
        } else if (argument == QStringLiteral("--retries")) {
            options.site.nRetries = strValue.toInt(&bOk);
        } else {
            options.site.nRetryDelaySeconds = strValue.toInt(&bOk);
        }
        if (!bOk) {
            return FormatText("%s needs a whole number of at least 0.", argument);
        }
    } else {
        return std::nullopt;
    }
    return QString();
}

QString TakeSharedArgument(const QStringList& arguments, qsizetype& i, RemoteOptions& options, QStringList& positional)
{
    if (const std::optional<QString> strRemoteError = ParseRemoteOption(arguments, i, options)) {
        return *strRemoteError;
    }
    const QString& argument = arguments[i];
    if (argument.startsWith(QLatin1Char('-')) && argument.size() > 1) {
        return FormatText("unknown option \"%s\".", argument);
    }
    positional.append(argument);
    return {};
}

std::optional<int> TakeNumber(const QStringList& arguments, qsizetype& i, int nMin, int nMax)
{
    bool bOk = false;
    const int nValue = i + 1 < arguments.size() ? arguments[++i].toInt(&bOk) : 0;
    return bOk && nValue >= nMin && nValue <= nMax ? std::optional<int>(nValue) : std::nullopt;
}

CRemoteSide::CRemoteSide() = default;

CRemoteSide::~CRemoteSide()
{
    if (m_pSession) {
        m_pSession->CloseFtpSession();
        m_pSession.reset();
    }
    m_trace.SetObserver(nullptr);
}

QString CRemoteSide::RemoteFolder() const
{
    return m_pSession ? m_pSession->RemoteRoot() : QString();
}

QString CRemoteSide::Open(const QString& strUrl, RemoteOptions& options)
{
    options.site.strUrl = strUrl;
    if (QString strError = ResolveSavedSite(options.site, &options.nCacheKb); !strError.isEmpty()) {
        return strError;
    }
    const std::optional<FtpUrl> url = ParseFtpUrl(options.site.strUrl);
    if (!url) {
        return FormatText("\"%s\" is not an FTP URL; write ftp://host/folder or ftps://host/folder.", strUrl);
    }
    if (!url->strPassword.isEmpty()) {
        return QStringLiteral("the URL holds a password, which others on this machine can read; give it in "
                              "QUORVEL_PASSWORD, a --password-file or ~/.netrc instead.");
    }
    m_strDisplayUrl = ::DisplayUrl(*url, options.site.strUser.isEmpty() ? url->strUser : options.site.strUser);
    QString strError;
    if (options.site.strPassword.isEmpty()) {
        options.site.strPassword = FindPassword(*url, options.strPasswordFile, strError);
    }
    if (!strError.isEmpty()) {
        return strError;
    }
    if (options.bTrace) {
        m_trace.SetObserver(&m_printer);
    }
    m_pSession = std::make_unique<CFtpSession>(m_trace);
    if (!m_pSession->OpenFtpSite(options.site, &InterruptFlag())) {
        return m_pSession->LastError();
    }
    return {};
}

QString CRemoteSide::Mirror(const QString& strUrl, RemoteOptions& options)
{
    if (QString strError = Open(strUrl, options); !strError.isEmpty()) {
        return strError;
    }
    CRemoteListing listing(*m_pSession, m_trace);
    const bool bTerminal = ::isatty(STDERR_FILENO) != 0 && !options.bTrace;
    if (bTerminal) {
        listing.SetProgress([](const QString& strText) {
            if (!strText.startsWith(QLatin1String("Scanning "))) {
                std::fprintf(stderr, "\r\033[K%s", strText.left(100).toLocal8Bit().constData());
            }
        });
    }
    MirrorOptions mirror;
    mirror.nSizeLimit = options.nCacheKb >= 0 ? options.nCacheKb * 1024 : m_pSession->CacheDownloadLimit();
    mirror.bRefreshAll = options.bRefreshAll;
    mirror.bRecursive = true;
    const bool bListed = listing.RemoteScan(m_pSession->RemoteRoot(), mirror, &InterruptFlag());
    if (bTerminal) {
        std::fputs("\r\033[K", stderr);
    }
    m_warnings = listing.Warnings();
    if (WasInterrupted()) {
        return QStringLiteral("cancelled while the FTP folder was being listed; nothing was changed.");
    }
    if (!bListed) {
        for (const QString& strWarning : m_warnings) {
            PrintError(QStringLiteral("warning: ") + strWarning);
        }
        return FormatText("the FTP folder %s could not be listed completely (run with --trace to see why).",
            m_pSession->RemoteRoot());
    }
    m_strMirror = listing.MirrorPathFor(m_pSession->RemoteRoot());
    return {};
}

CliComparison::~CliComparison()
{
    // A command's comparison is done with only when the process ends, which hands all its memory back at once:
    // freeing a big tree item by item would take a tenth of the whole run. Held from here, it is no leak.
    static auto* const pKept = new std::vector<std::unique_ptr<CFolderComparison>>();
    if (pComparison) {
        pKept->push_back(std::move(pComparison));
    }
}

QString RunCliComparison(
    const QString& strLeft, const QString& strRight, RemoteOptions& options, int nThreads, CliComparison& out)
{
    QString strRightFolder = strRight;
    QString strRightShown;
    if (IsFtpLocation(strRight)) {
        InstallInterruptHandlers();
        out.remote.emplace();
        if (QString strError = out.remote->Mirror(strRight, options); !strError.isEmpty()) {
            return strError;
        }
        strRightFolder = out.remote->MirrorFolder();
        strRightShown = out.remote->RemoteFolder();
    }
    out.pComparison = std::make_unique<CFolderComparison>(strLeft, strRightFolder, strRightShown);
    const ComparisonOutcome outcome = RunComparison(*out.pComparison, out.remote ? &out.remote->Session() : nullptr,
        out.remote ? &out.remote->Trace() : nullptr, options.bServerChecksums && ServerChecksumsEnabled(), nThreads, {},
        nullptr);
    if (!outcome.bOk) {
        return outcome.strError;
    }
    PrintNotices(out.remote ? out.remote->Warnings() : QStringList(), *out.pComparison);
    return {};
}
