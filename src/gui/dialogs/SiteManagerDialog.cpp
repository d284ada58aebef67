#include "gui/dialogs/SiteManagerDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QThread>
#include <QVBoxLayout>

#include "app/FileZillaSites.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/CredentialStore.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "support/WholeFile.h"

namespace {

const QString kStored = QStringLiteral("(stored in the secret store)");

QPushButton* Button(const QString& strText, const char* pName, QWidget* pParent)
{
    auto* pButton = new QPushButton(strText, pParent);
    pButton->setObjectName(QLatin1String(pName));
    return pButton;
}

} // namespace

CSiteManagerDialog::CSiteManagerDialog(ICredentialStore& secrets, QWidget* pParent)
    : QDialog(pParent)
    , m_secrets(secrets)
    , m_pSites(new QListWidget(this))
    , m_pStatus(new QLabel(this))
    , m_pCancelTest(std::make_shared<std::atomic<bool>>(false))
{
    setWindowTitle(QStringLiteral("FTP - Site Manager"));
    setObjectName(QStringLiteral("siteManager"));
    m_pSites->setObjectName(QStringLiteral("siteList"));
    m_pStatus->setObjectName(QStringLiteral("siteStatus"));
    m_pStatus->setWordWrap(true);

    auto* pListButtons = new QHBoxLayout;
    for (const auto& [pText, pName, slot] : { std::tuple { "&New", "newSite", &CSiteManagerDialog::NewSite },
             { "&Copy", "copySite", &CSiteManagerDialog::CopySite },
             { "Rena&me", "renameSite", &CSiteManagerDialog::RenameSite },
             { "&Delete", "deleteSite", &CSiteManagerDialog::DeleteSite } }) {
        QPushButton* pButton = Button(QString::fromLatin1(pText), pName, this);
        connect(pButton, &QPushButton::clicked, this, slot);
        pListButtons->addWidget(pButton);
    }
    auto* pTransfer = new QHBoxLayout;
    QPushButton* pImport = Button(QStringLiteral("Import from FileZilla..."), "importSites", this);
    QPushButton* pExport = Button(QStringLiteral("Export..."), "exportSites", this);
    connect(pImport, &QPushButton::clicked, this, &CSiteManagerDialog::ImportSites);
    connect(pExport, &QPushButton::clicked, this, &CSiteManagerDialog::ExportSites);
    pTransfer->addWidget(pImport);
    pTransfer->addWidget(pExport);
    auto* pLeft = new QVBoxLayout;
    pLeft->addWidget(m_pSites, 1);
    pLeft->addLayout(pListButtons);
    pLeft->addLayout(pTransfer);

    auto* pButtons = new QDialogButtonBox(this);
    QPushButton* pSave = pButtons->addButton(QStringLiteral("&Save"), QDialogButtonBox::ApplyRole);
    QPushButton* pConnect = pButtons->addButton(QStringLiteral("Co&nnect"), QDialogButtonBox::AcceptRole);
    pButtons->addButton(QDialogButtonBox::Close);
    pSave->setObjectName(QStringLiteral("saveSite"));
    pConnect->setObjectName(QStringLiteral("connectSite"));
    connect(pSave, &QPushButton::clicked, this, [this] {
        if (SaveCurrent() && m_pStatus->text().isEmpty()) {
            SetStatus(QStringLiteral("Saved."));
        }
    });
    connect(pConnect, &QPushButton::clicked, this, &CSiteManagerDialog::Connect);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* pBody = new QHBoxLayout;
    pBody->addLayout(pLeft, 2);
    pBody->addWidget(BuildForm(), 3);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pBody, 1);
    pLayout->addWidget(m_pStatus);
    pLayout->addWidget(pButtons);

    connect(m_pSites, &QListWidget::currentTextChanged, this, [this](const QString& strName) {
        if (strName.isEmpty() || strName == m_strCurrent) {
            return;
        }
        CSettingsStore store;
        if (const std::optional<SiteRecord> record = CSiteStore(store).Read(strName)) {
            ShowRecord(*record);
        }
    });
    connect(m_pSites, &QListWidget::itemDoubleClicked, this, &CSiteManagerDialog::Connect);
    CSettingsStore store;
    FillList(CSiteStore(store).LastSelected());
    if (m_pSites->count() == 0) {
        NewSite();
    }
    resize(820, 520);
}

