#include "tree/WorkingNames.h"

#include <QRandomGenerator>

#include "support/NameBytes.h"

bool IsWorkingName(const QString& strName)
{
    // Every name of a scan is asked: the one character each holds rules out almost all of them at once.
    if (strName.startsWith(kUploadWorkingPrefix)) {
        return true;
    }
    return strName.contains(QLatin1Char('$'))
        && (strName.contains(QLatin1String("$diffundo")) || strName.contains(QLatin1String("$quorvel")));
}

QString WorkingNameRule()
{
    return QStringLiteral("names holding \"$quorvel\" or \"$diffundo\", and names beginning \".quorvel-upload-\", "
                          "are kept for this program's own working files");
}

QString MirrorWorkingName(quint32 nRandom)
{
    return QLatin1String(kMirrorWorkPrefix) + QStringLiteral("%1").arg(nRandom, 8, 16, QLatin1Char('0'));
}

QString LocalWorkingName()
{
    return QStringLiteral("$quorvelpart-%1").arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
}

QString UploadWorkingName(const QString& strName)
{
    // Unique per upload; the name's own end is kept short enough that the whole fits in 255 bytes. Trailing spaces
    // and dots are left off: servers drop or replace them (Windows, Pure-FTPd), and the rename would then miss
    // the working file and leave it behind.
    const QString strUnique
        = kUploadWorkingPrefix + QString::number(QRandomGenerator::global()->generate64(), 16) + QLatin1Char('-');
    QString strTail = strName;
    while (strTail.endsWith(QLatin1Char(' ')) || strTail.endsWith(QLatin1Char('.'))) {
        strTail.chop(1);
    }
    while (!strTail.isEmpty() && NameToBytes(strUnique + strTail).size() > 255) {
        strTail.chop(1);
    }
    return strUnique + strTail;
}
