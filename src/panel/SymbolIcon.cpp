#include "panel/SymbolIcon.h"

#include <QPainter>
#include <QSvgRenderer>

/// A static library's resources are not registered by themselves. The macro works outside namespaces only.
static void registerIcons()
{
    Q_INIT_RESOURCE(velmo);
}

namespace velmo {

QIcon symbolIcon(const QString& name, const QColor& color, int size)
{
    registerIcons();
    QIcon icon;
    QSvgRenderer renderer(QStringLiteral(":/velmo/icons/") + name + QStringLiteral(".svg"));
    for (const int scale : {1, 2}) {
        QPixmap pixmap(size * scale, size * scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        // The drawing gives the shape alone.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), color);
        painter.end();
        pixmap.setDevicePixelRatio(scale);
        icon.addPixmap(pixmap);
        icon.addPixmap(pixmap, QIcon::Disabled);
    }
    return icon;
}

} // namespace velmo