CSiteManagerDialog::~CSiteManagerDialog()
{
    if (m_pTester != nullptr) {
        *m_pCancelTest = true;
        m_pTester->wait();
    }
}

QWidget* CSiteManagerDialog::BuildForm()
{
    auto* pForm = new QWidget(this);
    auto* pLayout = new QFormLayout(pForm);
    const auto spin = [pForm](const char* pName, int nMin, int nMax) {
        auto* pSpin = new QSpinBox(pForm);
        pSpin->setObjectName(QLatin1String(pName));
        pSpin->setRange(nMin, nMax);
        return pSpin;
    };
    const auto edit = [pForm](const char* pName) {
        auto* pEdit = new QLineEdit(pForm);
        pEdit->setObjectName(QLatin1String(pName));
        return pEdit;
    };
    m_pName = edit("name");
    m_pHost = edit("host");
    m_pPort = spin("port", 1, 65535);
    m_pPassive = new QCheckBox(QStringLiteral("Use PASV &Mode"), pForm);
    m_pLogin = edit("login");
    m_pAnonymous = new QCheckBox(QStringLiteral("Anonymo&us"), pForm);
    m_pAnonymous->setObjectName(QStringLiteral("anonymous"));
    m_pPassword = edit("password");
    m_pPassword->setEchoMode(QLineEdit::Password);
    m_pInitialPath = edit("initialPath");
    m_pRetries = spin("retries", 1, 99);
    m_pRetryDelay = spin("retryDelay", 0, 3600);
    m_pRetryDelay->setSuffix(QStringLiteral(" s"));
    m_pMaxSize = spin("maxSize", 1, 10000);
    m_pMaxSize->setSuffix(QStringLiteral(" KB"));
    m_pLocalFolder = edit("localFolder");
    m_pSecurity = new QComboBox(pForm);
    m_pSecurity->setObjectName(QStringLiteral("security"));
    m_pSecurity->addItems({ QStringLiteral("Plain FTP"), QStringLiteral("Explicit TLS (AUTH TLS)"),
        QStringLiteral("Implicit TLS (ftps://)") });
    m_pPinnedKey = edit("pinnedKey");
    m_pPinnedKey->setPlaceholderText(QStringLiteral("sha256//... (optional: trust this key only)"));
    m_pCharset = new QComboBox(pForm);
    m_pCharset->setObjectName(QStringLiteral("charset"));
    for (const NameCharset charset :
        { NameCharset::Automatic, NameCharset::Utf8, NameCharset::Latin1, NameCharset::Windows1252 }) {
        m_pCharset->addItem(NameCharsetTitle(charset));
    }
    m_pCharset->setToolTip(QStringLiteral("How the server writes file names; choose a code page only for a server "
                                          "that shows accented names garbled"));
    m_pTimeOffset = spin("timeOffset", -kMaxTimeOffsetMinutes - 1, kMaxTimeOffsetMinutes);
    m_pTimeOffset->setSingleStep(15);
    m_pTimeOffset->setSuffix(QStringLiteral(" min"));
    m_pTimeOffset->setSpecialValueText(QStringLiteral("Automatic (asked with MDTM)"));
    m_pTimeOffset->setToolTip(QStringLiteral("Minutes added to the times the server lists, for a server that lists "
                                             "in another time zone"));

    pLayout->addRow(QStringLiteral("Profile &Name:"), m_pName);
    pLayout->addRow(QStringLiteral("&Host Address:"), m_pHost);
    pLayout->addRow(QStringLiteral("P&ort:"), m_pPort);
    pLayout->addRow(m_pPassive);
    pLayout->addRow(QStringLiteral("&Login:"), m_pLogin);
    pLayout->addRow(m_pAnonymous);
    pLayout->addRow(QStringLiteral("&Password:"), m_pPassword);
    pLayout->addRow(QStringLiteral("&Initial Path:"), m_pInitialPath);
    pLayout->addRow(QStringLiteral("Re&tries:"), m_pRetries);
    pLayout->addRow(QStringLiteral("Retry Dela&y:"), m_pRetryDelay);
    pLayout->addRow(QStringLiteral("Ma&x Filesize to download:\n(Must be between 1 to 10,000 KB)"), m_pMaxSize);
    auto* pLocalRow = new QHBoxLayout;
    auto* pBrowse = new QPushButton(QStringLiteral("Browse..."), pForm);
    connect(pBrowse, &QPushButton::clicked, this, [this] {
        const QString strFolder = QFileDialog::getExistingDirectory(
            this, QStringLiteral("Local Folder of the Site"), m_pLocalFolder->text());
        if (!strFolder.isEmpty()) {
            m_pLocalFolder->setText(strFolder);
        }
    });
    pLocalRow->addWidget(m_pLocalFolder, 1);
    pLocalRow->addWidget(pBrowse);
    pLayout->addRow(QStringLiteral("Lo&cal Folder:"), pLocalRow);
    pLayout->addRow(QStringLiteral("S&ecurity:"), m_pSecurity);
    pLayout->addRow(QStringLiteral("Pinned &Key:"), m_pPinnedKey);
    pLayout->addRow(QStringLiteral("Time O&ffset:"), m_pTimeOffset);
    pLayout->addRow(QStringLiteral("Name Ch&arset:"), m_pCharset);
    m_pTest = Button(QStringLiteral("&Test Connection"), "testConnection", pForm);
    connect(m_pTest, &QPushButton::clicked, this, &CSiteManagerDialog::TestConnection);
    pLayout->addRow(m_pTest);
    connect(m_pAnonymous, &QCheckBox::toggled, this, &CSiteManagerDialog::UpdateAnonymous);
    connect(m_pSecurity, &QComboBox::currentIndexChanged, this, [this](int nIndex) {
        // The usual port follows the security unless the user set another.
        if (nIndex == 2 && m_pPort->value() == 21) {
            m_pPort->setValue(990);
        } else if (nIndex != 2 && m_pPort->value() == 990) {
            m_pPort->setValue(21);
        }
    });
    return pForm;
}

