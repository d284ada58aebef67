#pragma once

#include <memory>

#include <QDialog>

#include "report/Report.h"

class QCheckBox;
class QComboBox;
class QPlainTextEdit;

enum class ReportOutput
{
    Text,
    Html,
    Pdf,
    Printer
};

// File > Report...: the layout, what is shown, the output and the appendix of transfers, with a preview of
// the report's beginning. It chooses only; the window writes or prints the report on a worker.
class CReportDialog : public QDialog
{
    Q_OBJECT

public:
    // panesRule: what the panes show now, the first choice of the filter.
    CReportDialog(std::shared_ptr<const CTreeSnapshot> pSnapshot, ReportHeader header, CTreeFilterRule panesRule,
        QWidget* pParent = nullptr);

    [[nodiscard]] ReportOptions Options() const;
    [[nodiscard]] ReportOutput Output() const;
    // The file chosen for a file output (asked when the dialog is accepted).
    [[nodiscard]] const QString& FilePath() const { return m_strPath; }
    [[nodiscard]] QString PreviewText() const;

    void accept() override;

private:
    void UpdatePreview();

    std::shared_ptr<const CTreeSnapshot> m_pSnapshot;
    ReportHeader m_header;
    CTreeFilterRule m_panesRule;
    QComboBox* m_pLayout;
    QComboBox* m_pFilter;
    QComboBox* m_pOutput;
    QCheckBox* m_pAppendix;
    QPlainTextEdit* m_pPreview;
    QString m_strPath;
};
