#include "core/Transcript.h"
#include "support/core/Printing.h"

#include <QElapsedTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = TranscriptChange::Kind;

class TranscriptTest : public testing::Test {
protected:
    [[nodiscard]] QStringList texts() const
    {
        QStringList result;
        for (const ChatMessage& message : transcript.messages())
            result.append(message.text);
        return result;
    }
    QUuid add(const QString& text) { return transcript.append(ChatMessage::user(text)); }

    Transcript transcript;
};

TEST_F(TranscriptTest, EveryKindOfMessageHasItsShape)
{
    const ChatMessage capture = ChatMessage::capture("png");
    EXPECT_EQ(capture.role, ChatMessageRole::User);
    EXPECT_TRUE(capture.text.isEmpty());
    ASSERT_TRUE(capture.attachment);
    EXPECT_EQ(capture.attachment->title, u"Screenshot");
    EXPECT_EQ(capture.attachment->imageData, QByteArray("png"));
    EXPECT_FALSE(capture.isStreaming);

    const ChatMessage pending = ChatMessage::pendingUser(QStringLiteral("Transcribing…"));
    EXPECT_EQ(pending.role, ChatMessageRole::User);
    EXPECT_EQ(pending.text, u"Transcribing…");
    EXPECT_FALSE(pending.attachment);
    EXPECT_TRUE(pending.isStreaming);

    const ChatMessage question = ChatMessage::user(QStringLiteral("Q"));
    EXPECT_EQ(question.role, ChatMessageRole::User);
    EXPECT_EQ(question.text, u"Q");
    EXPECT_FALSE(question.attachment);
    EXPECT_FALSE(question.isStreaming);

    const ChatMessage streaming = ChatMessage::streamingAssistant();
    EXPECT_EQ(streaming.role, ChatMessageRole::Assistant);
    EXPECT_TRUE(streaming.text.isEmpty());
    EXPECT_TRUE(streaming.isStreaming);

    const ChatMessage notice = ChatMessage::assistant(QStringLiteral("Error"));
    EXPECT_EQ(notice.role, ChatMessageRole::Assistant);
    EXPECT_EQ(notice.text, u"Error");
    EXPECT_FALSE(notice.isStreaming);
}

TEST_F(TranscriptTest, StatesHaveTheirWords)
{
    EXPECT_EQ(describe(SessionState::Idle), u"idle");
    EXPECT_EQ(describe(SessionState::Drawing), u"drawing");
    EXPECT_EQ(describe(SessionState::Querying), u"querying");
    EXPECT_EQ(describe(SessionState::Streaming), u"streaming");
}

TEST_F(TranscriptTest, MessagesWithEqualTextAreTwoMessages)
{
    const QUuid first = add(QStringLiteral("same"));
    const QUuid second = add(QStringLiteral("same"));
    EXPECT_NE(first, second);
    transcript.replace(second, QStringLiteral("other"), false);
    EXPECT_THAT(texts(), ElementsAre(u"same", u"other"));
    EXPECT_TRUE(transcript.remove(first));

    EXPECT_THAT(texts(), ElementsAre(u"other"));
    EXPECT_EQ(transcript.find(first), nullptr);
    ASSERT_NE(transcript.find(second), nullptr);
    EXPECT_EQ(transcript.find(second)->text, u"other");
}

TEST_F(TranscriptTest, LookupStaysTrueWhenMessagesGo)
{
    const QUuid a = add(QStringLiteral("a"));
    const QUuid b = add(QStringLiteral("b"));
    const QUuid c = add(QStringLiteral("c"));
    EXPECT_TRUE(transcript.remove(a));
    const QUuid d = add(QStringLiteral("d"));
    transcript.extend(b, QStringLiteral("1"));
    transcript.extend(c, QStringLiteral("2"));
    transcript.extend(d, QStringLiteral("3"));
    EXPECT_THAT(texts(), ElementsAre(u"b1", u"c2", u"d3"));

    EXPECT_TRUE(transcript.remove(c));
    transcript.replace(d, QStringLiteral("last"), true);
    EXPECT_THAT(texts(), ElementsAre(u"b1", u"last"));
    EXPECT_TRUE(transcript.find(d)->isStreaming);
}

TEST_F(TranscriptTest, MessagesThatAreGoneAreNotTouched)
{
    const QUuid gone = add(QStringLiteral("a"));
    EXPECT_TRUE(transcript.remove(gone));
    int told = 0;
    const auto subscription = transcript.subscribe([&told](const TranscriptChange&) { ++told; });
    EXPECT_FALSE(transcript.remove(gone));
    transcript.extend(gone, QStringLiteral("x"));
    transcript.replace(gone, QStringLiteral("x"), false);

    EXPECT_THAT(transcript.messages(), IsEmpty());
    EXPECT_EQ(told, 0);
}

