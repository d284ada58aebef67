#include "support/LocalRename.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include <QFile>

#include "support/NameBytes.h"
#include "support/TextFormat.h"

QString RenameLocalEntry(const QString& strFrom, const QString& strTo)
{
    const QByteArray from = NameToBytes(strFrom);
    const QByteArray to = NameToBytes(strTo);
#ifdef __linux__
    // The kernel refuses for us when the target exists, so nothing can slip in between.
    const bool bRenamed = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0;
#else
    // Without an exclusive rename, the check comes just before it.
    struct stat existing
    { };
    errno = 0;
    if (::lstat(to.constData(), &existing) == 0) {
        errno = EEXIST;
    }
    const bool bRenamed = errno != EEXIST && std::rename(from.constData(), to.constData()) == 0;
#endif
    if (bRenamed) {
        return {};
    }
    const int nError = errno;
    if (nError == EEXIST) {
        return FormatText("\"%s\" already exists; \"%s\" was not renamed.", strTo, strFrom);
    }
    return FormatText(
        "\"%s\" could not be renamed to \"%s\": %s.", strFrom, strTo, QString::fromLocal8Bit(std::strerror(nError)));
}

QString MakeLocalFolder(const QString& strPath)
{
    if (::mkdir(NameToBytes(strPath).constData(), 0777) == 0) {
        return {};
    }
    const int nError = errno;
    if (nError == EEXIST) {
        return FormatText("\"%s\" already exists.", strPath);
    }
    return FormatText(
        "The folder \"%s\" could not be made: %s.", strPath, QString::fromLocal8Bit(std::strerror(nError)));
}
