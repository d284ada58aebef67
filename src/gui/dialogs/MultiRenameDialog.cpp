#include "gui/dialogs/MultiRenameDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

#include "support/SettingsStore.h"
#include "support/TextFormat.h"

namespace {

const QString kSavedRules = QStringLiteral("RenameRules");

QColor VerdictColour(RenameVerdict verdict)
{
    switch (verdict) {
    case RenameVerdict::Fine:
    case RenameVerdict::ThroughTemporaryName:
        return QColor(0, 120, 0);
    case RenameVerdict::Unchanged:
        return Qt::gray;
    default:
        return QColor(200, 0, 0);
    }
}

QPushButton* Button(const QString& strText, const char* pName, QWidget* pParent)
{
    auto* pButton = new QPushButton(strText, pParent);
    pButton->setObjectName(QLatin1String(pName));
    return pButton;
}

} // namespace

CMultiRenameDialog::CMultiRenameDialog(
    std::vector<RenameSource> sources, FolderNames names, bool bCanUndo, QWidget* pParent)
    : QDialog(pParent)
    , m_sources(std::move(sources))
    , m_names(std::move(names))
{
    setWindowTitle(QStringLiteral("Multi-Rename"));
    setObjectName(QStringLiteral("multiRename"));
    m_pRules = new QListWidget(this);
    m_pRules->setObjectName(QStringLiteral("rules"));
    m_pPreview = new QTableWidget(0, 3, this);
    m_pPreview->setObjectName(QStringLiteral("preview"));
    m_pPreview->setHorizontalHeaderLabels(
        { QStringLiteral("Old name"), QStringLiteral("New name"), QStringLiteral("Verdict") });
    m_pPreview->horizontalHeader()->setStretchLastSection(true);
    m_pPreview->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pPreview->verticalHeader()->hide();
    m_pCounts = new QLabel(this);
    m_pCounts->setObjectName(QStringLiteral("counts"));

    auto* pRuleButtons = new QHBoxLayout;
    QPushButton* pRemove = Button(QStringLiteral("Remove"), "removeRule", this);
    QPushButton* pUp = Button(QStringLiteral("Up"), "ruleUp", this);
    QPushButton* pDown = Button(QStringLiteral("Down"), "ruleDown", this);
    QPushButton* pSave = Button(QStringLiteral("Save..."), "saveRules", this);
    QPushButton* pLoad = Button(QStringLiteral("Load..."), "loadRules", this);
    connect(pRemove, &QPushButton::clicked, this, &CMultiRenameDialog::RemoveRule);
    connect(pUp, &QPushButton::clicked, this, [this] { MoveRule(-1); });
    connect(pDown, &QPushButton::clicked, this, [this] { MoveRule(1); });
    connect(pSave, &QPushButton::clicked, this, &CMultiRenameDialog::SaveRules);
    connect(pLoad, &QPushButton::clicked, this, &CMultiRenameDialog::LoadRules);
    for (QPushButton* pButton : { pRemove, pUp, pDown, pSave, pLoad }) {
        pRuleButtons->addWidget(pButton);
    }
    auto* pLeft = new QVBoxLayout;
    pLeft->addWidget(new QLabel(QStringLiteral("Rules, applied in order:"), this));
    pLeft->addWidget(m_pRules, 1);
    pLeft->addLayout(pRuleButtons);
    pLeft->addWidget(BuildRuleEditor());

    m_pBothSides = new QCheckBox(this);
    m_pBothSides->setObjectName(QStringLiteral("bothSides"));
    m_pBothSides->hide();
    auto* pRight = new QVBoxLayout;
    pRight->addWidget(m_pPreview, 1);
    pRight->addWidget(m_pCounts);
    pRight->addWidget(m_pBothSides);

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    m_pRename = pButtons->addButton(QStringLiteral("&Rename"), QDialogButtonBox::AcceptRole);
    m_pRename->setObjectName(QStringLiteral("rename"));
    QPushButton* pUndo = pButtons->addButton(QStringLiteral("&Undo Last Batch"), QDialogButtonBox::ActionRole);
    pUndo->setObjectName(QStringLiteral("undo"));
    pUndo->setEnabled(bCanUndo);
    connect(m_pRename, &QPushButton::clicked, this, [this] {
        if (m_plan.CanRun()) {
            emit RenameRequested(m_plan, !m_pBothSides->isHidden() && m_pBothSides->isChecked());
            accept();
        }
    });
    connect(pUndo, &QPushButton::clicked, this, [this] {
        emit UndoRequested();
        accept();
    });
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* pBody = new QHBoxLayout;
    pBody->addLayout(pLeft, 2);
    pBody->addLayout(pRight, 3);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pBody, 1);
    pLayout->addWidget(pButtons);
    resize(1000, 560);
    Replan();
}

