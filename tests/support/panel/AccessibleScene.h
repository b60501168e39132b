#pragma once

#include "panel/AutoSizingTextView.h"
#include "support/panel/PanelScene.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QTextEdit>
#include <gtest/gtest.h>

namespace velmo {

/// A panel with the keyboard, as keys and assistive technology meet it.
class AccessibleScene : public testing::Test {
protected:
    enum class Microphone { Missing, There };

    explicit AccessibleScene(Microphone microphone = Microphone::Missing)
        : panel(microphone == Microphone::There ? &voice : nullptr)
    {}

    void open()
    {
        panel.content->setAttribute(Qt::WA_DontShowOnScreen, false);
        panel.show();
        panel.content->activateWindow();
        ASSERT_TRUE(turnUntil([this] { return panel.content->isActiveWindow(); }));
        panel.content->focusField();
        settle();
    }

    [[nodiscard]] static QImage picture()
    {
        QImage image(400, 250, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        return image;
    }

    void answer(const QString& question, const QString& text)
    {
        panel.ask(question);
        panel.stream(text);
        panel.finish();
        panel.fit();
    }

    static void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QKeyEvent down(QEvent::KeyPress, key, modifiers);
        QApplication::sendEvent(QApplication::focusWidget(), &down);
        if (QWidget* receiver = QApplication::focusWidget()) {
            QKeyEvent up(QEvent::KeyRelease, key, modifiers);
            QApplication::sendEvent(receiver, &up);
        }
        settle();
    }

    [[nodiscard]] static QAccessibleInterface& interfaceOf(QObject& object)
    {
        return *QAccessible::queryAccessibleInterface(&object);
    }
    [[nodiscard]] static QString nameOf(QAccessibleInterface& element)
    {
        return element.text(QAccessible::Name);
    }
    /// Of what has the keyboard.
    [[nodiscard]] static QString focused()
    {
        QWidget* widget = QApplication::focusWidget();
        return widget == nullptr ? QStringLiteral("nothing") : nameOf(interfaceOf(*widget));
    }

    /// The elements with that name, in the order of the tree.
    void find(QAccessibleInterface& from, const QString& name, QList<QAccessibleInterface*>& found) const
    {
        if (nameOf(from) == name)
            found.push_back(&from);
        for (int index = 0; index < from.childCount(); ++index)
            find(*from.child(index), name, found);
    }
    [[nodiscard]] QAccessibleInterface* element(const QString& name, qsizetype number = 0)
    {
        QList<QAccessibleInterface*> found;
        find(interfaceOf(*panel.content), name, found);
        return number < found.size() ? found.at(number) : nullptr;
    }

    template <typename Type>
    [[nodiscard]] QList<Type*> views() const
    {
        QList<Type*> result;
        for (QWidget* widget : panel.content->findChildren<QWidget*>()) {
            if (auto* view = dynamic_cast<Type*>(widget))
                result.push_back(view);
        }
        return result;
    }
    [[nodiscard]] QTextEdit& field() const { return *panel.content->findChild<QTextEdit*>(); }
    [[nodiscard]] AutoSizingTextView& lastText() const { return *views<AutoSizingTextView>().back(); }

    PanelVoice voice;
    PanelScene panel;
};

} // namespace velmo
