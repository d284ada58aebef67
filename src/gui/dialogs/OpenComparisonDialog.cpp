#include "gui/dialogs/OpenComparisonDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

constexpr int kRecentPairs = 8;

std::string PairKey(int nIndex)
{
    return FormatText("Pair%d", nIndex).toStdString();
}

} // namespace

COpenComparisonDialog::COpenComparisonDialog(QWidget* pParent)
    : QDialog(pParent)
    , m_pRecent(new QComboBox(this))
    , m_pLocal(new QComboBox(this))
    , m_pRight(new QComboBox(this))
    , m_pUser(new QLineEdit(this))
    , m_pPassword(new QLineEdit(this))
    , m_pPassive(new QCheckBox(QStringLiteral("Use &passive mode (PASV)"), this))
    , m_pCacheKb(new QSpinBox(this))
    , m_pError(new QLabel(this))
{
    setObjectName(QStringLiteral("openComparisonDialog"));
    setWindowTitle(QStringLiteral("Open Comparison"));
    auto* pForm = new QFormLayout;

    const QStringList pairs = RecentPairs();
    m_pRecent->addItem(pairs.isEmpty() ? QStringLiteral("(none yet)") : QStringLiteral("(choose a recent pair)"));
    for (const QString& strPair : pairs) {
        m_pRecent->addItem(QString(strPair).replace(QLatin1Char('|'), QStringLiteral("  \u2194  ")), strPair);
    }
    m_pRecent->setEnabled(!pairs.isEmpty());
    pForm->addRow(QStringLiteral("&Recent:"), m_pRecent);

    m_pLocal->setEditable(true);
    m_pLocal->setMinimumWidth(420);
    m_pRight->setEditable(true);
    for (const QString& strPair : pairs) {
        const QString strLocal = strPair.section(QLatin1Char('|'), 0, 0);
        const QString strRight = strPair.section(QLatin1Char('|'), 1);
        if (m_pLocal->findText(strLocal) < 0) {
            m_pLocal->addItem(strLocal);
        }
        if (m_pRight->findText(strRight) < 0) {
            m_pRight->addItem(strRight);
        }
    }
    m_pLocal->setCurrentText({});
    m_pRight->setCurrentText({});
    auto* pLocalRow = new QHBoxLayout;
    pLocalRow->addWidget(m_pLocal, 1);
    auto* pBrowse = new QPushButton(QStringLiteral("&Browse..."), this);
    pLocalRow->addWidget(pBrowse);
    auto* pLocalLabel = new QLabel(QStringLiteral("&Local folder:"), this);
    pLocalLabel->setBuddy(m_pLocal);
    pForm->addRow(pLocalLabel, pLocalRow);
    m_pRight->lineEdit()->setPlaceholderText(QStringLiteral("ftp://user@host/folder"));
    m_pRight->setToolTip(
        QStringLiteral("ftp://host/folder, ftps://host/folder (TLS from the start), or a local folder"));
    pForm->addRow(QStringLiteral("&FTP folder:"), m_pRight);
    m_pUser->setPlaceholderText(QStringLiteral("from the URL, or anonymous"));
    pForm->addRow(QStringLiteral("&User:"), m_pUser);
    m_pPassword->setEchoMode(QLineEdit::Password);
    m_pPassword->setPlaceholderText(QStringLiteral("kept for this session only"));
    pForm->addRow(QStringLiteral("Pass&word:"), m_pPassword);
    m_pPassive->setChecked(true);
    pForm->addRow(QString(), m_pPassive);
    m_pCacheKb->setRange(1, 10000);
    m_pCacheKb->setSuffix(QStringLiteral(" KB"));
    m_pCacheKb->setValue(
        static_cast<int>(std::clamp(CSettingsStore().ReadInt("Settings", "CacheDownloadSizeKB"), 1LL, 10000LL)));
    m_pCacheKb->setToolTip(QStringLiteral("Remote files up to this size are downloaded into the mirror and compared "
                                          "by contents; larger ones are compared by size."));
    pForm->addRow(QStringLiteral("&Compare contents up to:"), m_pCacheKb);

    m_pError->setStyleSheet(QStringLiteral("color: #c62828;"));
    m_pError->setWordWrap(true);
    m_pError->hide();

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pButtons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("&Compare"));
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addWidget(m_pError);
    pLayout->addWidget(pButtons);

    connect(pBrowse, &QPushButton::clicked, this, &COpenComparisonDialog::PickLocalFolder);
    connect(m_pRecent, &QComboBox::activated, this, &COpenComparisonDialog::PickRecentPair);
    connect(pButtons, &QDialogButtonBox::accepted, this, &COpenComparisonDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &COpenComparisonDialog::reject);
}