QWidget* CMultiRenameDialog::BuildRuleEditor()
{
    auto* pEditor = new QWidget(this);
    auto* pForm = new QFormLayout(pEditor);
    m_pKind = new QComboBox(pEditor);
    m_pKind->setObjectName(QStringLiteral("ruleKind"));
    m_pKind->addItems({ QStringLiteral("Add a prefix"), QStringLiteral("Add a suffix"),
        QStringLiteral("Numbered names from a pattern"), QStringLiteral("Fields between delimiters"),
        QStringLiteral("Replace words"), QStringLiteral("Replace a pattern (regular expression)"),
        QStringLiteral("Change case"), QStringLiteral("Trim and collapse spaces") });
    m_pText = new QLineEdit(pEditor);
    m_pText->setObjectName(QStringLiteral("ruleText"));
    m_pText->setPlaceholderText(
        QStringLiteral("text, pattern (photo-[N:3], [Base], [Ext], [Parent], [Date]) or delimiter"));
    m_pWith = new QLineEdit(pEditor);
    m_pWith->setObjectName(QStringLiteral("ruleWith"));
    m_pWith->setPlaceholderText(QStringLiteral("replacement (\\1 ... \\9), or field order 3,1,2"));
    m_pAfterExtension = new QCheckBox(QStringLiteral("After the extension"), pEditor);
    m_pCaseSensitive = new QCheckBox(QStringLiteral("Match case"), pEditor);
    m_pCaseSensitive->setChecked(true);
    m_pWholeWord = new QCheckBox(QStringLiteral("Whole words"), pEditor);
    m_pStart = new QSpinBox(pEditor);
    m_pStart->setRange(-1000000, 1000000);
    m_pStart->setValue(1);
    m_pStep = new QSpinBox(pEditor);
    m_pStep->setRange(-1000, 1000);
    m_pStep->setValue(1);
    m_pCase = new QComboBox(pEditor);
    m_pCase->addItems({ QStringLiteral("lower"), QStringLiteral("UPPER"), QStringLiteral("Title") });
    m_pRuleError = new QLabel(pEditor);
    m_pRuleError->setWordWrap(true);
    QPushButton* pAdd = Button(QStringLiteral("&Add Rule"), "addRule", pEditor);
    connect(pAdd, &QPushButton::clicked, this, &CMultiRenameDialog::AddRule);
    pForm->addRow(QStringLiteral("&Kind:"), m_pKind);
    pForm->addRow(QStringLiteral("&Text:"), m_pText);
    pForm->addRow(QStringLiteral("&With:"), m_pWith);
    auto* pChecks = new QHBoxLayout;
    pChecks->addWidget(m_pAfterExtension);
    pChecks->addWidget(m_pCaseSensitive);
    pChecks->addWidget(m_pWholeWord);
    pForm->addRow(pChecks);
    auto* pCounter = new QHBoxLayout;
    pCounter->addWidget(new QLabel(QStringLiteral("Start:"), pEditor));
    pCounter->addWidget(m_pStart);
    pCounter->addWidget(new QLabel(QStringLiteral("Step:"), pEditor));
    pCounter->addWidget(m_pStep);
    pCounter->addWidget(new QLabel(QStringLiteral("Case:"), pEditor));
    pCounter->addWidget(m_pCase);
    pForm->addRow(pCounter);
    pForm->addRow(m_pRuleError);
    pForm->addRow(pAdd);
    return pEditor;
}

RenameRule CMultiRenameDialog::RuleFromEditor() const
{
    RenameRule rule;
    rule.kind = static_cast<RenameRule::Kind>(m_pKind->currentIndex());
    rule.strText = m_pText->text();
    rule.strWith = m_pWith->text();
    rule.bAfterExtension = m_pAfterExtension->isChecked();
    rule.bCaseSensitive = m_pCaseSensitive->isChecked();
    rule.bWholeWord = m_pWholeWord->isChecked();
    rule.nStart = m_pStart->value();
    rule.nStep = m_pStep->value();
    rule.caseMode = static_cast<RenameRule::CaseMode>(m_pCase->currentIndex());
    return rule;
}

