#include "widgets/ApplicationIcon.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <initializer_list>

/// A static library's resources are not registered by themselves. The macro works outside namespaces only.
static void registerIcons()
{
    Q_INIT_RESOURCE(velmo);
}

namespace velmo {

namespace {

void addSizes(QIcon& icon, const QString& drawing, std::initializer_list<int> sizes)
{
    QSvgRenderer renderer(drawing);
    for (const int size : sizes) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
}

} // namespace

QIcon applicationIcon()
{
    registerIcons();
    QIcon icon;
    // The same drawings for the same sizes as the installed icons.
    addSizes(icon, QStringLiteral(":/velmo/app/app-icon-small.svg"), {16, 24, 32, 48});
    addSizes(icon, QStringLiteral(":/velmo/app/app-icon.svg"), {64, 128});
    return icon;
}

} // namespace velmo
