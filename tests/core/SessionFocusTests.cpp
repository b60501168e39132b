#include "support/core/SessionTest.h"

#include <QElapsedTimer>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The application that had the keyboard, and the one that the user switches to.
constexpr qint32 kEditor = 41;
constexpr qint32 kBrowser = 42;

class SessionFocusTest : public SessionTest {
protected:
    SessionFocusTest() { focus.frontmost = RunningApplication{kEditor, 5}; }

    /// Longer than the restoration waits.
    static void waitForRestoration() { turnFor(std::chrono::milliseconds(300)); }
    [[nodiscard]] static qint32 ownProcess()
    {
        return static_cast<qint32>(QCoreApplication::applicationPid());
    }
};

TEST_F(SessionFocusTest, ReturnsToTheApplicationAFifthOfASecondAfterCancel)
{
    session->begin(true);
    QElapsedTimer timer;
    timer.start();
    session->cancel();
    settle();
    EXPECT_THAT(focus.requests, IsEmpty());

    ASSERT_TRUE(turnUntil([this] { return !focus.requests.isEmpty(); }));
    EXPECT_GE(timer.elapsed(), 199);
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41"));
}

TEST_F(SessionFocusTest, ReturnsToWindowAndElementWhenTrusted)
{
    focus.window = AccessibilityElement{5, nullptr};
    focus.element = FakeFocus::named(QStringLiteral("field"));
    session->begin(true);
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41 window=5", u"focus field"));
}

TEST_F(SessionFocusTest, OnlyActivatesWithoutTrust)
{
    focus.window = AccessibilityElement{5, nullptr};
    focus.element = FakeFocus::named(QStringLiteral("field"));
    session->begin(true);
    focus.trusted = false;
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41"));
}

TEST_F(SessionFocusTest, SkipsAnApplicationThatHasEnded)
{
    session->begin(true);
    focus.ended.insert(kEditor);
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, IsEmpty());
}

TEST_F(SessionFocusTest, LeavesNothingToRestoreWhenThisProgramWasInFront)
{
    focus.frontmost = RunningApplication{ownProcess(), 5};
    session->begin(true);
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, IsEmpty());
}

TEST_F(SessionFocusTest, RestoresOnlyOnce)
{
    session->begin(true);
    session->cancel();
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41"));
}

TEST_F(SessionFocusTest, FollowsTheUserToAnotherApplication)
{
    session->begin(true);
    log.takeSession();
    focus.userActivates(kBrowser);
    EXPECT_THAT(log.takeSession(), ElementsAre(u"Updated focus restoration target pid=42"));

    session->cancel();
    waitForRestoration();
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 42"));
}

TEST_F(SessionFocusTest, HoldsTheElementForAsLongAsItMayReturnToIt)
{
    focus.element = FakeFocus::named(QStringLiteral("field"));
    const std::weak_ptr<FocusedElement> first = focus.element->element;
    session->begin(true);
    focus.element = FakeFocus::named(QStringLiteral("address"));
    const std::weak_ptr<FocusedElement> second = focus.element->element;
    EXPECT_FALSE(first.expired());

    focus.userActivates(kBrowser);
    focus.element.reset();
    EXPECT_TRUE(first.expired()) << "a lookup that nobody waits for any more would go on";
    EXPECT_FALSE(second.expired());

    session->cancel();
    waitForRestoration();
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 42", u"focus address"));
    EXPECT_TRUE(second.expired());
}

TEST_F(SessionFocusTest, ItsOwnActivationsChangeNothing)
{
    session->begin(true);
    log.takeSession();
    focus.userActivates(ownProcess());
    EXPECT_THAT(log.takeSession(), IsEmpty());

    session->cancel();
    waitForRestoration();
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41"));
}

TEST_F(SessionFocusTest, IsTrackedOnlyDuringASession)
{
    EXPECT_FALSE(focus.isTracked());
    session->begin(true);
    EXPECT_TRUE(focus.isTracked());
    session->advanceToQuery();
    EXPECT_TRUE(focus.isTracked());
    session->cancel();
    EXPECT_FALSE(focus.isTracked());
}

TEST_F(SessionFocusTest, StaysTrackedWhenAnAdditionalCaptureIsCancelled)
{
    completeFirstTurn();
    session->beginAdditionalCapture(true);
    session->cancel();
    waitForRestoration();

    EXPECT_TRUE(focus.isTracked());
    EXPECT_THAT(focus.requests, IsEmpty());
}

TEST_F(SessionFocusTest, ANewSessionWithinTheDelayKeepsItsOwnTarget)
{
    session->begin(true);
    session->cancel();
    focus.frontmost = RunningApplication{kBrowser, 6};
    session->begin(true);
    waitForRestoration();
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41"))
        << "the earlier restoration happens in any state";

    focus.requests.clear();
    session->cancel();
    waitForRestoration();
    EXPECT_THAT(focus.requests, ElementsAre(u"activate 42"));
}

TEST_F(SessionFocusTest, BeginForgetsATargetEvenForNone)
{
    session->begin(true);
    session->cancel();
    focus.frontmost.reset();
    session->begin(true);
    waitForRestoration();
    focus.requests.clear();
    session->cancel();
    waitForRestoration();

    EXPECT_THAT(focus.requests, IsEmpty());
}

TEST(FocusRestorationTargetTest, IsGivenEvenWhenNothingCanBeRead)
{
    const FakeFocus focus;
    const auto target = FocusRestorationTarget::capture(RunningApplication{kEditor, 0}, focus);

    ASSERT_TRUE(target);
    EXPECT_EQ(target->appPID, kEditor);
    EXPECT_FALSE(target->window);
    EXPECT_FALSE(target->focusedElement);
}

TEST(FocusRestorationTargetTest, KeepsWindowAndElement)
{
    FakeFocus focus;
    focus.window = AccessibilityElement{5, nullptr};
    focus.element = FakeFocus::named(QStringLiteral("field"));
    const auto target = FocusRestorationTarget::capture(RunningApplication{kEditor, 0}, focus);

    ASSERT_TRUE(target);
    EXPECT_EQ(target->window, focus.window);
    EXPECT_EQ(target->focusedElement, focus.element);
}

TEST(FocusRestorationTargetTest, IsNeverThisProgram)
{
    FakeFocus focus;
    focus.window = AccessibilityElement{5, nullptr};
    const auto own = static_cast<qint32>(QCoreApplication::applicationPid());

    EXPECT_FALSE(FocusRestorationTarget::capture(RunningApplication{own, 5}, focus));
}

TEST(FocusRestorationTargetTest, FocusesTheElementWithoutAWindow)
{
    FakeFocus focus;
    const FocusRestorationTarget target{kEditor, std::nullopt, FakeFocus::named(QStringLiteral("field"))};
    target.restore(focus);

    EXPECT_THAT(focus.requests, ElementsAre(u"activate 41", u"focus field"));
}

} // namespace
} // namespace velmo