void CSiteManagerDialog::FillList(const QString& strSelect)
{
    CSettingsStore store;
    const QSignalBlocker blocker(m_pSites);
    m_pSites->clear();
    m_pSites->addItems(CSiteStore(store).Names());
    const QList<QListWidgetItem*> found = m_pSites->findItems(strSelect, Qt::MatchExactly);
    QListWidgetItem* pItem = !found.isEmpty() ? found.first() : m_pSites->item(0);
    if (pItem != nullptr) {
        m_pSites->setCurrentItem(pItem);
        if (const std::optional<SiteRecord> record = CSiteStore(store).Read(pItem->text())) {
            ShowRecord(*record);
        }
    }
}

void CSiteManagerDialog::ShowRecord(const SiteRecord& record)
{
    m_strCurrent = record.strName;
    m_pName->setText(record.strName);
    m_pHost->setText(record.strHost);
    m_pPort->setValue(record.nPort);
    m_pPassive->setChecked(record.bPassive);
    m_pLogin->setText(record.strUser);
    m_pAnonymous->setChecked(record.bAnonymous);
    m_pInitialPath->setText(record.strInitialPath);
    m_pRetries->setValue(record.nRetries);
    m_pRetryDelay->setValue(record.nRetryDelaySeconds);
    m_pMaxSize->setValue(record.nMaxDownloadKb);
    m_pLocalFolder->setText(record.strLocalFolder);
    {
        const QSignalBlocker blocker(m_pSecurity);
        m_pSecurity->setCurrentIndex(static_cast<int>(record.security));
    }
    m_pPinnedKey->setText(record.strPinnedKey);
    m_pTimeOffset->setValue(record.nTimeOffsetMinutes.value_or(m_pTimeOffset->minimum()));
    m_pCharset->setCurrentIndex(static_cast<int>(record.charset));
    m_pPassword->clear();
    m_pPassword->setPlaceholderText({});
    SetStatus({});
    if (!record.bAnonymous && !record.strName.isEmpty()) {
        QString strError;
        if (m_secrets.Read(SitePasswordKey(record.strName), strError)) {
            m_pPassword->setPlaceholderText(kStored);
        } else if (!strError.isEmpty()) {
            SetStatus(strError
                + QStringLiteral(": passwords are not stored; you are asked for the password when "
                                 "the site opens."));
        }
    }
    UpdateAnonymous();
}

