#include "app/SiteRecords.h"

#include <cstdlib>

#include <QUrl>

#include "ftp/FtpSite.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

const QString kSites = QStringLiteral("Sites");

// Group names are kept percent-encoded: a "/" in a site's name would otherwise open a group below it.
QString GroupOf(const QString& strName)
{
    return kSites + QLatin1Char('/') + QString::fromLatin1(QUrl::toPercentEncoding(strName, " "));
}

QString SecurityWord(SiteSecurity security)
{
    switch (security) {
    case SiteSecurity::ExplicitTls:
        return QStringLiteral("explicit-tls");
    case SiteSecurity::ImplicitTls:
        return QStringLiteral("implicit-tls");
    case SiteSecurity::Plain:
        break;
    }
    return QStringLiteral("plain");
}

SiteSecurity SecurityFromWord(const QString& strWord)
{
    return strWord == QLatin1String("explicit-tls") ? SiteSecurity::ExplicitTls
        : strWord == QLatin1String("implicit-tls")  ? SiteSecurity::ImplicitTls
                                                    : SiteSecurity::Plain;
}

QString OutOfRange(const char* pField, int nMin, int nMax)
{
    return FormatText("%s must be a whole number from %d to %d.", pField, nMin, nMax);
}

} // namespace

QString WhySiteNameIsRefused(const QString& strName)
{
    if (strName.trimmed().isEmpty()) {
        return QStringLiteral("Give the site a profile name.");
    }
    if (strName != strName.trimmed()) {
        return QStringLiteral("A profile name cannot begin or end with a space.");
    }
    for (const QChar c : strName) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f) {
            return QStringLiteral("A profile name cannot hold control characters.");
        }
    }
    if (strName.size() > 100) {
        return QStringLiteral("A profile name can be 100 characters long at the most.");
    }
    return {};
}

QString CheckSiteRecord(SiteRecord& record)
{
    if (QString strWhy = WhySiteNameIsRefused(record.strName); !strWhy.isEmpty()) {
        return strWhy;
    }
    record.strHost = record.strHost.trimmed();
    if (record.strHost.isEmpty()) {
        return QStringLiteral("The host address is required.");
    }
    if (record.strHost.contains(QLatin1Char('/')) || record.strHost.contains(QLatin1Char(' '))
        || QUrl(QStringLiteral("ftp://") + record.strHost).host().isEmpty()) {
        return FormatText(
            "\"%s\" is not a host address; give a name such as ftp.example.com or an IP address.", record.strHost);
    }
    if (record.nPort < 1 || record.nPort > 65535) {
        return OutOfRange("The port", 1, 65535);
    }
    if (record.nRetries < 1 || record.nRetries > 99) {
        return OutOfRange("Retries", 1, 99);
    }
    if (record.nRetryDelaySeconds < 0 || record.nRetryDelaySeconds > 3600) {
        return OutOfRange("The retry delay (seconds)", 0, 3600);
    }
    if (record.nMaxDownloadKb < 1 || record.nMaxDownloadKb > 10000) {
        return QStringLiteral("The largest file size to download must be between 1 and 10,000 KB.");
    }
    if (!record.bAnonymous && record.strUser.trimmed().isEmpty()) {
        return QStringLiteral("Give the login, or tick Anonymous.");
    }
    if (!record.strPinnedKey.isEmpty() && !record.strPinnedKey.startsWith(QLatin1String("sha256//"))) {
        return QStringLiteral("A pinned key is written sha256//<base64 of the key's SHA-256>.");
    }
    record.strInitialPath = NormaliseRemoteFolder(record.strInitialPath.trimmed());
    return {};
}

QString SiteUrl(const SiteRecord& record)
{
    QUrl url;
    const bool bImplicit = record.security == SiteSecurity::ImplicitTls;
    url.setScheme(bImplicit ? QStringLiteral("ftps") : QStringLiteral("ftp"));
    url.setHost(record.strHost);
    if (!record.bAnonymous) {
        url.setUserName(record.strUser);
    }
    if (record.nPort != (bImplicit ? 990 : 21)) {
        url.setPort(record.nPort);
    }
    url.setPath(NormaliseRemoteFolder(record.strInitialPath));
    return url.toString();
}

std::optional<SiteRecord> SiteFromUrl(const QString& strName, const QString& strUrl, QString& strError)
{
    const std::optional<FtpUrl> url = ParseFtpUrl(strUrl);
    if (!url) {
        strError = FormatText("\"%s\" is not an FTP URL; write ftp://user@host/folder or ftps://...", strUrl);
        return std::nullopt;
    }
    if (!url->strPassword.isEmpty()) {
        strError = QStringLiteral("the URL holds a password; it is never saved with a site (use --password-stdin).");
        return std::nullopt;
    }
    SiteRecord record;
    record.strName = strName;
    record.strHost = url->strHost;
    record.nPort = url->nPort;
    record.strUser = url->strUser;
    record.bAnonymous = url->strUser.isEmpty() || url->strUser == QLatin1String("anonymous");
    record.strInitialPath = url->strFolder;
    record.security = url->bImplicitTls ? SiteSecurity::ImplicitTls : SiteSecurity::Plain;
    strError = CheckSiteRecord(record);
    if (!strError.isEmpty()) {
        return std::nullopt;
    }
    return record;
}

