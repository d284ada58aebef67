#include "gui/widgets/SilenceableMessageBox.h"

#include <QCheckBox>

#include "support/SettingsStore.h"

namespace {

const QString kSilenced = QStringLiteral("Silenced");

QString KeyOf(const char* pName)
{
    return kSilenced + QLatin1Char('/') + QLatin1String(pName);
}

} // namespace

QMessageBox::StandardButton CSilenceableMessageBox::Ask(QWidget* pParent, const char* pName, QMessageBox::Icon icon,
    const QString& strTitle, const QString& strText, QMessageBox::StandardButtons buttons,
    QMessageBox::StandardButton defaultButton)
{
    CSettingsStore store;
    bool bKept = false;
    const int nKept = store.ReadValue(KeyOf(pName)).toInt(&bKept);
    if (bKept && (buttons & static_cast<QMessageBox::StandardButton>(nKept)) != 0) {
        return static_cast<QMessageBox::StandardButton>(nKept);
    }
    QMessageBox box(icon, strTitle, strText, buttons, pParent);
    box.setObjectName(QLatin1String(pName));
    box.setDefaultButton(defaultButton);
    box.setCheckBox(new QCheckBox(QStringLiteral("Do not show this again"), &box));
    const auto answer = static_cast<QMessageBox::StandardButton>(box.exec());
    // Cancel is never kept: it means "not now", not "never".
    if (box.checkBox()->isChecked() && answer != QMessageBox::Cancel && answer != QMessageBox::NoButton) {
        store.WriteValue(KeyOf(pName), static_cast<int>(answer));
        (void)store.Sync();
    }
    return answer;
}

bool CSilenceableMessageBox::IsSilenced(const char* pName)
{
    return CSettingsStore().ReadValue(KeyOf(pName)).isValid();
}

int CSilenceableMessageBox::BringAllBack()
{
    CSettingsStore store;
    int nBack = static_cast<int>(store.ChildKeys(kSilenced).size());
    store.Remove(kSilenced);
    if (store.ReadInt("Misc.", "ReplaceAnswer") != 0) {
        store.WriteInt("Misc.", "ReplaceAnswer", 0);
        ++nBack;
    }
    (void)store.Sync();
    return nBack;
}
