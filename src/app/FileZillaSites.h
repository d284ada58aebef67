#pragma once

#include <vector>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "app/SiteRecords.h"

// A site read from another program's site list, with the password it kept (empty when it kept none).
struct ImportedSite
{
    SiteRecord record;
    QString strPassword;
};

struct SiteImport
{
    std::vector<ImportedSite> sites;
    // One sentence per site that was left out, and why (an SFTP site, a host missing ...).
    QStringList skipped;
    QString strError; // the file as a whole could not be read
};

// The FTP sites of FileZilla's sitemanager.xml: host, port, protocol, login, passive mode, remote and local
// folder, with folders of sites named "Folder/Site". Passwords are read only where stored in the clear or
// base64 (never a master-password-protected one).
SiteImport ReadFileZillaSites(const QByteArray& xml);

// The sites as FileZilla's sitemanager.xml, for another program to import: never with a password.
QByteArray WriteFileZillaSites(const std::vector<SiteRecord>& records);

// A name not yet in taken: strName, else "strName (2)", "strName (3)" ...
QString UnusedSiteName(const QString& strName, const QStringList& taken);
