#include "widgets/SymbolIcon.h"

#include "widgets/DevicePixels.h"

#include <QFile>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <algorithm>
#include <cmath>

/// A static library's resources are not registered by themselves. The macro works outside namespaces only.
static void registerIcons()
{
    Q_INIT_RESOURCE(velmo);
}

namespace velmo {

namespace {

/// From here on, in points, lines are finer than in a small symbol.
constexpr double kLarge = 40;

QByteArray drawing(const QString& name, bool isLarge = false)
{
    registerIcons();
    QFile file(QStringLiteral(":/velmo/icons/") + name + QStringLiteral(".svg"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray shape = file.readAll();
    if (isLarge)
        shape.replace("stroke-width=\"1.75\"", "stroke-width=\"1.5\"");
    return shape;
}

/// The drawing with lines that stand out on both sides of its own, by a pixel or, in larger ones, by more.
QByteArray widened(QByteArray shape, int pixels)
{
    constexpr double kEdge = 1.0 / 24;
    const double side = QSvgRenderer(shape).viewBoxF().width();
    const double edge = std::max(kEdge * side, side / pixels);
    const QByteArray attribute = "stroke-width=\"";
    const qsizetype from = shape.indexOf(attribute) + attribute.size();
    const qsizetype length = shape.indexOf('"', from) - from;
    const double width = shape.mid(from, length).toDouble() + 2 * edge;
    return shape.replace(from, length, QByteArray::number(width));
}

// Kept for a while, since a control paints its own again and again.
QPixmap pixmapOf(const QString& name, const QColor& color, int pixels, bool isLarge)
{
    const QString key = name + u'/' + color.name(QColor::HexArgb) + u'/' + QString::number(pixels) +
                        (isLarge ? QStringLiteral("/large") : QString());
    QPixmap kept;
    if (QPixmapCache::find(key, &kept))
        return kept;
    QSvgRenderer renderer(drawing(name, isLarge));
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    // The drawing gives the shape alone.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

} // namespace

QPixmap symbolPixmap(const QString& name, const QColor& color, int pixels)
{
    return pixmapOf(name, color, pixels, false);
}

QIcon symbolIcon(const QString& name, const QColor& color, int size)
{
    QIcon icon;
    for (const int scale : {1, 2}) {
        QPixmap pixmap = symbolPixmap(name, color, size * scale);
        pixmap.setDevicePixelRatio(scale);
        icon.addPixmap(pixmap);
        icon.addPixmap(pixmap, QIcon::Disabled);
    }
    return icon;
}

QPixmap outlinedSymbolPixmap(const QString& name, const QColor& color, const QColor& outline, int pixels)
{
    const QString key = name + u'/' + color.name(QColor::HexArgb) + u'/' + outline.name(QColor::HexArgb) +
                        u'/' + QString::number(pixels);
    QPixmap kept;
    if (QPixmapCache::find(key, &kept))
        return kept;
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QSvgRenderer(widened(drawing(name), pixels)).render(&painter);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), outline);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.drawPixmap(0, 0, symbolPixmap(name, color, pixels));
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

void drawSymbol(QPainter& painter, const QString& name, const QColor& color, const QRectF& square)
{
    // Otherwise the symbol would be resampled.
    const QRectF snapped = snappedToPixels(painter, square);
    const double width = painter.deviceTransform().mapRect(snapped).width();
    const QPixmap pixmap =
        pixmapOf(name, color, static_cast<int>(std::lround(width)), square.width() >= kLarge);
    painter.drawPixmap(snapped, pixmap, QRectF(pixmap.rect()));
}

} // namespace velmo
