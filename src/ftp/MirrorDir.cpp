#include "ftp/MirrorDir.h"

#include "tree/WorkingNames.h"

#include <cerrno>
#include <random>

#include <QDir>
#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/FolderRemoval.h"
#include "support/NameBytes.h"

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

QByteArray Encoded(const QString& strName)
{
    return NameToBytes(strName);
}

} // namespace

CMirrorDir::CMirrorDir(int fd)
    : m_fd(fd)
{ }

CMirrorDir::CMirrorDir(CMirrorDir&& other) noexcept
    : m_fd(other.m_fd)
{
    other.m_fd = -1;
}

CMirrorDir& CMirrorDir::operator=(CMirrorDir&& other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = other.m_fd;
        other.m_fd = -1;
    }
    return *this;
}

CMirrorDir::~CMirrorDir()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

std::optional<CMirrorDir> CMirrorDir::OpenRoot(const QString& strRoot)
{
    if (!QDir().mkpath(strRoot)) {
        return std::nullopt;
    }
    const int fd = ::open(Encoded(strRoot).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    return CMirrorDir(fd);
}

std::optional<CMirrorDir> CMirrorDir::Child(const QString& strName, bool bCreate, bool* pCreated) const
{
    if (pCreated != nullptr) {
        *pCreated = false;
    }
    const QByteArray name = Encoded(strName);
    int fd = ::openat(m_fd, name.constData(), kFolderFlags);
    if (fd < 0 && bCreate) {
        if (errno == ELOOP || errno == ENOTDIR) {
            // A file or a link stands where the folder belongs: it goes, and is never followed.
            ::unlinkat(m_fd, name.constData(), 0);
        }
        if (::mkdirat(m_fd, name.constData(), 0755) == 0 && pCreated != nullptr) {
            *pCreated = true;
        }
        fd = ::openat(m_fd, name.constData(), kFolderFlags);
    }
    if (fd < 0) {
        return std::nullopt;
    }
    return CMirrorDir(fd);
}

QStringList CMirrorDir::Names() const
{
    QStringList names;
    for (const QByteArray& name : ListFolderNames(m_fd)) {
        names.append(NameFromBytes(name));
    }
    return names;
}

bool CMirrorDir::IsFolder(const QString& strName) const
{
    struct stat info
    { };
    return ::fstatat(m_fd, Encoded(strName).constData(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
}

std::optional<CMirrorDir::FileFacts> CMirrorDir::FileFactsOf(const QString& strName) const
{
    struct stat info
    { };
    if (::fstatat(m_fd, Encoded(strName).constData(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return FileFacts { info.st_mtime, static_cast<long long>(info.st_size) };
}

bool CMirrorDir::HoldsFiles() const
{
    return !Names().isEmpty();
}

bool CMirrorDir::CreateEmptyFile(const QString& strName) const
{
    const QByteArray name = Encoded(strName);
    int fd = ::openat(m_fd, name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0 && errno == ELOOP) {
        ::unlinkat(m_fd, name.constData(), 0);
        fd = ::openat(m_fd, name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    }
    if (fd < 0) {
        return false;
    }
    ::close(fd);
    return true;
}

std::optional<QByteArray> CMirrorDir::ReadSmallFile(const QString& strName, int nMax) const
{
    const int fd = ::openat(m_fd, Encoded(strName).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat info
    { };
    QByteArray contents(nMax, '\0');
    const ssize_t nRead = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) ? ::read(fd, contents.data(), nMax) : -1;
    ::close(fd);
    if (nRead < 0) {
        return std::nullopt;
    }
    contents.truncate(static_cast<qsizetype>(nRead));
    return contents;
}

bool CMirrorDir::RewriteFile(const QString& strName, const QByteArray& contents) const
{
    const int fd = ::openat(m_fd, Encoded(strName).constData(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct stat info
    { };
    const bool bWritten = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && ::ftruncate(fd, 0) == 0
        && ::write(fd, contents.constData(), static_cast<size_t>(contents.size())) == contents.size();
    ::close(fd);
    return bWritten;
}

bool CMirrorDir::RemoveFile(const QString& strName) const
{
    return ::unlinkat(m_fd, Encoded(strName).constData(), 0) == 0 || errno == ENOENT;
}

bool CMirrorDir::RemoveEntry(const QString& strName) const
{
    return RemoveTreeAt(m_fd, Encoded(strName));
}

bool CMirrorDir::SetFileTimes(const QString& strName, std::time_t nTime) const
{
    const timespec times[2] = { { nTime, 0 }, { nTime, 0 } };
    return ::utimensat(m_fd, Encoded(strName).constData(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

int CMirrorDir::CreateWorkFile(QString& strWorkName) const
{
    static thread_local std::mt19937 random(std::random_device {}());
    for (int nTry = 0; nTry < 8; ++nTry) {
        strWorkName = MirrorWorkingName(static_cast<quint32>(random()));
        const int fd = ::openat(
            m_fd, Encoded(strWorkName).constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
    }
    return -1;
}

bool CMirrorDir::CommitWorkFile(const QString& strWorkName, const QString& strName) const
{
    // A rename replaces a link in the target's place rather than writing through it.
    return ::renameat(m_fd, Encoded(strWorkName).constData(), m_fd, Encoded(strName).constData()) == 0;
}

void CMirrorDir::DiscardWorkFile(const QString& strWorkName) const
{
    ::unlinkat(m_fd, Encoded(strWorkName).constData(), 0);
}