void CMultiRenameDialog::AddRule()
{
    const RenameRule rule = RuleFromEditor();
    const QString strWhy = WhyRuleIsRefused(rule);
    m_pRuleError->setText(strWhy);
    if (strWhy.isEmpty()) {
        m_rules.push_back(rule);
        Replan();
    }
}

void CMultiRenameDialog::RemoveRule()
{
    const int nRow = m_pRules->currentRow();
    if (nRow >= 0 && nRow < static_cast<int>(m_rules.size())) {
        m_rules.erase(m_rules.begin() + nRow);
        Replan();
    }
}

void CMultiRenameDialog::MoveRule(int nBy)
{
    const int nRow = m_pRules->currentRow();
    const int nTo = nRow + nBy;
    if (nRow < 0 || nTo < 0 || nTo >= static_cast<int>(m_rules.size())) {
        return;
    }
    std::swap(m_rules[static_cast<size_t>(nRow)], m_rules[static_cast<size_t>(nTo)]);
    Replan();
    m_pRules->setCurrentRow(nTo);
}

void CMultiRenameDialog::OfferBothSides(bool bOffer, const QString& strText)
{
    m_pBothSides->setText(strText);
    m_pBothSides->setVisible(bOffer);
}

void CMultiRenameDialog::SetRules(const std::vector<RenameRule>& rules)
{
    m_rules = rules;
    Replan();
}

void CMultiRenameDialog::SaveRules()
{
    bool bOk = false;
    const QString strName = QInputDialog::getText(
        this, QStringLiteral("Save Rules"), QStringLiteral("Name of the rule list:"), QLineEdit::Normal, {}, &bOk)
                                .trimmed();
    if (bOk && !strName.isEmpty() && !strName.contains(QLatin1Char('/'))) {
        CSettingsStore store;
        store.WriteValue(kSavedRules + QLatin1Char('/') + strName, RulesToText(m_rules));
        (void)store.Sync();
    }
}

void CMultiRenameDialog::LoadRules()
{
    CSettingsStore store;
    const QStringList names = store.ChildKeys(kSavedRules);
    if (names.isEmpty()) {
        m_pRuleError->setText(QStringLiteral("No rule list has been saved yet."));
        return;
    }
    bool bOk = false;
    const QString strName = QInputDialog::getItem(
        this, QStringLiteral("Load Rules"), QStringLiteral("Rule list:"), names, 0, false, &bOk);
    if (!bOk) {
        return;
    }
    if (const std::optional<std::vector<RenameRule>> rules
        = RulesFromText(store.ReadValue(kSavedRules + QLatin1Char('/') + strName).toString())) {
        SetRules(*rules);
    }
}

void CMultiRenameDialog::Replan()
{
    m_pRules->clear();
    for (const RenameRule& rule : m_rules) {
        m_pRules->addItem(DescribeRule(rule));
    }
    m_plan = MakeRenamePlan(m_sources, m_rules, m_names);
    m_pPreview->setRowCount(static_cast<int>(m_plan.entries.size()));
    for (size_t i = 0; i < m_plan.entries.size(); ++i) {
        const RenameEntry& entry = m_plan.entries[i];
        const int nRow = static_cast<int>(i);
        const QString strVerdict
            = VerdictWord(entry.verdict) + (entry.strWhy.isEmpty() ? QString() : QStringLiteral(": ") + entry.strWhy);
        const QStringList cells { EscapeControlCharacters(entry.source.strName),
            EscapeControlCharacters(entry.strNewName), strVerdict };
        for (int nColumn = 0; nColumn < 3; ++nColumn) {
            auto* pItem = new QTableWidgetItem(cells[nColumn]);
            pItem->setForeground(VerdictColour(entry.verdict));
            m_pPreview->setItem(nRow, nColumn, pItem);
        }
    }
    m_pCounts->setText(FormatText("%d to rename, %d unchanged, %d clashes, %d invalid names",
        m_plan.Count(RenameVerdict::Fine) + m_plan.Count(RenameVerdict::ThroughTemporaryName),
        m_plan.Count(RenameVerdict::Unchanged),
        m_plan.Count(RenameVerdict::ClashWithNew) + m_plan.Count(RenameVerdict::ClashWithExisting),
        m_plan.Count(RenameVerdict::Invalid)));
    m_pRename->setEnabled(m_plan.CanRun() && !m_plan.Steps().empty());
    m_pRename->setToolTip(
        m_plan.CanRun() ? QString() : QStringLiteral("Nothing runs while a name clashes or is invalid."));
}
