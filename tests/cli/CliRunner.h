#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <unistd.h>

#include "common/TestFiles.h"

// One run of quorvel-cli with a settings profile of the test's own and no terminal on standard input.
struct CliRun
{
    int nExit = -1;
    QString strOut;
    QString strErr;
};

inline CliRun RunCli(
    const QStringList& arguments, const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral(QUORVEL_CLI_PATH),
        QStringList { QStringLiteral("--settings"), TestRoot() + QStringLiteral("/cli-profile") } + arguments);
    process.waitForFinished(60000);
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromLocal8Bit(process.readAllStandardOutput()),
        QString::fromLocal8Bit(process.readAllStandardError()) };
}

// A folder that any user may write to, for a run as an ordinary user.
inline QString MakeWritableFolder(const QString& strName)
{
    const QString strFolder = MakeTestFolder(strName);
    const auto everyone = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
        | QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther
        | QFileDevice::WriteOther | QFileDevice::ExeOther;
    for (const char* pPart : { "", "/profile", "/cache", "/tmp" }) {
        QDir().mkpath(strFolder + QString::fromLatin1(pPart));
        QFile::setPermissions(strFolder + QString::fromLatin1(pPart), everyone);
    }
    return strFolder;
}

// A run as "nobody" when the tests run as root, for whom no permission is ever denied; settings, cache and
// temporary files go to strWritable (from MakeWritableFolder).
inline CliRun RunCliUnprivileged(
    const QStringList& arguments, QProcessEnvironment environment, const QString& strWritable)
{
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), strWritable + QStringLiteral("/cache"));
    environment.insert(QStringLiteral("TMPDIR"), strWritable + QStringLiteral("/tmp"));
    environment.insert(QStringLiteral("HOME"), strWritable);
    const QStringList cli = QStringList {
        QStringLiteral(QUORVEL_CLI_PATH), QStringLiteral("--settings"), strWritable + QStringLiteral("/profile")
    } + arguments;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    if (::geteuid() == 0) {
        process.start(QStringLiteral("setpriv"),
            QStringList {
                QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups") }
                + cli);
    } else {
        process.start(cli.first(), cli.mid(1));
    }
    process.waitForFinished(60000);
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromLocal8Bit(process.readAllStandardOutput()),
        QString::fromLocal8Bit(process.readAllStandardError()) };
}
