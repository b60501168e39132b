#include "widgets/SymbolIcon.h"

#include <QPainter>
#include <QSvgRenderer>
#include <cmath>

/// A static library's resources are not registered by themselves. The macro works outside namespaces only.
static void registerIcons()
{
    Q_INIT_RESOURCE(velmo);
}

namespace velmo {

namespace {

/// The symbol in pixels of the size.
QPixmap symbolPixmap(const QString& name, const QColor& color, int pixels)
{
    registerIcons();
    QSvgRenderer renderer(QStringLiteral(":/velmo/icons/") + name + QStringLiteral(".svg"));
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter);
    // The drawing gives the shape alone.
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

} // namespace

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
    // On whole pixels of the device, or the symbol would be resampled.
    const QTransform toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(square);
    const int pixels = static_cast<int>(std::lround(device.width()));
    const QRectF snapped(std::round(device.x()), std::round(device.y()), pixels, pixels);
    const QPixmap pixmap = symbolPixmap(name, color, pixels);
    painter.drawPixmap(toDevice.inverted().mapRect(snapped), pixmap, QRectF(pixmap.rect()));
}

} // namespace velmo
