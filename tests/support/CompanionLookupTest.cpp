#include <QSettings>

#include "support/CompanionLookup.h"
#include "support/LogFixture.h"

using testing::HasSubstr;
using testing::Not;

namespace {

const QString kAppPaths = QStringLiteral("Software/Microsoft/Windows/CurrentVersion/App Paths/");

// A registration store in a temporary file, and program files to register in it.
class CompanionLookup : public LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        m_strFolder = MakeTestFolder(QStringLiteral("companions"));
        m_strLog = NewLog();
    }

    [[nodiscard]] QString Store() const { return m_strFolder + QStringLiteral("/Registrations.ini"); }

    // Writes a program file below the test folder and returns its path.
    QString Program(const QString& strRelative) const
    {
        const QString strPath = m_strFolder + QLatin1Char('/') + strRelative;
        WriteFileBytes(strPath, "program");
        return strPath;
    }

    void Register(const QString& strProgram, const QString& strPath) const
    {
        QSettings(Store(), QSettings::IniFormat).setValue(kAppPaths + strProgram + QStringLiteral("/Default"), strPath);
    }

    [[nodiscard]] std::string LogText() const
    {
        return QFile::exists(m_strLog) ? ReadFileLines(m_strLog).join(QLatin1Char('\n')).toStdString() : std::string();
    }

    QString m_strFolder;
    QString m_strLog;
};

TEST_F(CompanionLookup, ARegisteredProgramIsFoundOnlyWhileItsFileExists)
{
    const QString strEditor = Program(QStringLiteral("editor/Quillmarth.exe"));
    Register(QStringLiteral("Quillmarth.exe"), strEditor);
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Quillmarth), strEditor);

    QFile::remove(strEditor);
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Quillmarth), QString());
    EXPECT_EQ(LogText(), std::string()) << "a registered file that is gone is not logged";
}

TEST_F(CompanionLookup, AMissingKeyAndAMissingValueAreLoggedInTheirOwnWords)
{
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Hexorant), QString());
    // A key with some other value but no default one.
    QSettings(Store(), QSettings::IniFormat).setValue(kAppPaths + QStringLiteral("Vorlane.exe/Path"), m_strFolder);
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Vorlane), QString());
    QSettings(Store(), QSettings::IniFormat).setValue(kAppPaths + QStringLiteral("Resmorphant.exe/Path"), m_strFolder);
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Resmorphant), QString());

    const std::string strLog = LogText();
    EXPECT_THAT(strLog, HasSubstr("Hexorant not registered."));
    EXPECT_THAT(strLog, HasSubstr("Vorlane val doesn't exist."));
    // The resource comparison program's missing value has always been logged in the editor's words.
    EXPECT_THAT(strLog, HasSubstr("Quillmarth val doesn't exist."));
    EXPECT_THAT(strLog, Not(HasSubstr("Resmorphant val")));
}

TEST_F(CompanionLookup, TheResourceComparisonProgramIsFoundBesideTheEditor)
{
    const CRegistrationStore store = CRegistrationStore::AtFile(Store());
    EXPECT_EQ(GetCompanionPath(store, Companion::Resmorphant), QString()) << "no editor registered either";

    const QString strEditor = Program(QStringLiteral("suite/Quillmarth.exe"));
    Register(QStringLiteral("Quillmarth.exe"), strEditor);
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Resmorphant), QString())
        << "the editor is there, but nothing beside it";
    const QString strBeside = Program(QStringLiteral("suite/Resmorphant.exe"));
    EXPECT_EQ(GetCompanionPath(CRegistrationStore::AtFile(Store()), Companion::Resmorphant), strBeside);
    EXPECT_THAT(LogText(), HasSubstr("Resmorphant not registered."));
}

TEST_F(CompanionLookup, TheOutsideInFolderComesFromItsValueOrFromBesideTheViewer)
{
    const QString strLibraryFolder = m_strFolder + QStringLiteral("/oi");
    Program(QStringLiteral("oi/sccvw.dll"));
    QSettings(Store(), QSettings::IniFormat)
        .setValue(QStringLiteral("Software/Vorlane/OIVTPath"), QString(strLibraryFolder + QLatin1Char('/')));
    EXPECT_EQ(GetOutsideInFolder(CRegistrationStore::AtFile(Store())), strLibraryFolder)
        << "a trailing separator is accepted";

    // A folder without the library falls through to the folders beside the viewer, in their order.
    QFile::remove(strLibraryFolder + QStringLiteral("/sccvw.dll"));
    EXPECT_EQ(GetOutsideInFolder(CRegistrationStore::AtFile(Store())), QString());
    Register(QStringLiteral("Plenora.exe"), Program(QStringLiteral("viewer/Plenora.exe")));
    Program(QStringLiteral("viewer/libplenora/liboi/sccvw.dll"));
    EXPECT_EQ(GetOutsideInFolder(CRegistrationStore::AtFile(Store())),
        m_strFolder + QStringLiteral("/viewer/libplenora/liboi"));
    Program(QStringLiteral("viewer/liboi/sccvw.dll"));
    EXPECT_EQ(GetOutsideInFolder(CRegistrationStore::AtFile(Store())), m_strFolder + QStringLiteral("/viewer/liboi"));
    Program(QStringLiteral("viewer/sccvw.dll"));
    EXPECT_EQ(GetOutsideInFolder(CRegistrationStore::AtFile(Store())), m_strFolder + QStringLiteral("/viewer"));
}

} // namespace
