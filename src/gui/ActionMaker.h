#pragma once

#include <QAction>
#include <QKeySequence>
#include <QList>

// An action found again by its object name, with its tooltip also shown in the status bar.
inline QAction* MakeAction(QObject* pOwner, const char* pName, const QString& strText, const QString& strTip,
    const QList<QKeySequence>& shortcuts = {})
{
    auto* pAction = new QAction(strText, pOwner);
    pAction->setObjectName(QLatin1String(pName));
    pAction->setToolTip(strTip);
    pAction->setStatusTip(strTip);
    pAction->setShortcuts(shortcuts);
    return pAction;
}
