#include "support/settings/SettingsTest.h"

#include "settings/SettingsView.h"
#include "support/widgets/Palettes.h"
#include "widgets/FieldFrame.h"
#include "widgets/FormSection.h"
#include "widgets/SegmentedControl.h"
#include "widgets/SymbolView.h"
#include "widgets/TextLabel.h"
#include "widgets/WindowTheme.h"

namespace velmo {
namespace {

class SettingsLookTest : public SettingsTest {
protected:
    [[nodiscard]] SettingsView& form() const { return *all<SettingsView>().at(0); }
    [[nodiscard]] QRect placeOf(const QWidget& widget) const
    {
        return {widget.mapTo(view.get(), QPoint()), widget.size()};
    }
    [[nodiscard]] QColor colorAt(QPoint point) const
    {
        const QImage picture = view->grab().toImage();
        return picture.pixelColor(point * picture.devicePixelRatio());
    }
};

TEST_F(SettingsLookTest, SizesAreTheDesigns)
{
    EXPECT_EQ(view->size(), QSize(520, 580));
    EXPECT_EQ(placeOf(*all<SegmentedControl>().at(0)), QRect(130, 14, 260, 28));
    EXPECT_EQ(placeOf(form()), QRect(0, 57, 520, 523));
    EXPECT_EQ(placeOf(row(0)), QRect(20, 95, 480, 44));
    EXPECT_EQ(placeOf(row(1)), QRect(20, 139, 480, 44));
    constexpr int kHalo = FieldFrame::kHalo;
    const QRect box = placeOf(*field(0).parentWidget()).adjusted(kHalo, kHalo, -kHalo, -kHalo);
    EXPECT_EQ(box.left(), 120);
    EXPECT_EQ(box.height(), 26);
    EXPECT_EQ(placeOf(inRow(0, QStringLiteral("Save"))).left() - box.right() - 1, 6);
    EXPECT_EQ(placeOf(inRow(0, QStringLiteral("Save"))).right(), 485);
    EXPECT_EQ(placeOf(*editor().parentWidget()).height() - 2 * kHalo, 140);
}

TEST_F(SettingsLookTest, ASetKeyStandsAtTheRight)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    const QRect dots = placeOf(*named<QLabel>(QStringLiteral("Anthropic API Key is set")));
    const QRect clear = placeOf(inRow(0, QStringLiteral("Clear")));
    const SymbolView& symbol = *all<SymbolView>().at(0);
    EXPECT_EQ(symbol.tint(), WindowTheme::current().granted);
    EXPECT_EQ(dots.left() - placeOf(symbol).right() - 1, 6);
    EXPECT_EQ(clear.left() - dots.right() - 1, 6);
    EXPECT_EQ(clear.right(), 485);
    EXPECT_EQ(row(0).height(), 44);
}

TEST_F(SettingsLookTest, TheFormScrollsToItsEnd)
{
    QScrollBar* bar = form().verticalScrollBar();
    ASSERT_GT(bar->maximum(), 0);
    const QAbstractButton& last = button(QStringLiteral("Manual Submit — press Done when ready"));
    EXPECT_TRUE(last.visibleRegion().isEmpty());
    bar->setValue(bar->maximum());
    EXPECT_EQ(last.visibleRegion().boundingRect(), last.rect());
    // Down to the margin below the last card.
    EXPECT_EQ(placeOf(*all<FormSection>().back()).bottom(), 580 - 20 - 1);
}

TEST_F(SettingsLookTest, FollowsTheSchemeWhileItIsOpen)
{
    const QPoint window(4, 4);
    const QPoint card = placeOf(row(0)).topLeft() + QPoint(6, 22);
    const QPoint box = placeOf(field(0)).center();
    for (const bool isDark : {true, false, true}) {
        const ApplicationPalette palette(isDark ? darkPalette() : lightPalette());
        settle();
        const WindowTheme theme = isDark ? WindowTheme::dark() : WindowTheme::light();
        EXPECT_EQ(colorAt(window), theme.window);
        EXPECT_EQ(colorAt(card), theme.card);
        EXPECT_EQ(colorAt(box), theme.field);
        EXPECT_EQ(field(0).palette().color(QPalette::Text), theme.text);
        for (const TextLabel* label : all<TextLabel>()) {
            const QColor color = label->tint();
            EXPECT_TRUE(color == theme.text || color == theme.secondaryText || color == theme.warning)
                << label->text().toStdString();
        }
    }
}

TEST_F(SettingsLookTest, AFieldWithTheKeyboardHasAnAccentedBox)
{
    const QPoint edge = placeOf(*field(0).parentWidget()).topLeft() + QPoint(60, FieldFrame::kHalo);
    const QColor before = colorAt(edge);
    field(0).setFocus();
    settle();
    const QColor accent = WindowTheme::current().accent;
    EXPECT_NE(before, accent);
    EXPECT_EQ(colorAt(edge), accent);
    editor().setFocus();
    settle();
    EXPECT_EQ(colorAt(edge), before);
}

} // namespace
} // namespace velmo
