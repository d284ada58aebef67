#ifdef QUORVEL_GUI_TESTS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif
#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>

#include "common/TestFiles.h"
#include "support/SettingsStore.h"

namespace {

QString g_strTestRoot;

} // namespace

QString TestRoot()
{
    return g_strTestRoot;
}

// Every test process gets a private temporary folder and settings profile before any code under test
// runs: the log folder is fixed on first use, and no test may touch the user's real settings.
int main(int argc, char** argv)
{
    QTemporaryDir root(QDir::tempPath() + QStringLiteral("/quorvel-test-XXXXXX"));
    if (!root.isValid()) {
        return 3;
    }
    g_strTestRoot = root.path();
    // The FTP servers under test drop to users of their own, which must be able to reach their roots.
    QFile::setPermissions(g_strTestRoot,
        QFile::permissions(g_strTestRoot) | QFileDevice::ReadOther | QFileDevice::ExeOther | QFileDevice::ReadGroup
            | QFileDevice::ExeGroup);
    const QString strTemp = g_strTestRoot + QStringLiteral("/tmp");
    QDir().mkpath(strTemp);
    qputenv("TMPDIR", QFile::encodeName(strTemp));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(g_strTestRoot + QStringLiteral("/config")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(g_strTestRoot + QStringLiteral("/cache")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(g_strTestRoot + QStringLiteral("/data")));
    CSettingsStore::SetProfileFolder(g_strTestRoot + QStringLiteral("/profile"));

#ifdef QUORVEL_GUI_TESTS
    // Real widgets, drawn off screen: no display is needed and nothing appears on one.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
#endif
    TestApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
