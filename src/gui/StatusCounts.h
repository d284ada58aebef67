#pragma once

#include <QWidget>

#include "app/TreeSnapshot.h"

struct CPaneSettings;
class QToolButton;

// The status bar's counts, one toggle per status class (Same, Diff, left-only, right-only, undecided,
// folders on one side) with the items and bytes of each; unchecking one hides those rows in both panes.
class CStatusCounts : public QWidget
{
    Q_OBJECT

public:
    CStatusCounts(const CPaneSettings& settings, QWidget* pParent = nullptr);
    void SetIcons(const CPaneSettings& settings);

    void ShowTotals(const std::array<ClassTotals, kStatusClasses>& totals);
    void SetShownClasses(unsigned nClasses);
    [[nodiscard]] unsigned ShownClasses() const;
    [[nodiscard]] QToolButton* Toggle(StatusClass nClass) const { return m_pToggles[nClass]; }

signals:
    void ShownClassesChanged(unsigned nClasses);

private:
    QToolButton* m_pToggles[CLASS_FOLDER_BOTH] {};
};
