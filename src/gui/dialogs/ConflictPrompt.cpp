#include "gui/dialogs/ConflictPrompt.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

// 0 (or anything else): ask each time.
constexpr long long kAlwaysReplace = 1;
constexpr long long kAlwaysSkip = 2;

} // namespace

CConflictPrompt::CConflictPrompt(QWidget* pParent)
    : m_pParent(pParent)
{ }

std::unique_ptr<QMessageBox> CConflictPrompt::MakeBox(const QString& strTarget, int nToSide, QWidget* pParent)
{
    auto pBox = std::make_unique<QMessageBox>(QMessageBox::Question, QStringLiteral("Replace?"),
        FormatText("The %s side has \"%s\" already.\n\nReplace it with the copy from the other side?",
            nToSide == SIDE_LEFT ? "local" : "FTP", EscapeControlCharacters(strTarget)),
        QMessageBox::NoButton, pParent);
    pBox->setObjectName(QStringLiteral("conflictPrompt"));
    const auto add = [&pBox](const char* pName, const QString& strText, QMessageBox::ButtonRole role) {
        QPushButton* pButton = pBox->addButton(strText, role);
        pButton->setObjectName(QLatin1String(pName));
        return pButton;
    };
    add("replace", QStringLiteral("&Replace"), QMessageBox::YesRole);
    add("replaceAll", QStringLiteral("Replace &all"), QMessageBox::YesRole);
    pBox->setDefaultButton(add("skip", QStringLiteral("&Skip"), QMessageBox::NoRole));
    pBox->setEscapeButton(add("stop", QStringLiteral("S&top"), QMessageBox::RejectRole));
    pBox->setCheckBox(new QCheckBox(QStringLiteral("Do not show this again"), pBox.get()));
    return pBox;
}

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
    const std::unique_ptr<QMessageBox> pBox = MakeBox(strTarget, nToSide, m_pParent);
    pBox->exec();
    const QString strClicked = pBox->clickedButton() != nullptr ? pBox->clickedButton()->objectName() : QString();
    const ConflictAnswer answer = strClicked == QLatin1String("replace") ? ConflictAnswer::Replace
        : strClicked == QLatin1String("replaceAll")                      ? ConflictAnswer::ReplaceAll
        : strClicked == QLatin1String("skip")                            ? ConflictAnswer::Skip
                                                                         : ConflictAnswer::Stop;
    const QCheckBox* pNotAgain = pBox->checkBox();
    if (pNotAgain->isChecked() && answer != ConflictAnswer::Stop) {
        store.WriteInt("Misc.", "ReplaceAnswer", answer == ConflictAnswer::Skip ? kAlwaysSkip : kAlwaysReplace);
        (void)store.Sync();
    }
    return answer;
}
