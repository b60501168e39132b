#include "core/Text.h"
#include "support/core/Printing.h"
#include "voice/PredictionText.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gmock/gmock.h>

namespace velmo {

namespace {

/// The text in an output that is written as JSON, "(nothing)" if there is none.
QString outputText(const QByteArray& json)
{
    const QJsonDocument document = QJsonDocument::fromJson("{\"output\":" + json + '}');
    EXPECT_TRUE(document.isObject()) << json.toStdString();
    return extractOutputText(document.object().value(QStringLiteral("output")))
        .value_or(QStringLiteral("(nothing)"));
}

/// One character that has eleven code units: a family.
const QString kFamily = QString::fromUtf8("👨‍👩‍👧‍👦");

} // namespace

TEST(OutputTextTest, AbsentOutputHasNone)
{
    EXPECT_EQ(extractOutputText(QJsonObject().value(QStringLiteral("output"))), std::nullopt);
}

TEST(OutputTextTest, AStringIsTheText)
{
    EXPECT_EQ(outputText(R"(" Hello world ")"), u" Hello world ");
    EXPECT_EQ(outputText(R"("")"), u"");
}

TEST(OutputTextTest, StringsAreJoinedWithOneSpace)
{
    EXPECT_EQ(outputText(R"(["Hello","world"])"), u"Hello world");
    EXPECT_EQ(outputText(R"(["Hello"," world"])"), u"Hello  world");
    EXPECT_EQ(outputText(R"(["","Hello"])"), u" Hello");
    EXPECT_EQ(outputText(R"(["Hello"])"), u"Hello");
    EXPECT_EQ(outputText("[]"), u"");
}

TEST(OutputTextTest, AnObjectSaysTextOrTranscription)
{
    EXPECT_EQ(outputText(R"({"text":"one","transcription":"two"})"), u"one");
    EXPECT_EQ(outputText(R"({"text":"","transcription":"two"})"), u"");
    EXPECT_EQ(outputText(R"({"text":null,"transcription":"two"})"), u"two");
    EXPECT_EQ(outputText(R"({"text":["one"],"transcription":"two"})"), u"two");
    EXPECT_EQ(outputText(R"({"transcription":"two","chunks":[{"text":"no"}]})"), u"two");
    EXPECT_EQ(outputText(R"({"text":1,"transcription":2})"), u"(nothing)");
    EXPECT_EQ(outputText(R"({"other":"three"})"), u"(nothing)");
    EXPECT_EQ(outputText("{}"), u"(nothing)");
}

TEST(OutputTextTest, ObjectsWithoutTextAreSkipped)
{
    EXPECT_EQ(outputText(R"([{"text":"Hello"},{"timestamp":[0,1]},{"transcription":"world"}])"),
              u"Hello world");
    EXPECT_EQ(outputText(R"([{"text":"one","transcription":"two"},{"text":3,"transcription":"four"}])"),
              u"one four");
    EXPECT_EQ(outputText(R"([{"text":""}])"), u"");
    EXPECT_EQ(outputText(R"([{"other":"Hello"},{}])"), u"(nothing)");
}

TEST(OutputTextTest, AnythingElseHasNone)
{
    for (const char* json :
         {"null", "1", "1.5", "true", R"(["Hello",{"text":"world"}])", R"([{"text":"Hello"},"world"])",
          "[1,2]", "[null]", R"(["Hello",null])", R"([["Hello"]])", R"([{"text":"Hello"},null])"})
        EXPECT_EQ(outputText(json), u"(nothing)") << json;
}

TEST(StringBodyTest, ShortBodiesStayWhole)
{
    EXPECT_EQ(stringBody("", QStringLiteral("key")), u"");
    EXPECT_EQ(stringBody("{\"a\": \"ä\r\n\"}", QStringLiteral("key")), u"{\"a\": \"ä\r\n\"}");
    const QByteArray longest(4000, 'x');
    EXPECT_EQ(stringBody(longest, QString()), QString::fromLatin1(longest));
}

TEST(StringBodyTest, LongBodiesAreCutAfter4000Characters)
{
    EXPECT_EQ(stringBody(QByteArray(4001, 'x'), QString()), QString(4000, u'x') + u'…');
    EXPECT_EQ(stringBody(QByteArray(1'000'000, 'x'), QString()), QString(4000, u'x') + u'…');
}

TEST(StringBodyTest, CharactersAreWhatReadersCount)
{
    ASSERT_EQ(kFamily.size(), 11);
    EXPECT_EQ(stringBody(kFamily.repeated(4000).toUtf8(), QString()), kFamily.repeated(4000));
    EXPECT_EQ(stringBody(kFamily.repeated(4001).toUtf8(), QString()), kFamily.repeated(4000) + u'…');
    const QString accented = QStringLiteral("e\u0301");
    EXPECT_EQ(stringBody((QString(3999, u'x') + accented + u'y').toUtf8(), QString()),
              QString(3999, u'x') + accented + u'…');
}

TEST(StringBodyTest, BytesThatAreNoTextAreCounted)
{
    EXPECT_EQ(stringBody("\xff\xfe{}", QString()), u"<non-utf8 body 4 bytes>");
    EXPECT_EQ(stringBody(QByteArray(5000, 'x') + "\xc3", QString()), u"<non-utf8 body 5001 bytes>");
}

TEST(StringBodyTest, TheKeyIsBlankedBeforeTheCut)
{
    const QString key = QStringLiteral("a-long-secret");
    EXPECT_EQ(stringBody("no a-long-secret, a-long-secret!", key), u"no ***, ***!");
    // Cut first, the body would end in the key's first characters.
    EXPECT_EQ(stringBody(QByteArray(3995, 'x') + "a-long-secret" + QByteArray(10, 'y'), key),
              QString(3995, u'x') + QStringLiteral("***yy…"));
}

} // namespace velmo
