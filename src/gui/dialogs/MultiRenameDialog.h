#pragma once

#include <QDialog>

#include "rename/RenamePlan.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTableWidget;

// Multi-rename: the rule list on the left, the preview of every old and new name with its verdict on the
// right, kept current as the rules change. It plans only: Rename hands the plan to the window, which runs
// it on a worker; Undo asks for the reverse of the last batch.
class CMultiRenameDialog : public QDialog
{
    Q_OBJECT

public:
    CMultiRenameDialog(std::vector<RenameSource> sources, FolderNames names, bool bCanUndo, QWidget* pParent = nullptr);

    void SetRules(const std::vector<RenameRule>& rules);
    // Shows the choice to rename the items' twins on the other side too, when there are any.
    void OfferBothSides(bool bOffer, const QString& strText);
    [[nodiscard]] const std::vector<RenameRule>& Rules() const { return m_rules; }
    [[nodiscard]] const RenamePlan& Plan() const { return m_plan; }
    [[nodiscard]] QTableWidget* Preview() const { return m_pPreview; }

signals:
    // bBothSides: the twins on the other side are to be renamed by the same rules.
    void RenameRequested(const RenamePlan& plan, bool bBothSides);
    void UndoRequested();

private:
    QWidget* BuildRuleEditor();
    [[nodiscard]] RenameRule RuleFromEditor() const;
    void AddRule();
    void RemoveRule();
    void MoveRule(int nBy);
    void SaveRules();
    void LoadRules();
    void Replan();

    std::vector<RenameSource> m_sources;
    FolderNames m_names;
    std::vector<RenameRule> m_rules;
    RenamePlan m_plan;
    QListWidget* m_pRules = nullptr;
    QComboBox* m_pKind = nullptr;
    QLineEdit* m_pText = nullptr;
    QLineEdit* m_pWith = nullptr;
    QCheckBox* m_pAfterExtension = nullptr;
    QCheckBox* m_pCaseSensitive = nullptr;
    QCheckBox* m_pWholeWord = nullptr;
    QSpinBox* m_pStart = nullptr;
    QSpinBox* m_pStep = nullptr;
    QComboBox* m_pCase = nullptr;
    QLabel* m_pRuleError = nullptr;
    QTableWidget* m_pPreview = nullptr;
    QLabel* m_pCounts = nullptr;
    QPushButton* m_pRename = nullptr;
    QCheckBox* m_pBothSides = nullptr;
};
