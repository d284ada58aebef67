#pragma once

#include <vector>

#include <QStringList>

#include "gui/widgets/PropertySheet.h"

class CSettingsStore;
class QLabel;
class QWidget;

// Every preference in one property sheet: the comparison panes, the connection, transfers, the log,
// external programs and silenced messages. Each field stands for one key of the settings table; the
// dialog reads them when it opens and writes them (and only them) on OK.
class CPreferencesDialog : public CPropertySheet
{
    Q_OBJECT

public:
    explicit CPreferencesDialog(QWidget* pParent = nullptr);

    // "Section/Key" of every setting the dialog shows.
    [[nodiscard]] QStringList BoundKeys() const;
    // Writes every shown value; false when the profile cannot be written.
    bool Save(CSettingsStore& store) const;

private:
    enum class Kind
    {
        Check,
        Number,
        NegatedNumber, // shown as its absolute value (the font's character height)
        Text,
        Font,
        Colour
    };
    struct Binding
    {
        const char* pSection;
        const char* pKey;
        Kind kind;
        QWidget* pWidget;
    };

    QWidget* PanesPage();
    QWidget* ConnectionPage();
    QWidget* TransfersPage();
    QWidget* LogPage();
    QWidget* ProgramsPage();
    QWidget* MessagesPage();
    QWidget* Bind(const char* pSection, const char* pKey, Kind kind, QWidget* pWidget);
    QWidget* Check(const char* pSection, const char* pKey, const QString& strText);
    QWidget* Number(const char* pKey, int nMin, int nMax, const QString& strSuffix = {});
    void Load(const CSettingsStore& store);
    void UpdatePreview();

    std::vector<Binding> m_bindings;
    QLabel* m_pPreview = nullptr;
};
