#pragma once

#include <QMessageBox>

// A question or notice that the user may tell not to appear again. Each is known by a stable name; its kept
// answer lives in the settings under "Silenced/<name>", and the preferences bring every one back.
class CSilenceableMessageBox
{
public:
    // Shows the box unless it was silenced, in which case the kept answer comes back at once. With "Do not
    // show this again" ticked, the answer (only one of the buttons, never Cancel) is kept.
    static QMessageBox::StandardButton Ask(QWidget* pParent, const char* pName, QMessageBox::Icon icon,
        const QString& strTitle, const QString& strText, QMessageBox::StandardButtons buttons,
        QMessageBox::StandardButton defaultButton);
    // Whether the named box is silenced now.
    [[nodiscard]] static bool IsSilenced(const char* pName);
    // Brings every silenced box back, and the replace question of copies with them; how many were silenced.
    static int BringAllBack();
};
