#pragma once

#include <memory>

#include <QString>

class QSettings;

// The companion programs of the suite that work can be handed to.
enum class Companion
{
    Vorlane, // comparison program
    Quillmarth, // text editor
    Plenora, // viewer, which also renders documents to postscript
    Trawlmere, // search program
    Hexorant, // hex comparison program
    Resmorphant // resource comparison program
};

// Where programs register themselves: the machine's App Paths in the registry on Windows; elsewhere an INI
// file of system scope ("Tesselon/Registrations.ini" in the system's configuration folders) with the same
// key names, e.g.
//   [Software/Microsoft/Windows/CurrentVersion/App%20Paths/Vorlane.exe]
//   Default=/opt/vorlane/bin/vorlane
// Read afresh by every lookup; nothing is cached.
class CRegistrationStore
{
public:
    CRegistrationStore();
    ~CRegistrationStore();
    // A store kept in one INI file: for tests, and for set-ups without a system-wide one.
    static CRegistrationStore AtFile(const QString& strPath);

    // Whether the key (backslash-separated, as the registry names it) exists.
    [[nodiscard]] bool HasKey(const QString& strKey) const;
    // A value of a key; strName empty for the key's unnamed default value. Null when absent.
    [[nodiscard]] QString Value(const QString& strKey, const QString& strName) const;

private:
    explicit CRegistrationStore(std::unique_ptr<QSettings> pSettings);

    std::unique_ptr<QSettings> m_pSettings;
};

// The full path of a companion's program file, or empty when it is not installed. Failures go to the
// diagnostic log only.
QString GetCompanionPath(const CRegistrationStore& store, Companion program);

// The folder that holds the Outside In viewer library ("sccvw.dll"), or empty.
QString GetOutsideInFolder(const CRegistrationStore& store);
