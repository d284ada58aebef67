#include "app/FileZillaSites.h"

#include <cstdlib>

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include "support/TextFormat.h"

namespace {

// FileZilla's protocol numbers.
constexpr int kFtp = 0;
constexpr int kSftp = 1;
constexpr int kFtpsImplicit = 3;
constexpr int kFtpsExplicit = 4;
constexpr int kInsecureFtp = 6;
constexpr int kLogonAnonymous = 0;

// A remote path as FileZilla writes it: "1 0 3 www 4 html" is a Unix path (type 1) with an empty prefix and
// the segments "www" and "html", each after its length. Nothing when the text does not read that way.
std::optional<QString> ReadRemoteDir(const QString& strText)
{
    if (strText.trimmed().isEmpty()) {
        return QStringLiteral("/");
    }
    qsizetype nPos = 0;
    const auto number = [&]() -> std::optional<int> {
        const qsizetype nSpace = strText.indexOf(QLatin1Char(' '), nPos);
        bool bOk = false;
        const int nValue = strText.mid(nPos, nSpace < 0 ? -1 : nSpace - nPos).toInt(&bOk);
        if (!bOk || nValue < 0) {
            return std::nullopt;
        }
        nPos = nSpace < 0 ? strText.size() : nSpace + 1;
        return nValue;
    };
    const auto segment = [&](int nLength) -> std::optional<QString> {
        if (nPos + nLength > strText.size()) {
            return std::nullopt;
        }
        QString strSegment = strText.mid(nPos, nLength);
        nPos += nLength;
        if (nPos < strText.size() && strText[nPos] == QLatin1Char(' ')) {
            ++nPos;
        }
        return strSegment;
    };
    const std::optional<int> type = number();
    const std::optional<int> prefixLength = number();
    if (!type || !prefixLength || !segment(*prefixLength)) {
        return std::nullopt;
    }
    QStringList parts;
    while (nPos < strText.size()) {
        const std::optional<int> length = number();
        const std::optional<QString> part = length ? segment(*length) : std::nullopt;
        if (!part || part->contains(QLatin1Char('/'))) {
            return std::nullopt;
        }
        parts.append(*part);
    }
    return QLatin1Char('/') + parts.join(QLatin1Char('/'));
}

// FileZilla's "Auto", "UTF-8", or "Custom" with a code page's name; a custom one not known here stays automatic.
NameCharset CharsetOf(const QString& strType, const QString& strCustom)
{
    if (strType.compare(QLatin1String("UTF-8"), Qt::CaseInsensitive) == 0) {
        return NameCharset::Utf8;
    }
    if (strType.compare(QLatin1String("Custom"), Qt::CaseInsensitive) != 0) {
        return NameCharset::Automatic;
    }
    const QString strName = strCustom.toLower().remove(QLatin1Char('-')).remove(QLatin1Char('_'));
    if (strName == QLatin1String("iso88591") || strName == QLatin1String("latin1")) {
        return NameCharset::Latin1;
    }
    if (strName == QLatin1String("windows1252") || strName == QLatin1String("cp1252")) {
        return NameCharset::Windows1252;
    }
    return strName == QLatin1String("utf8") ? NameCharset::Utf8 : NameCharset::Automatic;
}

struct ServerFields
{
    QString strHost;
    QString strPort;
    QString strProtocol;
    QString strUser;
    QString strPass;
    QString strPassEncoding;
    QString strLogonType;
    QString strPasvMode;
    QString strName;
    QString strRemoteDir;
    QString strLocalDir;
    QString strTimezoneOffset;
    QString strEncodingType;
    QString strCustomEncoding;
};

// Reads the elements of one <Server> up to its end tag.
ServerFields ReadServer(QXmlStreamReader& xml)
{
    ServerFields fields;
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        const QString strEncoding = xml.attributes().value(QLatin1String("encoding")).toString();
        const QString strText = xml.readElementText(QXmlStreamReader::SkipChildElements);
        if (name == QLatin1String("Host")) {
            fields.strHost = strText.trimmed();
        } else if (name == QLatin1String("Port")) {
            fields.strPort = strText.trimmed();
        } else if (name == QLatin1String("Protocol")) {
            fields.strProtocol = strText.trimmed();
        } else if (name == QLatin1String("User")) {
            fields.strUser = strText;
        } else if (name == QLatin1String("Pass")) {
            fields.strPass = strText;
            fields.strPassEncoding = strEncoding;
        } else if (name == QLatin1String("Logontype")) {
            fields.strLogonType = strText.trimmed();
        } else if (name == QLatin1String("PasvMode")) {
            fields.strPasvMode = strText.trimmed();
        } else if (name == QLatin1String("Name")) {
            fields.strName = strText.trimmed();
        } else if (name == QLatin1String("RemoteDir")) {
            fields.strRemoteDir = strText;
        } else if (name == QLatin1String("LocalDir")) {
            fields.strLocalDir = strText;
        } else if (name == QLatin1String("EncodingType")) {
            fields.strEncodingType = strText.trimmed();
        } else if (name == QLatin1String("CustomEncoding")) {
            fields.strCustomEncoding = strText.trimmed();
        } else if (name == QLatin1String("TimezoneOffset")) {
            fields.strTimezoneOffset = strText.trimmed();
        }
    }
    return fields;
}