void CSiteManagerDialog::UpdateAnonymous()
{
    const bool bAnonymous = m_pAnonymous->isChecked();
    m_pLogin->setEnabled(!bAnonymous);
    m_pPassword->setEnabled(!bAnonymous);
}

std::optional<SiteRecord> CSiteManagerDialog::CheckedRecord()
{
    SiteRecord record;
    record.strName = m_pName->text();
    record.strHost = m_pHost->text();
    record.nPort = m_pPort->value();
    record.bPassive = m_pPassive->isChecked();
    record.strUser = m_pLogin->text().trimmed();
    record.bAnonymous = m_pAnonymous->isChecked();
    record.strInitialPath = m_pInitialPath->text();
    record.nRetries = m_pRetries->value();
    record.nRetryDelaySeconds = m_pRetryDelay->value();
    record.nMaxDownloadKb = m_pMaxSize->value();
    record.strLocalFolder = m_pLocalFolder->text().trimmed();
    record.security = static_cast<SiteSecurity>(m_pSecurity->currentIndex());
    record.strPinnedKey = m_pPinnedKey->text().trimmed();
    record.charset = static_cast<NameCharset>(m_pCharset->currentIndex());
    if (m_pTimeOffset->value() != m_pTimeOffset->minimum()) {
        record.nTimeOffsetMinutes = m_pTimeOffset->value();
    }
    if (const QString strWhy = CheckSiteRecord(record); !strWhy.isEmpty()) {
        SetStatus(strWhy);
        return std::nullopt;
    }
    m_pInitialPath->setText(record.strInitialPath);
    return record;
}

bool CSiteManagerDialog::SaveCurrent()
{
    const std::optional<SiteRecord> record = CheckedRecord();
    if (!record) {
        return false;
    }
    CSettingsStore store;
    CSiteStore sites(store);
    if (record->strName != m_strCurrent && sites.Read(record->strName)) {
        SetStatus(FormatText("A site named \"%s\" exists already.", record->strName));
        return false;
    }
    if (!m_strCurrent.isEmpty() && record->strName != m_strCurrent) {
        // The name field renames the site: its password goes with it.
        QString strError;
        if (const std::optional<QString> password = m_secrets.Read(SitePasswordKey(m_strCurrent), strError)) {
            (void)m_secrets.Write(SitePasswordKey(record->strName), *password, strError);
        }
        (void)m_secrets.Remove(SitePasswordKey(m_strCurrent), strError);
        sites.Remove(m_strCurrent);
    }
    sites.Write(*record);
    sites.SetLastSelected(record->strName);
    if (!store.Sync()) {
        SetStatus(FormatText("The sites cannot be written to %s.", store.Location()));
        return false;
    }
    SetStatus({});
    QString strError;
    if (record->bAnonymous) {
        (void)m_secrets.Remove(SitePasswordKey(record->strName), strError);
    } else if (!m_pPassword->text().isEmpty()) {
        if (m_secrets.Write(SitePasswordKey(record->strName), m_pPassword->text(), strError)) {
            m_pPassword->clear();
            m_pPassword->setPlaceholderText(kStored);
        } else {
            SetStatus(strError
                + QStringLiteral(": the password was not stored; you are asked for it when the site "
                                 "opens."));
        }
    }
    m_strCurrent = record->strName;
    FillList(record->strName);
    return true;
}

