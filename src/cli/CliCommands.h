#pragma once

#include <QStringList>

// Exit statuses of quorvel-cli.
enum CliExit
{
    kExitOk = 0,
    kExitDifferences = 1,
    kExitError = 2
};

int RunSysinfo(const QStringList& arguments);
int RunSettings(const QStringList& arguments);
