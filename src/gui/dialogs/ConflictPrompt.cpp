#include "gui/dialogs/ConflictPrompt.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

constexpr long long kAsk = 0;
constexpr long long kAlwaysReplace = 1;
constexpr long long kAlwaysSkip = 2;

} // namespace

CConflictPrompt::CConflictPrompt(QWidget* pParent)
    : m_pParent(pParent)
{ }

ConflictAnswer CConflictPrompt::AskReplace(const QString& strTarget, int nToSide)
{
    CSettingsStore store;
    const long long nKept = store.ReadInt("Misc.", "ReplaceAnswer");
    if (nKept == kAlwaysReplace) {
        return ConflictAnswer::Replace;
    }
    if (nKept == kAlwaysSkip) {
        return ConflictAnswer::Skip;
    }
    QMessageBox box(QMessageBox::Question, QStringLiteral("Replace?"),
        FormatText("The %s side has \"%s\" already.\n\nReplace it with the copy from the other side?",
            nToSide == SIDE_LEFT ? "local" : "FTP", EscapeControlCharacters(strTarget)),
        QMessageBox::NoButton, m_pParent);
    box.setObjectName(QStringLiteral("conflictPrompt"));
    QPushButton* pReplace = box.addButton(QStringLiteral("&Replace"), QMessageBox::YesRole);
    QPushButton* pReplaceAll = box.addButton(QStringLiteral("Replace &all"), QMessageBox::YesRole);
    QPushButton* pSkip = box.addButton(QStringLiteral("&Skip"), QMessageBox::NoRole);
    QPushButton* pStop = box.addButton(QStringLiteral("S&top"), QMessageBox::RejectRole);
    box.setDefaultButton(pSkip);
    box.setEscapeButton(pStop);
    auto* pNotAgain = new QCheckBox(QStringLiteral("Do not show this again"), &box);
    box.setCheckBox(pNotAgain);
    box.exec();
    const QAbstractButton* pClicked = box.clickedButton();
    const ConflictAnswer answer = pClicked == pReplace ? ConflictAnswer::Replace
        : pClicked == pReplaceAll                      ? ConflictAnswer::ReplaceAll
        : pClicked == pSkip                            ? ConflictAnswer::Skip
                                                       : ConflictAnswer::Stop;
    if (pNotAgain->isChecked() && answer != ConflictAnswer::Stop) {
        store.WriteInt("Misc.", "ReplaceAnswer", answer == ConflictAnswer::Skip ? kAlwaysSkip : kAlwaysReplace);
        (void)store.Sync();
    }
    return answer;
}
