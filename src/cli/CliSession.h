#pragma once

#include <QString>

#include "ftp/FtpSite.h"
#include "ftp/TraceBuffer.h"

// Prints trace lines to standard error as they come, coloured by kind on a terminal.
class CTracePrinter final : public ITraceObserver
{
public:
    CTracePrinter();
    void OnTraceLine(const TraceLine& line, bool bEmptiedFirst) override;

private:
    bool m_bColour;
};

// A site description for the command line, where data connections are passive unless --active says not.
FtpSite PassiveSite();

// The password for the site, from the first source that has one: QUORVEL_PASSWORD, the password file,
// ~/.netrc, a prompt on the terminal. Empty for anonymous log-on. strError is set when a source the user
// named fails.
QString FindPassword(const FtpUrl& url, const QString& strPasswordFile, QString& strError);
