#include "platform/x11/X11Survey.h"

#include "CaptureScene.h"
#include "support/x11/VirtualDisplay.h"
#include "support/x11/WaylandMonitor.h"

#include <gtest/gtest.h>

namespace velmo::test {
namespace {

VirtualDisplay::Options without(const char* extension)
{
    VirtualDisplay::Options options;
    options.screen = "800x600x24";
    options.arguments = {"-extension", extension};
    return options;
}

TEST(X11CaptureSurveyTest, TellsWindowsApartWhereTheServerCan)
{
    const PlainClient window(client({50, 50, 300, 300}, 0x1234));
    const X11CaptureSurvey survey = X11CaptureSurvey::take();
    EXPECT_TRUE(survey.isCaptured);
    EXPECT_TRUE(survey.showsWindowsApart);
    EXPECT_EQ(survey.size, QSize(1920, 1080));
    EXPECT_GE(survey.windowCount, 1);
    EXPECT_EQ(survey.problems, QStringList());
}

TEST(X11CaptureSurveyTest, WithoutCompositeItIsTheScreenAsQuestionsGetIt)
{
    for (const char* extension : {"Composite", "RENDER"}) {
        SCOPED_TRACE(extension);
        const VirtualDisplay other(without(extension));
        ASSERT_FALSE(other.name().isEmpty());
        const X11CaptureSurvey survey = X11CaptureSurvey::take();
        EXPECT_TRUE(survey.isCaptured);
        EXPECT_FALSE(survey.showsWindowsApart);
        EXPECT_EQ(survey.size, QSize(800, 600));
        ASSERT_EQ(survey.problems.size(), 1);
        EXPECT_TRUE(survey.problems.front().startsWith(
            QStringLiteral("The picture is the screen from before the drawing: ")));
        EXPECT_TRUE(survey.problems.front().contains(QString::fromLatin1(extension), Qt::CaseInsensitive));
    }
}

TEST(X11CaptureSurveyTest, AScreenOfAWaylandDesktopIsNotCapturedAtAll)
{
    const VirtualDisplay other(without("XTEST"));
    ASSERT_FALSE(other.name().isEmpty());
    ASSERT_NE(nameMonitorLikeWayland(), xcb_atom_t{XCB_NONE});
    const X11CaptureSurvey survey = X11CaptureSurvey::take();
    EXPECT_FALSE(survey.isCaptured);
    EXPECT_FALSE(survey.showsWindowsApart);
    ASSERT_EQ(survey.problems.size(), 1);
    EXPECT_TRUE(survey.problems.front().contains(QStringLiteral("Wayland")));
}

} // namespace
} // namespace velmo::test
