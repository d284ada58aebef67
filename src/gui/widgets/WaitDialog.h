#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// Says what the program is busy with and offers Cancel. It never blocks: the work runs on a worker and
// closes the dialog when it ends.
class CWaitDialog : public QDialog
{
    Q_OBJECT

public:
    CWaitDialog(const QString& strTitle, QWidget* pParent = nullptr);

    void SetText(const QString& strText);
    [[nodiscard]] QString Text() const;

signals:
    void CancelRequested();

protected:
    void reject() override;

private:
    QLabel* m_pText;
    QPushButton* m_pCancel;
};