void CSiteManagerDialog::SelectSite(const QString& strName)
{
    FillList(strName);
}

QString CSiteManagerDialog::StatusText() const
{
    return m_pStatus->text();
}

void CSiteManagerDialog::SetStatus(const QString& strText)
{
    m_pStatus->setText(strText);
}

void CSiteManagerDialog::NewSite()
{
    SiteRecord record;
    CSettingsStore store;
    record.strName = UnusedSiteName(QStringLiteral("New site"), CSiteStore(store).Names());
    record.strHost.clear();
    ShowRecord(record);
    // Not saved yet: the list keeps what is stored.
    m_strCurrent.clear();
    m_pSites->clearSelection();
    m_pHost->setFocus();
}

void CSiteManagerDialog::CopySite()
{
    if (m_strCurrent.isEmpty()) {
        return;
    }
    CSettingsStore store;
    CSiteStore sites(store);
    std::optional<SiteRecord> record = sites.Read(m_strCurrent);
    if (!record) {
        return;
    }
    record->strName = UnusedSiteName(m_strCurrent + QStringLiteral(" (copy)"), sites.Names());
    sites.Write(*record);
    (void)store.Sync();
    FillList(record->strName);
}

void CSiteManagerDialog::RenameSite()
{
    if (m_strCurrent.isEmpty()) {
        return;
    }
    bool bOk = false;
    const QString strName = QInputDialog::getText(this, QStringLiteral("Rename Site"),
        QStringLiteral("New profile name:"), QLineEdit::Normal, m_strCurrent, &bOk);
    if (bOk && strName != m_strCurrent) {
        m_pName->setText(strName);
        SaveCurrent();
    }
}

void CSiteManagerDialog::DeleteSite()
{
    if (m_strCurrent.isEmpty()
        || QMessageBox::question(this, QStringLiteral("Delete Site"),
               FormatText("Forget the site \"%s\" and its stored password?", m_strCurrent))
            != QMessageBox::Yes) {
        return;
    }
    CSettingsStore store;
    CSiteStore(store).Remove(m_strCurrent);
    (void)store.Sync();
    QString strError;
    (void)m_secrets.Remove(SitePasswordKey(m_strCurrent), strError);
    m_strCurrent.clear();
    FillList({});
    if (m_pSites->count() == 0) {
        NewSite();
    }
}

void CSiteManagerDialog::ImportSites()
{
    const QString strFile = QFileDialog::getOpenFileName(
        this, QStringLiteral("Import FileZilla Sites"), {}, QStringLiteral("FileZilla sites (sitemanager.xml *.xml)"));
    if (strFile.isEmpty()) {
        return;
    }
    QFile file(strFile);
    const SiteImport import = file.open(QIODevice::ReadOnly) ? ReadFileZillaSites(file.readAll())
                                                             : SiteImport { {}, {}, file.errorString() };
    if (!import.strError.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Import"), import.strError);
        return;
    }
    const bool bAnyPassword = std::any_of(
        import.sites.begin(), import.sites.end(), [](const ImportedSite& site) { return !site.strPassword.isEmpty(); });
    const bool bPasswords = bAnyPassword
        && QMessageBox::question(this, QStringLiteral("Import"),
               QStringLiteral("The file holds passwords. Keep them in the system's secret store?"))
            == QMessageBox::Yes;
    CSettingsStore store;
    CSiteStore sites(store);
    QString strLast;
    for (ImportedSite site : import.sites) {
        site.record.strName = UnusedSiteName(site.record.strName, sites.Names());
        sites.Write(site.record);
        QString strError;
        if (bPasswords && !site.strPassword.isEmpty()) {
            (void)m_secrets.Write(SitePasswordKey(site.record.strName), site.strPassword, strError);
        }
        strLast = site.record.strName;
    }
    (void)store.Sync();
    FillList(strLast);
    SetStatus(FormatText("%d sites imported.", static_cast<int>(import.sites.size()))
        + (import.skipped.isEmpty() ? QString() : QLatin1Char(' ') + import.skipped.join(QLatin1Char(' '))));
}

