#pragma once

#include <memory>
#include <string_view>

#include <QString>
#include <QStringList>
#include <QVariant>

class QSettings;

// The program's settings profile: sections "Settings", "Misc." and "MRU" of QSettings("Tesselon", program)
// (the registry on Windows, an INI file elsewhere). Every read of a known setting falls back to the default
// in the settings table, so all readers agree on it. The only class that touches QSettings.
class CSettingsStore
{
public:
    // The profile of the given program: the user's own, or the one in the folder set by SetProfileFolder.
    explicit CSettingsStore(const QString& strProgramName = QStringLiteral("Quorvel"));
    ~CSettingsStore();
    CSettingsStore(CSettingsStore&&) noexcept;
    CSettingsStore& operator=(CSettingsStore&&) noexcept;

    // A profile kept as "<folder>/<program>.ini", whatever the platform: for tests and portable set-ups.
    static CSettingsStore InFolder(const QString& strFolder, const QString& strProgramName = QStringLiteral("Quorvel"));

    // Makes every store constructed afterwards in this process use strFolder; an empty text restores the
    // user's own profile.
    static void SetProfileFolder(const QString& strFolder);

    // A known setting's value, or its default when absent or unreadable. Byte settings come back in 0..255.
    [[nodiscard]] long long ReadInt(std::string_view strSection, std::string_view strKey) const;
    [[nodiscard]] QString ReadString(std::string_view strSection, std::string_view strKey) const;
    [[nodiscard]] bool Contains(std::string_view strSection, std::string_view strKey) const;

    void WriteInt(std::string_view strSection, std::string_view strKey, long long nValue);
    void WriteString(std::string_view strSection, std::string_view strKey, const QString& strValue);

    // Records the table cannot list, one group each below a section ("Sites/<name>/Host"): the group names
    // below strSection, and values by their whole path.
    [[nodiscard]] QStringList ChildGroups(const QString& strSection) const;
    [[nodiscard]] QStringList ChildKeys(const QString& strSection) const;
    [[nodiscard]] QVariant ReadValue(const QString& strPath) const;
    void WriteValue(const QString& strPath, const QVariant& value);
    // Removes a value or a whole group.
    void Remove(const QString& strPath);

    // Writes pending changes out; false when the profile cannot be written.
    [[nodiscard]] bool Sync();

    // Where the profile lives: a file path, or a registry path on Windows.
    [[nodiscard]] QString Location() const;

private:
    explicit CSettingsStore(std::unique_ptr<QSettings> pSettings);

    std::unique_ptr<QSettings> m_pSettings;
};
