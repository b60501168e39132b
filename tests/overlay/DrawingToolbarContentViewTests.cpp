#include "overlay/DrawingToolbarContentView.h"
#include "support/core/SessionTest.h"

#include <QEnterEvent>

namespace velmo {
namespace {

using testing::ElementsAre;

class Toolbar : public SessionTest {
protected:
    [[nodiscard]] std::unique_ptr<DrawingToolbarContentView> make()
    {
        session->begin(true);
        auto toolbar = std::make_unique<DrawingToolbarContentView>(drawing, *session);
        // Lays it out as showing it would.
        toolbar->grab();
        return toolbar;
    }

    /// Where a control is in the toolbar.
    [[nodiscard]] static QRect placeOf(const QWidget& control, const QWidget& toolbar)
    {
        return {control.mapTo(&toolbar, QPoint()), control.size()};
    }

    [[nodiscard]] static QAbstractButton* button(const QWidget& toolbar, const QString& name)
    {
        const auto buttons = toolbar.findChildren<QAbstractButton*>();
        for (QAbstractButton* candidate : buttons) {
            if (candidate->accessibleName() == name || candidate->text() == name)
                return candidate;
        }
        return nullptr;
    }

    [[nodiscard]] static bool isSelected(const QWidget& toolbar, const QString& name)
    {
        const auto* tool = dynamic_cast<SymbolButton*>(button(toolbar, name));
        return tool != nullptr && tool->isSelected();
    }

    [[nodiscard]] static std::vector<ColorSwatchButton*> swatches(const QWidget& toolbar)
    {
        std::vector<ColorSwatchButton*> result;
        const auto buttons = toolbar.findChildren<QAbstractButton*>();
        for (QAbstractButton* candidate : buttons) {
            if (auto* swatch = dynamic_cast<ColorSwatchButton*>(candidate))
                result.push_back(swatch);
        }
        return result;
    }

    std::shared_ptr<DrawingState> drawing = std::make_shared<DrawingState>();
    QString doneTitle = QStringLiteral("Done →");
};

TEST_F(Toolbar, InSingleStrokeModeHasNoDoneAndCentresTheColours)
{
    const auto toolbar = make();
    EXPECT_EQ(toolbar->size(), QSize(420, 56));
    EXPECT_EQ(button(*toolbar, doneTitle), nullptr);
    EXPECT_EQ(placeOf(*button(*toolbar, QStringLiteral("Scribble")), *toolbar), QRect(16, 12, 32, 32));
    EXPECT_EQ(placeOf(*button(*toolbar, QStringLiteral("Text")), *toolbar), QRect(52, 12, 32, 32));
    EXPECT_EQ(placeOf(*button(*toolbar, QStringLiteral("Cancel")), *toolbar), QRect(376, 14, 28, 28));
    const auto colors = swatches(*toolbar);
    ASSERT_EQ(colors.size(), 7U);
    // Between the dividers at 96 and 363: 176 wide in the middle.
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(placeOf(*colors[static_cast<std::size_t>(i)], *toolbar), QRect(142 + 26 * i, 18, 20, 20));
}

TEST_F(Toolbar, InManualModeEverythingFitsTheSameWidth)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    const auto toolbar = make();
    EXPECT_EQ(toolbar->size(), QSize(420, 56));
    ASSERT_NE(button(*toolbar, doneTitle), nullptr);
    EXPECT_EQ(placeOf(*button(*toolbar, doneTitle), *toolbar), QRect(294, 14, 65, 28));
    EXPECT_EQ(placeOf(*button(*toolbar, QStringLiteral("Cancel")), *toolbar), QRect(376, 14, 28, 28));
    EXPECT_EQ(placeOf(*swatches(*toolbar).front(), *toolbar), QRect(101, 18, 20, 20));
    EXPECT_EQ(placeOf(*swatches(*toolbar).back(), *toolbar), QRect(257, 18, 20, 20));
}

TEST_F(Toolbar, WithoutSettingsHasNoDone)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    settings.reset();
    EXPECT_EQ(button(*make(), doneTitle), nullptr);
}

TEST_F(Toolbar, AChangeOfTheModeShowsOnTheNextToolbarOnly)
{
    const auto toolbar = make();
    settings->submitMode.set(SubmitMode::ManualSubmit);
    settle();
    EXPECT_EQ(button(*toolbar, doneTitle), nullptr);
    const DrawingToolbarContentView next(drawing, *session);
    EXPECT_NE(button(next, doneTitle), nullptr);
}

TEST_F(Toolbar, OffersThePlainColoursInOrder)
{
    std::vector<QColor> colors;
    const auto toolbar = make();
    for (const ColorSwatchButton* swatch : swatches(*toolbar))
        colors.push_back(swatch->swatchColor());
    EXPECT_THAT(colors,
                ElementsAre(QColor::fromRgbF(1, 0, 0), QColor::fromRgbF(1, 0.5, 0), QColor::fromRgbF(1, 1, 0),
                            QColor::fromRgbF(0, 1, 0), QColor::fromRgbF(0, 0, 1), QColor::fromRgbF(1, 1, 1),
                            QColor::fromRgbF(0, 0, 0)));
}

