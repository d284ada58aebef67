#pragma once

#include <functional>

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include "support/TextFormat.h"

class CSettingsStore;

// The diagnostic log: one plain-text line per event, appended to a file in "vorlane_log" under the
// temporary folder. Off unless "LogEnabled" is set; "FullLog" admits the tree model's per-item lines.
// Every line is one open, one write and one close, so the file survives a crash up to its last line and
// lines written by several threads at once never mix within a line.

enum class LogTimestampWish
{
    Never,
    IfEnabled,
    Always
};

// Switches and process-wide state.
[[nodiscard]] bool IsLogEnabled();
[[nodiscard]] bool IsFullLogEnabled();
void SetLogEnabled(bool bEnabled);
void SetFullLog(bool bFullLog);
void LoadLogSwitches(const CSettingsStore& store);
[[nodiscard]] bool LogTimestampLines();
void SetLogTimestampLines(bool bTimestampLines);
[[nodiscard]] QString LogFilePath();
[[nodiscard]] QString LogFileStamp();
// When non-zero, a write that finds the file at or above this many bytes starts the file again empty.
void SetLogSizeCap(qint64 nBytes);
// Replaces the clock behind file names and line stamps; an empty function restores the system clock.
void SetLogClock(std::function<QDateTime()> clock);

// The core behind every entry point: writes one line, cut to 1,024 characters with its line feed.
void WriteLogLine(const QString& strMessage, LogTimestampWish wish);
// "text: OK" for code 0, otherwise "text\tErrorCode: [code]=system message".
void WriteLogErrorLine(int nErrorCode, const QString& strText);

template <typename... Args> void Log(std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled()) {
        WriteLogLine(FormatText(fmt, args...), LogTimestampWish::IfEnabled);
    }
}

template <typename... Args> void LogStamped(std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled()) {
        WriteLogLine(FormatText(fmt, args...), LogTimestampWish::Always);
    }
}

template <typename... Args> void LogFull(std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled() && IsFullLogEnabled()) {
        WriteLogLine(FormatText(fmt, args...), LogTimestampWish::IfEnabled);
    }
}

template <typename... Args> void LogPlain(std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled()) {
        WriteLogLine(FormatText(fmt, args...), LogTimestampWish::Never);
    }
}

// nErrorCode is the platform's error number (errno on Linux); 0 means success.
template <typename... Args> void LogError(int nErrorCode, std::string_view fmt, const Args&... args)
{
    if (IsLogEnabled()) {
        WriteLogErrorLine(nErrorCode, FormatText(fmt, args...));
    }
}

// For callers that hold 8-bit text: written as it is, never cut.
void LogNarrow(const QByteArray& text);

// Log files.
QString GetLogFolder();
QString MakeLogFilePath(const QString& strName, const QString& strExt, bool bSkipTimestampSetting);
void PruneLogFiles(const QString& strName, const QString& strExt);
void LoadLogTimestampSetting(const QString& strProgramName);
// The program's start-up: a new "Quorvel" log file, and the old ".txt" logs pruned.
QString StartDiagnosticLog();
void OpenLogWithBanner(const QString& strName);
void CloseLogWithBanner();
// Sends the log to "<current name>_<tag>.<ext>" with logging forced on, until called with bEnd. An empty
// tag becomes the current month-day_time stamp.
void RedirectLog(bool bEnd, const QString& strTag = {});

// The system-information block: computer, user, operating system, program folder and version.
void LogSystemInfo();

// The operating-system line for a Windows version record, or an empty text where the table gives none.
enum class WindowsPlatform
{
    Unavailable,
    Win32s,
    Windows9x,
    NT
};
QString DescribeWindowsVersion(WindowsPlatform platform, long nMajor, long nMinor, long nServicePackMajor);