void COpenComparisonDialog::PickLocalFolder()
{
    const QString strFolder
        = QFileDialog::getExistingDirectory(this, QStringLiteral("Local folder"), m_pLocal->currentText());
    if (!strFolder.isEmpty()) {
        m_pLocal->setCurrentText(strFolder);
    }
}

void COpenComparisonDialog::PickRecentPair(int nIndex)
{
    const QString strPair = m_pRecent->itemData(nIndex).toString();
    if (strPair.isEmpty()) {
        return;
    }
    m_pLocal->setCurrentText(strPair.section(QLatin1Char('|'), 0, 0));
    m_pRight->setCurrentText(strPair.section(QLatin1Char('|'), 1));
}

void COpenComparisonDialog::SetRequest(const OpenRequest& request)
{
    m_pLocal->setCurrentText(request.strLocalFolder);
    m_pRight->setCurrentText(request.strRight);
    m_pUser->setText(request.site.strUser);
    m_pPassword->setText(request.site.strPassword);
    m_pPassive->setChecked(request.site.bPassive.value_or(true));
    if (request.nCacheKb > 0) {
        m_pCacheKb->setValue(static_cast<int>(std::min(request.nCacheKb, 10000LL)));
    }
}

OpenRequest COpenComparisonDialog::Request() const
{
    OpenRequest request;
    request.strLocalFolder = m_pLocal->currentText().trimmed();
    request.strRight = m_pRight->currentText().trimmed();
    request.site.strUser = m_pUser->text().trimmed();
    request.site.strPassword = m_pPassword->text();
    request.site.bPassive = m_pPassive->isChecked();
    request.nCacheKb = m_pCacheKb->value();
    return request;
}

QString COpenComparisonDialog::Validate() const
{
    const OpenRequest request = Request();
    if (request.strLocalFolder.isEmpty()) {
        return QStringLiteral("Choose the local folder to compare.");
    }
    if (!QFileInfo(request.strLocalFolder).isDir()) {
        return FormatText("The local folder \"%s\" does not exist or is not a folder.", request.strLocalFolder);
    }
    if (request.strRight.isEmpty()) {
        return QStringLiteral("Enter the FTP folder as ftp://host/folder.");
    }
    if (IsFtpLocation(request.strRight)) {
        const std::optional<FtpUrl> url = ParseFtpUrl(request.strRight);
        if (!url) {
            return FormatText("\"%s\" is not an FTP URL; write ftp://host/folder.", request.strRight);
        }
        if (!url->strPassword.isEmpty()) {
            return QStringLiteral("Leave the password out of the URL and enter it in the Password box.");
        }
    } else if (!QFileInfo(request.strRight).isDir()) {
        return FormatText("\"%s\" is neither an FTP URL nor a local folder.", request.strRight);
    }
    const QString strCredentials = request.site.strUser + request.site.strPassword;
    if (strCredentials.contains(QLatin1Char('\r')) || strCredentials.contains(QLatin1Char('\n'))
        || strCredentials.contains(QChar(0))) {
        return QStringLiteral("The user name and password must not hold line breaks.");
    }
    return {};
}

void COpenComparisonDialog::accept()
{
    const QString strError = Validate();
    if (!strError.isEmpty()) {
        m_pError->setText(strError);
        m_pError->show();
        return;
    }
    QDialog::accept();
}

QStringList COpenComparisonDialog::RecentPairs()
{
    const CSettingsStore store;
    QStringList pairs;
    for (int i = 0; i < kRecentPairs; ++i) {
        const QString strPair = store.ReadString("MRU", PairKey(i));
        if (strPair.contains(QLatin1Char('|'))) {
            pairs.append(strPair);
        }
    }
    return pairs;
}

void COpenComparisonDialog::RememberPair(const OpenRequest& request)
{
    // Only folders and URLs: never a password.
    QStringList pairs { request.strLocalFolder + QLatin1Char('|') + request.strRight };
    for (const QString& strPair : RecentPairs()) {
        if (!pairs.contains(strPair)) {
            pairs.append(strPair);
        }
    }
    CSettingsStore store;
    for (int i = 0; i < kRecentPairs && i < pairs.size(); ++i) {
        store.WriteString("MRU", PairKey(i), pairs[i]);
    }
    (void)store.Sync();
}
