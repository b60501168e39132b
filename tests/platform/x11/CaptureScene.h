#pragma once

#include "platform/WindowSurfaces.h"
#include "support/x11/Await.h"
#include "support/x11/PlainClient.h"

#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <cstdlib>

/// What capture tests put on the screen, and how they compare pictures of it.
namespace velmo::test {

/// A floating window as the program shows it: translucent, unmanaged, with something drawn on it.
class FloatingWidget : public QWidget {
public:
    FloatingWidget(const QRect& area, QColor color)
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint |
                               Qt::WindowDoesNotAcceptFocus)
        , color_(color)
    {
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setGeometry(area);
        show();
        raise();
    }

private:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(rect(), color_);
        painter.fillRect(QRect(20, 20, 300, 30), Qt::red);
    }

    QColor color_;
};

/// Everything that the program can have on the screen at once: the layer to draw on, its tools, a hint, the
/// panel with the keyboard, and a menu of the panel's.
class OwnWindows {
public:
    explicit OwnWindows(WindowSurfaces& surfaces)
        : menu_(&panel_)
    {
        panel_.setWindowFlag(Qt::WindowDoesNotAcceptFocus, false);
        panel_.show();
        panel_.raise();
        field_.show();
        field_.setFocus();
        // The server refuses the focus to a window that it does not show yet.
        hasFocus_ = awaitCondition([&] {
            surfaces.focusWindow(panel_);
            return field_.hasFocus();
        });
        menu_.addAction(QStringLiteral("Copy"));
        menu_.addAction(QStringLiteral("Copy everything"));
        menu_.popup(QPoint(900, 500));
        isComplete_ = hasFocus_ && awaitCondition([&] {
                          return menu_.windowHandle() && menu_.windowHandle()->isExposed();
                      });
    }

    /// All are on the screen, and the panel has the keyboard.
    [[nodiscard]] bool isComplete() const { return isComplete_; }

private:
    FloatingWidget overlay_{QRect(0, 0, 1920, 1080), QColor(0, 40, 0, 60)};
    FloatingWidget tools_{QRect(760, 20, 400, 56), QColor(40, 40, 48, 220)};
    FloatingWidget hint_{QRect(300, 900, 180, 40), QColor(0, 0, 0, 200)};
    FloatingWidget panel_{QRect(650, 300, 620, 400), QColor(17, 17, 21, 255)};
    QLineEdit field_{&panel_};
    QMenu menu_;
    bool hasFocus_ = false;
    bool isComplete_ = false;
};

inline int differingPixels(const QImage& first, const QImage& second)
{
    if (first.size() != second.size() || first.format() != second.format())
        return std::max(first.width() * first.height(), 1);
    int count = 0;
    for (int y = 0; y < first.height(); ++y) {
        const auto* a = reinterpret_cast<const QRgb*>(first.constScanLine(y));
        const auto* b = reinterpret_cast<const QRgb*>(second.constScanLine(y));
        for (int x = 0; x < first.width(); ++x)
            count += a[x] == b[x] ? 0 : 1;
    }
    return count;
}

/// The greatest difference of a colour's part anywhere; 255 for pictures that cannot be compared.
inline int greatestDifference(const QImage& first, const QImage& second)
{
    if (first.size() != second.size() || first.isNull())
        return 255;
    int greatest = 0;
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            const QRgb a = first.pixel(x, y);
            const QRgb b = second.pixel(x, y);
            greatest = std::max({greatest, std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                                 std::abs(qBlue(a) - qBlue(b))});
        }
    }
    return greatest;
}

/// Fills a part of another program's window, given in that window.
inline void paintOver(PlainClient& client, const QRect& area, quint32 color)
{
    xcb_connection_t* xcb = client.connection().get();
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    xcb_create_gc(xcb, context, client.window(), XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t rectangle{static_cast<int16_t>(area.x()), static_cast<int16_t>(area.y()),
                                    static_cast<uint16_t>(area.width()),
                                    static_cast<uint16_t>(area.height())};
    xcb_poly_fill_rectangle(xcb, client.window(), context, 1, &rectangle);
    xcb_free_gc(xcb, context);
    client.connection().sync();
}

inline PlainClient::Options client(const QRect& area, quint32 color)
{
    PlainClient::Options options;
    options.area = area;
    options.color = color;
    return options;
}

/// Overlapping, bordered, shaped and translucent windows, some beyond the screen's edges.
struct Scene {
    PlainClient back{client({100, 80, 800, 600}, 0x204060)};
    PlainClient front{client({400, 300, 900, 500}, 0x604020)};
    PlainClient bordered{[] {
        auto options = client({1200, 100, 300, 300}, 0x206020);
        options.border = 7;
        options.bypassesManager = true;
        return options;
    }()};
    PlainClient shaped{[] {
        auto options = client({700, 200, 400, 400}, 0x703070);
        options.shape = {QRect(0, 0, 100, 400), QRect(200, 50, 150, 100), QRect(380, 380, 60, 60)};
        options.bypassesManager = true;
        return options;
    }()};
    PlainClient outside{[] {
        auto options = client({1700, 900, 600, 400}, 0x707020);
        options.bypassesManager = true;
        return options;
    }()};
    PlainClient translucent{[] {
        auto options = client({250, 420, 500, 400}, 0x80402010);
        options.isTranslucent = true;
        options.bypassesManager = true;
        return options;
    }()};
};

} // namespace velmo::test
