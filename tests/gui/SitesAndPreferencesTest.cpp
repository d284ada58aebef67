#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include "common/FtpTestServer.h"
#include "gui/ComparisonFilter.h"
#include "gui/ComparisonModel.h"
#include "gui/ComparisonPanes.h"
#include "gui/GuiFixture.h"
#include "gui/dialogs/PreferencesDialog.h"
#include "gui/dialogs/SiteManagerDialog.h"
#include "gui/widgets/SilenceableMessageBox.h"
#include "support/SettingsStore.h"

namespace {

using SitesAndPreferences = GuiFixture;

// Runs act on the next modal dialog of type T as soon as it shows.
template <typename T> void WhenShown(const std::function<void(T&)>& act)
{
    auto* pTimer = new QTimer;
    pTimer->setInterval(20);
    QObject::connect(pTimer, &QTimer::timeout, [pTimer, act] {
        if (auto* pDialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            pTimer->stop();
            pTimer->deleteLater();
            act(*pDialog);
        }
    });
    pTimer->start();
}

TEST_F(SitesAndPreferences, PreferencesWriteExactlyTheKeysTheyShowAndThePanesFollowAtOnce)
{
    CPreferencesDialog dialog;
    CSettingsStore fresh = CSettingsStore::InFolder(MakeTestFolder(QStringLiteral("gui-prefs")));
    ASSERT_TRUE(dialog.Save(fresh));
    QStringList written;
    for (const QString& strSection : { QStringLiteral("Settings"), QStringLiteral("Misc.") }) {
        for (const QString& strKey : fresh.ChildKeys(strSection)) {
            written.append(strSection + QLatin1Char('/') + strKey);
        }
    }
    QStringList bound = dialog.BoundKeys();
    written.sort();
    bound.sort();
    EXPECT_EQ(written, bound);

    ASSERT_TRUE(OpenAndWait({ m_strLeft, m_strRight, {}, -1 }));
    const auto diffColour
        = [this] { return Find(QStringLiteral("docs/b.txt")).data(Qt::ForegroundRole).value<QColor>(); };
    EXPECT_EQ(diffColour(), QColor(255, 0, 0));
    // Cancel keeps everything as it was.
    WhenShown<CPreferencesDialog>([](CPreferencesDialog& shown) {
        shown.findChild<QCheckBox*>(QStringLiteral("DeleteRowOfGoodXfer"))->setChecked(false);
        shown.reject();
    });
    m_pFrame->Action(QStringLiteral("preferences"))->trigger();
    EXPECT_EQ(CSettingsStore().ReadInt("Settings", "DeleteRowOfGoodXfer"), 1);

    WhenShown<CPreferencesDialog>([](CPreferencesDialog& shown) {
        shown.findChild<QCheckBox*>(QStringLiteral("DeleteRowOfGoodXfer"))->setChecked(false);
        shown.findChild<QPushButton*>(QStringLiteral("ColorDiff"))->setProperty("colorRef", 0x00C000u);
        shown.findChild<QCheckBox*>(QStringLiteral("FileVersion"))->setChecked(false);
        shown.accept();
    });
    m_pFrame->Action(QStringLiteral("preferences"))->trigger();
    EXPECT_EQ(CSettingsStore().ReadInt("Settings", "DeleteRowOfGoodXfer"), 0);
    EXPECT_EQ(diffColour(), QColor(0, 0xC0, 0));
    EXPECT_TRUE(m_pFrame->Panes().Pane(SIDE_LEFT)->isColumnHidden(COL_LEFT_NAME + 3));

    CSettingsStore restore;
    restore.WriteInt("Settings", "DeleteRowOfGoodXfer", 1);
    restore.WriteInt("Settings", "ColorDiff", 255);
    restore.WriteInt("Settings", "FileVersion", 1);
    ASSERT_TRUE(restore.Sync());
}

TEST_F(SitesAndPreferences, ASilencedMessageStaysSilentUntilBroughtBack)
{
    CSilenceableMessageBox::BringAllBack();
    const auto ask = [] {
        return CSilenceableMessageBox::Ask(nullptr, "TestQuestion", QMessageBox::Question, QStringLiteral("Test"),
            QStringLiteral("Go on?"), QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel, QMessageBox::Yes);
    };
    int nShown = 0;
    const auto answerNo = [&nShown](bool bSilence) {
        WhenShown<QMessageBox>([&nShown, bSilence](QMessageBox& box) {
            ++nShown;
            box.checkBox()->setChecked(bSilence);
            box.button(QMessageBox::No)->click();
        });
    };
    answerNo(true);
    EXPECT_EQ(ask(), QMessageBox::No);
    EXPECT_TRUE(CSilenceableMessageBox::IsSilenced("TestQuestion"));
    EXPECT_EQ(ask(), QMessageBox::No) << "the kept answer, without a box";
    EXPECT_EQ(nShown, 1);
    EXPECT_EQ(CSilenceableMessageBox::BringAllBack(), 1);
    answerNo(false);
    EXPECT_EQ(ask(), QMessageBox::No);
    EXPECT_EQ(nShown, 2);
    EXPECT_FALSE(CSilenceableMessageBox::IsSilenced("TestQuestion"));
}

TEST_F(SitesAndPreferences, TheSiteManagerKeepsPasswordsOutOfTheSettingsTestsAndConnects)
{
    CFtpTestServer server;
    ASSERT_TRUE(server.Start()) << server.Error().toStdString();
    WriteFileBytes(server.Root() + QStringLiteral("/www/docs/a.txt"), "same");
    auto* pSecrets = new CMemoryCredentialStore;
    m_pFrame->SetCredentialStore(std::unique_ptr<ICredentialStore>(pSecrets));
    CSiteManagerDialog dialog(m_pFrame->Secrets(), m_pFrame.get());
    const auto field = [&dialog](const char* pName) { return dialog.findChild<QLineEdit*>(QLatin1String(pName)); };
    field("name")->setText(QStringLiteral("Loopback"));
    field("host")->setText(QStringLiteral("127.0.0.1"));
    dialog.findChild<QSpinBox*>(QStringLiteral("port"))->setValue(server.Port());
    field("login")->setText(QString::fromLatin1(CFtpTestServer::kUser));
    field("password")->setText(QString::fromLatin1(CFtpTestServer::kPassword));
    field("initialPath")->setText(QStringLiteral("www\\"));
    field("localFolder")->setText(m_strLeft);

    dialog.findChild<QSpinBox*>(QStringLiteral("maxSize"))->setValue(10000);
    field("host")->clear();
    EXPECT_FALSE(dialog.SaveCurrent());
    EXPECT_EQ(dialog.StatusText(), QStringLiteral("The host address is required."));
    field("host")->setText(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(dialog.SaveCurrent()) << dialog.StatusText().toStdString();
    EXPECT_EQ(field("initialPath")->text(), QStringLiteral("/www"));
    QString strError;
    EXPECT_EQ(
        pSecrets->Read(QStringLiteral("site:Loopback"), strError), QString::fromLatin1(CFtpTestServer::kPassword));
    EXPECT_FALSE(ReadFileBytes(CSettingsStore().Location()).contains(CFtpTestServer::kPassword));
    EXPECT_EQ(CSettingsStore().ReadString("Settings", "LastSelectedSite"), QStringLiteral("Loopback"));
    {
        CSettingsStore saved;
        EXPECT_FALSE(CSiteStore(saved).Read(QStringLiteral("Loopback"))->nTimeOffsetMinutes)
            << "unless set, each session finds the server's time offset";
    }
    auto* pOffset = dialog.findChild<QSpinBox*>(QStringLiteral("timeOffset"));
    pOffset->setValue(-60);
    ASSERT_TRUE(dialog.SaveCurrent());
    dialog.SelectSite(QStringLiteral("Loopback"));
    EXPECT_EQ(pOffset->value(), -60);
    pOffset->setValue(pOffset->minimum());
    ASSERT_TRUE(dialog.SaveCurrent());

    QSignalSpy tested(&dialog, &CSiteManagerDialog::TestFinished);
    dialog.findChild<QPushButton*>(QStringLiteral("testConnection"))->click();
    ASSERT_TRUE(tested.wait(20000));
    EXPECT_TRUE(tested.first().first().toBool()) << tested.first().last().toString().toStdString();

    QSignalSpy shown(m_pFrame.get(), &CMainFrame::ComparisonShown);
    QObject::connect(&dialog, &CSiteManagerDialog::ConnectRequested, m_pFrame.get(), &CMainFrame::OpenComparison);
    dialog.findChild<QPushButton*>(QStringLiteral("connectSite"))->click();
    ASSERT_TRUE(shown.wait(20000));
    EXPECT_TRUE(shown.first().first().toBool());
    EXPECT_TRUE(Find(QStringLiteral("docs/a.txt")).isValid());

    // Where no secret service runs, the dialog says so and nothing is kept.
    pSecrets->SetUnavailable(true);
    dialog.SelectSite(QStringLiteral("Loopback"));
    EXPECT_THAT(dialog.StatusText(), QHasSubstr("No secret service is running"));
    CSettingsStore store;
    CSiteStore(store).Remove(QStringLiteral("Loopback"));
    ASSERT_TRUE(store.Sync());
}

} // namespace
