#pragma once

#include <QDate>
#include <QString>

// Registered or evaluation use, as the licence plug-in decides it. Nothing is withheld in evaluation use:
// the window's title says so, that is all.
struct LicenceState
{
    bool bRegistered = false;
    QString strSummary; // "registered to ...", or why the use is evaluation
};

// The plug-in beside the program, and where the installed licence file lives.
QString DefaultLicencePlugin();
QString InstalledLicencePath();

// Asks the plug-in about the licence file on the given day. A missing plug-in, a missing, altered or
// expired file all mean evaluation use.
LicenceState CheckLicence(const QString& strPlugin, const QString& strLicenceFile, const QDate& today);

// Checks strFile and, when it holds, installs it as the licence (replacing the one before); the state it
// gives, or evaluation with why it was not installed.
LicenceState InstallLicence(const QString& strPlugin, const QString& strFile, const QString& strTarget);
