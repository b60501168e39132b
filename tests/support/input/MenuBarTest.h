#pragma once

#include "fakes/FakeKeyReader.h"
#include "fakes/FakeTrayPresence.h"
#include "fakes/FakeWindowSurfaces.h"
#include "input/MenuBarController.h"
#include "platform/EventTap.h"
#include "support/core/SessionTest.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QVBoxLayout>
#include <QWindow>

namespace velmo {

/// The menu with a session and stand-ins for what it opens.
class MenuBarTest : public SessionTest {
protected:
    void SetUp() override { build(); }

    void build()
    {
        controller.reset();
        controller = std::make_unique<MenuBarController>(
            *session, settings, MenuBarController::Desktop{*surfaces, keys, trays, trayPatience}, callbacks);
    }

    FakeTrayPresence& addTray(TrayPresence::State state, TrayPresence::Kind kind = TrayPresence::Kind::Bus)
    {
        trays.push_back(std::make_unique<FakeTrayPresence>(state, kind));
        return static_cast<FakeTrayPresence&>(*trays.back());
    }

    void choose(const QString& title)
    {
        for (QAction* item : controller->menu().actions()) {
            if (item->text() == title)
                item->trigger();
        }
    }

    /// In the sheet that is open: a combination that it takes.
    void recordHotkey()
    {
        keys.key = {40, ModifierFlag::Control, QStringLiteral("k")};
        QKeyEvent press(QEvent::KeyPress, Qt::Key_K, Qt::ControlModifier);
        QCoreApplication::sendEvent(controller->hotkeySheet()->window()->windowHandle(), &press);
    }

    [[nodiscard]] static std::unique_ptr<QWidget> makeForm()
    {
        auto form = std::make_unique<QWidget>();
        auto* layout = new QVBoxLayout(form.get());
        layout->addWidget(new QLineEdit);
        return form;
    }

    FakeWindowSurfaces windows;
    WindowSurfaces* surfaces = &windows;
    FakeKeyReader keys;
    StatusItem::Trays trays;
    std::chrono::milliseconds trayPatience{0};
    MenuBarCallbacks callbacks;
    std::unique_ptr<MenuBarController> controller;
};

} // namespace velmo
