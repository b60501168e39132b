#pragma once

#include "support/x11/PlainClient.h"

#include <QImage>
#include <QPainter>
#include <QWidget>
#include <algorithm>

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
