#pragma once

#include <QApplication>
#include <QPalette>

namespace velmo {

[[nodiscard]] inline QPalette lightPalette()
{
    QPalette palette(QColor(0xe8e8ec));
    palette.setColor(QPalette::Window, QColor(0xf0f0f0));
    palette.setColor(QPalette::WindowText, Qt::black);
    return palette;
}

[[nodiscard]] inline QPalette darkPalette()
{
    QPalette palette(QColor(0x303030));
    palette.setColor(QPalette::Window, QColor(0x202020));
    palette.setColor(QPalette::WindowText, Qt::white);
    return palette;
}

/// The desktop's colours, for as long as this lives.
class ApplicationPalette {
public:
    explicit ApplicationPalette(const QPalette& palette)
        : before_(QApplication::palette())
    {
        QApplication::setPalette(palette);
    }
    ApplicationPalette(const ApplicationPalette&) = delete;
    ApplicationPalette& operator=(const ApplicationPalette&) = delete;
    ~ApplicationPalette() { QApplication::setPalette(before_); }

private:
    QPalette before_;
};

} // namespace velmo
