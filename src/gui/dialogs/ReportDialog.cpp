#include "gui/dialogs/ReportDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFormLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// The preview shows the report's beginning: enough to judge it, never the whole of a big tree.
constexpr size_t kPreviewLines = 200;

} // namespace

CReportDialog::CReportDialog(
    std::shared_ptr<const CTreeSnapshot> pSnapshot, ReportHeader header, CTreeFilterRule panesRule, QWidget* pParent)
    : QDialog(pParent)
    , m_pSnapshot(std::move(pSnapshot))
    , m_header(std::move(header))
    , m_panesRule(std::move(panesRule))
    , m_pLayout(new QComboBox(this))
    , m_pFilter(new QComboBox(this))
    , m_pOutput(new QComboBox(this))
    , m_pAppendix(new QCheckBox(QStringLiteral("Add the &transfer list's jobs and their outcome"), this))
    , m_pPreview(new QPlainTextEdit(this))
{
    setWindowTitle(QStringLiteral("Report"));
    setObjectName(QStringLiteral("reportDialog"));
    m_pLayout->setObjectName(QStringLiteral("layout"));
    m_pFilter->setObjectName(QStringLiteral("filter"));
    m_pOutput->setObjectName(QStringLiteral("output"));
    m_pAppendix->setObjectName(QStringLiteral("appendix"));
    m_pLayout->addItems({ QStringLiteral("Summary: the counts only"), QStringLiteral("Side by side, as the panes show"),
        QStringLiteral("By status") });
    m_pLayout->setCurrentIndex(1);
    m_pFilter->addItems({ QStringLiteral("What the panes show"), QStringLiteral("Everything"),
        QStringLiteral("Differences only"), QStringLiteral("Only on the local side"),
        QStringLiteral("Only on the FTP side"), QStringLiteral("Same"), QStringLiteral("Undecided") });
    m_pOutput->addItems({ QStringLiteral("Text file"), QStringLiteral("HTML file"), QStringLiteral("PDF file"),
        QStringLiteral("Printer") });
    m_pPreview->setObjectName(QStringLiteral("preview"));
    m_pPreview->setReadOnly(true);
    m_pPreview->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pPreview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("&Layout:"), m_pLayout);
    pForm->addRow(QStringLiteral("&Show:"), m_pFilter);
    pForm->addRow(QStringLiteral("&Output:"), m_pOutput);
    pForm->addRow(m_pAppendix);
    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    pButtons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("&Save..."));
    connect(m_pOutput, &QComboBox::currentIndexChanged, this, [this, pButtons] {
        pButtons->button(QDialogButtonBox::Ok)
            ->setText(Output() == ReportOutput::Printer ? QStringLiteral("&Print...") : QStringLiteral("&Save..."));
    });
    connect(pButtons, &QDialogButtonBox::accepted, this, &CReportDialog::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pForm);
    pLayout->addWidget(m_pPreview, 1);
    pLayout->addWidget(pButtons);
    for (QComboBox* pBox : { m_pLayout, m_pFilter }) {
        connect(pBox, &QComboBox::currentIndexChanged, this, &CReportDialog::UpdatePreview);
    }
    connect(m_pAppendix, &QCheckBox::toggled, this, &CReportDialog::UpdatePreview);
    resize(900, 600);
    UpdatePreview();
}

ReportOptions CReportDialog::Options() const
{
    ReportOptions options;
    options.layout = static_cast<ReportLayout>(m_pLayout->currentIndex());
    options.bAppendix = m_pAppendix->isChecked();
    const int nFilter = m_pFilter->currentIndex();
    if (nFilter == 0) {
        options.rule = m_panesRule;
    } else if (nFilter == 2) {
        options.rule.SetOnlyDifferences(true);
    } else if (nFilter >= 3) {
        constexpr StatusClass kClasses[] = { CLASS_LEFT_ONLY, CLASS_RIGHT_ONLY, CLASS_SAME, CLASS_UNKNOWN };
        unsigned nShown = 1u << kClasses[nFilter - 3];
        // A folder on one side holds what is only on that side.
        if (nFilter == 3 || nFilter == 4) {
            nShown |= 1u << CLASS_FOLDER_ONE_SIDE;
        }
        options.rule.SetShownClasses(nShown);
    }
    return options;
}

ReportOutput CReportDialog::Output() const
{
    return static_cast<ReportOutput>(m_pOutput->currentIndex());
}

QString CReportDialog::PreviewText() const
{
    return m_pPreview->toPlainText();
}

void CReportDialog::UpdatePreview()
{
    std::optional<CReport> report = BuildReport(m_pSnapshot, m_header, Options());
    if (!report) {
        return;
    }
    size_t nLeft = kPreviewLines;
    long long nCut = 0;
    for (ReportSection& section : report->sections) {
        const size_t nKeep = std::min(nLeft, section.lines.size());
        nCut += static_cast<long long>(section.lines.size() - nKeep);
        section.lines.resize(nKeep);
        nLeft -= nKeep;
    }
    QString strText = RenderReportText(*report);
    if (nCut > 0) {
        strText += QStringLiteral("\n... and %1 more lines in the report.\n").arg(nCut);
    }
    m_pPreview->setPlainText(strText);
}

void CReportDialog::accept()
{
    const ReportOutput output = Output();
    if (output != ReportOutput::Printer) {
        const char* pFilter = output == ReportOutput::Text ? "Text (*.txt)"
            : output == ReportOutput::Html                 ? "HTML (*.html *.htm)"
                                                           : "PDF (*.pdf)";
        const char* pSuffix = output == ReportOutput::Text ? "txt" : output == ReportOutput::Html ? "html" : "pdf";
        QFileDialog dialog(this, QStringLiteral("Save the Report"), {}, QLatin1String(pFilter));
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.setDefaultSuffix(QLatin1String(pSuffix));
        dialog.selectFile(QStringLiteral("comparison-report.") + QLatin1String(pSuffix));
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
            return;
        }
        m_strPath = dialog.selectedFiles().first();
    }
    QDialog::accept();
}
