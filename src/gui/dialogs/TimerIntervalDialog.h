#pragma once

#include <QDialog>

class QSpinBox;

// "Change Timer Interval (in Seconds)".
class CTimerIntervalDialog : public QDialog
{
    Q_OBJECT

public:
    CTimerIntervalDialog(unsigned nSeconds, QWidget* pParent = nullptr);
    [[nodiscard]] unsigned Seconds() const;

private:
    QSpinBox* m_pSeconds;
};
