#pragma once

#include "platform/WindowSurfaces.h"

#include <QList>
#include <QWidget>

namespace velmo {

/// A window system that remembers what was asked of it.
class FakeWindowSurfaces final : public WindowSurfaces {
public:
    [[nodiscard]] bool isComposited() const override { return composited; }

    bool grabKeyboard(QWidget& widget) override
    {
        ++grabAttempts;
        if (refusals > 0) {
            --refusals;
            return false;
        }
        keyboardHolder = &widget;
        return true;
    }
    void releaseKeyboard(QWidget& widget) override
    {
        if (keyboardHolder == &widget)
            keyboardHolder = nullptr;
    }
    void focusWindow(QWidget& widget) override { focused.append(&widget); }
    void setNativeGeometry(QWidget& /*widget*/, const PixelRect& geometry) override
    {
        nativeGeometries.append(geometry);
    }
    void showOnEveryDesktop(QWidget& widget) override { everywhere.append(&widget); }
    void omitShadow(QWidget& widget) override { withoutShadow.append(&widget); }
    void bringManagedToTop(QWidget& widget) override
    {
        onTop = &widget;
        focused.append(&widget);
    }
    void keepManagedOnTop() override { ++restacks; }
    void releaseTop(QWidget& widget) override
    {
        if (onTop == &widget)
            onTop = nullptr;
    }

    bool composited = true;
    int refusals = 0; ///< How often the keyboard is still somebody else's.
    int grabAttempts = 0;
    const QWidget* keyboardHolder = nullptr;
    const QWidget* onTop = nullptr; ///< The managed window above our unmanaged ones.
    QList<PixelRect> nativeGeometries;
    int restacks = 0; ///< How often our windows made room for the managed one again.
    QList<const QWidget*> focused;
    QList<const QWidget*> withoutShadow;
    QList<const QWidget*> everywhere;
};

} // namespace velmo
