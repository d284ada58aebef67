#include "cli/CliCommands.h"

#include <cstdio>

#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/SettingsTable.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/FileItem.h"
#include "tree/FolderComparison.h"

namespace {

bool RefuseArguments(const QStringList& arguments, const char* command)
{
    if (arguments.isEmpty()) {
        return false;
    }
    std::fprintf(stderr, "quorvel-cli %s: unexpected argument \"%s\"; see quorvel-cli --help.\n", command,
        arguments.first().toLocal8Bit().constData());
    return true;
}

} // namespace

void PrintLine(const QString& text)
{
    // Names and replies from a server end up in these lines: nothing in them may drive the terminal.
    std::fputs(EscapeControlCharacters(text).toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
}

void PrintError(const QString& text)
{
    std::fputs(EscapeControlCharacters(text).toLocal8Bit().constData(), stderr);
    std::fputc('\n', stderr);
}

std::optional<int> AnswerHelpOrUsage(const char* pCommand, const char* pUsage, bool bHelp, const QString& strUsageError)
{
    if (bHelp) {
        std::fputs(pUsage, stdout);
        return kExitOk;
    }
    if (!strUsageError.isEmpty()) {
        PrintError(FormatText("quorvel-cli %s: %s See quorvel-cli %s --help.", pCommand, strUsageError, pCommand));
        return kExitError;
    }
    return std::nullopt;
}

void PrintNotices(const QStringList& remoteWarnings, const CFolderComparison& comparison)
{
    for (const QString& strWarning : remoteWarnings) {
        PrintError(QStringLiteral("warning: ") + strWarning);
    }
    for (const ScanNotice& notice : comparison.Notices()) {
        PrintError((notice.bError ? QStringLiteral("error: ") : QStringLiteral("warning: ")) + notice.strText);
    }
}

int ReportUnreadRemoteFolders(const CFileItem* pRoot)
{
    int nUnread = 0;
    for (const CFileItem* pItem = pRoot; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        const SideRead nRead = pItem->nRead[SIDE_RIGHT];
        if (pItem->kind != KIND_DIR || (pItem != pRoot && pItem->strPaths[SIDE_RIGHT].IsEmpty())
            || (nRead != SideRead::ListingPartial && nRead != SideRead::ListingFailed)) {
            continue;
        }
        ++nUnread;
        const char* pWhy = nRead == SideRead::ListingFailed ? "its listing failed"
                                                            : "its listing held lines or names that could not be read";
        if (pItem == pRoot) {
            PrintError(FormatText("error: the compared FTP folder was not read in full (%s); the comparison does not "
                                  "cover all of it.",
                pWhy));
            continue;
        }
        PrintError(FormatText("error: the server's folder \"%s\" was not read in full (%s); the comparison does not "
                              "cover all of it.",
            JoinPath(pItem->strShowPaths[SIDE_RIGHT].Text(), pItem->strName), pWhy));
    }
    return nUnread;
}

int RunSysinfo(const QStringList& arguments)
{
    if (RefuseArguments(arguments, "sysinfo")) {
        return kExitError;
    }
    // This command exists to produce a log, so it writes one whatever "LogEnabled" says.
    SetLogEnabled(true);
    OpenLogWithBanner(QStringLiteral("Quorvel"));
    const QString strPath = LogFilePath();
    Log("RunSysinfo::[%ld] system information written", CurrentThreadId());
    CloseLogWithBanner();
    PrintLine(QStringLiteral("Diagnostic log written to ") + strPath);
    return kExitOk;
}

int RunSettings(const QStringList& arguments)
{
    if (RefuseArguments(arguments, "settings")) {
        return kExitError;
    }
    const CSettingsStore store;
    PrintLine(QStringLiteral("Settings profile: ") + store.Location());
    for (const SettingDefinition& definition : AllSettings()) {
        const QString strValue = definition.type == SettingType::String
            ? QLatin1Char('"') + store.ReadString(definition.strSection, definition.strKey) + QLatin1Char('"')
            : QString::number(store.ReadInt(definition.strSection, definition.strKey));
        const bool bStored = store.Contains(definition.strSection, definition.strKey);
        PrintLine(FormatText(
            "  %-9s %-24s %s%s", definition.strSection, definition.strKey, strValue, bStored ? "" : "  (default)"));
    }
    return kExitOk;
}
