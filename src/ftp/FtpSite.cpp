#include "ftp/FtpSite.h"

#include <QUrl>

std::optional<FtpUrl> ParseFtpUrl(const QString& strUrl)
{
    // Folders written the Windows way (\\pub\\) are common in pasted addresses.
    const QString strText = QString(strUrl.trimmed()).replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QUrl url(
        strText.contains(QStringLiteral("://")) ? strText : QStringLiteral("ftp://") + strText, QUrl::StrictMode);
    const QString strScheme = url.scheme().toLower();
    if (!url.isValid() || url.host().isEmpty()
        || (strScheme != QStringLiteral("ftp") && strScheme != QStringLiteral("ftps"))) {
        return std::nullopt;
    }
    FtpUrl parsed;
    parsed.bImplicitTls = strScheme == QStringLiteral("ftps");
    parsed.strHost = url.host();
    parsed.nPort = url.port(parsed.bImplicitTls ? 990 : 21);
    if (parsed.nPort < 1) {
        // Port 0 is no port a server listens on.
        return std::nullopt;
    }
    parsed.strUser = url.userName();
    parsed.strPassword = url.password();
    parsed.strFolder = NormaliseRemoteFolder(url.path());
    return parsed;
}

QString NormaliseRemoteFolder(const QString& strFolder)
{
    QString strResult = strFolder;
    strResult.replace(QLatin1Char('\\'), QLatin1Char('/'));
    while (strResult.endsWith(QLatin1Char('/'))) {
        strResult.chop(1);
    }
    if (!strResult.startsWith(QLatin1Char('/'))) {
        strResult.prepend(QLatin1Char('/'));
    }
    return strResult;
}

QString DisplayUrl(const FtpUrl& url, const QString& strUser)
{
    QUrl display;
    display.setScheme(url.bImplicitTls ? QStringLiteral("ftps") : QStringLiteral("ftp"));
    display.setHost(url.strHost);
    display.setUserName(strUser);
    if (url.nPort != (url.bImplicitTls ? 990 : 21)) {
        display.setPort(url.nPort);
    }
    display.setPath(url.strFolder);
    return display.toString();
}
