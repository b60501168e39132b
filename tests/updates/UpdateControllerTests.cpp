#include "fakes/FakeWindowSurfaces.h"
#include "platform/linux/CurlHttpClient.h"
#include "support/core/EventLoop.h"
#include "support/practice/PracticeServer.h"
#include "support/updates/SigningKey.h"
#include "updates/UpdateController.h"
#include "widgets/PushButton.h"

#include <QLabel>
#include <QTest>
#include <gtest/gtest.h>

namespace velmo {

namespace {

using practice::ScenarioKind;
using test::feedText;

async::Task<QString> ownedBy(QString manager)
{
    co_return manager;
}

class UpdateWindowTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(server_.start(), 0);
        controller_ = std::make_unique<UpdateController>(
            UpdateSource{QUrl(server_.baseUrl() + QStringLiteral("/feed.json")), key_.publicKey()},
            QVersionNumber(0, 1, 0),
            UpdateCollaborators{windows_, [this]() -> HttpClient& { return http_; },
                                [this] { return ownedBy(packageManager_); },
                                [this](const QUrl& page) {
                                    opened_.append(page);
                                    return hasBrowser_;
                                }});
    }

    void announce(const QByteArray& version)
    {
        const QByteArray feed = feedText(version);
        server_.enqueue({{.kind = ScenarioKind::Custom, .blocks = {feed}},
                         {.kind = ScenarioKind::Custom, .blocks = {key_.sign(feed)}}});
    }

    [[nodiscard]] QStringList texts() const
    {
        QStringList found;
        for (const QLabel* label : controller_->window()->findChildren<QLabel*>())
            found.append(label->text());
        return found;
    }
    [[nodiscard]] bool awaitTitle(const QString& title) const
    {
        return turnUntil([&] { return texts().value(0) == title; });
    }
    [[nodiscard]] PushButton* button(const QString& title) const
    {
        for (auto* button : controller_->window()->findChildren<PushButton*>()) {
            if (button->accessibleName() == title && button->isVisible())
                return button;
        }
        return nullptr;
    }

    /// As if it came from the keyboard, shortcuts included.
    void press(Qt::Key key) const { QTest::keyClick(controller_->window()->windowHandle(), key); }

    test::SigningKey key_;
    practice::PracticeServer server_;
    FakeWindowSurfaces windows_;
    CurlHttpClient http_;
    QString packageManager_;
    QList<QUrl> opened_;
    bool hasBrowser_ = true;
    std::unique_ptr<UpdateController> controller_;
};

TEST_F(UpdateWindowTest, SaysThatItLooksAndThenWhatItFound)
{
    announce("0.2.0");
    EXPECT_EQ(controller_->window(), nullptr);
    controller_->checkForUpdates();
    EXPECT_TRUE(controller_->window()->isVisible());
    EXPECT_EQ(texts(), QStringList({QStringLiteral(u"Checking for Updates…"), QString()}));
    EXPECT_EQ(button(QStringLiteral("Open Release Page")), nullptr);
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    EXPECT_EQ(texts().value(1), QStringLiteral("You have Velmo 0.1.0."));
    ASSERT_NE(button(QStringLiteral("Open Release Page")), nullptr);
    button(QStringLiteral("Open Release Page"))->click();
    EXPECT_EQ(opened_, QList<QUrl>{QUrl(QStringLiteral("https://example.org/releases"))});
    EXPECT_FALSE(controller_->window()->isVisible());
}

TEST_F(UpdateWindowTest, WithoutABrowserItSaysWhereThePageIs)
{
    hasBrowser_ = false;
    announce("0.2.0");
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    button(QStringLiteral("Open Release Page"))->click();
    EXPECT_TRUE(controller_->window()->isVisible());
    EXPECT_EQ(texts(), QStringList({QStringLiteral("Velmo 0.2.0 Is Available"),
                                    QStringLiteral("Nothing on this computer opens the page of the release: "
                                                   "https://example.org/releases")}));
    press(Qt::Key_Escape);
    EXPECT_FALSE(controller_->window()->isVisible());
}

TEST_F(UpdateWindowTest, LooksAnewWhenItIsAskedAgain)
{
    announce("0.1.0");
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo Is Up to Date")));
    QWidget* window = controller_->window();
    EXPECT_EQ(button(QStringLiteral("Open Release Page")), nullptr);
    announce("0.2.0");
    controller_->checkForUpdates();
    EXPECT_EQ(controller_->window(), window);
    EXPECT_EQ(texts().value(0), QStringLiteral(u"Checking for Updates…"));
    EXPECT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    EXPECT_EQ(server_.requests().size(), 4);
}

TEST_F(UpdateWindowTest, OneLookIsEnoughForImpatientUsers)
{
    announce("0.2.0");
    controller_->checkForUpdates();
    controller_->checkForUpdates();
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    EXPECT_EQ(server_.requests().size(), 2);
}

TEST_F(UpdateWindowTest, ClosingItEndsTheLook)
{
    server_.enqueue({{.kind = ScenarioKind::NeverAnswers}});
    controller_->checkForUpdates();
    ASSERT_TRUE(turnUntil([this] { return server_.requests().size() == 1; }));
    press(Qt::Key_Escape);
    EXPECT_FALSE(controller_->window()->isVisible());
    EXPECT_TRUE(turnUntil([this] { return server_.closedConnections() == 1; }));
    EXPECT_EQ(texts().value(0), QStringLiteral(u"Checking for Updates…"));
    // And the next one begins at once.
    announce("0.2.0");
    controller_->checkForUpdates();
    EXPECT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
}

TEST_F(UpdateWindowTest, ReturnDoesWhatTheWindowOffers)
{
    announce("0.1.0");
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo Is Up to Date")));
    press(Qt::Key_Return);
    EXPECT_TRUE(turnUntil([this] { return !controller_->window()->isVisible(); }));
    EXPECT_TRUE(opened_.isEmpty());

    announce("0.2.0");
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    press(Qt::Key_Return);
    EXPECT_TRUE(turnUntil([this] { return opened_.size() == 1; }));
}

TEST_F(UpdateWindowTest, SaysWhoseTheInstallationIs)
{
    packageManager_ = QStringLiteral("APT");
    announce("0.2.0");
    controller_->checkForUpdates();
    ASSERT_TRUE(awaitTitle(QStringLiteral("Velmo 0.2.0 Is Available")));
    EXPECT_TRUE(
        texts().value(1).endsWith(QStringLiteral("It was installed by APT, and updates come from there.")));
}

TEST_F(UpdateWindowTest, GoesWithTheProgramWhileItLooks)
{
    server_.enqueue({{.kind = ScenarioKind::NeverAnswers}});
    controller_->checkForUpdates();
    ASSERT_TRUE(turnUntil([this] { return server_.requests().size() == 1; }));
    controller_.reset();
    EXPECT_TRUE(turnUntil([this] { return server_.closedConnections() == 1; }));
}

} // namespace

} // namespace velmo
