#pragma once

#include <ctime>
#include <optional>

#include <QString>
#include <QStringList>

// One folder of a mirror, held open by descriptor. Every name is resolved relative to it and no link is
// ever followed, so nothing a listing says (and no link planted in the mirror) can make a write land
// outside the mirror root.
class CMirrorDir
{
public:
    // The mirror root itself; it may be reached through links the user made (a cache folder moved to another
    // disk), but nothing below it is. Created when missing.
    static std::optional<CMirrorDir> OpenRoot(const QString& strRoot);

    CMirrorDir(CMirrorDir&& other) noexcept;
    CMirrorDir& operator=(CMirrorDir&& other) noexcept;
    ~CMirrorDir();
    CMirrorDir(const CMirrorDir&) = delete;
    CMirrorDir& operator=(const CMirrorDir&) = delete;

    // A sub-folder; with bCreate it is made when missing, and a file or link in its place is removed first.
    // bCreated tells whether it had to be made.
    std::optional<CMirrorDir> Child(const QString& strName, bool bCreate, bool* pCreated = nullptr) const;

    [[nodiscard]] QStringList Names() const;
    [[nodiscard]] bool IsFolder(const QString& strName) const;
    // The last write time and size of a regular file of that name, or nothing.
    struct FileFacts
    {
        std::time_t nTime = 0;
        long long nSize = 0;
    };
    [[nodiscard]] std::optional<FileFacts> FileFactsOf(const QString& strName) const;
    [[nodiscard]] bool HoldsFiles() const;

    // An empty regular file (a placeholder or a marker), replacing whatever file or link had the name.
    bool CreateEmptyFile(const QString& strName) const;
    bool RemoveFile(const QString& strName) const;
    // Removes a file, a link, or a folder with everything in it.
    bool RemoveEntry(const QString& strName) const;
    // The first nMax bytes of a regular file (no link is followed), or nothing.
    [[nodiscard]] std::optional<QByteArray> ReadSmallFile(const QString& strName, int nMax) const;
    // Replaces the contents of an existing regular file; a link or a missing file is left alone.
    bool RewriteFile(const QString& strName, const QByteArray& contents) const;
    bool SetFileTimes(const QString& strName, std::time_t nTime) const;

    // A new file to write a download into, under a working name the scanner never shows: its descriptor,
    // or -1. Commit renames it over strName; Discard removes it.
    int CreateWorkFile(QString& strWorkName) const;
    bool CommitWorkFile(const QString& strWorkName, const QString& strName) const;
    void DiscardWorkFile(const QString& strWorkName) const;

    [[nodiscard]] int Fd() const { return m_fd; }

private:
    explicit CMirrorDir(int fd);
    int m_fd = -1;
};
