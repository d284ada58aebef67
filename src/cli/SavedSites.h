#pragma once

#include <QString>
#include <QStringList>

#include "ftp/FtpSite.h"

// Turns "site:NAME" into the saved site's URL and settings, with its password from the system's secret
// store when one is kept there; any other text is left alone. Options given on the command line (--active,
// --explicit-tls, --pin, --retries ...) stay as given. *pCacheKb gets the site's download limit unless one
// was given.
// An error sentence, or empty.
QString ResolveSavedSite(FtpSite& site, long long* pCacheKb);

// quorvel-cli sites [add NAME URL [--local DIR] [--password-stdin] | remove NAME]
int RunSites(const QStringList& arguments);
