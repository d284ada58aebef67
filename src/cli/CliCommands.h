#pragma once

#include <optional>

#include <QStringList>

// Exit statuses of quorvel-cli.
enum CliExit
{
    kExitOk = 0,
    kExitDifferences = 1,
    kExitError = 2
};

int RunCompare(const QStringList& arguments);
int RunRaw(const QStringList& arguments);
int RunSync(const QStringList& arguments);
int RunSysinfo(const QStringList& arguments);
int RunSettings(const QStringList& arguments);
int RunReport(const QStringList& arguments);
int RunRename(const QStringList& arguments);

class CFolderComparison;
struct CFileItem;

// Writes to standard error what the listing left out (remoteWarnings) and what the scan could not read or
// left out, one line each.
void PrintNotices(const QStringList& remoteWarnings, const CFolderComparison& comparison);

// Names each folder on the server that was not read in full (a listing that failed, or held lines or names
// that could not be taken); how many there were. Such a comparison is never "the same", nor "in step".
int ReportUnreadRemoteFolders(const CFileItem* pRoot);

// Writes a line to standard output, or standard error.
void PrintLine(const QString& text);
void PrintError(const QString& text);

// Ends a command whose arguments asked for its help (printed, exit 0) or were wrong (what is wrong and where
// to read more, exit 2); nothing when the command goes on.
std::optional<int> AnswerHelpOrUsage(
    const char* pCommand, const char* pUsage, bool bHelp, const QString& strUsageError);