TEST_F(TranscriptTest, ReplacingKeepsTheAttachment)
{
    const QUuid id = transcript.append(ChatMessage::capture("png"));
    transcript.replace(id, QStringLiteral("text"), false);

    ASSERT_TRUE(transcript.find(id)->attachment);
    EXPECT_EQ(transcript.find(id)->attachment->imageData, QByteArray("png"));
}

TEST_F(TranscriptTest, ObserversHearOfEachChangeBeforeItHappens)
{
    std::vector<Kind> kinds;
    std::vector<QStringList> seen;
    std::vector<QString> told;
    const auto subscription = transcript.subscribe([&](const TranscriptChange& change) {
        kinds.push_back(change.kind);
        seen.push_back(texts());
        told.push_back(change.message ? change.message->text : change.text);
    });
    const QUuid id = add(QStringLiteral("a"));
    transcript.extend(id, QStringLiteral("b"));
    transcript.replace(id, QStringLiteral("c"), true);
    EXPECT_TRUE(transcript.remove(id));
    transcript.clear();

    EXPECT_THAT(kinds,
                ElementsAre(Kind::Appended, Kind::Extended, Kind::Replaced, Kind::Removed, Kind::Cleared));
    EXPECT_THAT(seen, ElementsAre(QStringList(), QStringList{QStringLiteral("a")},
                                  QStringList{QStringLiteral("ab")}, QStringList{QStringLiteral("c")},
                                  QStringList()));
    EXPECT_THAT(told, ElementsAre(u"a", u"b", u"c", u"", u""));
}

TEST_F(TranscriptTest, ChangesThatChangeNothingAreToldToo)
{
    const QUuid id = add(QStringLiteral("a"));
    std::vector<Kind> kinds;
    const auto subscription =
        transcript.subscribe([&kinds](const TranscriptChange& change) { kinds.push_back(change.kind); });
    transcript.replace(id, QStringLiteral("a"), false);
    transcript.extend(id, QString());
    transcript.clear();
    transcript.clear();

    EXPECT_THAT(kinds, ElementsAre(Kind::Replaced, Kind::Extended, Kind::Cleared, Kind::Cleared));
}

TEST_F(TranscriptTest, AChangeNamesItsMessage)
{
    std::vector<QUuid> ids;
    const auto subscription =
        transcript.subscribe([&ids](const TranscriptChange& change) { ids.push_back(change.id); });
    const QUuid id = add(QStringLiteral("a"));
    transcript.extend(id, QStringLiteral("b"));
    EXPECT_TRUE(transcript.remove(id));

    EXPECT_THAT(ids, ElementsAre(id, id, id));
}

/// The shortest of some runs, since the machine may be busy with something else during any one of them.
qint64 nanosecondsForAnAnswer(int earlierMessages)
{
    constexpr int kRuns = 5;
    constexpr int kPieces = 5000;
    const QString piece = QStringLiteral("piece ");
    qint64 best = std::numeric_limits<qint64>::max();
    for (int run = 0; run < kRuns; ++run) {
        Transcript chat;
        for (int number = 0; number < earlierMessages; ++number)
            chat.append(ChatMessage::user(QStringLiteral("earlier")));
        const QUuid id = chat.append(ChatMessage::streamingAssistant());
        QElapsedTimer timer;
        timer.start();
        for (int number = 0; number < kPieces; ++number)
            chat.extend(id, piece);
        best = std::min(best, timer.nsecsElapsed());
        EXPECT_EQ(chat.find(id)->text.size(), kPieces * piece.size());
    }
    return best;
}

TEST_F(TranscriptTest, TheCostOfAPieceDoesNotDependOnTheNumberOfMessages)
{
    // If each piece looked at each message, it would be about five thousand times.
    EXPECT_LT(nanosecondsForAnAnswer(5000), 30 * nanosecondsForAnAnswer(1));
}

TEST(PublishedTextTest, TellsPiecesAndReplacementsBeforeTheyAreVisible)
{
    PublishedText text;
    QStringList told;
    QStringList seen;
    const auto subscription = text.subscribe([&](const TextChange& change) {
        told.append((change.kind == TextChange::Kind::Extended ? u'+' : u'=') + change.text);
        seen.append(text.value());
    });
    text.set(QStringLiteral("a"));
    text.extend(QStringLiteral("b"));
    text.extend(QString());
    text.set(QStringLiteral("ab"));

    EXPECT_THAT(told, ElementsAre(u"=a", u"+b", u"+", u"=ab"));
    EXPECT_THAT(seen, ElementsAre(u"", u"a", u"ab", u"ab"));
    EXPECT_EQ(text.value(), u"ab");
}

} // namespace
} // namespace velmo
