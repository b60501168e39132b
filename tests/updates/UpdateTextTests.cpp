#include "updates/UpdateText.h"

#include <gtest/gtest.h>

namespace velmo {

namespace {

using Kind = UpdateOutcome::Kind;

const UpdateSource kSource{QUrl(QStringLiteral("https://example.org/feed.json")), "key"};
const QVersionNumber kCurrent(0, 1, 0);

UpdateMessage messageFor(UpdateOutcome outcome, const QString& packageManager = {})
{
    outcome.latest = QVersionNumber(0, 2);
    outcome.description = QStringLiteral("no way.");
    return describe(outcome, kSource, kCurrent, packageManager);
}

UpdateMessage messageFor(Kind kind)
{
    UpdateOutcome outcome;
    outcome.kind = kind;
    return messageFor(outcome);
}

TEST(UpdateText, OffersThePageOfANewerVersionAlone)
{
    const UpdateMessage message = messageFor(Kind::Newer);
    EXPECT_EQ(message.title, QStringLiteral("Velmo 0.2 Is Available"));
    EXPECT_EQ(message.text, QStringLiteral("You have Velmo 0.1.0."));
    EXPECT_TRUE(message.offersPage);
    for (int kind = 0; kind <= static_cast<int>(Kind::Unreachable); ++kind) {
        if (static_cast<Kind>(kind) != Kind::Newer) {
            EXPECT_FALSE(messageFor(static_cast<Kind>(kind)).offersPage) << kind;
        }
    }
}

TEST(UpdateText, SaysEveryOutcomeInItsOwnWords)
{
    QStringList texts;
    for (int kind = 0; kind <= static_cast<int>(Kind::Unreachable); ++kind) {
        const UpdateMessage message = messageFor(static_cast<Kind>(kind));
        EXPECT_FALSE(message.title.isEmpty());
        EXPECT_TRUE(message.text.contains(QStringLiteral("You have Velmo 0.1.0")))
            << message.text.toStdString();
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
    const UpdateMessage message = messageFor(outcome, QStringLiteral("APT"));
    EXPECT_EQ(message.text, QStringLiteral("You have Velmo 0.1.0. It was installed by APT, and updates come "
                                           "from there."));
    EXPECT_EQ(message.title, QStringLiteral("Velmo 0.2 Is Available"));
}

} // namespace

} // namespace velmo
