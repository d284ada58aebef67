#pragma once

#include <QString>

// Renames a local file or folder to strTo in one step that never replaces anything: when strTo exists
// (even when it appears between a check and the rename) nothing happens. An error sentence, or empty.
QString RenameLocalEntry(const QString& strFrom, const QString& strTo);

// Makes a local folder; an existing one is an error, so that nothing is taken over unnoticed. An error
// sentence, or empty.
QString MakeLocalFolder(const QString& strPath);
