#pragma once

#include "platform/WindowSurfaces.h"
#include "platform/x11/X11KeyRepeats.h"

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

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
    void showOnEveryDesktop(QWidget& widget) override;
    void omitShadow(QWidget& widget) override;
    void bringManagedToTop(QWidget& widget) override;
    void keepManagedOnTop() override;
    void releaseTop(QWidget& widget) override;

private:
    X11KeyRepeats repeats_; ///< Before all other filters.
    std::shared_ptr<X11KeyboardFocus> keyboard_;
    QPointer<QWidget> managedTop_;
    QPointer<QWidget> displacedHolder_; ///< Held the keyboard when the managed window took it.
    QPointer<QWidget> displacedFocus_;  ///< Had the input focus then.
};

} // namespace velmo
