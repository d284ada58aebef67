#include "gui/dialogs/PreferencesDialog.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFontComboBox>
#include <QFontInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QUrl>
#include <QVBoxLayout>

#include "app/PaneSettings.h"
#include "gui/widgets/SilenceableMessageBox.h"
#include "report/PaneColours.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"

namespace {

constexpr const char* kSettings = "Settings";

// A button that shows and picks a colour, kept as the settings keep it.
QPushButton* ColourButton(QWidget* pParent)
{
    auto* pButton = new QPushButton(pParent);
    pButton->setMinimumWidth(90);
    QObject::connect(pButton, &QPushButton::clicked, pButton, [pButton] {
        const QColor chosen = QColorDialog::getColor(
            ColorFromRef(pButton->property("colorRef").toUInt()), pButton, QStringLiteral("Choose a Colour"));
        if (chosen.isValid()) {
            pButton->setProperty("colorRef", RefFromColor(chosen));
            pButton->setText(chosen.name());
            pButton->setStyleSheet(QStringLiteral("color: %1; font-weight: bold;").arg(chosen.name()));
        }
    });
    return pButton;
}

void ShowColour(QPushButton* pButton, ColorRef color)
{
    pButton->setProperty("colorRef", color);
    pButton->setText(ColorFromRef(color).name());
    pButton->setStyleSheet(QStringLiteral("color: %1; font-weight: bold;").arg(ColorFromRef(color).name()));
}

QWidget* PageWith(QLayout* pLayout)
{
    auto* pPage = new QWidget;
    auto* pOuter = new QVBoxLayout(pPage);
    pOuter->addLayout(pLayout);
    pOuter->addStretch(1);
    return pPage;
}

} // namespace

CPreferencesDialog::CPreferencesDialog(QWidget* pParent)
    : CPropertySheet(QStringLiteral("Preferences"), pParent)
{
    setObjectName(QStringLiteral("preferences"));
    AddPage(QStringLiteral("Comparison panes"), PanesPage());
    AddPage(QStringLiteral("Connection"), ConnectionPage());
    AddPage(QStringLiteral("Transfers"), TransfersPage(), QStringLiteral("Connection"));
    AddPage(QStringLiteral("Log"), LogPage());
    AddPage(QStringLiteral("Programs"), ProgramsPage());
    AddPage(QStringLiteral("Messages"), MessagesPage());
    Load(CSettingsStore());
    resize(720, 480);
}

QWidget* CPreferencesDialog::Bind(const char* pSection, const char* pKey, Kind kind, QWidget* pWidget)
{
    pWidget->setObjectName(QLatin1String(pKey));
    m_bindings.push_back({ pSection, pKey, kind, pWidget });
    return pWidget;
}

QWidget* CPreferencesDialog::Check(const char* pSection, const char* pKey, const QString& strText)
{
    return Bind(pSection, pKey, Kind::Check, new QCheckBox(strText));
}

QWidget* CPreferencesDialog::Number(const char* pKey, int nMin, int nMax, const QString& strSuffix)
{
    auto* pSpin = new QSpinBox;
    pSpin->setRange(nMin, nMax);
    pSpin->setSuffix(strSuffix);
    return Bind(kSettings, pKey, Kind::Number, pSpin);
}

QWidget* CPreferencesDialog::PanesPage()
{
    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("&Font:"), Bind(kSettings, "FontName", Kind::Font, new QFontComboBox));
    auto* pHeight = new QSpinBox;
    pHeight->setRange(6, 72);
    pHeight->setSuffix(QStringLiteral(" px"));
    pForm->addRow(QStringLiteral("Character &height:"), Bind(kSettings, "FontSize", Kind::NegatedNumber, pHeight));
    auto* pColours = new QGroupBox(QStringLiteral("Colours"));
    auto* pColourForm = new QFormLayout(pColours);
    for (const auto& [pKey, pLabel] :
        { std::pair { "ColorSame", "&Same:" }, { "ColorDiff", "&Different:" }, { "ColorLeftOnly", "&Local only:" },
            { "ColorRightOnly", "&FTP only:" }, { "ColorUnknown", "&Undecided:" } }) {
        QWidget* pButton = Bind(kSettings, pKey, Kind::Colour, ColourButton(pColours));
        connect(static_cast<QPushButton*>(pButton), &QPushButton::clicked, this, &CPreferencesDialog::UpdatePreview);
        pColourForm->addRow(QString::fromLatin1(pLabel), pButton);
    }
    m_pPreview = new QLabel(pColours);
    m_pPreview->setObjectName(QStringLiteral("colourPreview"));
    m_pPreview->setAutoFillBackground(true);
    m_pPreview->setBackgroundRole(QPalette::Base);
    m_pPreview->setMargin(6);
    m_pPreview->setWordWrap(true);
    pColourForm->addRow(QStringLiteral("Preview:"), m_pPreview);
    pForm->addRow(pColours);
    pForm->addRow(Check(kSettings, "FileSize", QStringLiteral("Show the Si&ze column")));
    pForm->addRow(Check(kSettings, "FileTimestamp", QStringLiteral("Show the &Time column")));
    pForm->addRow(Check(kSettings, "FileVersion", QStringLiteral("Show the &Version column")));
    pForm->addRow(Check("Misc.", "GridlinesEnabled", QStringLiteral("&Grid lines")));
    pForm->addRow(Check(kSettings, "IncludeFoldersForDiffs",
        QStringLiteral("&Include folders on one side when moving to the next difference")));
    return PageWith(pForm);
}

