#include <QCoreApplication>
#include <QSysInfo>

#include "support/DiagnosticLog.h"
#include "support/Version.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <pwd.h>
#include <unistd.h>
#endif

namespace {

QString UserName()
{
#if defined(_WIN32)
    return qEnvironmentVariable("USERNAME");
#else
    passwd entry {};
    passwd* pResult = nullptr;
    char buffer[1024];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &pResult) == 0 && pResult != nullptr) {
        return QString::fromLocal8Bit(pResult->pw_name);
    }
    return qEnvironmentVariable("USER");
#endif
}

QString OperatingSystemLine()
{
#if defined(_WIN32)
    OSVERSIONINFOEXW info {};
    info.dwOSVersionInfoSize = sizeof info;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) {
        return DescribeWindowsVersion(WindowsPlatform::Unavailable, 0, 0, 0);
    }
    const WindowsPlatform platform = info.dwPlatformId == VER_PLATFORM_WIN32s ? WindowsPlatform::Win32s
        : info.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS                     ? WindowsPlatform::Windows9x
                                                                              : WindowsPlatform::NT;
    return DescribeWindowsVersion(platform, static_cast<long>(info.dwMajorVersion),
        static_cast<long>(info.dwMinorVersion), static_cast<long>(info.wServicePackMajor));
#else
    return QStringLiteral("\tOS:\t\t") + QSysInfo::prettyProductName();
#endif
}

} // namespace

QString DescribeWindowsVersion(WindowsPlatform platform, long nMajor, long nMinor, long nServicePackMajor)
{
    switch (platform) {
    case WindowsPlatform::Unavailable:
        return QStringLiteral("\tOS:\t\tVersion Information Unavailable");
    case WindowsPlatform::Win32s:
        return QStringLiteral("\tOS:\t\tWindows 32s");
    case WindowsPlatform::Windows9x:
        return QStringLiteral("\tOS:\t\tWindows 9x");
    case WindowsPlatform::NT:
        break;
    }
    if (nMajor < 5) {
        return FormatText("\tOS:\t\tWindows NT %.1ld.x", nMajor);
    }
    if (nMajor == 5 && nMinor == 0) {
        return FormatText("\tOS:\t\tWindows 2000 ServicePack %.1ld", nServicePackMajor);
    }
    // Kept as coarse as the log has always been: 6.1 reports the XP wording, 6.0 and 10.0 no line at all.
    if (nMinor != 0) {
        return FormatText("\tOS:\t\tWindows XP ServicePack %.1ld", nServicePackMajor);
    }
    return {};
}

void LogSystemInfo()
{
    if (!IsLogEnabled()) {
        return;
    }
    const QString strComputer = QSysInfo::machineHostName();
    if (!strComputer.isEmpty()) {
        LogPlain("\tCOMPUTERNAME:\t%s", strComputer);
    }
    const QString strUser = UserName();
    if (!strUser.isEmpty()) {
        LogPlain("\tUSERNAME:\t%s", strUser);
    }
#if defined(_WIN32)
    wchar_t buffer[MAX_PATH];
    if (GetWindowsDirectoryW(buffer, MAX_PATH) != 0) {
        LogPlain("\tWINDIR:\t\t%s", QString::fromWCharArray(buffer));
    }
    if (GetSystemDirectoryW(buffer, MAX_PATH) != 0) {
        LogPlain("\tSYSDIR:\t\t%s", QString::fromWCharArray(buffer));
    }
#endif
    const QString strOs = OperatingSystemLine();
    if (!strOs.isEmpty()) {
        LogPlain("%s", strOs);
    }
    if (QCoreApplication::instance() != nullptr) {
        LogPlain("\tMODULEDIR:\t%s/", QCoreApplication::applicationDirPath());
    }
    LogPlain("\tMODULEVERSION:\t%s", QStringLiteral(QUORVEL_VERSION));
    LogPlain("%s", QString(80, QLatin1Char('=')));
}
