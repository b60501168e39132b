// A desktop on which an overlay cannot be shown.

#include "support/core/SessionTest.h"

namespace velmo {
namespace {

class SessionWithoutOverlayTest : public SessionTest {
protected:
    SessionWithoutOverlayTest()
    {
        SessionCollaborators limited = collaborators();
        limited.makeOverlay = [this, make = limited.makeOverlay](AnnotationSession& asking,
                                                                 bool showToolbar) {
            return overlaysLeft-- > 0 ? make(asking, showToolbar) : std::unique_ptr<AnnotationOverlay>();
        };
        session = std::make_unique<AnnotationSession>(std::move(limited));
        session->setSettings(settings);
    }

    int overlaysLeft = 0;
};

TEST_F(SessionWithoutOverlayTest, AdvancingStillLeadsToTheQuestionButOpensNoPanel)
{
    session->begin(false);
    session->advanceToQuery();
    settle();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_TRUE(panels.empty());
    EXPECT_TRUE(capture.requests.empty());
    EXPECT_FALSE(session->isPreparingCapture().value());
    EXPECT_EQ(log.takeSession().last(), QStringLiteral("Advancing from drawing to query panel screen=nil"));
}

TEST_F(SessionWithoutOverlayTest, DragsAndReleasesDoNothing)
{
    session->beginWithDraw({10, 10});
    session->continueDraw({20, 20});
    session->endMiddleDraw();
    settle();

    EXPECT_EQ(state(), SessionState::Drawing);
    session->cancel();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(SessionWithoutOverlayTest, AnAdditionalCaptureEndsWithoutAPicture)
{
    overlaysLeft = 1;
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    ASSERT_EQ(state(), SessionState::Drawing);
    const size_t captures = capture.requests.size();

    session->advanceToQuery();
    settle();

    EXPECT_EQ(state(), SessionState::Querying);
    EXPECT_EQ(capture.requests.size(), captures);
    EXPECT_FALSE(panel().isVisible) << "the panel that was hidden for the capture stays hidden";
}

} // namespace
} // namespace velmo
