#include "cli/SavedSites.h"

#include <cstdio>
#include <cstdlib>
#include <optional>

#include <QFile>
#include <QTextStream>

#include "app/FileZillaSites.h"
#include "app/SiteRecords.h"
#include "cli/CliCommands.h"
#include "support/CredentialStore.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

constexpr const char* kUsage = R"(Usage: quorvel-cli sites
       quorvel-cli sites add NAME URL [--local DIR] [--password-stdin] [--time-offset MINUTES]
                             [--charset auto|utf-8|latin-1|windows-1252]
       quorvel-cli sites remove NAME
       quorvel-cli sites import FILE [--with-passwords]

Lists, adds and removes the saved sites that the desktop program's site manager shows. A saved site is used
as site:NAME wherever a command takes an FTP URL (compare, sync, raw).

  add NAME URL         save the site NAME for URL (ftp://user@host[:port]/folder or ftps://...), replacing a
                       site of that name
  --local DIR          the site's local folder
  --password-stdin     read the password from the first line of standard input and keep it in the system's
                       secret store (never in the settings)
  --time-offset MINUTES  add this to the times of day the server's LIST gives (a server listing in another
                       time zone); without it each session finds the offset by asking MDTM about one file
  --charset WORD       how the server writes names: auto (as sent, the default), utf-8, or latin-1 or
                       windows-1252 for a server that reads and lists names in that code page
  remove NAME          forget the site and its stored password
  import FILE          add the FTP sites of FileZilla's sitemanager.xml; a name taken already gets a
                       number, as in NAME (2)
  --with-passwords     also keep the passwords FileZilla stored, in the system's secret store

Without a stored password, site:NAME takes it from QUORVEL_PASSWORD, a --password-file, ~/.netrc or the
terminal, as a URL does.
)";

QString ReadPasswordLine()
{
    QTextStream input(stdin);
    QString strLine = input.readLine();
    while (strLine.endsWith(QLatin1Char('\r'))) {
        strLine.chop(1);
    }
    return strLine;
}

int ListSites(const CSiteStore& sites)
{
    const QStringList names = sites.Names();
    qsizetype nWidth = 4;
    for (const QString& strName : names) {
        nWidth = std::max(nWidth, strName.size());
    }
    for (const QString& strName : names) {
        if (const std::optional<SiteRecord> record = sites.Read(strName)) {
            PrintLine(strName.leftJustified(nWidth + 2) + SiteUrl(*record)
                + (record->strLocalFolder.isEmpty() ? QString() : QStringLiteral("  ") + record->strLocalFolder));
        }
    }
    return kExitOk;
}

int AddSite(CSiteStore& sites, CSettingsStore& store, const QStringList& arguments)
{
    QStringList positional;
    QString strLocal;
    bool bPasswordStdin = false;
    std::optional<int> nTimeOffset;
    NameCharset charset = NameCharset::Automatic;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == QStringLiteral("--local") && i + 1 < arguments.size()) {
            strLocal = arguments[++i];
        } else if (arguments[i] == QStringLiteral("--password-stdin")) {
            bPasswordStdin = true;
        } else if (arguments[i] == QStringLiteral("--charset") && i + 1 < arguments.size()) {
            const std::optional<NameCharset> given = NameCharsetFromWord(arguments[++i]);
            if (!given) {
                PrintError(QStringLiteral("quorvel-cli sites add: --charset is auto, utf-8, latin-1 or windows-1252."));
                return kExitError;
            }
            charset = *given;
        } else if (arguments[i] == QStringLiteral("--time-offset") && i + 1 < arguments.size()) {
            bool bOk = false;
            nTimeOffset = arguments[++i].toInt(&bOk);
            if (!bOk || std::abs(*nTimeOffset) > kMaxTimeOffsetMinutes) {
                PrintError(QStringLiteral("quorvel-cli sites add: --time-offset needs minutes from -840 to 840."));
                return kExitError;
            }
        } else if (arguments[i].startsWith(QLatin1Char('-'))) {
            PrintError(
                FormatText("quorvel-cli sites: unknown option \"%s\". See quorvel-cli sites --help.", arguments[i]));
            return kExitError;
        } else {
            positional.append(arguments[i]);
        }
    }
    if (positional.size() != 2) {
        PrintError(QStringLiteral("quorvel-cli sites add: give a NAME and a URL. See quorvel-cli sites --help."));
        return kExitError;
    }
    QString strError;
    std::optional<SiteRecord> record = SiteFromUrl(positional[0], positional[1], strError);
    if (!record) {
        PrintError(QStringLiteral("quorvel-cli sites add: ") + strError);
        return kExitError;
    }
    record->strLocalFolder = strLocal;
    record->nTimeOffsetMinutes = nTimeOffset;
    record->charset = charset;
    sites.Write(*record);
    if (!store.Sync()) {
        PrintError(FormatText("quorvel-cli sites add: the settings in %s cannot be written.", store.Location()));
        return kExitError;
    }
    if (!bPasswordStdin) {
        return kExitOk;
    }
    const QString strPassword = ReadPasswordLine();
    if (!MakeSystemCredentialStore()->Write(SitePasswordKey(record->strName), strPassword, strError)) {
        PrintError(FormatText("quorvel-cli sites add: the site was saved, but not its password (%s). Give the "
                              "password in QUORVEL_PASSWORD, a --password-file or ~/.netrc when you use it.",
            strError));
        return kExitDifferences;
    }
    return kExitOk;
}

