#pragma once

#include <optional>

#include <QString>
#include <QStringList>

#include "app/ComparisonDocument.h"

class CSettingsStore;

enum class SiteSecurity
{
    Plain,
    ExplicitTls, // "AUTH TLS" on the plain port
    ImplicitTls // TLS from the start (ftps://)
};

// A saved FTP site as the site manager edits it. Its password is never part of it: the credential store
// keeps it under the site's name.
// The farthest a server's listed times can be from this computer's clock, in minutes.
constexpr int kMaxTimeOffsetMinutes = 14 * 60;

struct SiteRecord
{
    QString strName;
    QString strHost;
    int nPort = 21;
    bool bPassive = true;
    QString strUser;
    bool bAnonymous = false;
    QString strInitialPath = QStringLiteral("/");
    int nRetries = 3;
    int nRetryDelaySeconds = 10;
    int nMaxDownloadKb = 10; // files up to this size are downloaded into the mirror to be compared
    QString strLocalFolder;
    SiteSecurity security = SiteSecurity::Plain;
    QString strPinnedKey; // "sha256//<base64>", or empty
    // Minutes added to the times of day the server's LIST gives; absent, each session finds them with MDTM.
    std::optional<int> nTimeOffsetMinutes;
    NameCharset charset = NameCharset::Automatic;
};

// Checks a record as the site manager saves it, normalising its host and initial path on the way; an error
// sentence naming the field, or empty.
QString CheckSiteRecord(SiteRecord& record);
// Why a site name cannot be used, or empty.
QString WhySiteNameIsRefused(const QString& strName);

// The site's address without a password: "ftp://user@host:port/path" (ftps:// for implicit TLS).
QString SiteUrl(const SiteRecord& record);
// A record from an FTP URL, as "quorvel-cli sites add" takes it; nothing, with strError, for a bad URL.
std::optional<SiteRecord> SiteFromUrl(const QString& strName, const QString& strUrl, QString& strError);
// What opening a comparison of the site needs; the password as the caller found it.
OpenRequest RequestForSite(const SiteRecord& record, const QString& strPassword);

// The saved sites, one group each under "Sites" of the settings profile, with "LastSelectedSite".
class CSiteStore
{
public:
    explicit CSiteStore(CSettingsStore& store);

    [[nodiscard]] QStringList Names() const;
    [[nodiscard]] std::optional<SiteRecord> Read(const QString& strName) const;
    // Writes the record under its name, replacing one of that name.
    void Write(const SiteRecord& record);
    void Remove(const QString& strName);
    [[nodiscard]] QString LastSelected() const;
    void SetLastSelected(const QString& strName);

private:
    CSettingsStore& m_store;
};