void AddServer(const ServerFields& fields, const QString& strFolder, SiteImport& import)
{
    const QString strName = (strFolder.isEmpty() ? QString() : strFolder + QLatin1Char('/'))
        + (fields.strName.isEmpty() ? fields.strHost : fields.strName);
    const int nProtocol = fields.strProtocol.isEmpty() ? kFtp : fields.strProtocol.toInt();
    if (nProtocol != kFtp && nProtocol != kFtpsImplicit && nProtocol != kFtpsExplicit && nProtocol != kInsecureFtp) {
        import.skipped.append(FormatText("\"%s\" was left out: %s", strName,
            nProtocol == kSftp ? QStringLiteral("it is an SFTP site, not an FTP one.")
                               : QStringLiteral("its protocol is not FTP.")));
        return;
    }
    ImportedSite site;
    SiteRecord& record = site.record;
    record.strName = strName;
    record.strHost = fields.strHost;
    record.security = nProtocol == kFtpsImplicit ? SiteSecurity::ImplicitTls
        : nProtocol == kFtpsExplicit             ? SiteSecurity::ExplicitTls
                                                 : SiteSecurity::Plain;
    bool bPort = false;
    record.nPort = fields.strPort.toInt(&bPort);
    if (!bPort) {
        record.nPort = nProtocol == kFtpsImplicit ? 990 : 21;
    }
    record.bAnonymous = fields.strLogonType.toInt() == kLogonAnonymous && !fields.strLogonType.isEmpty();
    record.strUser = record.bAnonymous ? QString() : fields.strUser;
    record.bPassive = fields.strPasvMode != QLatin1String("MODE_ACTIVE");
    record.strLocalFolder = fields.strLocalDir;
    // FileZilla's offset, in minutes, is added to the listed times as ours is; its 0 is "as listed", which here
    // is left to the session to find.
    record.charset = CharsetOf(fields.strEncodingType, fields.strCustomEncoding);
    bool bOffset = false;
    const int nOffset = fields.strTimezoneOffset.toInt(&bOffset);
    if (bOffset && nOffset != 0 && std::abs(nOffset) <= kMaxTimeOffsetMinutes) {
        record.nTimeOffsetMinutes = nOffset;
    }
    const std::optional<QString> remote = ReadRemoteDir(fields.strRemoteDir);
    record.strInitialPath = remote.value_or(QStringLiteral("/"));
    if (fields.strPassEncoding.isEmpty()) {
        site.strPassword = fields.strPass;
    } else if (fields.strPassEncoding == QLatin1String("base64")) {
        site.strPassword = QString::fromUtf8(QByteArray::fromBase64(fields.strPass.toLatin1()));
    }
    if (const QString strWhy = CheckSiteRecord(record); !strWhy.isEmpty()) {
        import.skipped.append(FormatText("\"%s\" was left out: %s", strName, strWhy));
        return;
    }
    import.sites.push_back(std::move(site));
}

