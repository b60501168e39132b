#pragma once

#include "core/async/WorkerPool.h"
#include "fakes/FakeDisplayCapture.h"
#include "fakes/FakeWindowSurfaces.h"
#include "overlay/OverlayWindowController.h"
#include "support/core/SessionTest.h"

#include "support/widgets/ShownWidgets.h"
#include <QApplication>
#include <QKeyEvent>
#include <QScreen>

namespace velmo {

/// A session whose overlays are real, on the toolkit's only screen.
class Overlay : public SessionTest {
protected:
    Overlay()
    {
        const QScreen* toolkit = QGuiApplication::primaryScreen();
        const QSizeF size = toolkit->geometry().size();
        here = FakeScreens::screen(toolkit->name(), 5, {0, 0, size.width(), size.height()});
        here.nativeFrame = {0, 0, toolkit->geometry().width(), toolkit->geometry().height()};
        displays.addDisplay(5, toolkit->geometry().size(), picture(Qt::green));
        screens.screens = {here};
        screens.mainScreen = here;
        auto parts = collaborators();
        parts.makeOverlay = [this](AnnotationSession& owner, bool showToolbar) {
            auto overlay = std::make_unique<OverlayWindowController>(
                owner, showToolbar, OverlayDesktop{screens, windows, displays});
            controller = overlay.get();
            return overlay;
        };
        session = std::make_unique<AnnotationSession>(std::move(parts));
        session->setSettings(settings);
    }

    ~Overlay() override
    {
        session->end();
        settle();
        async::finishWorkers();
    }

    [[nodiscard]] static QImage picture(const QColor& color)
    {
        QImage image(QGuiApplication::primaryScreen()->geometry().size(), QImage::Format_RGB32);
        image.fill(color);
        return image;
    }

    [[nodiscard]] static OverlaySurface& surface() { return *shownWidgets<OverlaySurface>().at(0); }

    /// Returns whether anybody took it.
    static bool press(QWidget& widget, int key)
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        return QApplication::sendEvent(&widget, &event) && event.isAccepted();
    }

    static void mouse(QEvent::Type type, QPointF at, Qt::MouseButton button = Qt::LeftButton)
    {
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : button;
        QMouseEvent event(type, at, at, at, type == QEvent::MouseMove ? Qt::NoButton : button, held,
                          Qt::NoModifier);
        QApplication::sendEvent(&surface(), &event);
    }

    static void drawStroke()
    {
        mouse(QEvent::MouseButtonPress, {100, 100});
        mouse(QEvent::MouseMove, {200, 100});
        mouse(QEvent::MouseButtonRelease, {200, 100});
    }

    Screen here;
    FakeWindowSurfaces windows;
    FakeDisplayCapture displays;
    OverlayWindowController* controller = nullptr;
};

} // namespace velmo
