#include "gui/StatusIcons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include "app/PaneSettings.h"
#include "tree/FileItem.h"

namespace {

constexpr int kSize = 16;

QPixmap Canvas()
{
    QPixmap pixmap(kSize, kSize);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

QPainterPath PagePath()
{
    QPainterPath path;
    path.moveTo(3.5, 1.5);
    path.lineTo(10, 1.5);
    path.lineTo(13.5, 5);
    path.lineTo(13.5, 14.5);
    path.lineTo(3.5, 14.5);
    path.closeSubpath();
    return path;
}

QPainterPath FolderPath(bool bOpen)
{
    QPainterPath path;
    path.moveTo(1.5, 3.5);
    path.lineTo(6, 3.5);
    path.lineTo(7.5, 5);
    path.lineTo(14.5, 5);
    path.lineTo(14.5, 13.5);
    path.lineTo(1.5, 13.5);
    path.closeSubpath();
    if (bOpen) {
        path.moveTo(1.5, 13.5);
        path.lineTo(4, 7.5);
        path.lineTo(15.5, 7.5);
        path.lineTo(14.5, 13.5);
    }
    return path;
}

QIcon Folder(bool bOpen)
{
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(150, 110, 20), 1));
    painter.setBrush(QColor(240, 200, 90));
    painter.drawPath(FolderPath(bOpen));
    return QIcon(pixmap);
}

// A page with a mark: = same, ≠ differs, ◀ / ▶ on one side only, ? undecided.
QIcon Page(const QColor& color, QChar mark)
{
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color.darker(130), 1));
    painter.setBrush(QColor(252, 252, 252));
    painter.drawPath(PagePath());
    painter.setPen(QPen(color, 1.6));
    switch (mark.unicode()) {
    case '=':
        painter.drawLine(QPointF(5.5, 7), QPointF(11.5, 7));
        painter.drawLine(QPointF(5.5, 10.5), QPointF(11.5, 10.5));
        break;
    case '!':
        painter.drawLine(QPointF(5.5, 7), QPointF(11.5, 7));
        painter.drawLine(QPointF(5.5, 10.5), QPointF(11.5, 10.5));
        painter.drawLine(QPointF(10, 5), QPointF(7, 12.5));
        break;
    case '<':
    case '>': {
        painter.setBrush(color);
        painter.setPen(Qt::NoPen);
        QPolygonF arrow;
        if (mark == QLatin1Char('<')) {
            arrow << QPointF(5, 9) << QPointF(11.5, 5.5) << QPointF(11.5, 12.5);
        } else {
            arrow << QPointF(12, 9) << QPointF(5.5, 5.5) << QPointF(5.5, 12.5);
        }
        painter.drawPolygon(arrow);
        break;
    }
    default: {
        QFont font = painter.font();
        font.setPixelSize(10);
        font.setBold(true);
        painter.setFont(font);
        painter.drawText(QRectF(3, 3, 11, 12), Qt::AlignCenter, QStringLiteral("?"));
        break;
    }
    }
    return QIcon(pixmap);
}

// The empty place of an item that the other side has: a faint dashed outline.
QIcon Blank(const QPainterPath& path)
{
    QPixmap pixmap = Canvas();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(160, 160, 160), 1, Qt::DotLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(path);
    return QIcon(pixmap);
}

} // namespace

QColor ReadableOn(const QColor& color, const QColor& background)
{
    if (background.lightness() >= 128 || color.lightness() >= 110) {
        return color;
    }
    // On a dark background the settings' dark colours keep their hue and gain light.
    QColor light = color.toHsl();
    light.setHsl(light.hslHue(), light.hslSaturation(), 170);
    return light.toRgb();
}

CStatusIcons::CStatusIcons(const CPaneSettings& settings)
{
    m_icons[ICON_CLOSE] = Folder(false);
    m_icons[ICON_OPEN] = Folder(true);
    m_icons[ICON_SAME] = Page(QColor(46, 125, 50), QLatin1Char('='));
    m_icons[ICON_DIFF] = Page(ColorFromRef(settings.colorDiff), QLatin1Char('!'));
    m_icons[ICON_1ST] = Page(ColorFromRef(settings.colorLeftOnly), QLatin1Char('<'));
    m_icons[ICON_2ND] = Page(ColorFromRef(settings.colorRightOnly), QLatin1Char('>'));
    m_icons[ICON_BLANK_DIR] = Blank(FolderPath(false));
    m_icons[ICON_BLANK_FILE] = Blank(PagePath());
    m_icons[ICON_UNKNOWN_FILE] = Page(ColorFromRef(settings.colorUnknown), QLatin1Char('?'));
}

const QIcon& CStatusIcons::Icon(int nIconCode) const
{
    return nIconCode >= 0 && nIconCode < static_cast<int>(m_icons.size()) ? m_icons[static_cast<size_t>(nIconCode)]
                                                                          : m_undefined;
}

QIcon CStatusIcons::AppIcon()
{
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor frame(47, 93, 138);
    painter.setPen(QPen(frame, 3));
    painter.setBrush(QColor(244, 246, 250));
    painter.drawRoundedRect(QRectF(2, 6, 27, 52), 4, 4);
    painter.drawRoundedRect(QRectF(35, 6, 27, 52), 4, 4);
    const QColor bars[] = { QColor(46, 125, 50), QColor(198, 40, 40), QColor(21, 101, 192) };
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 3; ++i) {
        painter.setBrush(bars[i]);
        painter.drawRect(QRectF(7, 14 + i * 11, 17, 5));
        painter.drawRect(QRectF(40, 14 + i * 11, 17, 5));
    }
    painter.setPen(QPen(frame, 3, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(26, 32), QPointF(38, 32));
    return QIcon(pixmap);
}
