#pragma once

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
#include <QElapsedTimer>
#include <QFile>
#include <QScreen>
#include <QTemporaryDir>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numbers>

namespace velmo::test {

/// The whole program but its main(), on a real display with a window manager and somebody's application,
/// before a real server.
class ProgramDesk : public testing::Test {
protected:
    void SetUp() override
    {
        background_ = std::make_unique<RootBackground>(RootBackground::Announced::Yes);
        ASSERT_TRUE(display().startWindowManager());
        ASSERT_NE(practice_.start(), 0) << practice_.errorString().toStdString();
        qputenv("OPENAI_BASE_URL", (practice_.baseUrl() + QStringLiteral("/v1")).toUtf8());
        qputenv("OPENAI_API_KEY", "practice");
        DebugLog::setLogFile(folder_.filePath(QStringLiteral("velmo.log")));
        http_ = std::make_shared<CurlHttpClient>();
        LLMTransport::installClient([this] { return http_; });
        desk_ = std::make_unique<Desk>();
        ASSERT_TRUE(desk_->awaitReady());
    }

    void TearDown() override
    {
        delegate_.reset();
        desktop_.reset();
        // A panel fades away by itself; the next test begins with an empty screen.
        EXPECT_TRUE(awaitCondition([] { return !isUp<QWidget>(); }));
        LLMTransport::shutDown();
        http_.reset();
        desk_.reset();
        display().stopCompositor();
        display().stopWindowManager();
        background_.reset();
        DebugLog::flush();
    }

    /// Returns when the gestures work.
    void startProgram()
    {
        settings_ = std::make_shared<SettingsManager>(
            std::shared_ptr<UserDefaults>(std::shared_ptr<void>(), &defaults_),
            std::make_shared<NullKeychain>());
        settings_->selectedProvider.set(ProviderID::OpenAI);
        settings_->hasCompletedOnboarding.set(true);
        desktop_ = std::make_unique<DesktopServices>(DesktopServices::create());
        delegate_ =
            std::make_unique<AppDelegate>(settings_, *desktop_, [this]() -> HttpClient& { return *http_; });
        delegate_->applicationDidFinishLaunching(defaults_);
        ASSERT_TRUE(awaitLog(QStringLiteral("[Platform] ready")));
    }

    [[nodiscard]] const AnnotationSession& session() const { return delegate_->session(); }

    [[nodiscard]] bool awaitState(SessionState state, std::size_t messages)
    {
        return awaitCondition([&] {
            return session().state().value() == state &&
                   static_cast<std::size_t>(session().chatMessages().messages().size()) == messages;
        });
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

    [[nodiscard]] qsizetype logCount(const QString& text) const { return logLines().filter(text).size(); }
    [[nodiscard]] bool awaitLog(const QString& text, qsizetype times = 1) const
    {
        return awaitCondition([&] { return logCount(text) >= times; });
    }

    /// Moves the pointer once around what is worth circling, with that button down. Until a press under the
    /// chord is claimed, the server holds the pointer still and keeps only the last motion; a condition tells
    /// when it is.
    void circle(const QRect& target, int button = 1, const std::function<bool()>& isClaimed = {})
    {
        constexpr int kSteps = 48;
        const QPointF centre = target.center();
        const auto at = [&](int step) {
            const double angle = 2 * std::numbers::pi * step / kSteps;
            return QPointF(centre.x() + target.width() / 2.0 * std::cos(angle),
                           centre.y() + target.height() / 2.0 * std::sin(angle))
                .toPoint();
        };
        strokePoints_.clear();
        input_.moveTo(at(0).x(), at(0).y());
        input_.pressButton(button);
        if (isClaimed) {
            ASSERT_TRUE(awaitCondition(isClaimed));
        }
        for (int step = 1; step <= kSteps; ++step) {
            strokePoints_.append(at(step));
            input_.moveTo(at(step).x(), at(step).y());
        }
        input_.releaseButton(button);
    }

    void type(const char* letters)
    {
        for (const char* letter = letters; *letter != '\0'; ++letter)
            input_.tap(std::string(1, *letter).c_str());
    }

    [[nodiscard]] static bool awaitQuestionField()
    {
        return awaitCondition([] { return dynamic_cast<QueryTextView*>(QApplication::focusWidget()); });
    }

    /// The first question of a chat, or one more, up to its whole answer.
    void ask(const char* question, std::size_t messagesAfter)
    {
        ASSERT_TRUE(awaitQuestionField());
        type(question);
        input_.tap("Return");
        ASSERT_TRUE(awaitState(SessionState::Querying, messagesAfter));
    }

    [[nodiscard]] static bool overlayIsUp() { return isUp<OverlaySurface>(); }

    template <typename Widget>
    [[nodiscard]] static bool isUp()
    {
        for (const QWidget* widget : QApplication::topLevelWidgets()) {
            if (dynamic_cast<const Widget*>(widget) && widget->isVisible())
                return true;
        }
        return false;
    }

    /// The screen as people see it, once a compositor has drawn all of it and nothing changes any more.
    [[nodiscard]] static QImage awaitScreen()
    {
        constexpr qint64 kStill = 300;
        const auto grab = [] { return QApplication::primaryScreen()->grabWindow(0).toImage(); };
        QImage screen = grab();
        QElapsedTimer sinceChange;
        sinceChange.start();
        EXPECT_TRUE(awaitCondition([&] {
            QImage next = grab();
            if (next != screen || next.pixelColor(next.rect().bottomRight()) == Qt::black)
                sinceChange.restart();
            screen = std::move(next);
            return sinceChange.elapsed() > kStill;
        }));
        return screen;
    }

    /// Whether a stroke of the pen shows at each point, in pixels of the image.
    [[nodiscard]] static bool showsStroke(const QImage& image, const QList<QPoint>& points)
    {
        return std::all_of(points.begin(), points.end(),
                           [&](QPoint point) { return isRedNear(image, point); });
    }

    /// The points that the pointer went through, in pixels of an image of the screen that is that wide.
    [[nodiscard]] QList<QPoint> strokeIn(const QSize& image, const QSize& screen) const
    {
        const double scale = static_cast<double>(image.width()) / screen.width();
        QList<QPoint> points;
        for (const QPoint& point : strokePoints_)
            points.append((QPointF(point) * scale).toPoint());
        return points;
    }

    QTemporaryDir folder_;
    std::unique_ptr<RootBackground> background_;
    practice::PracticeServer practice_;
    InputDriver input_;
    std::unique_ptr<Desk> desk_;
    QList<QPoint> strokePoints_;
    JsonFileDefaults defaults_{folder_.filePath(QStringLiteral("settings.json"))};
    std::shared_ptr<SettingsManager> settings_;
    std::shared_ptr<HttpClient> http_;
    std::unique_ptr<DesktopServices> desktop_;
    std::unique_ptr<AppDelegate> delegate_;

private:
    static bool isRedNear(const QImage& image, QPoint point)
    {
        constexpr int kReach = 2;
        for (int dy = -kReach; dy <= kReach; ++dy) {
            for (int dx = -kReach; dx <= kReach; ++dx) {
                if (!image.valid(point + QPoint(dx, dy)))
                    continue;
                const QRgb pixel = image.pixel(point + QPoint(dx, dy));
                if (qRed(pixel) > 200 && qGreen(pixel) < 90 && qBlue(pixel) < 90)
                    return true;
            }
        }
        return false;
    }
};

} // namespace velmo::test