QWidget* CPreferencesDialog::ConnectionPage()
{
    auto* pForm = new QFormLayout;
    pForm->addRow(Check(kSettings, "DefaultUsePASVMode", QStringLiteral("Use &passive mode unless a site says")));
    pForm->addRow(QStringLiteral("&Retries:"), Number("DefaultRetries", 1, 99));
    pForm->addRow(QStringLiteral("Retry &delay:"), Number("DefaultRetryDelay", 0, 3600, QStringLiteral(" s")));
    pForm->addRow(QStringLiteral("&Time-out:"), Number("ConnectionTimeout", 1, 600, QStringLiteral(" s")));
    pForm->addRow(
        QStringLiteral("&Download files up to:"), Number("CacheDownloadSizeKB", 0, 10000, QStringLiteral(" KB")));
    pForm->addRow(QStringLiteral("&Connections at once:"), Number("MaxFtpConnections", 1, 16));
    pForm->addRow(Check(kSettings, "UploadThroughWorkingName",
        QStringLiteral("&Upload through a temporary name, renamed into place when complete")));
    pForm->addRow(Check(kSettings, "UseServerChecksums",
        QStringLiteral("Decide files not downloaded by the server's &checksum where it offers one")));
    pForm->addRow(
        QStringLiteral("&E-mail for anonymous log-on:"), Bind(kSettings, "EmailAddress", Kind::Text, new QLineEdit));
    return PageWith(pForm);
}

QWidget* CPreferencesDialog::TransfersPage()
{
    auto* pForm = new QFormLayout;
    pForm->addRow(Check(kSettings, "DeleteRowOfGoodXfer", QStringLiteral("&Remove a job's row when it completes")));
    return PageWith(pForm);
}

QWidget* CPreferencesDialog::LogPage()
{
    auto* pForm = new QFormLayout;
    pForm->addRow(Check(kSettings, "LogEnabled", QStringLiteral("&Write a diagnostic log")));
    pForm->addRow(Check(kSettings, "FullLog", QStringLiteral("&Full detail, item by item")));
    pForm->addRow(Check(kSettings, "LogTimestamp", QStringLiteral("&Date and time on every line")));
    auto* pOpen = new QPushButton(QStringLiteral("&Open the Log Folder"));
    connect(pOpen, &QPushButton::clicked, this, [] { QDesktopServices::openUrl(QUrl::fromLocalFile(GetLogFolder())); });
    pForm->addRow(pOpen);
    return PageWith(pForm);
}

QWidget* CPreferencesDialog::ProgramsPage()
{
    auto* pForm = new QFormLayout;
    for (const auto& [pKey, pLabel, pHint] :
        { std::tuple { "CompareProgram", "&Comparison program:", "empty: the first of meld, kdiff3, kompare" },
            { "EditorProgram", "&Editor:", "empty: the desktop's application for the file" } }) {
        auto* pEdit = static_cast<QLineEdit*>(Bind(kSettings, pKey, Kind::Text, new QLineEdit));
        pEdit->setPlaceholderText(QString::fromLatin1(pHint));
        auto* pBrowse = new QPushButton(QStringLiteral("Browse..."));
        connect(pBrowse, &QPushButton::clicked, this, [this, pEdit] {
            const QString strProgram = QFileDialog::getOpenFileName(this, QStringLiteral("Choose a Program"));
            if (!strProgram.isEmpty()) {
                pEdit->setText(strProgram);
            }
        });
        auto* pRow = new QHBoxLayout;
        pRow->addWidget(pEdit, 1);
        pRow->addWidget(pBrowse);
        pForm->addRow(QString::fromLatin1(pLabel), pRow);
    }
    return PageWith(pForm);
}

