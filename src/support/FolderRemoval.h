#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// The names in the folder open as fd (which stays open), without "." and "..".
QList<QByteArray> ListFolderNames(int fd);

// Removes the entry name of the folder open as nParentFd: a file, a link (the link itself), or a folder
// with everything in it. No link is ever followed, so nothing outside the folder can be touched through
// one. True when the entry is gone.
bool RemoveTreeAt(int nParentFd, const QByteArray& name);

// The same for a path: the path's last part is removed as RemoveTreeAt does, even when it is a link to a
// folder. An error sentence, or empty.
QString RemoveLocalEntry(const QString& strPath);
