#pragma once

#include <atomic>
#include <memory>
#include <optional>

#include <QDialog>

#include "app/SiteRecords.h"

class ICredentialStore;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QThread;

// "FTP - Site Manager": the saved sites on the left (new, copy, rename, delete, import, export), the chosen
// site's fields on the right, a connection test on a worker, and Connect, which opens a comparison of the
// site. Passwords go to the credential store only.
class CSiteManagerDialog : public QDialog
{
    Q_OBJECT

public:
    CSiteManagerDialog(ICredentialStore& secrets, QWidget* pParent = nullptr);
    ~CSiteManagerDialog() override;

    // The fields as a record, checked; nothing, with the reason shown, when a value is wrong.
    std::optional<SiteRecord> CheckedRecord();
    // Saves the fields as the current site; false when a value is wrong.
    bool SaveCurrent();
    void SelectSite(const QString& strName);
    [[nodiscard]] QString CurrentSite() const { return m_strCurrent; }
    [[nodiscard]] QString StatusText() const;

signals:
    // Connect was pressed: a comparison of the site is to be opened with this request.
    void ConnectRequested(const OpenRequest& request);
    // A connection test ended with this sentence.
    void TestFinished(bool bOk, const QString& strOutcome);

protected:
    void done(int nResult) override;

private:
    QWidget* BuildForm();
    void FillList(const QString& strSelect);
    void ShowRecord(const SiteRecord& record);
    void NewSite();
    void CopySite();
    void RenameSite();
    void DeleteSite();
    void ImportSites();
    void ExportSites();
    void TestConnection();
    void Connect();
    void UpdateAnonymous();
    // The password the fields or the store give; bAsked: the user was asked and cancelled.
    std::optional<QString> PasswordFor(const SiteRecord& record);
    void SetStatus(const QString& strText);

    ICredentialStore& m_secrets;
    QListWidget* m_pSites;
    QLineEdit* m_pName;
    QLineEdit* m_pHost;
    QSpinBox* m_pPort;
    QCheckBox* m_pPassive;
    QLineEdit* m_pLogin;
    QCheckBox* m_pAnonymous;
    QLineEdit* m_pPassword;
    QLineEdit* m_pInitialPath;
    QSpinBox* m_pRetries;
    QSpinBox* m_pRetryDelay;
    QSpinBox* m_pMaxSize;
    QSpinBox* m_pTimeOffset; // its minimum stands for "found by each session"
    QComboBox* m_pCharset; // in the order of NameCharset
    QLineEdit* m_pLocalFolder;
    QComboBox* m_pSecurity;
    QLineEdit* m_pPinnedKey;
    QLabel* m_pStatus;
    QPushButton* m_pTest;
    QString m_strCurrent;
    QThread* m_pTester = nullptr;
    std::shared_ptr<std::atomic<bool>> m_pCancelTest;
};
