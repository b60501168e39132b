#include "support/panel/AccessibleScene.h"

namespace velmo {
namespace {

class PanelText : public AccessibleScene {
protected:
    void show(const QString& markdown)
    {
        panel.deliverCapture(picture());
        open();
        answer(QStringLiteral("why?"), markdown);
    }

    [[nodiscard]] QAccessibleTextInterface& text() const { return *interfaceOf(lastText()).textInterface(); }
    [[nodiscard]] QString whole() const { return text().text(0, text().characterCount()); }

    struct Unit {
        int begin = 0;
        int end = 0;
        QString text;
    };
    [[nodiscard]] Unit at(int offset, QAccessible::TextBoundaryType type) const
    {
        Unit unit;
        unit.text = text().textAtOffset(offset, type, &unit.begin, &unit.end);
        EXPECT_EQ(unit.text, text().text(unit.begin, unit.end));
        return unit;
    }
    [[nodiscard]] int positionOf(const QString& part) const
    {
        return static_cast<int>(whole().indexOf(part));
    }

    /// The attributes of the part, which begin and end with it.
    [[nodiscard]] QString attributesOf(const QString& part) const
    {
        int begin = 0;
        int end = 0;
        QString attributes = text().attributes(positionOf(part) + 1, &begin, &end);
        EXPECT_EQ(text().text(begin, end), part);
        return attributes;
    }
};

TEST_F(PanelText, IsReadWholeAndInParts)
{
    show(QStringLiteral("The **first** part."));
    EXPECT_EQ(text().characterCount(), 15);
    EXPECT_EQ(text().text(4, 9), QStringLiteral("first"));
    EXPECT_EQ(text().text(9, 4), QString());
    EXPECT_EQ(text().text(10, 500), QStringLiteral("part."));
}

TEST_F(PanelText, SelectionsAreMadeAndRead)
{
    show(QStringLiteral("The first part."));
    text().setSelection(0, 4, 9);
    int begin = 0;
    int end = 0;
    ASSERT_EQ(text().selectionCount(), 1);
    text().selection(0, &begin, &end);
    EXPECT_EQ(begin, 4);
    EXPECT_EQ(end, 9);
    EXPECT_EQ(lastText().selectedText(), QStringLiteral("first"));
    text().setCursorPosition(7);
    EXPECT_EQ(text().cursorPosition(), 7);
    EXPECT_EQ(text().selectionCount(), 0);
}

TEST_F(PanelText, KeysMoveTheCursorThatIsRead)
{
    show(QStringLiteral("The first part."));
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    ASSERT_EQ(focused(), QStringLiteral("Answer"));
    press(Qt::Key_Right, Qt::ShiftModifier | Qt::ControlModifier);
    EXPECT_EQ(text().cursorPosition(), 4);
    EXPECT_EQ(text().selectionCount(), 1);
}

TEST_F(PanelText, OneTextAtATimeHasASelection)
{
    show(QStringLiteral("The first part."));
    QAccessibleTextInterface* question = element(QStringLiteral("Your question"))->textInterface();
    question->setSelection(0, 0, 3);
    text().setSelection(0, 4, 9);
    EXPECT_EQ(question->selectionCount(), 0);
}

TEST_F(PanelText, EveryCharacterIsFoundAtItsOwnPlace)
{
    show(QStringLiteral("Wide mm and narrow il, **bold** and `code`.\nAnother line that is long enough to be "
                        "broken at the edge of the panel, as most are."));
    const QRect view(lastText().mapToGlobal(QPoint()), lastText().size());
    const QString all = whole();
    for (int offset = 0; offset < all.size(); ++offset) {
        const QRect place = text().characterRect(offset);
        // A space at the end of a line hangs over the edge, and a line end has no width.
        if (all.at(offset).isSpace())
            continue;
        EXPECT_TRUE(view.contains(place)) << offset;
        EXPECT_EQ(text().offsetAtPoint(place.center()), offset) << offset;
        // Right of its middle a wide one is still the one that is pointed at, though a cursor would go behind
        // it.
        constexpr int kWide = 8;
        if (place.width() >= kWide) {
            EXPECT_EQ(text().offsetAtPoint({place.left() + place.width() * 3 / 4, place.center().y()}),
                      offset)
                << offset;
        }
    }
    EXPECT_EQ(text().offsetAtPoint(view.topLeft() - QPoint(1, 1)), -1);
}

TEST_F(PanelText, WordsSentencesAndParagraphsHaveTheirBounds)
{
    show(QStringLiteral("One two. Three four!\nFive six."));
    EXPECT_EQ(at(5, QAccessible::WordBoundary).text.trimmed(), QStringLiteral("two"));
    EXPECT_EQ(at(10, QAccessible::SentenceBoundary).text.trimmed(), QStringLiteral("Three four!"));
    EXPECT_EQ(at(3, QAccessible::ParagraphBoundary).text, QStringLiteral("One two. Three four!\n"));
    EXPECT_EQ(at(25, QAccessible::ParagraphBoundary).text, QStringLiteral("Five six."));
    EXPECT_EQ(at(25, QAccessible::NoBoundary).text, whole());
    int begin = 0;
    int end = 0;
    EXPECT_EQ(text().textAfterOffset(3, QAccessible::ParagraphBoundary, &begin, &end),
              QStringLiteral("Five six."));
    EXPECT_EQ(begin, 21);
    EXPECT_EQ(text().textAfterOffset(25, QAccessible::ParagraphBoundary, &begin, &end), QString());
    EXPECT_EQ(begin, -1);
    EXPECT_EQ(text().textBeforeOffset(25, QAccessible::ParagraphBoundary, &begin, &end),
              QStringLiteral("One two. Three four!\n"));
}

TEST_F(PanelText, LinesAreThoseOnTheScreen)
{
    show(QStringLiteral("Words that go on for a while. ").repeated(20) + QStringLiteral("\nThe end."));
    QString together;
    int lines = 0;
    for (int offset = 0; offset < text().characterCount(); ++lines) {
        const Unit line = at(offset, QAccessible::LineBoundary);
        ASSERT_EQ(line.begin, offset);
        ASSERT_GT(line.end, offset);
        EXPECT_EQ(at(line.end - 1, QAccessible::LineBoundary).begin, offset);
        const int top = text().characterRect(line.begin).top();
        EXPECT_EQ(text().characterRect(std::max(line.begin, line.end - 2)).top(), top);
        together += line.text;
        offset = line.end;
    }
    EXPECT_EQ(together, whole());
    EXPECT_GT(lines, 4);
    EXPECT_EQ(at(text().characterCount(), QAccessible::LineBoundary).text, QStringLiteral("The end."));
}

TEST_F(PanelText, CharactersOutsideTheBasicPlaneStayInOnePiece)
{
    show(QStringLiteral("a😀b👩‍👩‍👧c"));
    EXPECT_EQ(at(1, QAccessible::CharBoundary).text, QStringLiteral("😀"));
    EXPECT_EQ(at(2, QAccessible::CharBoundary).text, QStringLiteral("😀"));
    EXPECT_EQ(text().characterRect(1), text().characterRect(2));
    EXPECT_GT(text().characterRect(1).width(), 1);
    EXPECT_EQ(text().offsetAtPoint(text().characterRect(1).center()), 1);
    EXPECT_EQ(at(4, QAccessible::CharBoundary).text, QStringLiteral("👩‍👩‍👧"));
}

TEST_F(PanelText, StylesAndLinksAreAttributes)
{
    show(QStringLiteral("# Heading\nPlain **bold** and `code` https://example.org/a end"));
    EXPECT_TRUE(attributesOf(QStringLiteral("Heading")).contains(QStringLiteral("font-weight:600;")));
    EXPECT_TRUE(attributesOf(QStringLiteral("Heading")).contains(QStringLiteral("font-size:")));
    EXPECT_EQ(attributesOf(QStringLiteral("bold")), QStringLiteral("font-weight:600;"));
    EXPECT_EQ(attributesOf(QStringLiteral("code")), QStringLiteral("font-family:monospace;"));
    EXPECT_EQ(attributesOf(QStringLiteral("https://example.org/a")),
              QStringLiteral("text-underline-style:solid;"));
    EXPECT_EQ(attributesOf(QStringLiteral(" end")), QString());
}

TEST_F(PanelText, InAVeryLongTextTheSameIsFoundAsByReadingAllOfIt)
{
    show(QStringLiteral("Some words make a sentence. 😀 Others do, too! ").repeated(1000));
    const int middle = text().characterCount() / 2;
    for (int offset = middle; offset < middle + 60; ++offset) {
        for (const auto type :
             {QAccessible::CharBoundary, QAccessible::WordBoundary, QAccessible::SentenceBoundary}) {
            int begin = 0;
            int end = 0;
            const QString expected =
                text().QAccessibleTextInterface::textAtOffset(offset, type, &begin, &end);
            const Unit unit = at(offset, type);
            EXPECT_EQ(unit.text, expected);
            EXPECT_EQ(unit.begin, begin);
            EXPECT_EQ(unit.end, end);
        }
    }
}

} // namespace
} // namespace velmo
