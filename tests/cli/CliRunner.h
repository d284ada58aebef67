#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

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
