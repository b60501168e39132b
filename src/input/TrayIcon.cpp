#include "input/TrayIcon.h"

#include "widgets/DevicePixels.h"
#include "widgets/SymbolIcon.h"
#include "widgets/WindowTheme.h"

#include <QIconEngine>
#include <QPainter>
#include <algorithm>

namespace velmo {

namespace {

/// Up to here the pencil has no room for its details.
constexpr int kLargestSmallSize = 18;

class TrayIconEngine final : public QIconEngine {
public:
    explicit TrayIconEngine(const TrayColors& colors)
        : colors_(colors)
    {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(rect.width(), rect.height());
        const QRect square(rect.left() + (rect.width() - side) / 2, rect.top() + (rect.height() - side) / 2,
                           side, side);
        if (!colors_.outline.isValid()) {
            drawSymbol(*painter, drawingFor(pixelsOf(*painter, square)), colors_.symbol, square);
            return;
        }
        // Otherwise the symbol would be resampled.
        const QRectF snapped = snappedToPixels(*painter, square);
        const QPixmap symbol = symbolOf(pixelsOf(*painter, snapped));
        painter->drawPixmap(snapped, symbol, QRectF(symbol.rect()));
    }

    /// The size is in pixels.
    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        QPixmap symbol = symbolOf(side);
        if (symbol.size() == size)
            return symbol;
        QPixmap centred(size);
        centred.fill(Qt::transparent);
        QPainter(&centred).drawPixmap((size.width() - side) / 2, (size.height() - side) / 2, symbol);
        return centred;
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal) override
    {
        return pixmap(size, mode, state);
    }

    /// Trays that cannot ask for a size are sent these.
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {QSize(16, 16), QSize(22, 22), QSize(24, 24), QSize(32, 32)};
    }

    [[nodiscard]] QIconEngine* clone() const override { return new TrayIconEngine(colors_); }
    bool isNull() override { return false; }

private:
    static int pixelsOf(const QPainter& painter, const QRectF& square)
    {
        return qRound(painter.deviceTransform().mapRect(square).width());
    }

    static QString drawingFor(int pixels)
    {
        return pixels <= kLargestSmallSize ? QStringLiteral("pencil.and.scribble.small")
                                           : QStringLiteral("pencil.and.scribble");
    }

    [[nodiscard]] QPixmap symbolOf(int pixels) const
    {
        return colors_.outline.isValid()
                   ? outlinedSymbolPixmap(drawingFor(pixels), colors_.symbol, colors_.outline, pixels)
                   : symbolPixmap(drawingFor(pixels), colors_.symbol, pixels);
    }

    TrayColors colors_;
};

} // namespace

QIcon trayIcon(const TrayColors& colors)
{
    return QIcon(new TrayIconEngine(colors));
}

TrayColors trayColors(const std::optional<QColor>& told, const QStringList& desktops, const QPalette& palette)
{
    if (told)
        return {*told};
    // Others are made of these, name them after their own, and have a bar of their own.
    static const QStringList darkBars{QStringLiteral("GNOME"), QStringLiteral("ubuntu"),
                                      QStringLiteral("pop"), QStringLiteral("Unity"),
                                      QStringLiteral("X-Cinnamon")};
    const QColor light = WindowTheme::dark().text;
    const QColor dark = WindowTheme::light().text;
    const QString desktop = desktops.isEmpty() ? QString() : desktops.constFirst();
    if (darkBars.contains(desktop))
        return {light};
    const bool isDark = WindowTheme::isDark(palette);
    // Where its theme has no colours of its own, Plasma's bar has those of windows.
    if (desktop == QStringLiteral("KDE"))
        return {isDark ? light : dark};
    return isDark ? TrayColors{light, dark} : TrayColors{dark, light};
}

} // namespace velmo
