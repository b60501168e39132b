#pragma once

#include "platform/linux/BusTrayPresence.h"
#include "platform/x11/X11TrayPresence.h"
#include "support/input/MenuBarTest.h"
#include "support/tray/EmbeddingTray.h"
#include "support/tray/TrayHost.h"
#include "support/tray/TrayTestMain.h"
#include "support/x11/Await.h"

namespace velmo::test {

/// The menu on a desktop that has a display, a session bus, and as many bars as the test starts.
class TrayTest : public MenuBarTest {
protected:
    void SetUp() override
    {
        callbacks.requestAnnotation = [this] { ++annotations; };
        callbacks.terminate = [this] { ++terminations; };
    }
    void TearDown() override { controller.reset(); }

    void buildOnDesktop()
    {
        trays.push_back(std::make_unique<BusTrayPresence>(buses().sessionAddress().toStdString()));
        trays.push_back(std::make_unique<X11TrayPresence>());
        build();
    }

    [[nodiscard]] bool exists() const { return controller->statusItem().exists(); }
    [[nodiscard]] bool awaitAnswers() const
    {
        return awaitCondition([this] { return trays.front()->state() != TrayPresence::State::Unknown; });
    }

    /// Until then nothing could have appeared.
    [[nodiscard]] bool awaitNoTray()
    {
        return awaitCondition([this] { return log.text().contains(QStringLiteral("no tray yet")); });
    }

    TrayHost host{buses().sessionAddress()};
    int annotations = 0;
    int terminations = 0;
};

} // namespace velmo::test
