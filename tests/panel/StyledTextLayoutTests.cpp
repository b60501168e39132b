#include "markdown/MarkdownRules.h"
#include "panel/StyledTextLayout.h"
#include "panel/TextSelection.h"
#include "panel/WebLinks.h"
#include "widgets/SystemFont.h"

#include <QString>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace velmo {
namespace {

markdown::StyledText styled(const QString& text)
{
    return markdown::render(text.toStdU16String());
}

/// Everything that can be seen of a layout.
struct Shape {
    double height = 0;
    double width = 0;
    std::vector<QRectF> characters;

    explicit Shape(const StyledTextLayout& layout)
        : height(layout.height())
        , width(layout.usedWidth())
    {
        for (qsizetype position = 0; position < layout.size(); ++position) {
            for (const QRectF& line : layout.rectanglesOf(position, position + 1))
                characters.push_back(line);
        }
    }
    friend bool operator==(const Shape&, const Shape&) = default;
};

Shape shapeOf(const markdown::StyledText& text, double width)
{
    StyledTextLayout layout(width);
    layout.replaceFrom(0, text);
    layout.layOut();
    return Shape(layout);
}

QString randomText(std::mt19937& random, int length)
{
    static const QStringList words{
        QStringLiteral("word"),   QStringLiteral(" "),          QStringLiteral("a longer stretch of words "),
        QStringLiteral("\n"),     QStringLiteral("\r"),         QStringLiteral("\r\n"),
        QStringLiteral("**"),     QStringLiteral("`"),          QStringLiteral("# "),
        QString(90, u'x'),        QStringLiteral("日本語の文"), QStringLiteral("🙂👍🏽"),
        QStringLiteral("مرحبا "), QStringLiteral("\t"),         QStringLiteral("\u2028")};
    QString text;
    while (text.size() < length)
        text += words.at(static_cast<qsizetype>(random() % static_cast<unsigned>(words.size())));
    return text;
}

TEST(StyledTextLayout, WhatGrewIsLaidOutAsIfItHadComeAtOnce)
{
    constexpr unsigned kSeed = 7;
    std::mt19937 random(kSeed);
    for (int round = 0; round < 60; ++round) {
        const QString text = randomText(random, 400 + static_cast<int>(random() % 4000));
        StyledTextLayout layout(200);
        markdown::StyledText shown;
        for (qsizetype length = 0; length < text.size();) {
            length = std::min<qsizetype>(length + 1 + random() % 300, text.size());
            const markdown::StyledText next = styled(text.left(length));
            const auto common = std::min(shown.text.size(), next.text.size());
            std::size_t same = 0;
            while (same < common && shown.text[same] == next.text[same] &&
                   shown.styles[same] == next.styles[same])
                ++same;
            layout.replaceFrom(static_cast<qsizetype>(same), next);
            ASSERT_TRUE(layout.layOut());
            shown = next;
        }
        ASSERT_EQ(layout.text(), styled(text));
        ASSERT_EQ(Shape(layout), shapeOf(styled(text), 200)) << text.toStdString();
    }
}

TEST(StyledTextLayout, ALongParagraphIsBrokenAsInOnePiece)
{
    // The toolkit's own line breaking over the whole paragraph is what it must equal.
    const QString text =
        QStringLiteral("some words of different length, and extraordinarily long ones ").repeated(80);
    QTextLayout whole(text, MessageFonts::current().font(markdown::Style::Base));
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    whole.setTextOption(option);
    whole.beginLayout();
    std::vector<int> begins;
    for (QTextLine line = whole.createLine(); line.isValid(); line = whole.createLine()) {
        line.setLineWidth(300);
        begins.push_back(line.textStart());
    }
    whole.endLayout();
    StyledTextLayout layout(300);
    layout.replaceFrom(0, markdown::plain(text.toStdU16String()));
    layout.layOut();
    ASSERT_GT(begins.size(), 60U);
    const double lineHeight = layout.cursorRectangle(0).height();
    EXPECT_EQ(layout.height(), lineHeight * static_cast<double>(begins.size()));
    for (std::size_t line = 0; line < begins.size(); ++line)
        EXPECT_EQ(layout.positionAt({-5, lineHeight * (static_cast<double>(line) + 0.5)}), begins[line]);
}

TEST(StyledTextLayout, LinesAreAQuarterHigherThanTheirFontAndParagraphsThreeApart)
{
    StyledTextLayout layout(300);
    layout.replaceFrom(0, styled(QStringLiteral("one\ntwo\n# three")));
    layout.layOut();
    const MessageFonts& fonts = MessageFonts::current();
    const double line = std::round(1.25 * fonts.height(markdown::Style::Base));
    const double heading = std::round(1.25 * fonts.height(markdown::Style::Heading));
    EXPECT_EQ(layout.cursorRectangle(0).height(), line);
    EXPECT_EQ(layout.cursorRectangle(4).top(), line + 3);
    EXPECT_EQ(layout.height(), 2 * line + heading + 6);
}

TEST(StyledTextLayout, FontsAreThoseOfTheStyles)
{
    const MessageFonts& fonts = MessageFonts::current();
    EXPECT_EQ(fonts.font(markdown::Style::Base).pixelSize(), 13);
    EXPECT_EQ(fonts.font(markdown::Style::Bold).pixelSize(), 13);
    EXPECT_EQ(fonts.font(markdown::Style::Bold).weight(), QFont::DemiBold);
    EXPECT_EQ(fonts.font(markdown::Style::Heading).pixelSize(), 14);
    EXPECT_EQ(fonts.font(markdown::Style::Heading).weight(), QFont::DemiBold);
    const QFont code = fonts.font(markdown::Style::Code);
    EXPECT_TRUE(QFontInfo(code).fixedPitch());
    // What is asked for; the toolkit lays text out in whole pixels.
    QFont reference = code;
    reference.setPixelSize(100);
    EXPECT_NEAR(code.pointSizeF() / QFontInfo(reference).pointSizeF() * 100, 12.5, 0.01);
}

TEST(StyledTextLayout, AFinalLineEndTakesNoHeight)
{
    EXPECT_EQ(shapeOf(styled(QStringLiteral("one\n")), 300).height,
              shapeOf(styled(QStringLiteral("one")), 300).height);
    EXPECT_GT(shapeOf(styled(QStringLiteral("one\n\n")), 300).height,
              shapeOf(styled(QStringLiteral("one")), 300).height);
    EXPECT_EQ(shapeOf(styled(QString()), 300).height, 0);
}

TEST(StyledTextLayout, StopsAtTheDeadlineAndGoesOnLater)
{
    StyledTextLayout layout(300);
    layout.replaceFrom(0, styled(QStringLiteral("a line\n").repeated(50)));
    EXPECT_FALSE(layout.layOut(QDeadlineTimer(0)));
    EXPECT_FALSE(layout.isLaidOut());
    const double first = layout.height();
    EXPECT_GT(first, 0);
    while (!layout.layOut(QDeadlineTimer(0)))
        ;
    EXPECT_EQ(Shape(layout), shapeOf(styled(QStringLiteral("a line\n").repeated(50)), 300));
}

TEST(StyledTextLayout, FindsPositionsAndPlaces)
{
    StyledTextLayout layout(300);
    layout.replaceFrom(0, styled(QStringLiteral("first\nsecond line\n\nlast")));
    layout.layOut();
    for (qsizetype position = 0; position <= layout.size(); ++position) {
        const QRectF place = layout.cursorRectangle(position);
        EXPECT_EQ(layout.positionAt(place.center()), position);
    }
    EXPECT_EQ(layout.positionAt({-10, -10}), 0);
    EXPECT_EQ(layout.positionAt({1000, 1000}), layout.size());
    EXPECT_EQ(layout.rectanglesOf(2, 10).size(), 2U);
}

TEST(StyledTextLayout, ShowsControlCharactersAsNothing)
{
    EXPECT_EQ(shapeOf(styled(QStringLiteral("a\u0001\u001b\u007fb")), 300).width,
              shapeOf(styled(QStringLiteral("ab")), 300).width);
    const QString withNull = QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b");
    EXPECT_EQ(shapeOf(styled(withNull), 300).width, shapeOf(styled(QStringLiteral("ab")), 300).width);
}

TEST(StyledTextLayout, TakesLoneSurrogates)
{
    const QString text = QStringLiteral("a") + QChar(0xd83d) + QStringLiteral("b") + QChar(0xde00);
    EXPECT_GT(shapeOf(styled(text), 300).width, 0);
    EXPECT_EQ(shapeOf(styled(text), 300).characters.size(), 4U);
}

TEST(StyledTextLayout, RightToLeftStandsAtTheRightEdge)
{
    StyledTextLayout layout(300);
    layout.replaceFrom(0, styled(QStringLiteral("שלום עולם")));
    layout.layOut();
    EXPECT_TRUE(layout.hasRightToLeft());
    EXPECT_NEAR(layout.cursorRectangle(0).left(), 300, 1);
}

TEST(TextSelection, GrowsByTheUnitThatItBeganWith)
{
    const QString text = QStringLiteral("one two three\nfour five");
    TextSelection selection;
    selection.beginWith(text, 5, TextSelection::Unit::Word);
    EXPECT_EQ(text.mid(selection.begin(), selection.end() - selection.begin()), QStringLiteral("two"));
    selection.extendTo(text, 9);
    EXPECT_EQ(text.mid(selection.begin(), selection.end() - selection.begin()), QStringLiteral("two three"));
    selection.extendTo(text, 1);
    EXPECT_EQ(text.mid(selection.begin(), selection.end() - selection.begin()), QStringLiteral("one two"));
    selection.beginWith(text, 16, TextSelection::Unit::Paragraph);
    EXPECT_EQ(text.mid(selection.begin(), selection.end() - selection.begin()), QStringLiteral("four five"));
    selection.beginWith(text, 3, TextSelection::Unit::Character);
    EXPECT_TRUE(selection.isEmpty());
    selection.extendTo(text, 1);
    EXPECT_EQ(selection.anchor(), 3);
    EXPECT_EQ(selection.cursor(), 1);
}

TEST(TextSelection, StepsOverCharactersAndWords)
{
    using Unit = TextSelection::Unit;
    const QString text = QStringLiteral("a👍🏽b two");
    EXPECT_EQ(TextSelection::stepFrom(text, 1, 1, Unit::Character), 5);
    EXPECT_EQ(TextSelection::stepFrom(text, 5, -1, Unit::Character), 1);
    EXPECT_EQ(TextSelection::stepFrom(text, 0, -1, Unit::Character), 0);
    EXPECT_EQ(TextSelection::stepFrom(text, text.size(), 1, Unit::Character), text.size());
    EXPECT_EQ(TextSelection::stepFrom(text, 7, 1, Unit::Word), text.size());
    EXPECT_EQ(TextSelection::stepFrom(QString(), 0, 1, Unit::Word), 0);
    TextSelection empty;
    empty.beginWith(QString(), 0, Unit::Word);
    EXPECT_TRUE(empty.isEmpty());
}

TEST(WebLinks, AreFoundWithoutWhatStandsBesideThem)
{
    const std::vector<std::pair<QString, QStringList>> cases{
        {QStringLiteral("see https://a.example/x."), {QStringLiteral("https://a.example/x")}},
        {QStringLiteral("(http://a.example/b_(c)) and"), {QStringLiteral("http://a.example/b_(c)")}},
        {QStringLiteral("HTTPS://A.example?q=1&r=2#f, http://b.example"),
         {QStringLiteral("HTTPS://A.example?q=1&r=2#f"), QStringLiteral("http://b.example")}},
        {QStringLiteral("<https://a.example> \"https://b.example\""),
         {QStringLiteral("https://a.example"), QStringLiteral("https://b.example")}},
        {QStringLiteral("https://例え.テスト/パス。次"), {QStringLiteral("https://例え.テスト/パス。次")}},
        {QStringLiteral("xhttps://a.example ftp://b.example file:///etc javascript:alert(1)"), {}},
        {QStringLiteral("https:// https://: http:/a http:a.example httpx://a"), {}},
        {QStringLiteral("[text](https://a.example/x)"), {QStringLiteral("https://a.example/x")}},
        {QStringLiteral("https://a.example…"), {QStringLiteral("https://a.example")}},
    };
    for (const auto& [text, expected] : cases) {
        QStringList found;
        for (const WebLink& link : findWebLinks(text))
            found.append(text.mid(link.begin, link.end - link.begin));
        EXPECT_EQ(found, expected) << text.toStdString();
    }
}

TEST(WebLinks, OpenNothingButTheWeb)
{
    EXPECT_TRUE(webAddress(u"https://a.example/x").isValid());
    EXPECT_FALSE(webAddress(u"file:///etc/passwd").isValid());
    EXPECT_FALSE(webAddress(u"https://").isValid());
}

} // namespace
} // namespace velmo
