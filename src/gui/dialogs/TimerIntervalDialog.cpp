#include "gui/dialogs/TimerIntervalDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>

CTimerIntervalDialog::CTimerIntervalDialog(unsigned nSeconds, QWidget* pParent)
    : QDialog(pParent)
    , m_pSeconds(new QSpinBox(this))
{
    setObjectName(QStringLiteral("timerIntervalDialog"));
    setWindowTitle(QStringLiteral("Change Timer Interval (in Seconds)"));
    m_pSeconds->setRange(5, 24 * 3600);
    m_pSeconds->setValue(static_cast<int>(nSeconds));
    m_pSeconds->setSuffix(QStringLiteral(" s"));
    auto* pLayout = new QFormLayout(this);
    pLayout->addRow(QStringLiteral("&Interval:"), m_pSeconds);
    auto* pNote
        = new QLabel(QStringLiteral("The comparison is refreshed at each tick while it holds at most 100 files; "
                                    "a tick that comes while the last refresh still runs is skipped."),
            this);
    pNote->setWordWrap(true);
    pLayout->addRow(pNote);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pLayout->addRow(pButtons);
    connect(pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

unsigned CTimerIntervalDialog::Seconds() const
{
    return static_cast<unsigned>(m_pSeconds->value());
}
