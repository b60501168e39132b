#pragma once

#include "core/AnnotationSession.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeFocus.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeOverlay.h"
#include "fakes/FakePanel.h"
#include "fakes/FakeProvider.h"
#include "fakes/FakeScreens.h"
#include "fakes/InMemoryDefaults.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {

/// A session with stand-ins for everything around it: two screens side by side, the second one to the left
/// and lower, and a key for each vendor.
class SessionTest : public testing::Test {
protected:
    SessionTest()
    {
        screens.screens = {mainScreen, leftScreen};
        screens.mainScreen = mainScreen;
        putKey(KeychainAccount::Anthropic, QByteArrayLiteral("anthropic-key"));
        putKey(KeychainAccount::OpenAI, QByteArrayLiteral("openai-key"));
        settings = std::make_shared<SettingsManager>(defaults, keychain);
        session = std::make_unique<AnnotationSession>(collaborators());
        session->setSettings(settings);
    }

    SessionCollaborators collaborators()
    {
        return {[this](AnnotationSession&, bool showToolbar) {
                    auto state = std::make_shared<FakeOverlay::State>();
                    state->showToolbar = showToolbar;
                    state->hasCanvas = overlaysHaveCanvas;
                    state->unionRect = unionRect;
                    overlays.push_back(state);
                    return std::make_unique<FakeOverlay>(state);
                },
                [this](AnnotationSession&, const std::optional<Screen>& screen) {
                    auto state = std::make_shared<FakePanel::State>();
                    state->screen = screen;
                    panels.push_back(state);
                    return std::make_unique<FakePanel>(state);
                },
                capture,
                focus,
                screens,
                anthropic.factory(),
                openAI.factory()};
    }

    void putKey(const QString& account, const QByteArray& key) const
    {
        keychain->items.insert(FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), account), key);
    }

    [[nodiscard]] SessionState state() const { return session->state().value(); }
    [[nodiscard]] const QList<ChatMessage>& messages() const { return session->chatMessages().messages(); }
    [[nodiscard]] FakeOverlay::State& overlay() const { return *overlays.back(); }
    [[nodiscard]] FakePanel::State& panel() const { return *panels.back(); }

    /// The transcript in short, such as "user: question" or "assistant…: text so far".
    [[nodiscard]] QStringList transcript() const
    {
        QStringList lines;
        for (const ChatMessage& message : messages()) {
            QString line =
                message.role == ChatMessageRole::User ? QStringLiteral("user") : QStringLiteral("assistant");
            if (message.isStreaming)
                line += u'…';
            line += QStringLiteral(": ");
            if (message.attachment)
                line += u'<' + message.attachment->title + u' ' +
                        QString::fromUtf8(message.attachment->imageData) + u'>';
            lines.append(line + message.text);
        }
        return lines;
    }

    /// A message that was sent, in short, such as "user: question <image>".
    [[nodiscard]] static QStringList sent(const FakeProviderRequest& request)
    {
        QStringList lines;
        for (const LLMMessage& message : request.messages) {
            QString line = message.role == LLMMessage::Role::User ? QStringLiteral("user: ")
                                                                  : QStringLiteral("assistant: ");
            line += message.text;
            if (message.imageData)
                line += QStringLiteral(" <") + QString::fromUtf8(*message.imageData) + u'>';
            lines.append(line);
        }
        return lines;
    }

    /// Draws on the main screen, on to the question; the capture has begun.
    void drawAndAdvance()
    {
        session->begin(true);
        session->noteDrawingBegan({100, 100});
        session->advanceToQuery();
        settle();
    }

    /// The newest capture arrives.
    void deliverCapture(const QByteArray& image)
    {
        capture.succeed(capture.requests.size() - 1, image);
        settle();
    }

    void ask(const QString& question)
    {
        session->submit(question);
        settle();
    }

    void answer(FakeProviderService& service, std::vector<QString> pieces)
    {
        service.requests.back().answer.push(std::move(pieces));
        service.requests.back().answer.finish();
        settle();
    }

    /// A session whose first question was answered, so that captures may follow. Its log lines are taken.
    void completeFirstTurn()
    {
        drawAndAdvance();
        deliverCapture(QByteArrayLiteral("first"));
        ask(QStringLiteral("Q1"));
        answer(anthropic, {QStringLiteral("A1")});
        ASSERT_EQ(state(), SessionState::Querying);
        log.takeSession();
    }

    /// An additional capture is drawn and its picture begun.
    void beginAnotherCapture()
    {
        session->beginAdditionalCapture(true);
        session->noteDrawingBegan({100, 100});
        session->advanceToQuery();
        settle();
    }

    CleanProviderEnvironment environment;
    LogLines log;
    const Screen mainScreen = FakeScreens::screen(QStringLiteral("Main"), 7, {0, 0, 1920, 1080});
    const Screen leftScreen = FakeScreens::screen(QStringLiteral("Left"), 9, {-1280, -200, 1280, 1024});
    const ScreenRect unionRect{-1280, -200, 3200, 1280};
    bool overlaysHaveCanvas = true;

    std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
    std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    std::shared_ptr<SettingsManager> settings;
    FakeScreens screens;
    FakeFocus focus;
    FakeCapture capture;
    FakeProviderService anthropic;
    FakeProviderService openAI;
    std::vector<std::shared_ptr<FakeOverlay::State>> overlays;
    std::vector<std::shared_ptr<FakePanel::State>> panels;
    std::unique_ptr<AnnotationSession> session;
};

} // namespace velmo