QWidget* CPreferencesDialog::MessagesPage()
{
    auto* pLayout = new QVBoxLayout;
    auto* pText = new QLabel(QStringLiteral(
        "Questions and notices you told not to appear again, the replace question of copies among them, can all "
        "come back."));
    pText->setWordWrap(true);
    auto* pBack = new QPushButton(QStringLiteral("&Bring Back Every Message"));
    pBack->setObjectName(QStringLiteral("bringBack"));
    auto* pDone = new QLabel;
    connect(pBack, &QPushButton::clicked, this, [pDone] {
        const int nBack = CSilenceableMessageBox::BringAllBack();
        pDone->setText(nBack == 0 ? QStringLiteral("No message was silenced.")
                                  : QStringLiteral("%1 messages will appear again.").arg(nBack));
    });
    pLayout->addWidget(pText);
    pLayout->addWidget(pBack, 0, Qt::AlignLeft);
    pLayout->addWidget(pDone);
    return PageWith(pLayout);
}

void CPreferencesDialog::Load(const CSettingsStore& store)
{
    for (const Binding& binding : m_bindings) {
        switch (binding.kind) {
        case Kind::Check:
            static_cast<QCheckBox*>(binding.pWidget)->setChecked(store.ReadInt(binding.pSection, binding.pKey) != 0);
            break;
        case Kind::Number:
            static_cast<QSpinBox*>(binding.pWidget)
                ->setValue(static_cast<int>(store.ReadInt(binding.pSection, binding.pKey)));
            break;
        case Kind::NegatedNumber:
            static_cast<QSpinBox*>(binding.pWidget)
                ->setValue(static_cast<int>(std::abs(store.ReadInt(binding.pSection, binding.pKey))));
            break;
        case Kind::Text:
            static_cast<QLineEdit*>(binding.pWidget)->setText(store.ReadString(binding.pSection, binding.pKey));
            break;
        case Kind::Font:
            static_cast<QFontComboBox*>(binding.pWidget)
                ->setCurrentFont(QFont(store.ReadString(binding.pSection, binding.pKey)));
            break;
        case Kind::Colour:
            ShowColour(static_cast<QPushButton*>(binding.pWidget),
                static_cast<ColorRef>(store.ReadInt(binding.pSection, binding.pKey)));
            break;
        }
    }
    UpdatePreview();
}

bool CPreferencesDialog::Save(CSettingsStore& store) const
{
    for (const Binding& binding : m_bindings) {
        switch (binding.kind) {
        case Kind::Check:
            store.WriteInt(
                binding.pSection, binding.pKey, static_cast<QCheckBox*>(binding.pWidget)->isChecked() ? 1 : 0);
            break;
        case Kind::Number:
            store.WriteInt(binding.pSection, binding.pKey, static_cast<QSpinBox*>(binding.pWidget)->value());
            break;
        case Kind::NegatedNumber:
            store.WriteInt(binding.pSection, binding.pKey, -static_cast<QSpinBox*>(binding.pWidget)->value());
            break;
        case Kind::Text:
            store.WriteString(
                binding.pSection, binding.pKey, static_cast<QLineEdit*>(binding.pWidget)->text().trimmed());
            break;
        case Kind::Font: {
            // A font this machine lacks shows as the one standing in for it; unless another was chosen, the
            // name stays as it was, for the machines that have it.
            const QString strKept = binding.pWidget->property("fontName").toString();
            const QString strShown = static_cast<QFontComboBox*>(binding.pWidget)->currentFont().family();
            store.WriteString(binding.pSection, binding.pKey,
                strShown == QFontInfo(QFont(strKept)).family() || strShown == strKept ? strKept : strShown);
            break;
        }
        case Kind::Colour:
            store.WriteInt(binding.pSection, binding.pKey, binding.pWidget->property("colorRef").toUInt());
            break;
        }
    }
    return store.Sync();
}

QStringList CPreferencesDialog::BoundKeys() const
{
    QStringList keys;
    for (const Binding& binding : m_bindings) {
        keys.append(QLatin1String(binding.pSection) + QLatin1Char('/') + QLatin1String(binding.pKey));
    }
    return keys;
}

void CPreferencesDialog::UpdatePreview()
{
    QString strHtml;
    for (const auto& [pKey, pText] : { std::pair { "ColorSame", "same.html" }, { "ColorDiff", "changed.css" },
             { "ColorLeftOnly", "new.png" }, { "ColorRightOnly", "old.txt" }, { "ColorUnknown", "big.zip" } }) {
        for (const Binding& binding : m_bindings) {
            if (qstrcmp(binding.pKey, pKey) == 0) {
                strHtml += QStringLiteral("<span style=\"color:%1\">%2</span>&nbsp;&nbsp; ")
                               .arg(ColorFromRef(binding.pWidget->property("colorRef").toUInt()).name(),
                                   QString::fromLatin1(pText));
            }
        }
    }
    m_pPreview->setText(strHtml);
}
