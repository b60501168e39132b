#pragma once

#include "platform/WindowSurfaces.h"

#include <QList>
#include <QRegion>
#include <QWidget>
#include <memory>

namespace velmo {

/// What happened to the input focus; it outlives the window system.
struct FakeFocusRecord {
    QList<const QWidget*> taken; ///< In order, each time that a window took it.
    QList<const QWidget*> returned;
    const QWidget* keeper = nullptr; ///< The window that keeps it now.
};

class FakeKeptFocus final : public KeptFocus {
public:
    FakeKeptFocus(std::shared_ptr<FakeFocusRecord> record, const QWidget& window)
        : record_(std::move(record))
        , window_(window)
    {
        record_->keeper = &window_;
        FakeKeptFocus::take();
    }
    FakeKeptFocus(const FakeKeptFocus&) = delete;
    FakeKeptFocus& operator=(const FakeKeptFocus&) = delete;
    ~FakeKeptFocus() override { record_->keeper = nullptr; }

    void take() override { record_->taken.append(&window_); }
    void giveBack() override { record_->returned.append(&window_); }

private:
    std::shared_ptr<FakeFocusRecord> record_;
    const QWidget& window_;
};

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
    [[nodiscard]] std::unique_ptr<KeptFocus> keepFocus(QWidget& widget) override
    {
        return std::make_unique<FakeKeptFocus>(kept, widget);
    }
    void setShape(QWidget& /*widget*/, const QRegion& pixels) override { shape = pixels; }
    void setNativeGeometry(QWidget& /*widget*/, const PixelRect& geometry) override
    {
        nativeGeometries.append(geometry);
    }
    void setMenuOpen(bool isOpen) override { menuIsOpen = isOpen; }
    void activateManaged(QWidget& widget) override { activated.append(&widget); }
    void leaveOutOfLists(QWidget& widget) override { unlisted.append(&widget); }
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
    QRegion shape;    ///< The latest.
    QList<const QWidget*> focused;
    std::shared_ptr<FakeFocusRecord> kept = std::make_shared<FakeFocusRecord>();
    QList<const QWidget*> withoutShadow;
    QList<const QWidget*> everywhere;
    bool menuIsOpen = false;
    QList<const QWidget*> activated; ///< In order, each time that a window manager was asked.
    QList<const QWidget*> unlisted;
};

} // namespace velmo
