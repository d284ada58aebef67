#pragma once

#include <QDialog>

class QDialogButtonBox;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

// A dialog of pages chosen from a tree on the left, with OK and Cancel below: pages may hold pages of their
// own. Nothing is kept until OK; the owner reads the pages' widgets then.
class CPropertySheet : public QDialog
{
    Q_OBJECT

public:
    CPropertySheet(const QString& strTitle, QWidget* pParent = nullptr);

    // Adds a page under strParentTitle (a page added before), or at the top; the sheet owns it.
    void AddPage(const QString& strTitle, QWidget* pPage, const QString& strParentTitle = {});
    void ShowPage(const QString& strTitle);
    [[nodiscard]] QString CurrentPageTitle() const;

private:
    QTreeWidgetItem* FindItem(const QString& strTitle) const;

    QTreeWidget* m_pTree;
    QStackedWidget* m_pPages;
    QDialogButtonBox* m_pButtons;
};