// Reads <Server> and <Folder> elements up to the end of the element that holds them.
void ReadEntries(QXmlStreamReader& xml, const QString& strFolder, SiteImport& import)
{
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Server")) {
            AddServer(ReadServer(xml), strFolder, import);
        } else if (xml.name() == QLatin1String("Folder")) {
            // The folder's name is its own text, before the entries it holds.
            QString strName;
            while (!xml.atEnd()) {
                xml.readNext();
                if (xml.isCharacters()) {
                    strName += xml.text();
                } else if (xml.isStartElement() || xml.isEndElement()) {
                    break;
                }
            }
            const QString strInner
                = (strFolder.isEmpty() ? QString() : strFolder + QLatin1Char('/')) + strName.trimmed();
            if (xml.isStartElement()) {
                if (xml.name() == QLatin1String("Server")) {
                    AddServer(ReadServer(xml), strInner, import);
                } else {
                    xml.skipCurrentElement();
                }
                ReadEntries(xml, strInner, import);
            }
        } else {
            xml.skipCurrentElement();
        }
    }
}

} // namespace

SiteImport ReadFileZillaSites(const QByteArray& data)
{
    SiteImport import;
    QXmlStreamReader xml(data);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("FileZilla3")) {
        import.strError = QStringLiteral("This is not a FileZilla site list (sitemanager.xml).");
        return import;
    }
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Servers")) {
            ReadEntries(xml, {}, import);
        } else {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError()) {
        import.strError = FormatText("The site list cannot be read: %s (line %lld).", xml.errorString(),
            static_cast<long long>(xml.lineNumber()));
    }
    return import;
}

QByteArray WriteFileZillaSites(const std::vector<SiteRecord>& records)
{
    QByteArray data;
    QXmlStreamWriter xml(&data);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("FileZilla3"));
    xml.writeStartElement(QStringLiteral("Servers"));
    for (const SiteRecord& record : records) {
        xml.writeStartElement(QStringLiteral("Server"));
        xml.writeTextElement(QStringLiteral("Host"), record.strHost);
        xml.writeTextElement(QStringLiteral("Port"), QString::number(record.nPort));
        xml.writeTextElement(QStringLiteral("Protocol"),
            QString::number(record.security == SiteSecurity::ImplicitTls ? kFtpsImplicit
                    : record.security == SiteSecurity::ExplicitTls       ? kFtpsExplicit
                                                                         : kFtp));
        xml.writeTextElement(QStringLiteral("Type"), QStringLiteral("0"));
        xml.writeTextElement(QStringLiteral("User"), record.bAnonymous ? QString() : record.strUser);
        // "Ask for password": the password stays in this machine's secret store.
        xml.writeTextElement(
            QStringLiteral("Logontype"), record.bAnonymous ? QStringLiteral("0") : QStringLiteral("2"));
        xml.writeTextElement(QStringLiteral("PasvMode"),
            record.bPassive ? QStringLiteral("MODE_PASSIVE") : QStringLiteral("MODE_ACTIVE"));
        xml.writeTextElement(QStringLiteral("Name"), record.strName);
        QString strRemote = QStringLiteral("1 0");
        for (const QString& strPart : record.strInitialPath.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
            strRemote += QStringLiteral(" %1 %2").arg(strPart.size()).arg(strPart);
        }
        xml.writeTextElement(QStringLiteral("RemoteDir"), strRemote);
        xml.writeTextElement(QStringLiteral("LocalDir"), record.strLocalFolder);
        xml.writeTextElement(QStringLiteral("TimezoneOffset"), QString::number(record.nTimeOffsetMinutes.value_or(0)));
        xml.writeEndElement();
    }
    xml.writeEndDocument();
    return data;
}

QString UnusedSiteName(const QString& strName, const QStringList& taken)
{
    QString strCandidate = strName;
    for (int n = 2; taken.contains(strCandidate, Qt::CaseInsensitive); ++n) {
        strCandidate = FormatText("%s (%d)", strName, n);
    }
    return strCandidate;
}
