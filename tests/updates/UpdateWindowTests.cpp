#include "support/core/EventLoop.h"
#include "support/updates/Outcomes.h"
#include "updates/UpdateWindow.h"
#include "widgets/PushButton.h"

#include <QLabel>
#include <gtest/gtest.h>

namespace velmo {

namespace {

const QSize kSmallest(420, 168);

TEST(UpdateWindow, ShowsTheWholeOfEveryOutcome)
{
    const UpdateSource source{QUrl(QStringLiteral("https://announcements.velmo.example.org/feed.json")), {}};
    UpdateWindow window;
    window.showChecking();
    window.show();
    EXPECT_EQ(window.size(), kSmallest);
    for (const UpdateOutcome& outcome : test::everyOutcome(source.feed.host())) {
        const UpdateMessage message =
            describe(outcome, source, QVersionNumber(0, 1, 0), QStringLiteral("APT"));
        const std::string words = message.text.toStdString();
        window.showMessage(message, outcome.page);
        settle();
        EXPECT_EQ(window.width(), kSmallest.width());
        EXPECT_GE(window.height(), kSmallest.height());
        int bottom = 0;
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            EXPECT_GE(label->height(), label->heightForWidth(label->width())) << words;
            EXPECT_GE(label->width(), label->minimumSizeHint().width()) << words;
            bottom = std::max(bottom, label->geometry().bottom());
        }
        for (const PushButton* button : window.findChildren<PushButton*>()) {
            if (button->isVisible()) {
                EXPECT_GT(button->geometry().top(), bottom) << words;
                EXPECT_TRUE(window.rect().contains(button->geometry())) << words;
            }
        }
    }
    window.showChecking();
    EXPECT_EQ(window.size(), kSmallest);
}

} // namespace

} // namespace velmo
