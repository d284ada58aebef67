#include "gui/widgets/PropertySheet.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

CPropertySheet::CPropertySheet(const QString& strTitle, QWidget* pParent)
    : QDialog(pParent)
    , m_pTree(new QTreeWidget(this))
    , m_pPages(new QStackedWidget(this))
    , m_pButtons(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this))
{
    setWindowTitle(strTitle);
    m_pTree->setObjectName(QStringLiteral("pageTree"));
    m_pTree->header()->hide();
    m_pTree->setRootIsDecorated(true);
    m_pTree->setMaximumWidth(200);
    auto* pBody = new QHBoxLayout;
    pBody->addWidget(m_pTree);
    pBody->addWidget(m_pPages, 1);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pBody, 1);
    pLayout->addWidget(m_pButtons);
    connect(m_pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pTree, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* pItem) {
        if (pItem != nullptr) {
            m_pPages->setCurrentIndex(pItem->data(0, Qt::UserRole).toInt());
        }
    });
}

void CPropertySheet::AddPage(const QString& strTitle, QWidget* pPage, const QString& strParentTitle)
{
    QTreeWidgetItem* pParentItem = strParentTitle.isEmpty() ? nullptr : FindItem(strParentTitle);
    auto* pItem = pParentItem != nullptr ? new QTreeWidgetItem(pParentItem) : new QTreeWidgetItem(m_pTree);
    pItem->setText(0, strTitle);
    pItem->setData(0, Qt::UserRole, m_pPages->addWidget(pPage));
    m_pTree->expandAll();
    if (m_pTree->currentItem() == nullptr) {
        m_pTree->setCurrentItem(pItem);
    }
}

void CPropertySheet::ShowPage(const QString& strTitle)
{
    if (QTreeWidgetItem* pItem = FindItem(strTitle)) {
        m_pTree->setCurrentItem(pItem);
    }
}

QString CPropertySheet::CurrentPageTitle() const
{
    return m_pTree->currentItem() != nullptr ? m_pTree->currentItem()->text(0) : QString();
}

QTreeWidgetItem* CPropertySheet::FindItem(const QString& strTitle) const
{
    const QList<QTreeWidgetItem*> found = m_pTree->findItems(strTitle, Qt::MatchExactly | Qt::MatchRecursive);
    return found.isEmpty() ? nullptr : found.first();
}
