#include "panel/PanelToolTip.h"

#include "panel/PanelTest.h"
#include "support/widgets/ShownWidgets.h"

#include <QHelpEvent>
#include <QScreen>
#include <QToolTip>
#include <QWheelEvent>

namespace velmo {
namespace {

/// A panel that the pointer can be over.
class PanelToolTips : public PanelTest {
protected:
    PanelToolTips()
    {
        scene->content->setAttribute(Qt::WA_DontShowOnScreen, false);
        scene->content->hide();
        scene->content->move(60, 60);
        scene->show();
    }

    /// As the toolkit asks when the pointer rests there.
    static void restOn(QWidget& part, QPoint at)
    {
        QHelpEvent event(QEvent::ToolTip, at, part.mapToGlobal(at));
        QApplication::sendEvent(&part, &event);
    }
    static void restOn(QWidget& part) { restOn(part, part.rect().center()); }

    [[nodiscard]] static PanelToolTip* shown()
    {
        const auto found = shownWidgets<PanelToolTip>();
        return found.empty() ? nullptr : found.front();
    }
    [[nodiscard]] static QString shownText()
    {
        const PanelToolTip* tip = shown();
        return tip == nullptr ? QString() : tip->text();
    }

    [[nodiscard]] PanelButton& button(const QString& toolTip) const
    {
        for (PanelButton* candidate : widgetsIn<PanelButton>(*scene->content)) {
            if (candidate->toolTip() == toolTip)
                return *candidate;
        }
        throw std::runtime_error("no such button");
    }
    [[nodiscard]] PanelButton& remove() const { return button(QStringLiteral("Remove attachment")); }
};

TEST_F(PanelToolTips, TellWhatAButtonDoesInThePanelsOwnLook)
{
    deliverCapture({640, 480});
    for (const QString& what :
         {QStringLiteral("Click to view full size"), QStringLiteral("Remove attachment")}) {
        ASSERT_EQ(shown(), nullptr);
        restOn(button(what), {8, 40 % button(what).height()});
        EXPECT_EQ(shownText(), what);
        EXPECT_FALSE(QToolTip::isVisible()) << "the desktop's look";
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(&button(what), &leave);
    }
}

TEST_F(PanelToolTips, NothingIsSaidWhereThereIsNothingToSay)
{
    deliverCapture();
    restOn(widget<TextButton>());
    restOn(text());
    restOn(*scene->content);
    EXPECT_EQ(shown(), nullptr);
    EXPECT_FALSE(QToolTip::isVisible());
}

TEST_F(PanelToolTips, ALinkShowsItsAddress)
{
    deliverCapture();
    converse(QStringLiteral("Where?"), QStringLiteral("https://example.org/a and more"));
    AutoSizingTextView& answer = row(2).textView();
    const auto pointAt = [&](qsizetype position) {
        const QPointF at = answer.cursorRectangle(position).center();
        QMouseEvent move(QEvent::MouseMove, at, answer.mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(&answer, &move);
        restOn(answer, at.toPoint());
    };
    pointAt(5);
    EXPECT_EQ(shownText(), QStringLiteral("https://example.org/a"));
    EXPECT_FALSE(QToolTip::isVisible());
    // Beside the link it goes at once.
    pointAt(28);
    EXPECT_EQ(shown(), nullptr);
}

TEST_F(PanelToolTips, GoWithTheNextEventOfTheUser)
{
    deliverCapture({640, 480});
    QEvent leave(QEvent::Leave);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(2, 2), QPointF(2, 2), Qt::RightButton,
                      Qt::RightButton, Qt::NoModifier);
    QWheelEvent wheel(QPointF(2, 2), QPointF(2, 2), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Shift, Qt::ShiftModifier);
    QEvent deactivate(QEvent::WindowDeactivate);
    for (QEvent* event : {&leave, static_cast<QEvent*>(&press), static_cast<QEvent*>(&wheel),
                          static_cast<QEvent*>(&key), &deactivate}) {
        restOn(remove());
        ASSERT_EQ(shownText(), QStringLiteral("Remove attachment")) << event->type();
        QApplication::sendEvent(scene->content.get(), event);
        EXPECT_EQ(shown(), nullptr) << event->type();
    }
    restOn(remove());
    scene->content->detach();
    EXPECT_EQ(shown(), nullptr) << "the panel has left";
}

class ToolTipWindow : public testing::Test {
protected:
    [[nodiscard]] static QRect screen() { return QGuiApplication::primaryScreen()->geometry(); }
};

TEST_F(ToolTipWindow, StandsBesideThePointerAndOnTheScreen)
{
    PanelToolTip tip(false);
    tip.showText({100, 100}, QStringLiteral("Some help"));
    EXPECT_EQ(tip.pos(), QPoint(102, 120));
    EXPECT_EQ(tip.font().pixelSize(), 11);
    EXPECT_EQ(tip.width(), tip.fontMetrics().horizontalAdvance(QStringLiteral("Some help")) + 16);
    EXPECT_TRUE(tip.windowFlags().testFlag(Qt::WindowTransparentForInput));
    for (const QPoint& corner :
         {screen().topLeft(), screen().topRight(), screen().bottomLeft(), screen().bottomRight()}) {
        tip.showText(corner, QStringLiteral("Some help"));
        EXPECT_TRUE(screen().contains(tip.geometry())) << corner.x() << ',' << corner.y();
        EXPECT_FALSE(tip.geometry().contains(corner)) << corner.x() << ',' << corner.y();
    }
}

TEST_F(ToolTipWindow, ALongAddressIsShortenedInItsMiddle)
{
    PanelToolTip tip(false);
    const QString address =
        QStringLiteral("https://example.org/") + QString(400, u'x') + QStringLiteral("/end");
    tip.showText({10, 10}, address);
    EXPECT_LE(tip.width(), 460 + 16);
    EXPECT_TRUE(tip.text().startsWith(QStringLiteral("https://ex")));
    EXPECT_TRUE(tip.text().endsWith(QStringLiteral("/end")));
}

TEST_F(ToolTipWindow, IsPaintedDarkWithLightText)
{
    PanelToolTip tip(false);
    // A line that is whole pixels of the text's colour.
    QFont font = tip.font();
    font.setUnderline(true);
    tip.setFont(font);
    tip.showText({10, 10}, QStringLiteral("Some help"));
    QImage image(tip.size() * 4, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(4);
    image.fill(Qt::transparent);
    tip.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    const QColor ground = image.pixelColor(4 * 4, image.height() / 2);
    EXPECT_EQ(ground, QColor(46, 46, 54));
    int brightest = 0;
    for (int y = 0; y < image.height(); ++y)
        brightest = std::max(brightest, image.pixelColor(image.width() / 2, y).red());
    // White at .92 over the ground, which is far more than text needs.
    EXPECT_NEAR(brightest, 46 + 0.92 * (255 - 46), 3);
}

} // namespace
} // namespace velmo
