#include "support/WholeFile.h"

#include <QSaveFile>

#include "support/TextFormat.h"

QString WriteWholeFile(const QString& strPath, const QByteArray& data)
{
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        return FormatText("%s cannot be written: %s.", strPath, file.errorString());
    }
    return {};
}
