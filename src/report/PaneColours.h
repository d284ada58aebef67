#pragma once

#include <QColor>

#include "app/PaneSettings.h"

// A colour of the settings (red in the lowest byte) as Qt's, and back.
inline QColor ColorFromRef(ColorRef color)
{
    return QColor(
        static_cast<int>(color & 0xFF), static_cast<int>((color >> 8) & 0xFF), static_cast<int>((color >> 16) & 0xFF));
}

inline ColorRef RefFromColor(const QColor& color)
{
    return static_cast<ColorRef>(color.red()) | (static_cast<ColorRef>(color.green()) << 8)
        | (static_cast<ColorRef>(color.blue()) << 16);
}