void CSiteManagerDialog::ExportSites()
{
    const QString strFile = QFileDialog::getSaveFileName(this, QStringLiteral("Export Sites"),
        QStringLiteral("sitemanager.xml"), QStringLiteral("FileZilla sites (*.xml)"));
    if (strFile.isEmpty()) {
        return;
    }
    CSettingsStore store;
    const CSiteStore sites(store);
    std::vector<SiteRecord> records;
    for (const QString& strName : sites.Names()) {
        if (std::optional<SiteRecord> record = sites.Read(strName)) {
            records.push_back(std::move(*record));
        }
    }
    if (const QString strError = WriteWholeFile(strFile, WriteFileZillaSites(records)); !strError.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Export"), strError);
        return;
    }
    SetStatus(FormatText("%d sites exported, without passwords.", static_cast<int>(records.size())));
}

std::optional<QString> CSiteManagerDialog::PasswordFor(const SiteRecord& record)
{
    if (record.bAnonymous) {
        return QString();
    }
    if (!m_pPassword->text().isEmpty()) {
        return m_pPassword->text();
    }
    QString strError;
    if (std::optional<QString> stored = m_secrets.Read(SitePasswordKey(record.strName), strError)) {
        return stored;
    }
    bool bOk = false;
    const QString strPassword = QInputDialog::getText(this, QStringLiteral("Password"),
        FormatText("Password of %s on %s:", record.strUser, record.strHost), QLineEdit::Password, {}, &bOk);
    return bOk ? std::optional<QString>(strPassword) : std::nullopt;
}

void CSiteManagerDialog::TestConnection()
{
    const std::optional<SiteRecord> record = CheckedRecord();
    if (!record || m_pTester != nullptr) {
        return;
    }
    const std::optional<QString> password = PasswordFor(*record);
    if (!password) {
        return;
    }
    FtpSite site = RequestForSite(*record, *password).site;
    // One attempt: a test should say at once what is wrong.
    site.nRetries = 1;
    SetStatus(FormatText("Connecting to %s...", record->strHost));
    m_pTest->setEnabled(false);
    *m_pCancelTest = false;
    m_pTester = QThread::create([this, site, pCancel = m_pCancelTest] {
        CTraceBuffer trace;
        CFtpSession session(trace);
        const bool bOk = session.OpenFtpSite(site, pCancel.get());
        const QString strOutcome = bOk
            ? FormatText("Connected and logged on; the site opens in %s.", session.RemoteRoot())
            : session.LastError();
        session.CloseFtpSession();
        QMetaObject::invokeMethod(
            this,
            [this, bOk, strOutcome] {
                m_pTester->wait();
                delete m_pTester;
                m_pTester = nullptr;
                m_pTest->setEnabled(true);
                SetStatus(strOutcome);
                emit TestFinished(bOk, strOutcome);
            },
            Qt::QueuedConnection);
    });
    m_pTester->start();
}

void CSiteManagerDialog::Connect()
{
    if (!SaveCurrent()) {
        return;
    }
    CSettingsStore store;
    std::optional<SiteRecord> record = CSiteStore(store).Read(m_strCurrent);
    if (!record) {
        return;
    }
    if (record->strLocalFolder.isEmpty()) {
        record->strLocalFolder
            = QFileDialog::getExistingDirectory(this, FormatText("Local folder to compare with %s", SiteUrl(*record)));
        if (record->strLocalFolder.isEmpty()) {
            return;
        }
    }
    const std::optional<QString> password = PasswordFor(*record);
    if (!password) {
        return;
    }
    emit ConnectRequested(RequestForSite(*record, *password));
    accept();
}

void CSiteManagerDialog::done(int nResult)
{
    if (!m_strCurrent.isEmpty()) {
        CSettingsStore store;
        CSiteStore(store).SetLastSelected(m_strCurrent);
        (void)store.Sync();
    }
    QDialog::done(nResult);
}
