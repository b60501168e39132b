#include "widgets/TextLabel.h"

#include "support/core/Printing.h"
#include "support/widgets/Palettes.h"

#include <QAccessible>
#include <gmock/gmock.h>

namespace velmo {
namespace {

constexpr TextLabel::Style kStyle{13, 17, &WindowTheme::secondaryText};

TEST(TextLabelTest, HasAHeightOfWholeLines)
{
    TextLabel label(kStyle, QStringLiteral("One line"));
    EXPECT_EQ(label.sizeHint().height(), 17);
    EXPECT_EQ(label.heightForWidth(label.sizeHint().width()), 17);
    EXPECT_EQ(label.heightForWidth(label.sizeHint().width() - 10), 2 * 17) << "the words are broken";
    label.setText(QStringLiteral("One\n\nThree"));
    EXPECT_EQ(label.sizeHint().height(), 3 * 17);
}

TEST(TextLabelTest, IsReadOutAsItsText)
{
    TextLabel label(kStyle, QStringLiteral("<b>Not bold</b> &c."));
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&label);
    EXPECT_EQ(interface->role(), QAccessible::StaticText);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("<b>Not bold</b> &c."));
}

TEST(TextLabelTest, IsDrawnInTheSchemesColourWhereItIsAligned)
{
    TextLabel label(kStyle, QStringLiteral("||||"));
    label.setStyleSheet(QStringLiteral("background: white"));
    label.resize(300, 17);
    const auto inkAt = [&label](const ApplicationPalette&) {
        const QImage image = label.grab().toImage();
        double sum = 0;
        int count = 0;
        for (int x = 0; x < image.width(); ++x) {
            for (int y = 0; y < image.height(); ++y) {
                if (image.pixelColor(x, y).lightness() < 200) {
                    sum += x;
                    ++count;
                }
            }
        }
        return count == 0 ? -1 : sum / count / label.devicePixelRatio();
    };
    const ApplicationPalette light(lightPalette());
    EXPECT_LT(inkAt(light), 20);
    label.setAlignment(Qt::AlignCenter);
    EXPECT_NEAR(inkAt(light), 150, 3);
    label.setAlignment(Qt::AlignRight);
    EXPECT_GT(inkAt(light), 280);
    EXPECT_EQ(label.tint(), QColor(0x5c5c68));
    const ApplicationPalette dark(darkPalette());
    EXPECT_EQ(label.tint(), QColor(0xa9a9b4));
}

} // namespace
} // namespace velmo
