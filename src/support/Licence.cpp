#include "support/Licence.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QStandardPaths>

#include "support/TextFormat.h"
#include "support/WholeFile.h"

namespace {

using VerifyFunction = int (*)(const char*, int, long long, char*, int);

LicenceState Verify(const QString& strPlugin, const QByteArray& text, const QDate& today)
{
    QLibrary plugin(strPlugin);
    const auto verify = reinterpret_cast<VerifyFunction>(plugin.resolve("QuorvelVerifyLicence"));
    if (verify == nullptr) {
        return { false, FormatText("the licence plug-in cannot be loaded (%s)", plugin.errorString()) };
    }
    char message[512] = {};
    const int nValid = verify(text.constData(), static_cast<int>(text.size()), today.toJulianDay(), message,
        static_cast<int>(sizeof message));
    return { nValid == 1, QString::fromUtf8(message) };
}

} // namespace

QString DefaultLicencePlugin()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("quorvel-licence"));
}

QString InstalledLicencePath()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation))
        .filePath(QStringLiteral("Tesselon/Quorvel.licence"));
}

LicenceState CheckLicence(const QString& strPlugin, const QString& strLicenceFile, const QDate& today)
{
    QFile file(strLicenceFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return { false, FormatText("no licence is installed (%s)", strLicenceFile) };
    }
    // A licence is a few lines; anything larger is not one.
    return Verify(strPlugin, file.read(64 * 1024), today);
}

LicenceState InstallLicence(const QString& strPlugin, const QString& strFile, const QString& strTarget)
{
    QFile file(strFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return { false, FormatText("%s cannot be read: %s", strFile, file.errorString()) };
    }
    const QByteArray text = file.read(64 * 1024);
    LicenceState state = Verify(strPlugin, text, QDate::currentDate());
    if (!state.bRegistered) {
        state.strSummary = QStringLiteral("not installed: ") + state.strSummary;
        return state;
    }
    QDir().mkpath(QFileInfo(strTarget).path());
    if (const QString strError = WriteWholeFile(strTarget, text); !strError.isEmpty()) {
        return { false, QStringLiteral("not installed: ") + strError };
    }
    return state;
}
