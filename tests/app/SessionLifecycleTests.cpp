#include "support/app/LifecycleTest.h"

#include "overlay/OverlaySurface.h"
#include "panel/QueryInputPanel.h"
#include "providers/LLMTransport.h"
#include "support/widgets/ShownWidgets.h"

namespace velmo {
namespace {

/// A service that refuses, or never answers. A request that nobody waits for goes on until the end of the
/// program, so nothing of it is the test's.
struct Service {
    std::optional<HttpError> refusal;
    int requests = 0;
};

class ServiceClient final : public HttpClient {
public:
    explicit ServiceClient(std::shared_ptr<Service> service)
        : service_(std::move(service))
    {}

    std::unique_ptr<HttpExchange> send(HttpRequest /*request*/, HeadHandler onHead) override
    {
        ++service_->requests;
        if (service_->refusal)
            onHead(Failure{*service_->refusal});
        return std::make_unique<Exchange>();
    }

private:
    struct Exchange final : HttpExchange {};

    std::shared_ptr<Service> service_;
};

/// What the program does with its gestures and permissions while a session goes on.
class SessionLifecycleTest : public LifecycleTest {
protected:
    SessionLifecycleTest()
    {
        keychain->items.insert(
            FakeKeychain::name(QStringLiteral("app.velmo.Velmo"), KeychainAccount::Anthropic),
            QByteArrayLiteral("a-key"));
        LLMTransport::installClient([service = service] { return std::make_shared<ServiceClient>(service); });
    }
    ~SessionLifecycleTest() override
    {
        delegate.reset();
        LLMTransport::shutDown();
    }

    void draw()
    {
        delegate->requestAnnotationWithDraw({100, 100});
        settle();
        delegate->session().continueDraw({200, 200});
        delegate->session().endMiddleDraw();
    }

    /// The question is not answered.
    void launchAndAsk()
    {
        launch();
        draw();
        ASSERT_EQ(state(), SessionState::Querying);
        delegate->session().submit(QStringLiteral("What is it?"));
        ASSERT_TRUE(turnUntil([this] { return service->requests == 1; }));
        ASSERT_EQ(state(), SessionState::Streaming);
    }

    void launchAndAddPicture()
    {
        service->refusal = HttpError{HttpErrorKind::Other, QStringLiteral("no answer")};
        launch();
        draw();
        delegate->session().submit(QStringLiteral("What is it?"));
        ASSERT_TRUE(turnUntil([this] { return state() == SessionState::Querying; }));
        delegate->requestAnnotation();
        ASSERT_EQ(state(), SessionState::Drawing);
    }

    [[nodiscard]] bool panelIsVisible() const { return !shownWidgets<QueryInputPanel>().empty(); }

    /// Whether the bar that explains the chord is on the screen, once the chord is held.
    [[nodiscard]] bool hintsUnderTheChord() const
    {
        TapEvent event;
        event.flags = ModifierFlag::Option | ModifierFlag::Command;
        tap->input(TapEventType::FlagsChanged, event);
        settle();
        const bool hints = !shownWidgets<HintCapsuleView>().empty();
        tap->input(TapEventType::FlagsChanged, {});
        settle();
        return hints;
    }

    std::shared_ptr<Service> service = std::make_shared<Service>();
};

TEST_F(SessionLifecycleTest, GesturesDoNothingWhileAnAnswerStreams)
{
    launchAndAsk();
    // The one of the drawing goes on a later turn.
    ASSERT_TRUE(turnUntil([] { return shownWidgets<OverlaySurface>().empty(); }));
    delegate->requestAnnotation();
    delegate->requestAnnotationWithDraw({300, 300});
    settle();
    EXPECT_EQ(state(), SessionState::Streaming);
    EXPECT_TRUE(shownWidgets<OverlaySurface>().empty());
    EXPECT_EQ(log.text().count(QStringLiteral("Begin annotation session")), 1);
}

TEST_F(SessionLifecycleTest, TheHotkeyAddsOnePictureBetweenQuestions)
{
    launchAndAddPicture();
    EXPECT_TRUE(turnUntil([this] { return !panelIsVisible(); })) << "it makes room";
    ASSERT_TRUE(turnUntil([] { return !shownWidgets<OverlaySurface>().empty(); }));
    const auto overlays = shownWidgets<OverlaySurface>();
    delegate->requestAnnotation();
    settle();
    EXPECT_EQ(shownWidgets<OverlaySurface>(), overlays) << "the first overlay is still up";
}

TEST_F(SessionLifecycleTest, APermissionThatGoesWhileAPictureIsAddedEndsTheSessionAtTheSecondTick)
{
    launchAndAddPicture();
    permissions->screenRecording = false;
    passSecond();
    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(panelIsVisible());
    passSecond();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(SessionLifecycleTest, TheEndOfTheProgramIsTheEndOfAQuestionWithAPictureToAdd)
{
    launchAndAddPicture();
    delegate->terminate();
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_TRUE(turnUntil([this] { return !panelIsVisible(); }));
}

TEST_F(SessionLifecycleTest, TheSessionIsCancelledAtEveryLookWhileAPermissionIsMissing)
{
    permissions->accessibility = false;
    launch();
    const auto cancelled = [this] {
        return log.text().count(QStringLiteral("[Session] Session cancelled and state reset"));
    };
    EXPECT_EQ(cancelled(), 1);
    passSecond();
    passSecond();
    EXPECT_EQ(cancelled(), 3);
    permissions->accessibility = true;
    passSecond();
    EXPECT_EQ(cancelled(), 3);
}

TEST_F(SessionLifecycleTest, RestartingTheMonitorAsksForNoPermission)
{
    launch();
    permissions->accessibility = false;
    delegate->restartHotkeyMonitor();
    EXPECT_EQ(tap->starts, 2);
    const int stops = tap->stops;
    passSecond();
    EXPECT_GT(tap->stops, stops) << "whoever looks at the permissions does so later";
}

TEST_F(SessionLifecycleTest, NoHintComesWhileSomethingIsDrawnOrAnswered)
{
    windows->composited = false; // Nothing fades then.
    launch();
    settle();
    EXPECT_TRUE(hintsUnderTheChord());
    delegate->requestAnnotation();
    ASSERT_EQ(state(), SessionState::Drawing);
    EXPECT_FALSE(hintsUnderTheChord());
    delegate->session().cancel();
    draw();
    delegate->session().submit(QStringLiteral("What is it?"));
    ASSERT_EQ(state(), SessionState::Streaming);
    EXPECT_FALSE(hintsUnderTheChord());
}

TEST_F(SessionLifecycleTest, ADisplayThatWasLostTakesItsHintAlongAndIsReadyAnew)
{
    windows->composited = false; // Nothing fades then.
    launch();
    settle();
    TapEvent chord;
    chord.flags = ModifierFlag::Option | ModifierFlag::Command;
    tap->input(TapEventType::FlagsChanged, chord);
    settle();
    ASSERT_FALSE(shownWidgets<HintCapsuleView>().empty());
    tap->tell({false, {QStringLiteral("The connection to the X display was lost.")}, {}});
    settle();
    EXPECT_TRUE(shownWidgets<HintCapsuleView>().empty());
    passSecond();
    EXPECT_TRUE(turnUntil([this] { return log.text().count(QStringLiteral("[Platform] ready")) == 2; }));
    EXPECT_FALSE(log.text().contains(QStringLiteral("Nothing is held by other programs any more.")));
}

} // namespace
} // namespace velmo
