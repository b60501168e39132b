#pragma once

#include "core/Clock.h"
#include "platform/WindowSurfaces.h"
#include "platform/x11/X11Cutouts.h"
#include "platform/x11/X11KeyRepeats.h"
#include "platform/x11/X11Restackings.h"
#include "platform/x11/X11ShapeReminder.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

namespace velmo {

class X11KeyboardFocus;

/// Our own windows on an X server. Requests about a window go over the toolkit's connection, so that they
/// keep their order with what the toolkit asks for. Needs a QGuiApplication on the xcb platform.
class X11WindowSurfaces final : public WindowSurfaces {
public:
    X11WindowSurfaces();
    ~X11WindowSurfaces() override;

    /// Told whenever one of our windows takes or gives back the keyboard.
    void setKeyboardObserver(std::function<void(bool held)> observer);

    /// Whether the focus that somebody got just now is being taken back for a window of ours.
    [[nodiscard]] bool isUndoingLossOfFocus() const;

    [[nodiscard]] bool isComposited() const override;

    /// Also false for a window that the server does not show yet.
    bool grabKeyboard(QWidget& widget) override;
    void releaseKeyboard(QWidget& widget) override;
    void focusWindow(QWidget& widget) override;
    [[nodiscard]] std::unique_ptr<KeptFocus> keepFocus(QWidget& widget) override;
    void setNativeGeometry(QWidget& widget, const PixelRect& geometry) override;
    void setShape(QWidget& widget, const QRegion& pixels) override;
    void setMenuOpen(bool isOpen) override;
    void activateManaged(QWidget& widget) override;
    void leaveOutOfLists(QWidget& widget) override;
    void showOnEveryDesktop(QWidget& widget) override;
    void omitShadow(QWidget& widget) override;
    void bringManagedToTop(QWidget& widget) override;
    void keepManagedOnTop() override;
    void releaseTop(QWidget& widget) override;

private:
    /// A managed window above our unmanaged ones, and whom it took the keyboard from.
    struct ManagedTop {
        QPointer<QWidget> widget;
        QPointer<QWidget> holder; ///< Held the keyboard by a grab.
        QPointer<QWidget> focus;  ///< Unmanaged, with the input focus.
    };

    [[nodiscard]] std::vector<ManagedTop>::iterator findTop(const QWidget& widget);
    [[nodiscard]] bool managerKeepsUnmanagedOnTop() const;
    void cutOut(xcb_connection_t* connection);

    X11KeyRepeats repeats_;
    std::shared_ptr<X11KeyboardFocus> keyboard_;
    std::vector<ManagedTop> managedTops_; ///< The latest last.
    X11Restackings restackings_{[this] { keepManagedOnTop(); }};
    X11ShapeReminder shapes_;
    X11Cutouts cutouts_;
    int putBelowInVain_ = 0; ///< How often at a stretch; many times mean that somebody undoes it.
    Clock::TimePoint lastPutBelow_;
};

} // namespace velmo
