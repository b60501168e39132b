// Colours, fonts, corners and lines. The numbers are written down here once more, on purpose.

#include "panel/GradientFadeView.h"
#include "panel/KeyBadgeView.h"
#include "panel/OverlayScroller.h"
#include "panel/PanelTest.h"

#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>

namespace velmo {
namespace {

struct Rgba {
    double red;
    double green;
    double blue;
    double alpha;
};

constexpr Rgba whiteAt(double alpha)
{
    return {1, 1, 1, alpha};
}

/// The widget's own picture, without what is behind it.
QImage paintedAlone(QWidget& widget, int pixelRatio = 1)
{
    QImage image(widget.size() * pixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(pixelRatio);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image.convertToFormat(QImage::Format_ARGB32);
}

/// In 255 steps, rounded once or twice on the way.
void expectPixel(const QImage& image, QPoint at, const QColor& expected, int tolerance = 2)
{
    const QColor actual = image.pixelColor(at);
    EXPECT_NEAR(actual.red(), expected.red(), tolerance) << at.x() << ',' << at.y();
    EXPECT_NEAR(actual.green(), expected.green(), tolerance) << at.x() << ',' << at.y();
    EXPECT_NEAR(actual.blue(), expected.blue(), tolerance) << at.x() << ',' << at.y();
    EXPECT_NEAR(actual.alpha(), expected.alpha(), tolerance) << at.x() << ',' << at.y();
}

/// What is seen of a colour over an opaque ground.
QColor over(const QColor& ground, const QColor& colour)
{
    QColor opaque = colour;
    opaque.setAlphaF(1);
    return blended(ground, opaque, colour.alphaF());
}

TEST(QueryPanelThemeColours, AreTheOnesOfTheDesign)
{
    struct Case {
        const char* name;
        QColor actual;
        Rgba expected;
    };
    using namespace QueryPanelTheme;
    const std::vector<Case> cases{
        {"background", background(), {0.067, 0.067, 0.082, 1}},
        {"inputBackground", inputBackground(), {0.15, 0.15, 0.175, 1}},
        {"userBubbleBackground", userBubbleBackground(), whiteAt(0.1)},
        {"userBubbleBorder", userBubbleBorder(), whiteAt(0.08)},
        {"border", border(), whiteAt(0.14)},
        {"subtleBorder", subtleBorder(), whiteAt(0.1)},
        {"faintBorder", faintBorder(), whiteAt(0.06)},
        {"text", text(), whiteAt(1)},
        {"dimText", dimText(), whiteAt(0.4)},
        {"accent", accent(), {0.38, 0.44, 1, 1}},
        {"focusedBorder", focusedBorder(), {0.38, 0.44, 1, 0.5}},
    };
    // The tightest that colours in 255 steps allow.
    constexpr double kStep = 0.5 / 255 + 1e-4;
    for (const Case& one : cases) {
        EXPECT_NEAR(one.actual.redF(), one.expected.red, kStep) << one.name;
        EXPECT_NEAR(one.actual.greenF(), one.expected.green, kStep) << one.name;
        EXPECT_NEAR(one.actual.blueF(), one.expected.blue, kStep) << one.name;
        EXPECT_NEAR(one.actual.alphaF(), one.expected.alpha, kStep) << one.name;
    }
}

/// From 1 to 21, between two opaque colours.
double contrast(const QColor& one, const QColor& other)
{
    const auto luminance = [](const QColor& colour) {
        const auto linear = [](double value) {
            return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
               0.0722 * linear(colour.blueF());
    };
    const double first = luminance(one);
    const double second = luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

TEST(QueryPanelThemeColours, TextCanBeReadOnEveryGround)
{
    using namespace QueryPanelTheme;
    const QColor card = background();
    const QColor input = inputBackground();
    struct Case {
        const char* name;
        QColor ground;
        QColor text;
        double least;
    };
    constexpr double kReadable = 4.5;
    constexpr double kDim = 3.5; ///< On purpose: what is not there yet, or matters least.
    const std::vector<Case> cases{
        {"an answer", card, text(), kReadable},
        {"a question", over(card, userBubbleBackground()), text(), kReadable},
        {"selected text of an answer", over(card, selection()), text(), kReadable},
        {"selected text of a question", over(over(card, userBubbleBackground()), selection()), text(),
         kReadable},
        {"typed text", input, text(), kReadable},
        {"selected typed text", palette(text()).color(QPalette::Highlight),
         palette(text()).color(QPalette::HighlightedText), kReadable},
        {"the pill's title", over(input, white(0.07F)), label(), kReadable},
        {"the badge", card, label(), kReadable},
        {"a word under the pointer", card, hoveredText(), kReadable},
        {"Cancel", card, dimText(), kDim},
        {"the placeholder", input, dimText(), kDim},
    };
    for (const Case& one : cases)
        EXPECT_GE(contrast(over(one.ground, one.text), one.ground), one.least) << one.name;
    // It measures what it should.
    EXPECT_NEAR(contrast(Qt::black, Qt::white), 21, 0.01);
    EXPECT_NEAR(contrast(QColor(118, 118, 118), Qt::white), 4.54, 0.01);
}

class PanelLook : public PanelTest {
protected:
    [[nodiscard]] QRect place(const QWidget& part) const
    {
        return {part.mapTo(scene->content.get(), QPoint()), part.size()};
    }
    [[nodiscard]] QLabel& label(const QString& content) const
    {
        for (QLabel* candidate : widgetsIn<QLabel>(*scene->content)) {
            if (candidate->text() == content)
                return *candidate;
        }
        throw std::runtime_error("no such label");
    }
    [[nodiscard]] RoundedBackgroundView& card() const { return widget<RoundedBackgroundView>(); }
    [[nodiscard]] RoundedBackgroundView& container() const
    {
        return dynamic_cast<RoundedBackgroundView&>(*field().parentWidget());
    }
    void converseAtLength()
    {
        deliverCapture();
        converse(QStringLiteral("Why?"), QStringLiteral("A line of an answer.\n").repeated(60));
    }
};

TEST_F(PanelLook, FontsOutsideMessages)
{
    struct Case {
        const char* name;
        QFont font;
        int size;
        QFont::Weight weight;
    };
    const std::vector<Case> cases{
        {"pill", widget<ModelPillButton>().font(), 10, QFont::Normal},
        {"badge", widget<KeyBadgeView>().font(), 10, QFont::Medium},
        {"Cancel", widget<TextButton>().font(), 11, QFont::Medium},
        {"preparing", label(QStringLiteral("Preparing screenshot…")).font(), 11, QFont::Normal},
        {"transcribing", label(QStringLiteral("Transcribing…")).font(), 11, QFont::Normal},
        {"field", text().font(), 13, QFont::Normal},
        {"placeholder", field().placeholderField().font(), 13, QFont::Normal},
        {"typed text", text().document()->defaultFont(), 13, QFont::Normal},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(one.font.pixelSize(), one.size) << one.name;
        EXPECT_EQ(one.font.weight(), one.weight) << one.name;
        EXPECT_EQ(one.font.family(), QFont().family()) << one.name;
    }
}

TEST_F(PanelLook, TheCardAndTheContainerAreRoundAndFramed)
{
    struct Case {
        const char* name;
        const RoundedBackgroundView& view;
        QColor fill;
    };
    for (const Case& one :
         {Case{"card", card(), QColor(17, 17, 21)}, Case{"container", container(), QColor(38, 38, 45)}}) {
        EXPECT_EQ(one.view.cornerRadius(), 18) << one.name;
        EXPECT_EQ(one.view.borderWidth(), 1) << one.name;
        EXPECT_EQ(one.view.backgroundColor(), one.fill) << one.name;
    }
    EXPECT_EQ(card().borderColor(), white(0.14F));
    EXPECT_EQ(container().borderColor(), white(0.1F));
    EXPECT_EQ(place(card()), scene->content->rect());
}

TEST_F(PanelLook, ARoundedGroundIsPaintedAsItSays)
{
    const QColor fill(17, 17, 21);
    RoundedBackgroundView view(18, fill, white(0.14F));
    view.resize(100, 60);
    const QImage image = paintedAlone(view);
    expectPixel(image, {0, 0}, Qt::transparent);
    expectPixel(image, {4, 4}, Qt::transparent, 40);
    expectPixel(image, {7, 7}, fill);
    expectPixel(image, {50, 30}, fill);
    for (const QPoint& edge : {QPoint(50, 0), QPoint(50, 59), QPoint(0, 30), QPoint(99, 30)})
        expectPixel(image, edge, over(fill, white(0.14F)));
    for (const QPoint& inside : {QPoint(50, 1), QPoint(50, 58), QPoint(1, 30), QPoint(98, 30)})
        expectPixel(image, inside, fill);
    view.setBorderColor(QColor(97, 112, 255));
    expectPixel(paintedAlone(view), {50, 0}, QColor(97, 112, 255));
}

TEST_F(PanelLook, TheTranscriptEndsInAFadeAndADivider)
{
    converseAtLength();
    const int height = transcript().height();
    // Inside the card's border.
    EXPECT_EQ(widget<GradientFadeView>().geometry(), QRect(1, height - 20, 618, 20));
    auto& divider = *transcript().findChild<QWidget*>(QStringLiteral("divider"));
    EXPECT_EQ(divider.geometry(), QRect(1, height - 1, 618, 1));
    EXPECT_TRUE(divider.isVisible());
    expectPixel(paintedAlone(*scene->content), {310, height - 1}, over(QColor(17, 17, 21), white(0.06F)));
    // The gradient itself.
    const QImage fade = paintedAlone(widget<GradientFadeView>());
    for (const int y : {0, 5, 10, 15, 19}) {
        const double alpha = 255 * (y + 0.5) / 20;
        EXPECT_NEAR(fade.pixelColor(300, y).alpha(), alpha, 3) << y;
    }
    expectPixel(fade, {300, 19}, QColor(17, 17, 21, 249), 3);
}

TEST_F(PanelLook, WhatScrollsUnderTheFadeVanishes)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("██████████████████\n").repeated(60));
    transcript().verticalScrollBar()->setValue(50);
    const QImage image = paintedAlone(*scene->content);
    const int bottom = transcript().height();
    const auto brightest = [&](int from, int to) {
        int value = 0;
        for (int y = from; y < to; ++y) {
            for (int x = 30; x < 200; ++x)
                value = std::max(value, image.pixelColor(x, y).green());
        }
        return value;
    };
    EXPECT_GT(brightest(bottom - 60, bottom - 20), 200);
    EXPECT_LT(brightest(bottom - 3, bottom - 1), 60);
}

TEST_F(PanelLook, TheScrollerLiesOverTheTextAndHidesItself)
{
    converseAtLength();
    auto& scroller = widget<OverlayScroller>();
    const auto isShown = [&] {
        const QImage image = paintedAlone(scroller);
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixelColor(image.width() / 2, y).alpha() > 0)
                return true;
        }
        return false;
    };
    EXPECT_EQ(transcript().verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(transcript().horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(transcript().frameShape(), QFrame::NoFrame);
    EXPECT_EQ(transcript().viewport()->width(), 620) << "it takes no room from the text";
    EXPECT_EQ(transcript().documentView().width(), 620);
    EXPECT_FALSE(isShown());
    QWheelEvent wheel(QPointF(10, 10), transcript().mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, 240),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(transcript().viewport(), &wheel);
    EXPECT_TRUE(isShown());
    EXPECT_TRUE(turnUntil([&] { return !isShown(); }));
}

TEST_F(PanelLook, TheBadgeNamesTheKeyBesideCancel)
{
    auto& badge = widget<KeyBadgeView>();
    EXPECT_EQ(badge.accessibleName(), QStringLiteral("esc"));
    const QFontMetrics metrics(badge.font());
    EXPECT_EQ(badge.size(),
              QSize(metrics.horizontalAdvance(QStringLiteral("esc")) + 2 * 5, metrics.height() + 2 * 2));
    EXPECT_EQ(place(badge).left(), place(widget<TextButton>()).right() + 1 + 6);
    EXPECT_NEAR(place(badge).center().y(), scene->content->height() - 21, 1);
    // Of radius 4: outside the corner nothing, on it the border.
    const QImage image = paintedAlone(badge);
    EXPECT_LE(image.pixelColor(0, 0).alpha(), 3);
    EXPECT_GE(image.pixelColor(1, 1).alpha(), 18);
    EXPECT_NEAR(image.pixelColor(badge.width() / 2, 0).alpha(), 25.5, 2);
    EXPECT_NEAR(image.pixelColor(0, badge.height() / 2).alpha(), 25.5, 2);
    EXPECT_EQ(image.pixelColor(2, badge.height() / 2).alpha(), 0);
    int inked = 0;
    for (int y = 3; y < badge.height() - 3; ++y) {
        for (int x = 5; x < badge.width() - 5; ++x) {
            inked += image.pixelColor(x, y).alpha() > 80 ? 1 : 0;
            EXPECT_LE(image.pixelColor(x, y).alpha(), 167);
        }
    }
    EXPECT_GT(inked, 10);
}

TEST_F(PanelLook, ThePillIsWiderThanItsTitleAndHasAFaintFillAndAThinBorder)
{
    auto& pill = widget<ModelPillButton>();
    const QFontMetrics metrics(pill.font());
    constexpr int kOrdinaryButton = 8;
    EXPECT_EQ(pill.width(), metrics.horizontalAdvance(pill.text()) + kOrdinaryButton + 14);
    EXPECT_EQ(pill.height(), 22);
    const QImage image = paintedAlone(pill);
    EXPECT_LE(image.pixelColor(0, 0).alpha(), 3);
    // Beside the title: white at .07.
    EXPECT_NEAR(image.pixelColor(4, 11).alpha(), 0.07 * 255, 1);
    // Half a point of white at .16 over that, which is a whole pixel at twice the scale.
    const QImage fine = paintedAlone(pill, 2);
    for (const int y : {0, 43})
        EXPECT_NEAR(fine.pixelColor(pill.width(), y).alpha(), 255 * (0.07 + 0.93 * 0.16), 3) << y;
    for (const int y : {1, 42})
        EXPECT_NEAR(fine.pixelColor(pill.width(), y).alpha(), 255 * 0.07, 3) << y;
    // Of radius 11.
    EXPECT_LE(image.pixelColor(2, 2).alpha(), 6);
    EXPECT_GE(image.pixelColor(4, 4).alpha(), 14);
}

TEST_F(PanelLook, StatusWordsFollowTheirSpinner)
{
    const QRect words = place(label(QStringLiteral("Preparing screenshot…")));
    const QRect spinner = place(widget<SpinnerView>());
    EXPECT_EQ(words.left() - (spinner.right() + 1), 5);
    EXPECT_NEAR(spinner.center().y(), words.center().y(), 1);
    EXPECT_EQ(label(QStringLiteral("Preparing screenshot…")).palette().color(QPalette::WindowText),
              white(0.4F));
    EXPECT_EQ(label(QStringLiteral("Transcribing…")).palette().color(QPalette::WindowText), white(0.4F));
}

TEST_F(PanelLook, TheMicrophoneIsDimWhileItIsIdle)
{
    useMicrophone();
    EXPECT_EQ(widget<HoldToRecordButton>().tint(), white(0.4F));
    deliverCapture();
    EXPECT_EQ(widget<HoldToRecordButton>().tint(), white(0.4F));
}

TEST_F(PanelLook, TextAndPlaceholderBeginThreeBelowTheFieldsTop)
{
    EXPECT_EQ(text().mapTo(&field(), text().cursorRect().topLeft()), QPoint(0, 3));
    const QLabel& placeholder = field().placeholderField();
    EXPECT_EQ(placeholder.mapTo(&field(), placeholder.contentsRect().topLeft()), QPoint(0, 3));
    EXPECT_TRUE(placeholder.alignment().testFlag(Qt::AlignTop));
    // A second line does not move the first.
    text().setPlainText(QStringLiteral("one\ntwo"));
    scene->fit();
    text().moveCursor(QTextCursor::Start);
    EXPECT_EQ(text().mapTo(&field(), text().cursorRect().topLeft()), QPoint(0, 3));
}

TEST_F(PanelLook, TheFieldIsPalerWhileItCannotBeEdited)
{
    const QLabel& placeholder = field().placeholderField();
    EXPECT_EQ(placeholder.text(), QStringLiteral("Ask anything about the annotated area…"));
    const auto alphas = [&] {
        return std::pair(text().palette().color(QPalette::Text).alphaF(),
                         placeholder.palette().color(QPalette::WindowText).alphaF());
    };
    deliverCapture();
    EXPECT_EQ(placeholder.palette().color(QPalette::WindowText), white(0.4F));
    EXPECT_EQ(text().palette().color(QPalette::Text), QColor(Qt::white));
    scene->ask(QStringLiteral("Why?"));
    EXPECT_NEAR(alphas().first, 0.72, 0.003);
    EXPECT_NEAR(alphas().second, 0.4 * 0.72, 0.003);
    scene->finish();
    EXPECT_NEAR(alphas().first, 1, 0.003);
    EXPECT_NEAR(alphas().second, 0.4, 0.003);
}

} // namespace
} // namespace velmo
