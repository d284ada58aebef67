#include "support/DiagnosticLog.h"

#include <system_error>

#include <QFile>
#include <QFileInfo>

#include "support/LogState.h"
#include "support/SettingsStore.h"

namespace {

constexpr qsizetype kMaxLineCharacters = 1024;

QString CurrentLogPath()
{
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    return state.strLogFilePath;
}

// The file a line goes to now: empty while logging is off or no log file has been started.
QString WritablePath()
{
    return TheLogState().bEnabled ? CurrentLogPath() : QString();
}

QString StampPrefix(const QDateTime& when)
{
    return QLatin1Char('[') + when.toString(QStringLiteral("MM/dd/yy")) + QLatin1Char(' ')
        + when.toString(QStringLiteral("HH:mm:ss")) + QLatin1Char(']');
}

// Appends bytes with a single write on a file opened for appending: the system keeps one write whole, so
// concurrent writers never interleave inside a line.
void AppendToFile(const QString& strPath, const QByteArray& bytes, bool bTruncateFirst)
{
    QFile file(strPath);
    const QIODevice::OpenMode mode = bTruncateFirst ? QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered
                                                    : QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered;
    if (file.open(mode)) {
        file.write(bytes);
    }
}

} // namespace

LogState& TheLogState()
{
    static LogState state;
    return state;
}

QDateTime LogNow()
{
    LogState& state = TheLogState();
    std::function<QDateTime()> clock;
    {
        std::lock_guard lock(state.mutex);
        clock = state.clock;
    }
    return clock ? clock() : QDateTime::currentDateTime();
}

QString LogFileStampOf(const QDateTime& when)
{
    return when.toString(QStringLiteral("MMdd_HHmmss"));
}

bool IsLogEnabled()
{
    return TheLogState().bEnabled.load(std::memory_order_relaxed);
}

bool IsFullLogEnabled()
{
    return TheLogState().bFullLog.load(std::memory_order_relaxed);
}

void SetLogEnabled(bool bEnabled)
{
    TheLogState().bEnabled = bEnabled;
}

void SetFullLog(bool bFullLog)
{
    TheLogState().bFullLog = bFullLog;
}

void LoadLogSwitches(const CSettingsStore& store)
{
    SetLogEnabled(store.ReadInt("Settings", "LogEnabled") != 0);
    SetFullLog(store.ReadInt("Settings", "FullLog") != 0);
}

bool LogTimestampLines()
{
    return TheLogState().bTimestampLines;
}

void SetLogTimestampLines(bool bTimestampLines)
{
    TheLogState().bTimestampLines = bTimestampLines;
}

QString LogFilePath()
{
    return CurrentLogPath();
}

QString LogFileStamp()
{
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    return state.strFileStamp;
}

void SetLogSizeCap(qint64 nBytes)
{
    TheLogState().nSizeCap = nBytes;
}

void SetLogClock(std::function<QDateTime()> clock)
{
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    state.clock = std::move(clock);
}

void WriteLogLine(const QString& strMessage, LogTimestampWish wish)
{
    const QString strPath = WritablePath();
    if (strPath.isEmpty()) {
        return;
    }
    LogState& state = TheLogState();
    const qint64 nSizeCap = state.nSizeCap;
    bool bTruncate = false;
    if (nSizeCap != 0) {
        const QFileInfo info(strPath);
        bTruncate = info.exists() && info.size() >= nSizeCap;
    }

    QString line;
    const bool bStamp
        = wish == LogTimestampWish::Always || (wish == LogTimestampWish::IfEnabled && state.bTimestampLines);
    if (bStamp) {
        line = StampPrefix(LogNow());
        if (!strMessage.isEmpty()) {
            line += QLatin1Char(' ') + strMessage;
        }
    } else {
        line = strMessage;
    }
    // Keep the line feed when cutting, so a long line never runs into the next one; never split a
    // surrogate pair.
    if (line.size() > kMaxLineCharacters - 1) {
        qsizetype nKeep = kMaxLineCharacters - 1;
        if (line.at(nKeep - 1).isHighSurrogate()) {
            --nKeep;
        }
        line.truncate(nKeep);
    }
    line += QLatin1Char('\n');
    AppendToFile(strPath, line.toLocal8Bit(), bTruncate);
}

void WriteLogErrorLine(int nErrorCode, const QString& strText)
{
    if (nErrorCode == 0) {
        WriteLogLine(strText + QStringLiteral(": OK"), LogTimestampWish::IfEnabled);
        return;
    }
    QString strSystemText = QString::fromLocal8Bit(std::system_category().message(nErrorCode));
    while (strSystemText.endsWith(QLatin1Char('\n')) || strSystemText.endsWith(QLatin1Char('\r'))) {
        strSystemText.chop(1);
    }
    WriteLogLine(
        FormatText("%s\tErrorCode: [%ld]=%s", strText, nErrorCode, strSystemText), LogTimestampWish::IfEnabled);
}

void LogNarrow(const QByteArray& text)
{
    const QString strPath = WritablePath();
    if (strPath.isEmpty()) {
        return;
    }
    LogState& state = TheLogState();
    QByteArray line;
    if (state.bTimestampLines) {
        line = StampPrefix(LogNow()).toLocal8Bit();
        if (!text.isEmpty()) {
            line += ' ' + text;
        }
    } else {
        line = text;
    }
    line += '\n';
    AppendToFile(strPath, line, false);
}

void RedirectLog(bool bEnd, const QString& strTag)
{
    const QString strFolder = GetLogFolder();
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    if (!state.bRedirectRemembered) {
        state.bRedirectRemembered = true;
        state.bRedirectSavedEnabled = state.bEnabled;
    }
    if (bEnd) {
        state.strLogFilePath = state.strRedirectSavedPath;
        state.bEnabled = state.bRedirectSavedEnabled;
        return;
    }
    state.strRedirectSavedPath = state.strLogFilePath;
    const QDateTime now = state.clock ? state.clock() : QDateTime::currentDateTime();
    const QString strTagText = strTag.isEmpty() ? LogFileStampOf(now) : strTag;
    const QFileInfo current(state.strLogFilePath);
    QString strBase = current.path() + QLatin1Char('/') + current.completeBaseName();
    QString strExt = current.suffix();
    if (state.strLogFilePath.isEmpty()) {
        strBase = strFolder + QStringLiteral("/Quorvel");
        strExt = QStringLiteral("log");
    }
    state.strLogFilePath = FormatText("%s_%s.%s", strBase, strTagText, strExt);
    state.bEnabled = true;
}
