#include "input/TrayIcon.h"

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
    explicit TrayIconEngine(const QColor& color)
        : color_(color)
    {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(rect.width(), rect.height());
        const QRect square(rect.left() + (rect.width() - side) / 2, rect.top() + (rect.height() - side) / 2,
                           side, side);
        const double width = painter->deviceTransform().mapRect(QRectF(square)).width();
        drawSymbol(*painter, drawingFor(qRound(width)), color_, square);
    }

    /// The size is in pixels.
    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        QPixmap symbol = symbolPixmap(drawingFor(side), color_, side);
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

    [[nodiscard]] QIconEngine* clone() const override { return new TrayIconEngine(color_); }
    bool isNull() override { return false; }

private:
    static QString drawingFor(int pixels)
    {
        return pixels <= kLargestSmallSize ? QStringLiteral("pencil.and.scribble.small")
                                           : QStringLiteral("pencil.and.scribble");
    }

    QColor color_;
};

} // namespace

QIcon trayIcon(const QColor& color)
{
    return QIcon(new TrayIconEngine(color));
}

QColor trayColor(const std::optional<QColor>& told, const QStringList& desktops, const QPalette& palette)
{
    if (told)
        return *told;
    // Others are made of these, name them after their own, and have a bar of their own.
    static const QStringList darkBars{QStringLiteral("GNOME"), QStringLiteral("ubuntu"),
                                      QStringLiteral("pop"), QStringLiteral("Unity"),
                                      QStringLiteral("X-Cinnamon")};
    const bool hasDarkBar = !desktops.isEmpty() && darkBars.contains(desktops.constFirst());
    return hasDarkBar ? WindowTheme::dark().text : WindowTheme::of(palette).text;
}

} // namespace velmo
