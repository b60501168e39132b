#include "support/core/SessionTest.h"

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(SessionTest, StartsIdleAndEmpty)
{
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_EQ(session->streamedResponse().value(), QString());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

TEST_F(SessionTest, BeginShowsAnOverlayWithAToolbar)
{
    session->begin(true);

    EXPECT_EQ(state(), SessionState::Drawing);
    ASSERT_EQ(overlays.size(), 1U);
    EXPECT_TRUE(overlay().showToolbar);
    EXPECT_TRUE(overlay().isVisible);
    EXPECT_THAT(panels, IsEmpty());
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Begin annotation session showToolbar=true"));
}

TEST_F(SessionTest, BeginByAGestureShowsAnOverlayWithoutToolbar)
{
    session->beginWithDraw({10, 10});

    EXPECT_EQ(state(), SessionState::Drawing);
    ASSERT_EQ(overlays.size(), 1U);
    EXPECT_FALSE(overlay().showToolbar);
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Begin annotation session showToolbar=false"));
}

TEST_F(SessionTest, BeginIsLoggedBeforeTheOverlayOpens)
{
    QStringList linesAtOpening;
    SessionCollaborators parts = collaborators();
    const auto open = parts.makeOverlay;
    parts.makeOverlay = [&](AnnotationSession& owner, bool showToolbar) {
        linesAtOpening = log.takeSession();
        return open(owner, showToolbar);
    };
    AnnotationSession other(parts);
    other.begin(true);

    EXPECT_THAT(linesAtOpening, ElementsAre(u"Begin annotation session showToolbar=true"));
}

TEST_F(SessionTest, BeginDoesNothingUnlessIdle)
{
    const auto tryToBegin = [this] {
        const SessionState before = state();
        log.takeSession();
        session->begin(true);
        session->beginWithDraw({500, 500});
        settle();
        EXPECT_EQ(state(), before);
        EXPECT_EQ(overlays.size(), 1U);
        EXPECT_FALSE(overlay().canvas.current);
        EXPECT_THAT(log.takeSession(), IsEmpty());
    };
    session->begin(true);
    tryToBegin();
    session->advanceToQuery();
    settle();
    tryToBegin();
    deliverCapture("picture");
    ask(QStringLiteral("Q"));
    ASSERT_EQ(state(), SessionState::Streaming);
    tryToBegin();
}

TEST_F(SessionTest, ObserversHearOfANewStateBeforeItIsVisible)
{
    std::vector<std::pair<SessionState, SessionState>> told;
    const auto subscription = session->state().subscribe(
        [&](SessionState next) { told.emplace_back(session->state().value(), next); });
    session->begin(true);
    session->cancel();

    EXPECT_THAT(told, ElementsAre(std::pair(SessionState::Idle, SessionState::Drawing),
                                  std::pair(SessionState::Drawing, SessionState::Idle)));
}

TEST_F(SessionTest, TheFirstStrokeFixesTheScreen)
{
    session->begin(true);
    log.takeSession();
    session->noteDrawingBegan({1500.7, -0.9}); // On no screen, so the main one it is.
    session->noteDrawingBegan({-100, 10});

    const QStringList lines = log.takeSession();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_THAT(lines[0].toStdString(), testing::StartsWith("Locked active screen to Main"));
    EXPECT_THAT(lines[0].toStdString(), testing::EndsWith(" for point=1500,0"));

    session->advanceToQuery();
    settle();
    ASSERT_EQ(capture.requests.size(), 1U);
    EXPECT_EQ(capture.requests[0]->displayID, std::optional<quint32>(7));
}

TEST_F(SessionTest, TheScreenIsTheOneThatContainsThePoint)
{
    session->begin(true);
    session->noteDrawingBegan({-1, 10});
    session->advanceToQuery();
    settle();

    ASSERT_EQ(panels.size(), 1U);
    EXPECT_EQ(panel().screen->name, u"Left");
    EXPECT_EQ(capture.requests.at(0)->displayID, std::optional<quint32>(9));
}

TEST_F(SessionTest, APointOnASharedEdgeBelongsToTheScreenOnItsRight)
{
    session->begin(true);
    session->noteDrawingBegan({0, 0});
    session->advanceToQuery();

    EXPECT_EQ(panel().screen->name, u"Main");
}

TEST_F(SessionTest, WithoutAMainScreenTheFirstOneServes)
{
    screens.screens = {leftScreen, mainScreen};
    screens.mainScreen.reset();
    session->begin(true);
    session->noteDrawingBegan({90'000, 90'000});
    session->advanceToQuery();

    EXPECT_EQ(panel().screen->name, u"Left");
}

TEST_F(SessionTest, WithoutAnyScreenNothingIsFixed)
{
    screens.screens.clear();
    screens.mainScreen.reset();
    session->begin(true);
    session->noteDrawingBegan({5, 5});
    session->advanceToQuery();
    settle();

    EXPECT_FALSE(panel().screen);
    EXPECT_EQ(capture.requests.at(0)->displayID, std::nullopt);
}

TEST_F(SessionTest, AScreenOfALaterSessionIsChosenAnew)
{
    session->begin(true);
    session->noteDrawingBegan({-1, 10});
    session->cancel();
    session->begin(true);
    session->noteDrawingBegan({100, 100});
    session->advanceToQuery();

    EXPECT_EQ(panel().screen->name, u"Main");
}

TEST_F(SessionTest, NothingButBeginAndCancelActsWhileIdle)
{
    session->continueDraw({1, 1});
    session->endMiddleDraw();
    session->advanceToQuery();
    session->submit(QStringLiteral("Q"));
    session->hideChatForHint();
    session->restoreChatAfterHint();
    session->removeAttachmentMessage(QUuid::createUuid());
    settle();

    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_THAT(overlays, IsEmpty());
    EXPECT_THAT(panels, IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_THAT(log.takeSession(), IsEmpty());
}

} // namespace
} // namespace velmo
