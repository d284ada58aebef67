#include "support/LocalLinks.h"
#include "support/NameBytes.h"

#include <cerrno>

#include <QDir>
#include <QFile>

#include <sys/stat.h>

QString LinkOnTheWay(const QStringList& roots, const QString& strPath)
{
    const QString strClean = QDir::cleanPath(strPath);
    for (const QString& strRoot : roots) {
        if (strRoot.isEmpty()) {
            continue;
        }
        const QString strCleanRoot = QDir::cleanPath(strRoot);
        const QString strPrefix
            = strCleanRoot.endsWith(QLatin1Char('/')) ? strCleanRoot : strCleanRoot + QLatin1Char('/');
        if (!strClean.startsWith(strPrefix)) {
            continue;
        }
        QString strSoFar = strCleanRoot;
        for (const QString& strPart : strClean.mid(strPrefix.size()).split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
            if (!strSoFar.endsWith(QLatin1Char('/'))) {
                strSoFar += QLatin1Char('/');
            }
            strSoFar += strPart;
            struct stat info
            { };
            if (::lstat(NameToBytes(strSoFar).constData(), &info) != 0) {
                return {};
            }
            if (S_ISLNK(info.st_mode)) {
                return strSoFar;
            }
        }
        return {};
    }
    return {};
}

QString RefusedThroughLink(const QString& strTarget, const QString& strLink)
{
    return QStringLiteral("%1 was not written: %2 is a link, and nothing is written through a link (what it "
                          "leads to lies outside the compared folder).")
        .arg(strTarget, strLink);
}
