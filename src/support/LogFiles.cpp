#include <algorithm>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "support/DiagnosticLog.h"
#include "support/LogState.h"
#include "support/SettingsStore.h"

namespace {

const QString kBannerRule(80, QLatin1Char('='));
constexpr int kKeptLogFiles = 3;

} // namespace

QString GetLogFolder()
{
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    if (!state.strLogFolder.isEmpty()) {
        return state.strLogFolder;
    }
    // QDir::tempPath() follows TMPDIR and falls back to the system's temporary folder, so it always
    // gives a folder. The log may name the user's paths: only the owner may read it.
    QString strFolder = QDir::tempPath() + QStringLiteral("/vorlane_log");
    if (!QFileInfo::exists(strFolder)) {
        QDir().mkdir(strFolder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    state.strLogFolder = strFolder;
    return strFolder;
}

QString MakeLogFilePath(const QString& strName, const QString& strExt, bool bSkipTimestampSetting)
{
    if (strName.isEmpty() || strExt.isEmpty()) {
        return {};
    }
    const QString strFolder = GetLogFolder();
    const QString strStamp = LogFileStampOf(LogNow());
    QString strPath = strFolder + QLatin1Char('/') + strName + QLatin1Char('-') + strStamp + QLatin1Char('.') + strExt;
    {
        LogState& state = TheLogState();
        std::lock_guard lock(state.mutex);
        state.strLogFilePath = strPath;
        state.strFileStamp = strStamp;
    }
    PruneLogFiles(strName, strExt);
    if (!bSkipTimestampSetting) {
        LoadLogTimestampSetting(strName);
    }
    return strPath;
}

void PruneLogFiles(const QString& strName, const QString& strExt)
{
    if (strName.isEmpty() || strExt.isEmpty()) {
        return;
    }
    QDir folder(GetLogFolder());
    // Windows matches file names without regard to case; elsewhere a differently cased name is another file.
#if defined(Q_OS_WIN)
    const QDir::Filters filters = QDir::Files | QDir::Hidden | QDir::System;
#else
    const QDir::Filters filters = QDir::Files | QDir::Hidden | QDir::System | QDir::CaseSensitive;
#endif
    QStringList names = folder.entryList({ strName + QStringLiteral("-*.") + strExt }, filters, QDir::NoSort);
    if (names.size() <= kKeptLogFiles) {
        return;
    }
    // The names carry month, day and time but no year: the greatest names are kept, so in January the
    // files from December survive. Ordinal comparison, as the names were written.
    std::sort(names.begin(), names.end(),
        [](const QString& a, const QString& b) { return QString::compare(a, b, Qt::CaseSensitive) > 0; });
    for (qsizetype i = kKeptLogFiles; i < names.size(); ++i) {
        QFile::remove(folder.filePath(names.at(i)));
    }
}

void LoadLogTimestampSetting(const QString& strProgramName)
{
    const CSettingsStore store(strProgramName);
    SetLogTimestampLines(store.ReadInt("Settings", "LogTimestamp") == 1);
}

QString StartDiagnosticLog()
{
    QString strPath = MakeLogFilePath(QStringLiteral("Quorvel"), QStringLiteral("log"), false);
    PruneLogFiles(QStringLiteral("Quorvel"), QStringLiteral("txt"));
    return strPath;
}

void OpenLogWithBanner(const QString& strName)
{
    MakeLogFilePath(strName, QStringLiteral("log"), false);
    LogPlain("%s", kBannerRule);
    LogSystemInfo();
    Log("BEGIN...");
    Log("");
}

void CloseLogWithBanner()
{
    if (LogFilePath().isEmpty()) {
        return;
    }
    Log("");
    Log("END...");
    LogPlain("%s", kBannerRule);
    LogState& state = TheLogState();
    std::lock_guard lock(state.mutex);
    state.strLogFilePath.clear();
}
