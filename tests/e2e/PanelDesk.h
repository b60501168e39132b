#pragma once

#include "e2e/OverlayDesk.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryInputTextView.h"
#include "panel/QueryPanelController.h"
#include "support/x11/DesktopSwitch.h"
#include "support/x11/PlainClient.h"

#include <QElapsedTimer>
#include <atomic>
#include <thread>
#include <unistd.h>

namespace velmo::test {

/// Types the letters of the alphabet over and over, on a thread and a connection of its own, faster than any
/// hand.
class Typist {
public:
    /// What comes first is done by the same hand, so that the server gets it before the letters.
    Typist(int letters, std::function<void(InputDriver&)> first)
        : thread_([this, letters, first = std::move(first)] {
            InputDriver hand;
            first(hand);
            for (int letter = 0; letter < letters; ++letter) {
                hand.tap(std::string(1, letterAt(letter)).c_str());
                sent_ = letter + 1;
                std::this_thread::sleep_for(kPause);
            }
            isDone_ = true;
        })
    {}
    Typist(const Typist&) = delete;
    Typist& operator=(const Typist&) = delete;
    ~Typist() { thread_.join(); }

    [[nodiscard]] bool isDone() const { return isDone_; }
    /// How many letters the server has at least.
    [[nodiscard]] int sent() const { return sent_; }
    [[nodiscard]] static char letterAt(int index) { return static_cast<char>('a' + index % 26); }

    static constexpr std::chrono::milliseconds kPause{2};

private:
    std::atomic<bool> isDone_ = false;
    std::atomic<int> sent_ = 0;
    std::thread thread_;
};

/// A session with real overlays and real panels on a desktop of any window manager, with two applications.
/// Only what the capture and the provider bring is written by the test.
class PanelDesk : public OverlayDesk, public testing::WithParamInterface<QString> {
protected:
    using Type = PlainClient::Event::Type;
    static constexpr qint64 kAgain = 400; ///< Milliseconds.

    PanelDesk()
    {
        auto parts = collaborators();
        parts.makeOverlay = [this](AnnotationSession& owner, bool showToolbar) {
            return std::make_unique<OverlayWindowController>(
                owner, showToolbar,
                OverlayDesktop{*platform_.screens, *platform_.windowSurfaces, *platform_.displayCapture});
        };
        parts.makePanel = [this](AnnotationSession& owner, const std::optional<Screen>& screen) {
            return std::make_unique<QueryPanelController>(
                owner, screen, PanelDesktop{*platform_.screens, *platform_.windowSurfaces, {}, {}, {}});
        };
        session = std::make_unique<AnnotationSession>(
            SessionCollaborators{parts.makeOverlay, parts.makePanel, capture, *platform_.windowFocus,
                                 *platform_.screens, anthropic.factory(), openAI.factory()});
        session->setSettings(settings);
    }

    ~PanelDesk() override
    {
        session->end();
        EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
        // The platform goes before the session of the base does.
        session = std::make_unique<AnnotationSession>(collaborators());
    }

    /// The first application has the keyboard, and the pointer over it.
    void startDesktop(FocusPolicy policy)
    {
        ASSERT_TRUE(display().startWindowManager(GetParam(), policy));
        PlainClient::Options options;
        options.processID = getppid();
        options.area = {900, 150, 500, 400};
        other_ = std::make_unique<PlainClient>(options);
        options.area = {150, 150, 500, 400};
        application_ = std::make_unique<PlainClient>(options);
        // A window that was framed just now may miss the first click.
        QElapsedTimer sinceClick;
        ASSERT_TRUE(awaitCondition([&] {
            if (!sinceClick.isValid() || sinceClick.elapsed() > kAgain) {
                click(centreOf(*application_));
                sinceClick.start();
            }
            return application_->hasFocus();
        }));
        ASSERT_TRUE(focusSettlesIn(*application_));
    }

    /// One of the window manager's own where it has one.
    void startCompositor()
    {
        if (!platform_.windowSurfaces->isComposited()) {
            ASSERT_TRUE(display().startCompositor());
        }
    }

    /// Draws a stroke that ends there; the panel opens. When it has come in it takes the keyboard once more,
    /// which is over when this returns.
    void openPanel(QPoint strokeEnd)
    {
        begin(true);
        drag(strokeEnd - QPoint(120, 80), strokeEnd);
        ASSERT_TRUE(awaitCondition(
            [this] { return panelHasFocus() && field() != nullptr && !capture.requests.empty(); }));
        ASSERT_TRUE(awaitCondition([] { return panel()->windowOpacity() == 1; }));
        for (const OverlaySurface* surface : surfaces())
            EXPECT_GT(levelOf(idOf(panel())), levelOf(idOf(surface)));
        deliverCapture(picture);
    }

    /// The overlay's end, and an answer.
    void askAndAnswer()
    {
        input_.tap("q");
        input_.tap("Return");
        ASSERT_TRUE(awaitCondition([this] { return !anthropic.requests.empty(); }));
        answer(anthropic, {QStringLiteral("answer")});
        ASSERT_EQ(state(), SessionState::Querying);
        ASSERT_TRUE(surfaces().empty());
    }

