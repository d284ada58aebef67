#include "support/CompanionLookup.h"

#include <cerrno>

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include "support/DiagnosticLog.h"

namespace {

struct Registration
{
    const char* pKey;
    std::string_view notRegistered;
    std::string_view noValue;
};

// Resmorphant's missing value is logged in the editor's words; so it has always been.
constexpr Registration kRegistrations[] = {
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Vorlane.exe", "Vorlane not registered.",
        "Vorlane val doesn't exist." },
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Quillmarth.exe", "Quillmarth not registered.",
        "Quillmarth val doesn't exist." },
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Plenora.exe", "Plenora not registered.",
        "Plenora val doesn't exist." },
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Trawlmere.exe", "Trawlmere not registered.",
        "Trawlmere val doesn't exist." },
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Hexorant.exe", "Hexorant not registered.",
        "Hexorant val doesn't exist." },
    { "Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Resmorphant.exe", "Resmorphant not registered.",
        "Quillmarth val doesn't exist." },
};

constexpr const char* kOutsideInKey = "Software\\Vorlane";
constexpr const char* kOutsideInValue = "OIVTPath";
constexpr const char* kOutsideInLibrary = "sccvw.dll";
constexpr const char* kResmorphantFile = "Resmorphant.exe";

// QSettings separates groups with "/" on every platform.
QString GroupOf(const QString& strKey)
{
    return QString(strKey).replace(QLatin1Char('\\'), QLatin1Char('/'));
}

// A path cut after its last separator (which is kept); empty when it has none.
QString FolderWithSeparator(const QString& strPath)
{
    const qsizetype nCut = std::max(strPath.lastIndexOf(QLatin1Char('/')), strPath.lastIndexOf(QLatin1Char('\\')));
    return nCut < 0 ? QString() : strPath.left(nCut + 1);
}

bool IsFile(const QString& strPath)
{
    return !strPath.isEmpty() && QFileInfo(strPath).isFile();
}

// Looks the program up without the fallback: what a registration alone gives.
QString RegisteredPath(const CRegistrationStore& store, Companion program, bool* pKeyMissing)
{
    const Registration& registration = kRegistrations[static_cast<int>(program)];
    const QString strKey = QString::fromLatin1(registration.pKey);
    // The code logged is the thread's last system error, as a failed registry open leaves it.
    if (!store.HasKey(strKey)) {
        LogError(errno, registration.notRegistered);
        *pKeyMissing = true;
        return {};
    }
    const QString strPath = store.Value(strKey, {});
    if (strPath.isNull()) {
        LogError(errno, registration.noValue);
        return {};
    }
    return IsFile(strPath) ? strPath : QString();
}

} // namespace

CRegistrationStore::CRegistrationStore()
#ifdef Q_OS_WIN
    : m_pSettings(std::make_unique<QSettings>(QStringLiteral("HKEY_LOCAL_MACHINE"), QSettings::NativeFormat))
#else
    : m_pSettings(std::make_unique<QSettings>(
        QSettings::IniFormat, QSettings::SystemScope, QStringLiteral("Tesselon"), QStringLiteral("Registrations")))
#endif
{ }

CRegistrationStore::CRegistrationStore(std::unique_ptr<QSettings> pSettings)
    : m_pSettings(std::move(pSettings))
{ }

CRegistrationStore::~CRegistrationStore() = default;

CRegistrationStore CRegistrationStore::AtFile(const QString& strPath)
{
    return CRegistrationStore(std::make_unique<QSettings>(strPath, QSettings::IniFormat));
}

bool CRegistrationStore::HasKey(const QString& strKey) const
{
    const QString strGroup = GroupOf(strKey);
    const qsizetype nCut = strGroup.lastIndexOf(QLatin1Char('/'));
    m_pSettings->beginGroup(nCut < 0 ? QString() : strGroup.left(nCut));
    const bool bFound = m_pSettings->childGroups().contains(strGroup.mid(nCut + 1));
    m_pSettings->endGroup();
    return bFound;
}

QString CRegistrationStore::Value(const QString& strKey, const QString& strName) const
{
    const QVariant value = m_pSettings->value(
        GroupOf(strKey) + QLatin1Char('/') + (strName.isEmpty() ? QStringLiteral("Default") : strName));
    return value.isValid() ? value.toString() : QString();
}

QString GetCompanionPath(const CRegistrationStore& store, Companion program)
{
    bool bKeyMissing = false;
    QString strPath = RegisteredPath(store, program, &bKeyMissing);
    if (program != Companion::Resmorphant || !bKeyMissing) {
        return strPath;
    }
    // Not registered: it may still be installed beside the editor.
    const QString strEditorFolder = FolderWithSeparator(GetCompanionPath(store, Companion::Quillmarth));
    if (strEditorFolder.isEmpty()) {
        return {};
    }
    const QString strBeside = strEditorFolder + QLatin1String(kResmorphantFile);
    return IsFile(strBeside) ? strBeside : QString();
}

QString GetOutsideInFolder(const CRegistrationStore& store)
{
    const auto holdsLibrary = [](const QString& strFolder) {
        return QFileInfo(strFolder).isDir() && IsFile(strFolder + QLatin1Char('/') + QLatin1String(kOutsideInLibrary));
    };
    QString strFolder = store.Value(QString::fromLatin1(kOutsideInKey), QString::fromLatin1(kOutsideInValue));
    if (strFolder.endsWith(QLatin1Char('\\')) || (strFolder.size() > 1 && strFolder.endsWith(QLatin1Char('/')))) {
        strFolder.chop(1);
    }
    if (!strFolder.isEmpty() && holdsLibrary(strFolder)) {
        return strFolder;
    }
    QString strViewerFolder = FolderWithSeparator(GetCompanionPath(store, Companion::Plenora));
    if (strViewerFolder.isEmpty()) {
        return {};
    }
    strViewerFolder.chop(1);
    for (const QString& strCandidate : { strViewerFolder, QString(strViewerFolder + QStringLiteral("/liboi")),
             QString(strViewerFolder + QStringLiteral("/libplenora/liboi")) }) {
        if (IsFile(strCandidate + QLatin1Char('/') + QLatin1String(kOutsideInLibrary))) {
            return strCandidate;
        }
    }
    return {};
}
