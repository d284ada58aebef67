#pragma once

#include "report/PaneColours.h"

#include <array>

#include <QColor>
#include <QIcon>

struct CPaneSettings;

// The pictures of the tree's icon codes, drawn once in the pane colours, and the program's own icon. Every
// status has a shape of its own as well as a colour, so that colour is never the only sign.
class CStatusIcons
{
public:
    explicit CStatusIcons(const CPaneSettings& settings);

    [[nodiscard]] const QIcon& Icon(int nIconCode) const;
    static QIcon AppIcon();

private:
    std::array<QIcon, 9> m_icons;
    QIcon m_undefined;
};

// The colour made readable on the given background: a dark text on a dark palette is lightened.
QColor ReadableOn(const QColor& color, const QColor& background);
