#pragma once

#include <QDialog>

#include "app/ComparisonDocument.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

// Asks what to compare: the local folder (typed, picked or recent), the FTP folder as a URL (or another
// local folder), the log-on, passive mode and the mirror's size limit. Recent pairs fill both at once.
class COpenComparisonDialog : public QDialog
{
    Q_OBJECT

public:
    explicit COpenComparisonDialog(QWidget* pParent = nullptr);

    void SetRequest(const OpenRequest& request);
    // What was entered; check Validate() first.
    [[nodiscard]] OpenRequest Request() const;
    // The sentence that says what is wrong with the entries, or empty.
    [[nodiscard]] QString Validate() const;

    // The recent pairs, newest first, as "local|right".
    static QStringList RecentPairs();
    static void RememberPair(const OpenRequest& request);

    void accept() override;

private:
    void PickLocalFolder();
    void PickRecentPair(int nIndex);

    QComboBox* m_pRecent;
    QComboBox* m_pLocal;
    QComboBox* m_pRight;
    QLineEdit* m_pUser;
    QLineEdit* m_pPassword;
    QCheckBox* m_pPassive;
    QSpinBox* m_pCacheKb;
    QLabel* m_pError;
};
