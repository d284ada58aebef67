#pragma once

#include <QDir>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "support/DiagnosticLog.h"

// Starts every test with logging on, an empty log folder and a clock fixed at 15 March 2026, 14:29:07.
class LogFixture : public testing::Test
{
protected:
    void SetUp() override
    {
        QDir folder(GetLogFolder());
        for (const QString& name : folder.entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot)) {
            QDir(folder.filePath(name)).removeRecursively();
            QFile::remove(folder.filePath(name));
        }
        SetLogClock([] { return QDateTime(QDate(2026, 3, 15), QTime(14, 29, 7)); });
        SetLogEnabled(true);
        SetFullLog(false);
        SetLogSizeCap(0);
    }

    void TearDown() override { SetLogClock({}); }

    // A new log file, its lines stamped or not as asked.
    QString NewLog(bool bTimestamps = false)
    {
        const QString strPath = MakeLogFilePath(QStringLiteral("Quorvel"), QStringLiteral("log"), true);
        SetLogTimestampLines(bTimestamps);
        return strPath;
    }

    static void Touch(const QString& strName) { WriteFileBytes(QDir(GetLogFolder()).filePath(strName), "x\n"); }

    static QStringList LogFolderEntries()
    {
        QStringList names = QDir(GetLogFolder()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        return names;
    }
};
