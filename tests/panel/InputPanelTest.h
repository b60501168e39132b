#pragma once

#include "fakes/FakeWindowSurfaces.h"
#include "panel/QueryInputPanel.h"
#include "support/core/EventLoop.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPointer>
#include <QWindow>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {

/// A panel's window with an empty card.
class InputPanel : public testing::Test {
protected:
    InputPanel()
    {
        panel->setCard(card);
        panel->onEscape = [this] { ++escapes; };
    }
    ~InputPanel() override
    {
        if (!existing.isNull())
            panel->leaveAndDelete();
        EXPECT_TRUE(awaitDeletion(existing));
    }

    /// What is deleted later outside of any loop would otherwise wait for one.
    [[nodiscard]] static bool awaitDeletion(const QPointer<QueryInputPanel>& window)
    {
        return turnUntil([&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return window.isNull();
        });
    }

    void show()
    {
        bool isShown = false;
        panel->enter([&] { isShown = true; });
        panel->takeKeyboard();
        ASSERT_TRUE(turnUntil([&] { return isShown; }));
    }

    [[nodiscard]] int height() const { return panel->cardFrame().height(); }
    /// In the toolkit's global coordinates.
    [[nodiscard]] QPoint cardBottomLeft() const
    {
        const QRect frame = panel->cardFrame().translated(panel->pos());
        return {frame.x(), frame.y() + frame.height()};
    }

    /// Watches the card until it has that height; its bottom edge must stay where it is.
    void expectGrowthTo(int target)
    {
        const QPoint bottom = cardBottomLeft();
        EXPECT_TRUE(turnUntil([&] {
            EXPECT_EQ(cardBottomLeft(), bottom);
            return height() == target;
        })) << height();
    }

    [[nodiscard]] bool press(int key, bool isRepeat = false) const
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, QString(), isRepeat);
        return QApplication::sendEvent(panel->windowHandle(), &event) && event.isAccepted();
    }

    /// Where the pointer is on the whole desktop, over that point of the panel before it moves.
    void mouse(QEvent::Type type, QPoint global) const
    {
        const QPointF local(global - panel->pos());
        const bool isMove = type == QEvent::MouseMove;
        QMouseEvent event(type, local, local, QPointF(global), isMove ? Qt::NoButton : Qt::LeftButton,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(panel->windowHandle(), &event);
    }

    void drag(QPoint by) const
    {
        const QPoint from = panel->pos() + panel->cardFrame().topLeft() + QPoint(5, 5);
        mouse(QEvent::MouseButtonPress, from);
        constexpr int kSteps = 4;
        for (int step = 1; step <= kSteps; ++step)
            mouse(QEvent::MouseMove, from + by * step / kSteps);
        mouse(QEvent::MouseButtonRelease, from + by);
    }

    static constexpr QPoint kRest{90, 500};
    FakeWindowSurfaces windows;
    QueryInputPanel* const panel = new QueryInputPanel(kRest, windows);
    const QPointer<QueryInputPanel> existing{panel}; ///< Null once the panel has deleted itself.
    QWidget* card = new QWidget;
    int escapes = 0;
};

} // namespace velmo
