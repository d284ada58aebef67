#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QString>

// Names are kept as the bytes they are, on the disk and on a server alike: a name that is not valid UTF-8
// (a Latin-1 "caf\xe9") must come back as the same bytes when it is copied, renamed or deleted. Each byte that
// is not part of valid UTF-8 stands in a QString as a lone surrogate U+DC80..U+DCFF and turns back into that
// byte; everything else is plain UTF-8.
QString NameFromBytes(QByteArrayView bytes);
QByteArray NameToBytes(const QString& strName);

// Opens a local file by the bytes of its path (QFile's own open would lose bytes that are not UTF-8).
// nFlags are open(2)'s; false, with errno set, when it cannot be opened.
bool OpenLocalFile(QFile& file, const QString& strPath, int nFlags, QIODevice::OpenMode mode);

// Makes a local folder and every missing folder above it, by the bytes of the path; false with errno set.
bool MakeLocalFolders(const QString& strPath);
