#include "ftp/MirrorRoot.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QStandardPaths>

namespace {

// A folder name that stands for one host, port and user on every file system.
QString SafeFolderName(const QString& strText)
{
    QString strSafe;
    for (const QChar ch : strText) {
        const bool bPlain
            = ch.isLetterOrNumber() || ch == QLatin1Char('.') || ch == QLatin1Char('-') || ch == QLatin1Char('_');
        strSafe += bPlain ? QString(ch) : QStringLiteral("%%1").arg(ch.unicode(), 2, 16, QLatin1Char('0'));
    }
    return strSafe;
}

} // namespace

QString MirrorRootFor(const QString& strHost, int nPort, const QString& strUser)
{
    const QString strCache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return strCache + QStringLiteral("/Quorvel/mirrors/") + SafeFolderName(strUser) + QLatin1Char('@')
        + SafeFolderName(strHost) + QLatin1Char('_') + QString::number(nPort);
}

bool PrepareMirrorRoot(const QString& strRoot)
{
    if (!QDir().mkpath(strRoot)) {
        return false;
    }
    // Links are not followed: nothing outside the mirror is ever touched.
    QDirIterator markers(strRoot, { QString::fromLatin1(kFolderCurrentMarker) }, QDir::Files | QDir::Hidden,
        QDirIterator::Subdirectories);
    while (markers.hasNext()) {
        QFile::remove(markers.next());
    }
    return true;
}
