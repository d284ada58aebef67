#include "gui/StatusCounts.h"

#include <QHBoxLayout>
#include <QToolButton>

#include "app/PaneSettings.h"
#include "gui/StatusIcons.h"
#include "support/TextFormat.h"

CStatusCounts::CStatusCounts(const CPaneSettings& settings, QWidget* pParent)
    : QWidget(pParent)
{
    auto* pLayout = new QHBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->setSpacing(2);
    for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
        auto* pButton = new QToolButton(this);
        pButton->setObjectName(
            QStringLiteral("toggle") + ClassName(static_cast<StatusClass>(nClass)).remove(QLatin1Char(' ')));
        pButton->setCheckable(true);
        pButton->setChecked(true);
        pButton->setAutoRaise(true);
        pButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        pButton->setText(ClassName(static_cast<StatusClass>(nClass)) + QStringLiteral(" 0"));
        connect(pButton, &QToolButton::toggled, this, [this] { emit ShownClassesChanged(ShownClasses()); });
        m_pToggles[nClass] = pButton;
        pLayout->addWidget(pButton);
    }
    SetIcons(settings);
}

void CStatusCounts::SetIcons(const CPaneSettings& settings)
{
    const CStatusIcons icons(settings);
    const int kIcons[] = { ICON_SAME, ICON_DIFF, ICON_1ST, ICON_2ND, ICON_UNKNOWN_FILE, ICON_CLOSE };
    for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
        m_pToggles[nClass]->setIcon(icons.Icon(kIcons[nClass]));
    }
}

void CStatusCounts::ShowTotals(const std::array<ClassTotals, kStatusClasses>& totals)
{
    for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
        const ClassTotals& total = totals[static_cast<size_t>(nClass)];
        const QString strName = ClassName(static_cast<StatusClass>(nClass));
        m_pToggles[nClass]->setText(strName + QLatin1Char(' ') + QString::number(total.nItems));
        QString strTip = strName + QStringLiteral(": ") + QString::number(total.nItems) + QStringLiteral(" items");
        if (nClass != CLASS_FOLDER_ONE_SIDE) {
            strTip += QStringLiteral(", ") + ByteCountText(total.nBytes);
        }
        m_pToggles[nClass]->setToolTip(strTip + QStringLiteral(".\nClick to show or hide them in both panes."));
    }
}

void CStatusCounts::SetShownClasses(unsigned nClasses)
{
    for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
        const QSignalBlocker blocker(m_pToggles[nClass]);
        m_pToggles[nClass]->setChecked((nClasses & (1u << nClass)) != 0);
    }
}

unsigned CStatusCounts::ShownClasses() const
{
    unsigned nClasses = 0;
    for (int nClass = 0; nClass < CLASS_FOLDER_BOTH; ++nClass) {
        if (m_pToggles[nClass]->isChecked()) {
            nClasses |= 1u << nClass;
        }
    }
    return nClasses;
}