    [[nodiscard]] static QueryInputPanel* panel()
    {
        const auto found = shownWidgets<QueryInputPanel>();
        return found.empty() ? nullptr : found.front();
    }
    [[nodiscard]] static QueryTextView* field()
    {
        const auto found = shownWidgets<QueryTextView>();
        return found.empty() ? nullptr : found.front();
    }
    [[nodiscard]] static QString typedText() { return field() ? field()->toPlainText() : QString(); }

    [[nodiscard]] static QPoint centreOfField()
    {
        const QueryTextView* shown = field();
        return shown != nullptr ? shown->mapToGlobal(shown->rect().center()) : QPoint();
    }

    [[nodiscard]] xcb_window_t inputFocus() const
    {
        const auto reply = eye_->await(xcb_get_input_focus_reply, xcb_get_input_focus(eye_->get()));
        return reply ? reply->focus : xcb_window_t{XCB_NONE};
    }
    [[nodiscard]] bool panelHasFocus() const
    {
        const QueryInputPanel* window = panel();
        return window != nullptr && inputFocus() == idOf(window);
    }

    /// Window managers move the focus in steps; true when it rests there in the end.
    [[nodiscard]] static bool settlesTrue(const std::function<bool()>& condition)
    {
        constexpr qint64 kRest = 500;
        QElapsedTimer since;
        since.start();
        return awaitCondition([&] {
            if (!condition())
                since.restart();
            return since.elapsed() > kRest;
        });
    }
    [[nodiscard]] bool focusSettlesInPanel() const
    {
        return settlesTrue([this] { return panelHasFocus(); });
    }
    [[nodiscard]] bool focusSettlesIn(const PlainClient& client) const
    {
        return settlesTrue([&] { return inputFocus() == client.window(); });
    }

    /// The very next key goes to the panel's question.
    void expectNextKeyInPanel(const char* letter)
    {
        const QString before = typedText();
        input_.tap(letter);
        EXPECT_TRUE(awaitCondition([&] { return typedText() == before + QString::fromLatin1(letter); }))
            << typedText().toStdString();
    }
    [[nodiscard]] static int keysIn(PlainClient& client)
    {
        return static_cast<int>(
            std::ranges::count(client.events(), Type::KeyPress, &PlainClient::Event::type));
    }

    [[nodiscard]] QPoint centreOf(PlainClient& client) const
    {
        const auto size = eye_->await(xcb_get_geometry_reply, xcb_get_geometry(eye_->get(), client.window()));
        const auto corner =
            eye_->await(xcb_translate_coordinates_reply,
                        xcb_translate_coordinates(eye_->get(), client.window(), eye_->root(), 0, 0));
        if (!size || !corner)
            return {};
        return {corner->dst_x + size->width / 2, corner->dst_y + size->height / 2};
    }

    void click(QPoint at)
    {
        input_.moveTo(at.x(), at.y());
        input_.click(1);
    }

    /// Clicks until the window gets the focus for a first time, whether or not it keeps it: right after other
    /// windows went, one window manager (mutter) lets a click through without moving the focus.
    void clickInto(PlainClient& client)
    {
        client.forgetEvents();
        QElapsedTimer sinceClick;
        EXPECT_TRUE(awaitCondition([&] {
            if (!sinceClick.isValid() || sinceClick.elapsed() > kAgain) {
                click(centreOf(client));
                sinceClick.start();
            }
            return std::ranges::count(client.events(), Type::FocusIn, &PlainClient::Event::type) > 0;
        }));
    }

    /// Moves the pointer in from the empty desktop, until the focus has followed it.
    void hoverOver(PlainClient& client)
    {
        const QPoint centre = centreOf(client);
        QElapsedTimer sinceEntry;
        EXPECT_TRUE(awaitCondition([&] {
            if (!sinceEntry.isValid() || sinceEntry.elapsed() > kAgain) {
                constexpr int kSteps = 30;
                for (int step = 1; step <= kSteps; ++step)
                    input_.moveTo(centre.x(), centre.y() * step / kSteps);
                sinceEntry.start();
            }
            return client.hasFocus();
        })) << "the focus does not follow the mouse";
    }

    void switchDesktop(quint32 desktop)
    {
        if (GetParam() == QStringLiteral("i3")) {
            // It switches to desktops that are there already, and this one is not.
            switcher_ = ChildProcess({"i3-msg", "workspace", QByteArray::number(desktop + 1)});
        } else {
            askForDesktop(*eye_, desktop);
        }
        EXPECT_TRUE(awaitCondition([&] {
            return readNumber(eye_->get(), eye_->root(), eye_->atom("_NET_CURRENT_DESKTOP")) == desktop;
        }));
    }

    /// The lines about Escape so far.
    [[nodiscard]] int escapesLogged() const
    {
        return static_cast<int>(
            log.text().count(QStringLiteral("[OverlayWindow] Escape pressed — cancelling session\n")));
    }

    QByteArray picture = QByteArrayLiteral("picture");
    std::unique_ptr<PlainClient> application_;
    std::unique_ptr<PlainClient> other_;

private:
    ChildProcess switcher_;
};

} // namespace velmo::test
