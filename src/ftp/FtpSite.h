#pragma once

#include <optional>

#include <QString>

#include "ftp/NameCharset.h"

// An FTP site as the user describes it. Unset values come from the settings at every open.
struct FtpSite
{
    QString strUrl; // "ftp://[user@]host[:port]/folder", "ftps://..." (TLS from the start), or "host/folder"
    QString strUser; // overrides the URL's; empty in both means anonymous
    QString strPassword; // never written anywhere but to the server
    int nPort = 0; // overrides the URL's
    std::optional<bool> bPassive;
    QString strLocalFolder;
    std::optional<int> nRetries;
    std::optional<int> nRetryDelaySeconds;
    std::optional<int> nMaxConnections; // connections open at once, the view's own included
    bool bExplicitTls = false; // "AUTH TLS" on a plain connection, data channel protected too
    QString strPinnedPublicKey; // "sha256//<base64>": trust the certificate with this key instead of the CA store
    // Minutes added to the times of day a LIST gives, for a server that lists in another time zone; absent, the
    // session finds them with MDTM.
    std::optional<int> nTimeOffsetMinutes;
    NameCharset charset = NameCharset::Automatic;
};

// The parts of an FTP URL.
struct FtpUrl
{
    bool bImplicitTls = false;
    QString strHost;
    int nPort = 21;
    QString strUser;
    QString strPassword;
    QString strFolder;
};

// Reads an FTP URL; a text without "://" is taken as "ftp://" + text. Nothing for another scheme or a URL
// without a host.
std::optional<FtpUrl> ParseFtpUrl(const QString& strUrl);

// The remote folder as the session keeps it: backslashes turned into "/", trailing separators dropped,
// a leading "/" ensured; an empty folder is "/".
QString NormaliseRemoteFolder(const QString& strFolder);

// The URL shown to the user and kept in the most-recently-used list: never with a password.
QString DisplayUrl(const FtpUrl& url, const QString& strUser);