TEST_F(Toolbar, BeginsWithRedAndTheScribbleSelected)
{
    const auto toolbar = make();
    EXPECT_TRUE(swatches(*toolbar).front()->isSelected());
    EXPECT_TRUE(isSelected(*toolbar, QStringLiteral("Scribble")));
    EXPECT_FALSE(isSelected(*toolbar, QStringLiteral("Text")));
}

TEST_F(Toolbar, ASwatchSelectsItsColourForStrokesToCome)
{
    const auto toolbar = make();
    const auto colors = swatches(*toolbar);
    colors[4]->click();
    EXPECT_EQ(drawing->selectedColor.value(), QColor::fromRgbF(0, 0, 1));
    EXPECT_FALSE(colors[4]->isSelected()) << "shown on a later turn";
    settle();
    for (std::size_t i = 0; i < colors.size(); ++i)
        EXPECT_EQ(colors[i]->isSelected(), i == 4);
}

TEST_F(Toolbar, AToolIsKnownByItsIdentifier)
{
    const auto toolbar = make();
    QAbstractButton* text = button(*toolbar, QStringLiteral("Text"));
    EXPECT_EQ(text->objectName(), QStringLiteral("textformat"));
    text->click();
    settle();
    EXPECT_EQ(drawing->selectedTool.value(), DrawingTool::Text);
    EXPECT_TRUE(isSelected(*toolbar, QStringLiteral("Text")));
    EXPECT_FALSE(isSelected(*toolbar, QStringLiteral("Scribble")));
}

TEST_F(Toolbar, FollowsAStateThatSomethingElseChanges)
{
    const auto toolbar = make();
    drawing->selectedColor.set(StrokeColor::Black);
    drawing->selectedTool.set(DrawingTool::Text);
    settle();
    EXPECT_TRUE(swatches(*toolbar).back()->isSelected());
    EXPECT_TRUE(isSelected(*toolbar, QStringLiteral("Text")));
}

TEST_F(Toolbar, DoneAdvancesAlsoWithoutAStroke)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    const auto toolbar = make();
    button(*toolbar, doneTitle)->click();
    settle();
    EXPECT_EQ(state(), SessionState::Querying);
    ASSERT_EQ(capture.requests.size(), 1U);
    EXPECT_EQ(capture.requests.front()->displayID, std::nullopt);
    EXPECT_EQ(panel().screen, std::nullopt);
}

TEST_F(Toolbar, CancelEndsTheSession)
{
    const auto toolbar = make();
    button(*toolbar, QStringLiteral("Cancel"))->click();
    settle();
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(Toolbar, GoesBeforeAPendingRefresh)
{
    auto toolbar = make();
    drawing->selectedColor.set(StrokeColor::Black);
    toolbar.reset();
    settle();
    drawing->selectedColor.set(StrokeColor::White);
    settle();
}

TEST_F(Toolbar, NeverTakesTheKeyboard)
{
    const auto toolbar = make();
    const auto buttons = toolbar->findChildren<QAbstractButton*>();
    ASSERT_EQ(buttons.size(), 10);
    for (const QAbstractButton* button : buttons)
        EXPECT_EQ(button->focusPolicy(), Qt::NoFocus);
}

/// The toolbar's own pixels, at one pixel a point.
TEST_F(Toolbar, IsPaintedInItsColours)
{
    const auto toolbar = make();
    toolbar->setAttribute(Qt::WA_TranslucentBackground);
    const QImage image = toolbar->grab().toImage().convertToFormat(QImage::Format_ARGB32);
    const QColor ground = image.pixelColor(8, 28);
    EXPECT_EQ(ground.alpha(), 235) << "0.92";
    EXPECT_NEAR(ground.red(), 32, 1);
    EXPECT_NEAR(ground.green(), 32, 1);
    EXPECT_NEAR(ground.blue(), 37, 1);
    EXPECT_EQ(qAlpha(image.pixel(0, 0)), 0) << "outside the rounded corner";
    const QRgb edge = image.pixel(210, 0);
    EXPECT_GT(qRed(edge), 50) << "the border is inside the bounds";
    const QRgb divider = image.pixel(96, 28);
    EXPECT_GT(qRed(divider), 45);
    EXPECT_LT(qRed(image.pixel(96, 14)), 40) << "24 high, from 16";
    EXPECT_GT(qRed(image.pixel(96, 17)), 45);
    EXPECT_EQ(image.pixelColor(142 + 10, 28), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(142 + 26 * 3 + 10, 28), QColor::fromRgbF(0, 1, 0));
    // The ring of the selected swatch is white, with a dark gap inside.
    EXPECT_GT(qGreen(image.pixel(143, 28)), 200);
    EXPECT_LT(qRed(image.pixel(142 + 2, 28)) - qGreen(image.pixel(142 + 2, 28)), 200);
}

} // namespace
} // namespace velmo
