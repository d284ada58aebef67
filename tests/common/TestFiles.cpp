#include "common/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

QString MakeTestFolder(const QString& strName)
{
    QDir folder(TestRoot() + QStringLiteral("/work/") + strName);
    folder.removeRecursively();
    QDir().mkpath(folder.path());
    QFile::setPermissions(TestRoot() + QStringLiteral("/work"),
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup
            | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther);
    return folder.path();
}

QByteArray ReadFileBytes(const QString& strPath)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return file.readAll();
}

void WriteFileBytes(const QString& strPath, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(strPath).path());
    QFile file(strPath);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(bytes);
    }
}

QStringList ReadFileLines(const QString& strPath)
{
    QString text = QString::fromLocal8Bit(ReadFileBytes(strPath));
    if (text.endsWith(QLatin1Char('\n'))) {
        text.chop(1);
    }
    if (text.isEmpty()) {
        return {};
    }
    return text.split(QLatin1Char('\n'));
}
