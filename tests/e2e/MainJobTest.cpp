#include "app/AppDelegate.h"
#include "core/DebugLog.h"
#include "e2e/Desk.h"
#include "overlay/OverlaySurface.h"
#include "panel/QueryInputTextView.h"
#include "platform/NullKeychain.h"
#include "platform/linux/CurlHttpClient.h"
#include "providers/LLMTransport.h"
#include "support/practice/PracticeServer.h"
#include "support/x11/InputDriver.h"
#include "support/x11/RootBackground.h"
#include "support/x11/VirtualDisplay.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScreen>
#include <QTemporaryDir>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numbers>

namespace velmo::test {
namespace {

using practice::PracticeServer;

/// What is sent is at most this long at its longest edge.
constexpr QSize kSentSize(1568, 882);

/// The whole program but its main(), on a real display, before a real server.
class MainJob : public testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        background_ = std::make_unique<RootBackground>(RootBackground::Announced::Yes);
        ASSERT_TRUE(display().startWindowManager());
        if (GetParam()) {
            ASSERT_TRUE(display().startCompositor());
        }
        ASSERT_NE(practice_.start(), 0) << practice_.errorString().toStdString();
        qputenv("OPENAI_BASE_URL", (practice_.baseUrl() + QStringLiteral("/v1")).toUtf8());
        qputenv("OPENAI_API_KEY", "practice");
        DebugLog::setLogFile(folder_.filePath(QStringLiteral("velmo.log")));
        LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
        desk_ = std::make_unique<Desk>();
        ASSERT_TRUE(desk_->awaitReady());
    }

    void TearDown() override
    {
        LLMTransport::shutDown();
        desk_.reset();
        display().stopCompositor();
        display().stopWindowManager();
        background_.reset();
        DebugLog::flush();
    }

    [[nodiscard]] QStringList logLines() const
    {
        DebugLog::flush();
        QFile file(folder_.filePath(QStringLiteral("velmo.log")));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QStringList lines;
        for (const QString& line : QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts))
            lines.append(line.sliced(line.indexOf(QStringLiteral("] [")) + 2));
        return lines;
    }

    [[nodiscard]] bool logHolds(const QString& text) const { return logLines().filter(text).size() > 0; }

    void circle(const QRect& target)
    {
        constexpr int kSteps = 48;
        const QPointF centre = target.center();
        const auto at = [&](int step) {
            const double angle = 2 * std::numbers::pi * step / kSteps;
            return QPointF(centre.x() + target.width() / 2.0 * std::cos(angle),
                           centre.y() + target.height() / 2.0 * std::sin(angle))
                .toPoint();
        };
        input_.moveTo(at(0).x(), at(0).y());
        input_.pressButton(1);
        for (int step = 1; step <= kSteps; ++step) {
            strokePoints_.append(at(step));
            input_.moveTo(at(step).x(), at(step).y());
        }
        input_.releaseButton(1);
    }

    void type(const char* letters)
    {
        for (const char* letter = letters; *letter != '\0'; ++letter)
            input_.tap(std::string(1, *letter).c_str());
    }

    [[nodiscard]] static bool overlayIsUp()
    {
        for (const QWidget* widget : QApplication::topLevelWidgets()) {
            if (dynamic_cast<const OverlaySurface*>(widget) && widget->isVisible())
                return true;
        }
        return false;
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

    /// The screen as people see it; a compositor needs a moment for its first picture.
    [[nodiscard]] static QImage awaitScreen()
    {
        QImage screen;
        EXPECT_TRUE(awaitCondition([&screen] {
            screen = QApplication::primaryScreen()->grabWindow(0).toImage();
            return screen.pixelColor(screen.rect().bottomRight()) != Qt::black;
        }));
        return screen;
    }

    QTemporaryDir folder_;
    std::unique_ptr<RootBackground> background_;
    PracticeServer practice_;
    InputDriver input_;
    std::unique_ptr<Desk> desk_;
    QList<QPoint> strokePoints_;
};

bool isRed(QRgb pixel)
{
    return qRed(pixel) > 200 && qGreen(pixel) < 90 && qBlue(pixel) < 90;
}

bool isRedNear(const QImage& image, QPoint point)
{
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            if (image.valid(point + QPoint(dx, dy)) && isRed(image.pixel(point + QPoint(dx, dy))))
                return true;
        }
    }
    return false;
}

