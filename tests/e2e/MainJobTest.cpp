#include "e2e/ProgramDesk.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScreen>

namespace velmo::test {
namespace {

/// What is sent is at most this long at its longest edge.
constexpr QSize kSentSize(1568, 882);

/// The main job, with a compositor and without.
class MainJob : public ProgramDesk, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        ProgramDesk::SetUp();
        if (GetParam()) {
            ASSERT_TRUE(display().startCompositor());
        }
    }

    /// The image in the first message of a recorded request.
    [[nodiscard]] static QImage sentImage(const practice::RecordedRequest& request)
    {
        const QJsonArray messages =
            QJsonDocument::fromJson(request.body).object().value(QStringLiteral("messages")).toArray();
        const QJsonObject part =
            messages.at(1).toObject().value(QStringLiteral("content")).toArray().at(0).toObject();
        const QString url =
            part.value(QStringLiteral("image_url")).toObject().value(QStringLiteral("url")).toString();
        return QImage::fromData(QByteArray::fromBase64(url.section(u',', 1).toLatin1()));
    }
};

/// Pixels that differ though no stroke comes near them.
int differencesBesideTheStroke(const QImage& before, const QImage& sent, const QList<QPoint>& stroke)
{
    int count = 0;
    for (int y = 0; y < sent.height(); ++y) {
        for (int x = 0; x < sent.width(); ++x) {
            if (before.pixel(x, y) == sent.pixel(x, y))
                continue;
            constexpr int kReach = 30; // Half a step of the circle, and the pen.
            const bool near = std::any_of(stroke.begin(), stroke.end(), [&](QPoint point) {
                return std::abs(point.x() - x) < kReach && std::abs(point.y() - y) < kReach;
            });
            count += near ? 0 : 1;
        }
    }
    return count;
}

TEST_P(MainJob, CircleAskFollowUpAndEscape)
{
    startProgram();
    const QImage before = awaitScreen();

    // The hotkey opens the overlay; the application below sees nothing of it and stays the active one.
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(
        awaitCondition([&] { return session().state().value() == SessionState::Drawing && overlayIsUp(); }));
    circle(desk_->target());
    ASSERT_TRUE(awaitState(SessionState::Querying, 1));

    ask("why", 3);
    const auto& messages = session().chatMessages().messages();
    EXPECT_TRUE(messages[0].attachment.has_value());
    EXPECT_EQ(messages[1].text, QStringLiteral("why"));
    EXPECT_FALSE(messages[2].isStreaming);
    EXPECT_THAT(messages[2].text.toStdString(),
                testing::AllOf(testing::HasSubstr("image 1: png 1568x882"), testing::HasSubstr("turn 1"),
                               testing::HasSubstr("question: why")));

    // What was sent is the screen as it was, and the stroke where the pointer went.
    ASSERT_TRUE(practice_.waitForRequests(1, kPatience));
    const QImage sent = sentImage(practice_.requests().first()).convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(sent.size(), kSentSize);
    const QList<QPoint> sentStroke = strokeIn(kSentSize, before.size());
    EXPECT_TRUE(showsStroke(sent, sentStroke));
    const QImage expected = before.convertToFormat(QImage::Format_RGB32)
                                .scaled(kSentSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    // Title bars included: the window manager repaints them when the keyboard moves to the panel.
    EXPECT_EQ(differencesBesideTheStroke(expected, sent, sentStroke), 0);

    // A follow-up carries the whole chat.
    ask("more", 5);
    EXPECT_THAT(session().chatMessages().messages()[4].text.toStdString(),
                testing::AllOf(testing::HasSubstr("turn 2"), testing::HasSubstr("question: more")));
    EXPECT_EQ(practice_.requests().size(), 2);

    // Escape gives the keyboard back to the field that had it, and nothing of what was typed went there.
    EXPECT_FALSE(desk_->receivedAnyText());
    input_.tap("Escape");
    ASSERT_TRUE(awaitCondition([&] { return session().state().value() == SessionState::Idle; }));
    ASSERT_TRUE(awaitCondition([&] {
        const auto front = desktop_->windowFocus->frontmostApplication();
        return !overlayIsUp() && front && front->processID != QCoreApplication::applicationPid() &&
               !QApplication::focusWidget();
    }));
    awaitCondition([] { return false; },
                   std::chrono::milliseconds(300)); // The restoration is due 0.2 s later.
    type("back");
    EXPECT_TRUE(desk_->awaitText(QStringLiteral("back")));

    const QStringList stated{
        QStringLiteral("[App] Application did finish launching"),
        QStringLiteral("[Session] Begin annotation session showToolbar=true"),
        QStringLiteral("[Session] Locked active screen to "),
        QStringLiteral("[Session] Advancing from drawing to query panel screen="),
        QStringLiteral("[QueryPanel] screen="),
        QStringLiteral("[QueryPanel] panel origin=(650, 16) size=620x130"),
        QStringLiteral("[Capture] Starting capture targetDisplayID="),
        QStringLiteral("[Capture] Resized image for Anthropic/OpenAI vision from=1920x1080 to=1568x882"),
        QStringLiteral("[Capture] Capture finished finalSize=1568x882 pngBytes="),
        QStringLiteral("[Session] Screenshot captured bytes="),
        QStringLiteral("[QueryPanel] Submit triggered queryLength=3"),
        QStringLiteral("[Session] Submitting query provider=openai model=gpt-5.4-mini queryLength=3"),
        QStringLiteral("[Session] Created chat transcript userMessageID="),
        QStringLiteral("[Session] Streaming task started provider=openai prefixMessages=1 historyMessages=0 "
                       "messages=1 isFirstTurn=true"),
        QStringLiteral("[OpenAI] Preparing request model=gpt-5.4-mini messages=1 imageAttached=true"),
        QStringLiteral("[OpenAI] Starting request attempt=1"),
        QStringLiteral("[OpenAI] Streaming response started status=200"),
        QStringLiteral("[OpenAI] Streaming response completed emittedChunks="),
        QStringLiteral("[Session] Streaming task completed responseLength="),
        QStringLiteral("[Session] Streaming task started provider=openai prefixMessages=1 historyMessages=1 "
                       "messages=3 isFirstTurn=false"),
        QStringLiteral("[Session] Session cancelled and state reset"),
    };
    qsizetype next = 0;
    for (const QString& line : logLines()) {
        if (next < stated.size() && line.startsWith(stated[next]))
            ++next;
    }
    EXPECT_EQ(next, stated.size()) << "missing or out of order: "
                                   << (next < stated.size() ? stated[next].toStdString() : "");
    EXPECT_EQ(logCount(QStringLiteral("practice")), 0) << "the key is in the log";
}

INSTANTIATE_TEST_SUITE_P(Desktops, MainJob, testing::Bool(), [](const auto& desktop) {
    return desktop.param ? "WithACompositor" : "WithoutACompositor";
});

} // namespace
} // namespace velmo::test
