#include "widgets/SymbolIcon.h"

#include "widgets/DevicePixels.h"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>
#include <cmath>

/// A static library's resources are not registered by themselves. The macro works outside namespaces only.
static void registerIcons()
{
    Q_INIT_RESOURCE(velmo);
}

namespace velmo {

// Kept for a while, since a control paints its own again and again.
QPixmap symbolPixmap(const QString& name, const QColor& color, int pixels)
{
    const QString key = name + u'/' + color.name(QColor::HexArgb) + u'/' + QString::number(pixels);
    QPixmap kept;
    if (QPixmapCache::find(key, &kept))
        return kept;
    registerIcons();
    QSvgRenderer renderer(QStringLiteral(":/velmo/icons/") + name + QStringLiteral(".svg"));
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

void drawSymbol(QPainter& painter, const QString& name, const QColor& color, const QRectF& square)
{
    // Otherwise the symbol would be resampled.
    const QRectF snapped = snappedToPixels(painter, square);
    const double width = painter.deviceTransform().mapRect(snapped).width();
    const QPixmap pixmap = symbolPixmap(name, color, static_cast<int>(std::lround(width)));
    painter.drawPixmap(snapped, pixmap, QRectF(pixmap.rect()));
}

} // namespace velmo
