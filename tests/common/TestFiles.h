#pragma once

#include <ostream>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <gmock/gmock.h>

// The private folder this test process works in; TMPDIR points into it, so the diagnostic log's folder
// and every temporary file of the program under test stay out of the real temporary folder.
QString TestRoot();

// A fresh, empty folder under TestRoot() for one test.
QString MakeTestFolder(const QString& strName);

QByteArray ReadFileBytes(const QString& strPath);
void WriteFileBytes(const QString& strPath, const QByteArray& bytes);

// The file's lines without their line feeds; a last line without a line feed is kept too.
QStringList ReadFileLines(const QString& strPath);

// Readable QString values in GoogleTest's failure messages.
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

// Matches a QString that holds the given UTF-8 text.
MATCHER_P(QHasSubstr, text, "")
{
    return arg.contains(QString::fromUtf8(text));
}
