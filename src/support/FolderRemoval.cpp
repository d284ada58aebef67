#include "support/FolderRemoval.h"
#include "support/NameBytes.h"

#include <cerrno>
#include <cstring>

#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

} // namespace

QList<QByteArray> ListFolderNames(int fd)
{
    QList<QByteArray> names;
    const int nOwnFd = ::openat(fd, ".", kFolderFlags);
    DIR* pDir = nOwnFd >= 0 ? ::fdopendir(nOwnFd) : nullptr;
    if (pDir == nullptr) {
        if (nOwnFd >= 0) {
            ::close(nOwnFd);
        }
        return names;
    }
    while (const dirent* pEntry = ::readdir(pDir)) {
        const QByteArray name(pEntry->d_name);
        if (name != "." && name != "..") {
            names.append(name);
        }
    }
    ::closedir(pDir);
    return names;
}

bool RemoveTreeAt(int nParentFd, const QByteArray& name)
{
    // unlinkat removes a file or a link without looking at what it points to; only a real folder refuses.
    if (::unlinkat(nParentFd, name.constData(), 0) == 0) {
        return true;
    }
    if (errno != EISDIR && errno != EPERM) {
        return errno == ENOENT;
    }
    const int fd = ::openat(nParentFd, name.constData(), kFolderFlags);
    if (fd < 0) {
        return false;
    }
    bool bAll = true;
    for (const QByteArray& child : ListFolderNames(fd)) {
        bAll = RemoveTreeAt(fd, child) && bAll;
    }
    ::close(fd);
    return bAll && ::unlinkat(nParentFd, name.constData(), AT_REMOVEDIR) == 0;
}

QString RemoveLocalEntry(const QString& strPath)
{
    const QFileInfo info(strPath);
    const QString strName = info.fileName();
    if (strName.isEmpty() || strName == QLatin1String(".") || strName == QLatin1String("..")) {
        return QStringLiteral("\"") + strPath + QStringLiteral("\" names no file or folder that can be deleted.");
    }
    const int nParentFd = ::open(NameToBytes(info.path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nParentFd < 0) {
        return QStringLiteral("The folder of \"") + strPath + QStringLiteral("\" cannot be opened: ")
            + QString::fromLocal8Bit(std::strerror(errno)) + QLatin1Char('.');
    }
    const bool bRemoved = RemoveTreeAt(nParentFd, NameToBytes(strName));
    const int nError = errno;
    ::close(nParentFd);
    if (!bRemoved) {
        return QStringLiteral("\"") + strPath + QStringLiteral("\" could not be deleted completely: ")
            + QString::fromLocal8Bit(std::strerror(nError)) + QLatin1Char('.');
    }
    return {};
}