int RemoveSite(CSiteStore& sites, CSettingsStore& store, const QStringList& arguments)
{
    if (arguments.size() != 1) {
        PrintError(QStringLiteral("quorvel-cli sites remove: give the NAME of one site."));
        return kExitError;
    }
    if (!sites.Read(arguments[0])) {
        PrintError(FormatText("quorvel-cli sites remove: there is no site \"%s\".", arguments[0]));
        return kExitError;
    }
    sites.Remove(arguments[0]);
    if (!store.Sync()) {
        PrintError(FormatText("quorvel-cli sites remove: the settings in %s cannot be written.", store.Location()));
        return kExitError;
    }
    QString strError;
    if (!MakeSystemCredentialStore()->Remove(SitePasswordKey(arguments[0]), strError)) {
        PrintError(FormatText(
            "quorvel-cli sites remove: the site was removed, but its stored password could not be: %s.", strError));
        return kExitDifferences;
    }
    return kExitOk;
}

int ImportSites(CSiteStore& sites, CSettingsStore& store, const QStringList& arguments)
{
    const bool bPasswords = arguments.contains(QStringLiteral("--with-passwords"));
    QStringList files = arguments;
    files.removeAll(QStringLiteral("--with-passwords"));
    if (files.size() != 1) {
        PrintError(QStringLiteral("quorvel-cli sites import: give one sitemanager.xml file."));
        return kExitError;
    }
    QFile file(files.first());
    if (!file.open(QIODevice::ReadOnly)) {
        PrintError(FormatText("quorvel-cli sites import: %s cannot be read: %s.", files.first(), file.errorString()));
        return kExitError;
    }
    const SiteImport import = ReadFileZillaSites(file.readAll());
    if (!import.strError.isEmpty()) {
        PrintError(QStringLiteral("quorvel-cli sites import: ") + import.strError);
        return kExitError;
    }
    std::unique_ptr<ICredentialStore> pSecrets = MakeSystemCredentialStore();
    int nExit = import.skipped.isEmpty() ? kExitOk : kExitDifferences;
    for (const QString& strSkipped : import.skipped) {
        PrintError(QStringLiteral("quorvel-cli sites import: ") + strSkipped);
    }
    for (ImportedSite site : import.sites) {
        site.record.strName = UnusedSiteName(site.record.strName, sites.Names());
        sites.Write(site.record);
        PrintLine(FormatText("%s  %s", site.record.strName, SiteUrl(site.record)));
        QString strError;
        if (bPasswords && !site.strPassword.isEmpty()
            && !pSecrets->Write(SitePasswordKey(site.record.strName), site.strPassword, strError)) {
            PrintError(FormatText(
                "quorvel-cli sites import: the password of \"%s\" was not kept: %s.", site.record.strName, strError));
            nExit = kExitDifferences;
        }
    }
    if (!store.Sync()) {
        PrintError(FormatText("quorvel-cli sites import: the settings in %s cannot be written.", store.Location()));
        return kExitError;
    }
    return nExit;
}

} // namespace

QString ResolveSavedSite(FtpSite& site, long long* pCacheKb)
{
    if (!site.strUrl.startsWith(QLatin1String("site:"), Qt::CaseInsensitive)) {
        return {};
    }
    const QString strName = site.strUrl.mid(5);
    CSettingsStore store;
    const std::optional<SiteRecord> record = CSiteStore(store).Read(strName);
    if (!record) {
        return FormatText("there is no saved site \"%s\" (quorvel-cli sites lists them).", strName);
    }
    QString strPassword;
    if (!record->bAnonymous) {
        QString strError;
        strPassword = MakeSystemCredentialStore()->Read(SitePasswordKey(strName), strError).value_or(QString());
    }
    // What the command line gave beside site:NAME wins over what the site keeps: an option is given when it
    // differs from what no option leaves (passive mode, plain FTP, no pin, retries and offset unset).
    const FtpSite given = site;
    site = RequestForSite(*record, strPassword).site;
    if (given.bPassive == false) {
        site.bPassive = false;
    }
    if (given.bExplicitTls) {
        site.bExplicitTls = true;
    }
    if (!given.strPinnedPublicKey.isEmpty()) {
        site.strPinnedPublicKey = given.strPinnedPublicKey;
    }
    for (const auto pField : { &FtpSite::nRetries, &FtpSite::nRetryDelaySeconds, &FtpSite::nTimeOffsetMinutes }) {
        if ((given.*pField).has_value()) {
            site.*pField = given.*pField;
        }
    }
    if (given.charset != NameCharset::Automatic) {
        site.charset = given.charset;
    }
    if (given.nMaxConnections) {
        site.nMaxConnections = given.nMaxConnections;
    }
    if (pCacheKb != nullptr && *pCacheKb < 0) {
        *pCacheKb = record->nMaxDownloadKb;
    }
    return {};
}

int RunSites(const QStringList& arguments)
{
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    CSettingsStore store;
    CSiteStore sites(store);
    if (arguments.isEmpty()) {
        return ListSites(sites);
    }
    if (arguments.first() == QStringLiteral("add")) {
        return AddSite(sites, store, arguments.mid(1));
    }
    if (arguments.first() == QStringLiteral("import")) {
        return ImportSites(sites, store, arguments.mid(1));
    }
    if (arguments.first() == QStringLiteral("remove")) {
        return RemoveSite(sites, store, arguments.mid(1));
    }
    PrintError(
        FormatText("quorvel-cli sites: unknown action \"%s\". See quorvel-cli sites --help.", arguments.first()));
    return kExitError;
}
