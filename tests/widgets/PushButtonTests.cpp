#include "widgets/PushButton.h"

#include "support/core/EventLoop.h"
#include "support/core/Printing.h"
#include "support/widgets/Palettes.h"
#include "widgets/WindowTheme.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QVBoxLayout>
#include <QWindow>
#include <gmock/gmock.h>

namespace velmo {
namespace {

using Kind = PushButton::Kind;

class PushButtonTest : public testing::Test {
protected:
    PushButtonTest()
    {
        auto* stack = new QVBoxLayout(&window);
        stack->addWidget(&field);
    }

    PushButton& add(Kind kind, const QString& title)
    {
        auto* button = new PushButton(kind, title);
        window.layout()->addWidget(button);
        QObject::connect(button, &QAbstractButton::clicked, [this, title] { clicks.append(title); });
        return *button;
    }
    void show()
    {
        window.show();
        QApplication::setActiveWindow(&window);
        settle();
    }
    /// As it comes from the window system, shortcuts included.
    void press(int key, bool isRepeat = false)
    {
        QKeyEvent override(QEvent::ShortcutOverride, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(QApplication::focusWidget(), &override);
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(window.windowHandle(), &down);
        QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(window.windowHandle(), &up);
    }
    static QColor fillOf(PushButton& button) { return button.grab().toImage().pixelColor(6, 3); }

    QWidget window;
    QLineEdit field;
    QStringList clicks;
};

TEST_F(PushButtonTest, HasTheSizeOfItsKindAndTitle)
{
    const PushButton normal(Kind::Normal, QStringLiteral("Save"));
    EXPECT_EQ(normal.sizeHint().height(), 26);
    const PushButton longer(Kind::Normal, QStringLiteral("Save it all"));
    EXPECT_GT(longer.sizeHint().width(), normal.sizeHint().width());
    EXPECT_EQ(PushButton(Kind::Primary, QStringLiteral("Save")).sizeHint().height(), 30);
    const PushButton word(Kind::Borderless, QStringLiteral("Save"));
    EXPECT_EQ(normal.sizeHint().width() - word.sizeHint().width(), 24);
    EXPECT_EQ(word.sizeHint().height(), 18);
}

TEST_F(PushButtonTest, IsNamedByItsTitle)
{
    PushButton& button = add(Kind::Normal, QStringLiteral("Save"));
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&button);
    EXPECT_EQ(interface->role(), QAccessible::Button);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Save"));
    button.setTitle(QStringLiteral("Saved"));
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Saved"));
}

TEST_F(PushButtonTest, IsPressedByMouseAndSpace)
{
    PushButton& button = add(Kind::Normal, QStringLiteral("Save"));
    show();
    const QPointF middle = QRectF(button.rect()).center();
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, middle, button.mapToGlobal(middle), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&button, &event);
    }
    EXPECT_EQ(clicks.size(), 1);
    button.setFocus();
    press(Qt::Key_Space);
    EXPECT_EQ(clicks.size(), 2);
}

TEST_F(PushButtonTest, OnlyTheDefaultOneTakesReturnFromItsWholeWindow)
{
    PushButton& other = add(Kind::Normal, QStringLiteral("Other"));
    PushButton& button = add(Kind::Primary, QStringLiteral("Save"));
    show();
    field.setFocus();
    press(Qt::Key_Return);
    EXPECT_EQ(clicks, QStringList());
    button.setDefault(true);
    press(Qt::Key_Return);
    press(Qt::Key_Enter);
    other.setFocus();
    press(Qt::Key_Return);
    EXPECT_EQ(clicks, QStringList(3, QStringLiteral("Save")));
    press(Qt::Key_Return, true);
    EXPECT_EQ(clicks.size(), 3) << "a key that is held is one press";

    clicks.clear();
    button.setEnabled(false);
    field.setFocus();
    press(Qt::Key_Return);
    button.setEnabled(true);
    button.hide();
    press(Qt::Key_Return);
    button.show();
    button.setDefault(false);
    press(Qt::Key_Return);
    EXPECT_EQ(clicks, QStringList());
}

TEST_F(PushButtonTest, ShowsWhatIsDoneToIt)
{
    const ApplicationPalette light(lightPalette());
    PushButton& button = add(Kind::Primary, QStringLiteral("Save"));
    show();
    EXPECT_EQ(fillOf(button), QColor(0x5461f0));
    QEnterEvent enter({}, {}, {});
    QCoreApplication::sendEvent(&button, &enter);
    EXPECT_TRUE(turnUntil([&] { return fillOf(button) == QColor(0x4854e0); }));
    button.setDown(true);
    Q_EMIT button.pressed();
    EXPECT_TRUE(turnUntil([&] { return fillOf(button) == QColor(0x3d48c8); }));
    button.setEnabled(false);
    EXPECT_NE(fillOf(button), QColor(0x3d48c8));
}

TEST_F(PushButtonTest, FollowsTheDesktopsScheme)
{
    PushButton& button = add(Kind::Normal, QStringLiteral("Save"));
    const ApplicationPalette light(lightPalette());
    show();
    EXPECT_TRUE(turnUntil([&] { return fillOf(button) == QColor(0xffffff); }));
    const ApplicationPalette dark(darkPalette());
    EXPECT_TRUE(turnUntil([&] { return fillOf(button) == QColor(0x3d3d45); }));
}

TEST(WindowThemeTest, DependsOnThePaletteAlone)
{
    EXPECT_EQ(WindowTheme::of(lightPalette()).window, QColor(0xf6f6f8));
    EXPECT_EQ(WindowTheme::of(darkPalette()).window, QColor(0x232328));
}

} // namespace
} // namespace velmo
