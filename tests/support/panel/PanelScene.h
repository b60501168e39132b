#pragma once

#include "core/AnnotationSession.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeFocus.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeOverlay.h"
#include "fakes/FakePanel.h"
#include "fakes/FakeProvider.h"
#include "fakes/FakeScreens.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "panel/QueryPanelContentView.h"
#include "support/core/EventLoop.h"
#include "support/panel/PanelVoice.h"

#include <QBuffer>
#include <QImage>

namespace velmo {

/// A panel's content in the size that it wants, over a session whose captures and answers are made here.
class PanelScene {
public:
    /// With a voice there is a microphone. It outlives the scene.
    explicit PanelScene(PanelVoice* voice = nullptr)
    {
        putKey(KeychainAccount::Anthropic, QByteArrayLiteral("anthropic-key"));
        putKey(KeychainAccount::OpenAI, QByteArrayLiteral("openai-key"));
        session.setSettings(settings);
        session.begin(false);
        session.noteDrawingBegan({1, 1});
        session.advanceToQuery();
        settle();
        PanelDesktop desktop{screens, windows};
        if (voice != nullptr)
            voice->addTo(desktop);
        content = std::make_unique<QueryPanelContentView>(session, desktop,
                                                          voice != nullptr ? voice->makeService() : nullptr,
                                                          [this](int height) { requestedHeight = height; });
        content->setAttribute(Qt::WA_TranslucentBackground);
        content->setAttribute(Qt::WA_DontShowOnScreen);
    }

    ~PanelScene()
    {
        content.reset();
        session.end();
    }
    PanelScene(const PanelScene&) = delete;
    PanelScene& operator=(const PanelScene&) = delete;

    void putKey(const QString& account, const QByteArray& key) const
    {
        keychain->items.insert(FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), account), key);
    }

    /// Shows it without a window on the screen, and as high as it wants to be.
    void show()
    {
        content->show();
        fit();
    }
    void fit()
    {
        settle();
        turnFor(std::chrono::milliseconds(20));
        content->resize(content->width(), requestedHeight);
        settle();
    }

    void deliverCapture(const QImage& image)
    {
        QByteArray data;
        QBuffer buffer(&data);
        image.save(&buffer, "PNG");
        capture.succeed(capture.requests.size() - 1, data);
        settle();
    }
    void ask(const QString& question)
    {
        session.submit(question);
        settle();
    }
    void stream(const QString& piece) { provider.requests.back().answer.push({piece}); }
    void finish()
    {
        provider.requests.back().answer.finish();
        settle();
    }

    FakeScreens screens;
    FakeFocus focus;
    FakeCapture capture;
    FakeWindowSurfaces windows;
    FakeProviderService provider;
    std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    std::shared_ptr<SettingsManager> settings =
        std::make_shared<SettingsManager>(std::make_shared<InMemoryDefaults>(), keychain);
    AnnotationSession session{
        SessionCollaborators{[](AnnotationSession&, bool) {
                                 return std::make_unique<FakeOverlay>(std::make_shared<FakeOverlay::State>());
                             },
                             [](AnnotationSession&, const std::optional<Screen>&) {
                                 return std::make_unique<FakePanel>(std::make_shared<FakePanel::State>());
                             },
                             capture, focus, screens, provider.factory(), provider.factory()}};
    int requestedHeight = 0;
    std::unique_ptr<QueryPanelContentView> content;
};

} // namespace velmo
