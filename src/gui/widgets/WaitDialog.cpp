#include "gui/widgets/WaitDialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

CWaitDialog::CWaitDialog(const QString& strTitle, QWidget* pParent)
    : QDialog(pParent)
    , m_pText(new QLabel(this))
    , m_pCancel(new QPushButton(QStringLiteral("Cancel"), this))
{
    setObjectName(QStringLiteral("waitDialog"));
    setWindowTitle(strTitle);
    setWindowModality(Qt::WindowModal);
    auto* pLayout = new QVBoxLayout(this);
    m_pText->setMinimumWidth(420);
    m_pText->setWordWrap(true);
    m_pText->setTextFormat(Qt::PlainText);
    pLayout->addWidget(m_pText);
    auto* pBar = new QProgressBar(this);
    pBar->setRange(0, 0);
    pLayout->addWidget(pBar);
    auto* pButtons = new QDialogButtonBox(this);
    pButtons->addButton(m_pCancel, QDialogButtonBox::RejectRole);
    pLayout->addWidget(pButtons);
    connect(m_pCancel, &QPushButton::clicked, this, &CWaitDialog::reject);
}

void CWaitDialog::SetText(const QString& strText)
{
    // Long server paths are cut in the middle so the dialog keeps its size.
    m_pText->setText(m_pText->fontMetrics().elidedText(strText, Qt::ElideMiddle, 600));
}

QString CWaitDialog::Text() const
{
    return m_pText->text();
}

void CWaitDialog::reject()
{
    // The dialog stays until the work has stopped; it says so meanwhile.
    m_pCancel->setEnabled(false);
    m_pText->setText(QStringLiteral("Cancelling..."));
    emit CancelRequested();
}
