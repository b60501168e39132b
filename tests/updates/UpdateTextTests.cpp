#include "support/updates/Outcomes.h"
#include "updates/UpdateText.h"

#include <gtest/gtest.h>

namespace velmo {

namespace {

using Kind = UpdateOutcome::Kind;

const UpdateSource kSource{QUrl(QStringLiteral("https://example.org/feed.json")), "key"};
const QVersionNumber kCurrent(0, 1, 0);

UpdateMessage messageFor(const UpdateOutcome& outcome, const QString& packageManager = {})
{
    return describe(outcome, kSource, kCurrent, packageManager);
}

TEST(UpdateText, OffersThePageOfANewerVersionAlone)
{
    UpdateOutcome newer;
    newer.kind = Kind::Newer;
    newer.latest = QVersionNumber(0, 2);
    const UpdateMessage message = messageFor(newer);
    EXPECT_EQ(message.title, QStringLiteral("Velmo 0.2 Is Available"));
    EXPECT_EQ(message.text, QStringLiteral("You have Velmo 0.1.0."));
    EXPECT_TRUE(message.offersPage);
    for (const UpdateOutcome& outcome : test::everyOutcome(kSource.feed.host()))
        EXPECT_EQ(messageFor(outcome).offersPage, outcome.kind == Kind::Newer);
}

TEST(UpdateText, SaysEveryOutcomeInItsOwnWords)
{
    QStringList texts;
    for (const UpdateOutcome& outcome : test::everyOutcome(kSource.feed.host())) {
        const UpdateMessage message = messageFor(outcome);
        EXPECT_FALSE(message.title.isEmpty());
        const qsizetype current = message.text.indexOf(QStringLiteral("You have Velmo 0.1.0"));
        ASSERT_GE(current, 0) << message.text.toStdString();
        const QString reason = message.text.first(current);
        EXPECT_TRUE(reason.isEmpty() || reason.endsWith(QStringLiteral(". "))) << reason.toStdString();
        EXPECT_TRUE(message.text.endsWith(u'.')) << message.text.toStdString();
        texts.append(message.title + message.text);
    }
    EXPECT_EQ(texts.removeDuplicates(), 0);
}

TEST(UpdateText, NamesTheStatusThatTheServerRefusedWith)
{
    UpdateOutcome outcome;
    outcome.kind = Kind::Refused;
    outcome.status = 404;
    EXPECT_EQ(messageFor(outcome).text,
              QStringLiteral("Nothing is announced at example.org (404). You have Velmo 0.1.0."));
    outcome.status = 302;
    EXPECT_EQ(messageFor(outcome).text,
              QStringLiteral("example.org answered with status 302. You have Velmo 0.1.0."));
}

TEST(UpdateText, SaysThatUpdatesComeFromThePackageManager)
{
    UpdateOutcome outcome;
    outcome.kind = Kind::Newer;
    outcome.latest = QVersionNumber(0, 2);
    const UpdateMessage message = messageFor(outcome, QStringLiteral("APT"));
    EXPECT_EQ(message.text, QStringLiteral("You have Velmo 0.1.0. It was installed by APT, and updates come "
                                           "from there."));
    EXPECT_EQ(message.title, QStringLiteral("Velmo 0.2 Is Available"));
}

} // namespace

} // namespace velmo
