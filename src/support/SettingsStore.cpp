#include "support/SettingsStore.h"

#include <mutex>

#include <QDir>
#include <QSettings>

#include "support/SettingsTable.h"

namespace {

std::mutex g_profileFolderMutex;
QString g_strProfileFolder;

QString KeyPath(std::string_view strSection, std::string_view strKey)
{
    return QString::fromUtf8(strSection.data(), static_cast<qsizetype>(strSection.size())) + QLatin1Char('/')
        + QString::fromUtf8(strKey.data(), static_cast<qsizetype>(strKey.size()));
}

std::unique_ptr<QSettings> OpenInFolder(const QString& strFolder, const QString& strProgramName)
{
    return std::make_unique<QSettings>(
        QDir(strFolder).filePath(strProgramName + QStringLiteral(".ini")), QSettings::IniFormat);
}

std::unique_ptr<QSettings> OpenProfile(const QString& strProgramName)
{
    std::lock_guard lock(g_profileFolderMutex);
    if (!g_strProfileFolder.isEmpty()) {
        return OpenInFolder(g_strProfileFolder, strProgramName);
    }
    return std::make_unique<QSettings>(QStringLiteral("Tesselon"), strProgramName);
}

} // namespace

CSettingsStore::CSettingsStore(const QString& strProgramName)
    : m_pSettings(OpenProfile(strProgramName))
{ }

CSettingsStore::CSettingsStore(std::unique_ptr<QSettings> pSettings)
    : m_pSettings(std::move(pSettings))
{ }

CSettingsStore::~CSettingsStore() = default;
CSettingsStore::CSettingsStore(CSettingsStore&&) noexcept = default;
CSettingsStore& CSettingsStore::operator=(CSettingsStore&&) noexcept = default;

CSettingsStore CSettingsStore::InFolder(const QString& strFolder, const QString& strProgramName)
{
    return CSettingsStore(OpenInFolder(strFolder, strProgramName));
}

void CSettingsStore::SetProfileFolder(const QString& strFolder)
{
    std::lock_guard lock(g_profileFolderMutex);
    g_strProfileFolder = strFolder;
}

long long CSettingsStore::ReadInt(std::string_view strSection, std::string_view strKey) const
{
    const SettingDefinition* pDefinition = FindSetting(strSection, strKey);
    const long long nDefault = pDefinition != nullptr ? pDefinition->nDefault : 0;
    const QVariant value = m_pSettings->value(KeyPath(strSection, strKey));
    bool bOk = false;
    long long nValue = value.isValid() ? value.toLongLong(&bOk) : 0;
    if (!bOk) {
        nValue = nDefault;
    }
    if (pDefinition != nullptr && pDefinition->type == SettingType::Byte) {
        nValue &= 0xFF;
    }
    return nValue;
}

QString CSettingsStore::ReadString(std::string_view strSection, std::string_view strKey) const
{
    const SettingDefinition* pDefinition = FindSetting(strSection, strKey);
    const QVariant value = m_pSettings->value(KeyPath(strSection, strKey));
    if (value.isValid()) {
        return value.toString();
    }
    if (pDefinition == nullptr) {
        return {};
    }
    return QString::fromUtf8(pDefinition->strDefault.data(), static_cast<qsizetype>(pDefinition->strDefault.size()));
}

bool CSettingsStore::Contains(std::string_view strSection, std::string_view strKey) const
{
    return m_pSettings->contains(KeyPath(strSection, strKey));
}

void CSettingsStore::WriteInt(std::string_view strSection, std::string_view strKey, long long nValue)
{
    // 32-bit values stay 32-bit so that the registry keeps them as DWORDs, as other tools expect.
    if (nValue >= INT32_MIN && nValue <= INT32_MAX) {
        m_pSettings->setValue(KeyPath(strSection, strKey), static_cast<int>(nValue));
    } else {
        m_pSettings->setValue(KeyPath(strSection, strKey), nValue);
    }
}

void CSettingsStore::WriteString(std::string_view strSection, std::string_view strKey, const QString& strValue)
{
    m_pSettings->setValue(KeyPath(strSection, strKey), strValue);
}

QStringList CSettingsStore::ChildGroups(const QString& strSection) const
{
    m_pSettings->beginGroup(strSection);
    QStringList groups = m_pSettings->childGroups();
    m_pSettings->endGroup();
    return groups;
}

QStringList CSettingsStore::ChildKeys(const QString& strSection) const
{
    m_pSettings->beginGroup(strSection);
    QStringList keys = m_pSettings->childKeys();
    m_pSettings->endGroup();
    return keys;
}

QVariant CSettingsStore::ReadValue(const QString& strPath) const
{
    return m_pSettings->value(strPath);
}

void CSettingsStore::WriteValue(const QString& strPath, const QVariant& value)
{
    m_pSettings->setValue(strPath, value);
}

void CSettingsStore::Remove(const QString& strPath)
{
    m_pSettings->remove(strPath);
}

bool CSettingsStore::Sync()
{
    m_pSettings->sync();
    return m_pSettings->status() == QSettings::NoError;
}

QString CSettingsStore::Location() const
{
    return m_pSettings->fileName();
}
