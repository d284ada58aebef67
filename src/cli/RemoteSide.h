#pragma once

#include <memory>
#include <optional>

#include <QString>
#include <QStringList>

#include "app/ComparisonDocument.h"
#include "cli/CliSession.h"
#include "ftp/FtpSite.h"
#include "ftp/TraceBuffer.h"

class CFtpSession;

// The options of commands that work with an FTP folder.
struct RemoteOptions
{
    // Passive unless asked otherwise: it works through firewalls and NAT, where active mode rarely does.
    FtpSite site = PassiveSite();
    QString strPasswordFile;
    long long nCacheKb = -1;
    bool bRefreshAll = false;
    bool bTrace = false;
    // Undecided files are asked of the server by checksum unless the user says not to.
    bool bServerChecksums = true;
};

// Takes arguments[i] (and its value) when it is an FTP option: nothing when it is not one, an empty text
// when it was taken, an error sentence when its value is wrong.
std::optional<QString> ParseRemoteOption(const QStringList& arguments, qsizetype& i, RemoteOptions& options);

// What the commands share at the end of their option lists: an FTP option is taken, an unknown option is an
// error sentence, anything else goes to positional. Empty when the argument was taken.
QString TakeSharedArgument(const QStringList& arguments, qsizetype& i, RemoteOptions& options, QStringList& positional);

// The whole number after arguments[i], taken, when it lies in nMin..nMax.
std::optional<int> TakeNumber(const QStringList& arguments, qsizetype& i, int nMin, int nMax);

// The FTP side of a command: the site opened, its folder listed into the mirror, the session kept (for
// transfers) and closed at the end.
class CRemoteSide
{
public:
    CRemoteSide();
    ~CRemoteSide();
    CRemoteSide(const CRemoteSide&) = delete;
    CRemoteSide& operator=(const CRemoteSide&) = delete;

    // Opens the site at strUrl (a saved site's options beside the given ones); an error sentence, or empty.
    QString Open(const QString& strUrl, RemoteOptions& options);
    // Opens the site at strUrl and mirrors its folder; an error sentence, or empty.
    QString Mirror(const QString& strUrl, RemoteOptions& options);

    [[nodiscard]] const QString& MirrorFolder() const { return m_strMirror; }
    [[nodiscard]] QString RemoteFolder() const;
    // The site's address as the user may see it: never with a password.
    [[nodiscard]] const QString& DisplayUrl() const { return m_strDisplayUrl; }
    [[nodiscard]] CFtpSession& Session() { return *m_pSession; }
    [[nodiscard]] CTraceBuffer& Trace() { return m_trace; }
    // What the listing left out or could not read in full, for the user.
    [[nodiscard]] const QStringList& Warnings() const { return m_warnings; }

private:
    CTraceBuffer m_trace;
    CTracePrinter m_printer;
    std::unique_ptr<CFtpSession> m_pSession;
    QString m_strMirror;
    QString m_strDisplayUrl;
    QStringList m_warnings;
};

class CFolderComparison;

// A comparison as the commands run it: LEFT against a folder, or against an FTP folder (or site:NAME) that
// is first listed into its mirror.
struct CliComparison
{
    CliComparison() = default;
    CliComparison(const CliComparison&) = delete;
    CliComparison& operator=(const CliComparison&) = delete;
    // Leaves the comparison to the end of the process.
    ~CliComparison();

    std::optional<CRemoteSide> remote;
    std::unique_ptr<CFolderComparison> pComparison;
};

// Runs the comparison into out; an error sentence, or empty.
QString RunCliComparison(
    const QString& strLeft, const QString& strRight, RemoteOptions& options, int nThreads, CliComparison& out);