/// Pixels that differ though no stroke comes near them. Window frames do not count: the window manager
/// repaints the title when the keyboard moves to the panel.
int differencesBesideTheStroke(const QImage& before, const QImage& sent, const QList<QPoint>& stroke,
                               int titleTop, int titleBottom)
{
    int count = 0;
    for (int y = 0; y < sent.height(); ++y) {
        if (y >= titleTop && y <= titleBottom)
            continue;
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
    JsonFileDefaults defaults(folder_.filePath(QStringLiteral("settings.json")));
    const auto settings = std::make_shared<SettingsManager>(
        std::shared_ptr<UserDefaults>(std::shared_ptr<void>(), &defaults), std::make_shared<NullKeychain>());
    settings->selectedProvider.set(ProviderID::OpenAI);
    DesktopServices desktop = DesktopServices::create();
    AppDelegate delegate(settings, desktop);
    const AnnotationSession& session = delegate.session();
    delegate.applicationDidFinishLaunching(defaults);
    ASSERT_TRUE(awaitCondition([&] { return logHolds(QStringLiteral("[Platform] ready")); }));
    const QImage before = awaitScreen();

    // The hotkey opens the overlay; the application below sees nothing of it and stays the active one.
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(
        awaitCondition([&] { return session.state().value() == SessionState::Drawing && overlayIsUp(); }));
    circle(desk_->target());
    ASSERT_TRUE(awaitCondition([&] { return session.chatMessages().messages().size() == 1; }));
    EXPECT_EQ(session.state().value(), SessionState::Querying);

    // The question.
    ASSERT_TRUE(
        awaitCondition([] { return dynamic_cast<QueryInputTextView*>(QApplication::focusWidget()); }));
    type("why");
    input_.tap("Return");
    ASSERT_TRUE(awaitCondition([&] {
        return session.state().value() == SessionState::Querying &&
               session.chatMessages().messages().size() == 3;
    }));
    const auto& messages = session.chatMessages().messages();
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
    const double scale = static_cast<double>(kSentSize.width()) / before.width();
    QList<QPoint> sentStroke;
    for (const QPoint& point : strokePoints_) {
        sentStroke.append((QPointF(point) * scale).toPoint());
        EXPECT_TRUE(isRedNear(sent, sentStroke.last())) << point.x() << ',' << point.y();
    }
    const QImage expected = before.convertToFormat(QImage::Format_RGB32)
                                .scaled(kSentSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    constexpr int kTitleHeight = 40;
    const int titleBottom = desk_->top();
    EXPECT_EQ(differencesBesideTheStroke(expected, sent, sentStroke,
                                         static_cast<int>((titleBottom - kTitleHeight) * scale),
                                         static_cast<int>(titleBottom * scale) + 1),
              0);

    // A follow-up carries the whole chat.
    ASSERT_TRUE(
        awaitCondition([] { return dynamic_cast<QueryInputTextView*>(QApplication::focusWidget()); }));
    type("more");
    input_.tap("Return");
    ASSERT_TRUE(awaitCondition([&] {
        return session.state().value() == SessionState::Querying &&
               session.chatMessages().messages().size() == 5;
    }));
    EXPECT_THAT(session.chatMessages().messages()[4].text.toStdString(),
                testing::AllOf(testing::HasSubstr("turn 2"), testing::HasSubstr("question: more")));
    EXPECT_EQ(practice_.requests().size(), 2);

    // Escape gives the keyboard back to the field that had it, and nothing of what was typed went there.
    EXPECT_FALSE(desk_->receivedAnyText());
    input_.tap("Escape");
    ASSERT_TRUE(awaitCondition([&] { return session.state().value() == SessionState::Idle; }));
    ASSERT_TRUE(awaitCondition([&] {
        const auto front = desktop.windowFocus->frontmostApplication();
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
    EXPECT_FALSE(logHolds(QStringLiteral("practice"))) << "the key is in the log";
}

INSTANTIATE_TEST_SUITE_P(Desktops, MainJob, testing::Bool(), [](const auto& desktop) {
    return desktop.param ? "WithACompositor" : "WithoutACompositor";
});

} // namespace
} // namespace velmo::test
