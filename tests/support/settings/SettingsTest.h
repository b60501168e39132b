#pragma once

#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "settings/APIKeyRow.h"
#include "settings/SettingsRootView.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"
#include "widgets/DialogWindow.h"
#include "widgets/PlainTextEditor.h"
#include "widgets/PushButton.h"
#include "widgets/SecureField.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QWindow>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {

/// The settings window over a store in memory.
class SettingsTest : public testing::Test {
protected:
    void SetUp() override
    {
        build();
        show();
    }

    void build()
    {
        view = std::make_unique<SettingsRootView>(
            settings, SettingsCollaborators{[this] { ++sheets; }, [this] { ++restarts; },
                                            [this] {
                                                ++permissionViews;
                                                auto made = std::make_unique<QWidget>();
                                                permissions = made.get();
                                                return made;
                                            },
                                            &gestureProblems});
        DialogWindow::prepare(*view, QStringLiteral("Velmo Settings"), {520, 580});
    }
    void show() const
    {
        view->show();
        view->activateWindow();
        settle();
    }
    void reopen() const
    {
        view->hide();
        show();
    }

    template <typename Widget>
    [[nodiscard]] std::vector<Widget*> all() const
    {
        std::vector<Widget*> found;
        for (QWidget* widget : view->findChildren<QWidget*>()) {
            if (auto* match = dynamic_cast<Widget*>(widget); match != nullptr)
                found.push_back(match);
        }
        return found;
    }
    /// The one that assistive technology knows by that name.
    template <typename Widget>
    [[nodiscard]] Widget* named(const QString& name) const
    {
        for (Widget* widget : all<Widget>()) {
            if (widget->accessibleName() == name)
                return widget;
        }
        ADD_FAILURE() << "nothing is called " << name.toStdString();
        return nullptr;
    }
    /// What people can read, from top to bottom.
    [[nodiscard]] QStringList shownTexts() const
    {
        QStringList texts;
        for (const QLabel* label : all<QLabel>()) {
            if (label->isVisible())
                texts.append(label->text());
        }
        return texts;
    }
    [[nodiscard]] bool shows(const QString& text) const { return shownTexts().contains(text); }

    [[nodiscard]] QAbstractButton& button(const QString& name) const { return *named<QAbstractButton>(name); }
    [[nodiscard]] APIKeyRow& row(int index) const
    {
        return *all<APIKeyRow>().at(static_cast<std::size_t>(index));
    }
    [[nodiscard]] SecureField& field(int index) const
    {
        return *all<SecureField>().at(static_cast<std::size_t>(index));
    }
    [[nodiscard]] PushButton& inRow(int index, const QString& title) const
    {
        for (auto* child : row(index).findChildren<QAbstractButton*>()) {
            if (child->text() == title)
                return dynamic_cast<PushButton&>(*child);
        }
        throw std::runtime_error("no such button");
    }
    [[nodiscard]] PlainTextEditor& editor() const { return *all<PlainTextEditor>().at(0); }

    /// To whoever has the keyboard in the window.
    void press(int key, const QString& text = {}, Qt::KeyboardModifiers modifiers = {}) const
    {
        QWidget* focused = view->focusWidget();
        ASSERT_NE(focused, nullptr);
        QKeyEvent down(QEvent::KeyPress, key, modifiers, text);
        QApplication::sendEvent(focused, &down);
        QKeyEvent up(QEvent::KeyRelease, key, modifiers, text);
        QApplication::sendEvent(focused, &up);
        settle();
    }
    void type(QWidget& into, const QString& text) const
    {
        into.setFocus();
        for (const QChar unit : text)
            press(0, unit);
    }

    [[nodiscard]] std::optional<QString> stored(const QString& account) const
    {
        return settings->keychainRead(account);
    }
    void put(const QString& account, const QByteArray& value) const
    {
        keychain->items.insert(FakeKeychain::name(settings->keychainService, account), value);
    }

    CleanProviderEnvironment environment;
    const std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
    const std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    const std::shared_ptr<SettingsManager> settings = std::make_shared<SettingsManager>(defaults, keychain);
    Published<GestureProblems> gestureProblems;
    int sheets = 0;
    int restarts = 0;
    int permissionViews = 0;
    QWidget* permissions = nullptr;
    std::unique_ptr<SettingsRootView> view;
};

} // namespace velmo
