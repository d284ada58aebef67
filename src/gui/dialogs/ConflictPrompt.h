#pragma once

#include <memory>

#include "app/QuorvelView.h"

class QMessageBox;
class QWidget;

// Asks with a message box whether a copy may replace what the other side has: Replace, Replace all, Skip,
// Stop, and "Do not show this again", which keeps a Replace or Skip answer for every later copy.
class CConflictPrompt : public IConflictPrompt
{
public:
    explicit CConflictPrompt(QWidget* pParent);
    ConflictAnswer AskReplace(const QString& strTarget, int nToSide) override;
    // The question itself, not yet shown.
    static std::unique_ptr<QMessageBox> MakeBox(const QString& strTarget, int nToSide, QWidget* pParent);

private:
    QWidget* m_pParent;
};