OpenRequest RequestForSite(const SiteRecord& record, const QString& strPassword)
{
    OpenRequest request;
    request.strLocalFolder = record.strLocalFolder;
    request.strRight = SiteUrl(record);
    request.nCacheKb = record.nMaxDownloadKb;
    FtpSite& site = request.site;
    site.strUrl = request.strRight;
    // Anonymous: no user, and the session logs on as "anonymous" with the "EmailAddress" setting.
    site.strUser = record.bAnonymous ? QString() : record.strUser;
    site.strPassword = record.bAnonymous ? QString() : strPassword;
    site.nPort = record.nPort;
    site.bPassive = record.bPassive;
    site.strLocalFolder = record.strLocalFolder;
    site.nRetries = record.nRetries;
    site.nRetryDelaySeconds = record.nRetryDelaySeconds;
    site.bExplicitTls = record.security == SiteSecurity::ExplicitTls;
    site.strPinnedPublicKey = record.strPinnedKey;
    site.nTimeOffsetMinutes = record.nTimeOffsetMinutes;
    site.charset = record.charset;
    return request;
}

CSiteStore::CSiteStore(CSettingsStore& store)
    : m_store(store)
{ }

QStringList CSiteStore::Names() const
{
    QStringList names;
    for (const QString& strGroup : m_store.ChildGroups(kSites)) {
        names.append(QUrl::fromPercentEncoding(strGroup.toLatin1()));
    }
    names.sort(Qt::CaseInsensitive);
    return names;
}

std::optional<SiteRecord> CSiteStore::Read(const QString& strName) const
{
    const QString strGroup = GroupOf(strName) + QLatin1Char('/');
    const QVariant host = m_store.ReadValue(strGroup + QStringLiteral("Host"));
    if (!host.isValid()) {
        return std::nullopt;
    }
    const auto number = [&](const char* pKey, int nDefault) {
        bool bOk = false;
        const int nValue = m_store.ReadValue(strGroup + QLatin1String(pKey)).toInt(&bOk);
        return bOk ? nValue : nDefault;
    };
    const auto text = [&](const char* pKey) { return m_store.ReadValue(strGroup + QLatin1String(pKey)).toString(); };
    SiteRecord record;
    record.strName = strName;
    record.strHost = host.toString();
    record.nPort = number("Port", 21);
    record.bPassive = number("Passive", 1) != 0;
    record.strUser = text("Login");
    record.bAnonymous = number("Anonymous", 0) != 0;
    record.strInitialPath = NormaliseRemoteFolder(text("InitialPath"));
    record.nRetries = number("Retries", 3);
    record.nRetryDelaySeconds = number("RetryDelay", 10);
    record.nMaxDownloadKb = number("MaxFilesizeKB", 10);
    record.strLocalFolder = text("LocalFolder");
    record.security = SecurityFromWord(text("Security"));
    record.strPinnedKey = text("PinnedKey");
    bool bOffsetGiven = false;
    const int nOffset = m_store.ReadValue(strGroup + QStringLiteral("TimeOffsetMinutes")).toInt(&bOffsetGiven);
    if (bOffsetGiven && std::abs(nOffset) <= kMaxTimeOffsetMinutes) {
        record.nTimeOffsetMinutes = nOffset;
    }
    record.charset = NameCharsetFromWord(text("Charset")).value_or(NameCharset::Automatic);
    return record;
}

void CSiteStore::Write(const SiteRecord& record)
{
    const QString strGroup = GroupOf(record.strName);
    m_store.Remove(strGroup);
    const auto put = [&](const char* pKey, const QVariant& value) {
        m_store.WriteValue(strGroup + QLatin1Char('/') + QLatin1String(pKey), value);
    };
    put("Host", record.strHost);
    put("Port", record.nPort);
    put("Passive", record.bPassive ? 1 : 0);
    put("Login", record.strUser);
    put("Anonymous", record.bAnonymous ? 1 : 0);
    put("InitialPath", record.strInitialPath);
    put("Retries", record.nRetries);
    put("RetryDelay", record.nRetryDelaySeconds);
    put("MaxFilesizeKB", record.nMaxDownloadKb);
    put("LocalFolder", record.strLocalFolder);
    put("Security", SecurityWord(record.security));
    put("PinnedKey", record.strPinnedKey);
    if (record.nTimeOffsetMinutes) {
        put("TimeOffsetMinutes", *record.nTimeOffsetMinutes);
    }
    if (record.charset != NameCharset::Automatic) {
        put("Charset", NameCharsetWord(record.charset));
    }
}

void CSiteStore::Remove(const QString& strName)
{
    m_store.Remove(GroupOf(strName));
    if (LastSelected() == strName) {
        SetLastSelected({});
    }
}

QString CSiteStore::LastSelected() const
{
    return m_store.ReadString("Settings", "LastSelectedSite");
}

void CSiteStore::SetLastSelected(const QString& strName)
{
    m_store.WriteString("Settings", "LastSelectedSite", strName);
}
