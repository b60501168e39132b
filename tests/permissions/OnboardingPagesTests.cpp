#include "OnboardingTest.h"
#include "support/widgets/Palettes.h"
#include "support/widgets/ShownWidgets.h"
#include "widgets/FocusRing.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

namespace velmo {
namespace {

struct Page {
    OnboardingStep step;
    MicrophoneStatus microphone;
    const char* symbol;
    QColor WindowTheme::*tint;
    const char* title;
    const char* description;
    const char* primary;
    bool hasSkip;
};

const QList<Page>& pages()
{
    static const auto accessibility = OnboardingStep::forPermission(MissingPermission::Accessibility);
    static const auto screen = OnboardingStep::forPermission(MissingPermission::ScreenRecording);
    static const auto microphone = OnboardingStep::forPermission(MissingPermission::Microphone);
    constexpr auto kMicrophoneText =
        "Velmo can use your microphone for voice input, so you can ask questions by "
        "speaking instead of typing.";
    const auto onMicrophone = [&](MicrophoneStatus status, const char* primary, bool hasSkip) {
        return Page{microphone,          status,          "mic.circle", &WindowTheme::accent,
                    "Microphone Access", kMicrophoneText, primary,      hasSkip};
    };
    static const QList<Page> all{
        {OnboardingStep::welcome(), MicrophoneStatus::Denied, "pencil.and.scribble", &WindowTheme::accent,
         "Welcome to Velmo",
         "Annotate your screen and ask AI about what you see.\n\nVelmo needs a few permissions to work "
         "properly. This only takes a moment.",
         "Get Started", false},
        {accessibility, MicrophoneStatus::Denied, "keyboard", &WindowTheme::accent, "Accessibility Access",
         "Velmo needs Accessibility permission to detect your global activation hotkey while other apps are "
         "in focus.",
         "Open System Settings", false},
        {screen, MicrophoneStatus::Denied, "rectangle.inset.filled.on.rectangle", &WindowTheme::accent,
         "Screen Recording",
         "Velmo needs Screen Recording permission to capture an annotated screenshot of your screen.",
         "Open System Settings", false},
        onMicrophone(MicrophoneStatus::NotDetermined, "Allow Access", false),
        onMicrophone(MicrophoneStatus::Authorized, "Allow Access", false),
        onMicrophone(MicrophoneStatus::Denied, "Open System Settings", true),
        onMicrophone(MicrophoneStatus::Restricted, "Open System Settings", true),
        {OnboardingStep::complete(), MicrophoneStatus::Denied, "checkmark.circle", &WindowTheme::granted,
         "You're All Set!", "Velmo is ready to use.\nPress your hotkey to get started.", "Start Using Velmo",
         false},
    };
    return all;
}

class OnboardingPages : public OnboardingTest {
protected:
    void openOnly(const Page& page)
    {
        permissions.microphone = page.microphone;
        open({page.step});
    }
};

TEST_F(OnboardingPages, SayTheseWords)
{
    for (const Page& page : pages()) {
        openOnly(page);
        EXPECT_EQ(view().iconView().symbol(), QString::fromLatin1(page.symbol));
        EXPECT_EQ(view().iconView().tint(), WindowTheme::current().*page.tint);
        EXPECT_EQ(view().titleLabel().text(), QString::fromLatin1(page.title));
        EXPECT_EQ(view().descriptionLabel().text(), QString::fromLatin1(page.description));
        EXPECT_EQ(view().primaryButton().text(), QString::fromLatin1(page.primary));
        EXPECT_EQ(view().primaryButton().accessibleName(), QString::fromLatin1(page.primary));
        EXPECT_EQ(view().secondaryButton().isVisible(), page.hasSkip) << page.title;
        EXPECT_EQ(view().secondaryButton().text(), QStringLiteral("Skip"));
        EXPECT_FALSE(view().noteLabel().isVisible());
        EXPECT_EQ(view().hotkeyLabel().isVisible(), page.step == OnboardingStep::complete());
    }
}

TEST_F(OnboardingPages, TheLastOneNamesTheHotkeyOfThatMoment)
{
    open({OnboardingStep::welcome(), OnboardingStep::complete()});
    hotkey = QStringLiteral("⌃⌥Space");
    press();
    EXPECT_EQ(view().hotkeyLabel().text(), QStringLiteral("Your hotkey is ⌃⌥Space."));
    hotkey.clear();
    open({OnboardingStep::complete()});
    EXPECT_FALSE(view().hotkeyLabel().isVisible());
}

TEST_F(OnboardingPages, TheLastOneSaysWhenTheHotkeyDoesNotWork)
{
    hotkey = QStringLiteral("⌃⌥Space");
    hotkeyProblem = QStringLiteral("⌃⌥Space is taken by another program.");
    open({OnboardingStep::welcome(), OnboardingStep::complete()});
    controller->updateHotkey();
    EXPECT_EQ(title(), "Welcome to Velmo");
    press();
    EXPECT_EQ(view().hotkeyLabel().text(), QStringLiteral("⌃⌥Space is taken by another program.\n"
                                                          "Choose another one in the settings."));
    hotkeyProblem.clear();
    controller->updateHotkey();
    EXPECT_EQ(view().hotkeyLabel().text(), QStringLiteral("Your hotkey is ⌃⌥Space."));
    press();
    EXPECT_EQ(completions, 1);
    controller->updateHotkey();
    EXPECT_FALSE(controller->window()->isVisible());
}

TEST_F(OnboardingPages, StandInTheMiddleOfTheirWindow)
{
    for (const Page& page : pages()) {
        openOnly(page);
        EXPECT_EQ(controller->window()->size(), QSize(480, 340));
        EXPECT_EQ(controller->window()->windowTitle(), QStringLiteral("Velmo"));
        EXPECT_EQ(view().geometry(), QRect(0, 0, 480, 340));

        QList<QRect> places{view().iconView().geometry(), view().titleLabel().geometry(),
                            view().descriptionLabel().geometry()};
        QList<int> gaps{20, 8};
        if (view().hotkeyLabel().isVisible()) {
            places.append(view().hotkeyLabel().geometry());
            gaps.append(8);
        }
        places.append(view().primaryButton().geometry());
        gaps.append(20);
        if (page.hasSkip) {
            places.append(view().secondaryButton().geometry());
            gaps.append(8);
        }
        for (qsizetype i = 0; i < gaps.size(); ++i)
            EXPECT_EQ(places.at(i + 1).top() - places.at(i).bottom() - 1, gaps.at(i))
                << page.title << ' ' << i;
        QRect block;
        for (const QRect& place : places) {
            block |= place;
            EXPECT_NEAR(place.left() + place.width() / 2.0, 240, 0.5) << page.title;
        }
        EXPECT_EQ(block.width(), 340);
        EXPECT_NEAR(block.top() + block.height() / 2.0, 340 / 2.0 + 16, 0.5) << page.title;
        EXPECT_EQ(view().iconView().size(), QSize(48, 48));
        EXPECT_EQ(view().primaryButton().size(), QSize(240, 30));
        EXPECT_EQ(view().titleLabel().font().pixelSize(), 22);
        EXPECT_TRUE(view().titleLabel().font().bold());
        EXPECT_EQ(view().descriptionLabel().font().pixelSize(), 13);
        EXPECT_EQ(view().descriptionLabel().alignment(), Qt::AlignCenter);
        EXPECT_EQ(view().descriptionLabel().tint(), WindowTheme::current().secondaryText);
        EXPECT_LT(block.bottom(), view().dotContainer().geometry().top()) << page.title;
    }
}

TEST_F(OnboardingPages, HaveADotEach)
{
    open({OnboardingStep::welcome(), OnboardingStep::forPermission(kAccessibility),
          OnboardingStep::complete()});
    for (int current = 0; current < 3; ++current) {
        QList<QSize> sizes;
        for (const QRect& dot : view().dotContainer().dots())
            sizes.append(dot.size());
        QList<QSize> expected(3, QSize(6, 6));
        expected[current] = QSize(8, 8);
        EXPECT_EQ(sizes, expected);
        const QRect place = view().dotContainer().geometry();
        EXPECT_EQ(place.size(), QSize(8 + 2 * 6 + 2 * 8, 8));
        EXPECT_EQ(place.left(), (480 - place.width()) / 2);
        EXPECT_EQ(340 - place.bottom() - 1, 20);
        const QImage picture = view().grab().toImage();
        const auto centre = [&](int i) {
            return picture.pixelColor(place.topLeft() + view().dotContainer().dots().at(i).center());
        };
        EXPECT_EQ(centre(current), WindowTheme::current().accent);
        EXPECT_NE(centre((current + 1) % 3), WindowTheme::current().accent);
        EXPECT_EQ(view().dotContainer().accessibleName(),
                  QStringLiteral("Step %1 of 3").replace(QStringLiteral("%1"), QString::number(current + 1)));
        if (current < 2)
            view().onSkip();
    }
}

TEST_F(OnboardingPages, ANoteStandsUnderTheButtonAndAboveTheDots)
{
    permissions.explanation = QStringLiteral("This desktop has no setting for it. Velmo needs a display "
                                             "server with the extensions XInput 2.2, XKEYBOARD and XTEST.");
    for (const Page& page : pages()) {
        if (page.step.kind() != OnboardingStep::Kind::Permission ||
            page.microphone == MicrophoneStatus::NotDetermined ||
            page.microphone == MicrophoneStatus::Authorized)
            continue;
        openOnly(page);
        press();
        EXPECT_EQ(view().noteLabel().text(), permissions.explanation);
        ASSERT_TRUE(view().noteLabel().isVisible());
        EXPECT_EQ(view().noteLabel().geometry().top(), view().primaryButton().geometry().bottom() + 1 + 8);
        const QRect last = page.hasSkip ? view().secondaryButton().geometry() : view().noteLabel().geometry();
        EXPECT_LT(last.bottom(), view().dotContainer().geometry().top()) << page.title;
        EXPECT_GE(view().iconView().geometry().top(), 0);
        permissions.explanation = QStringLiteral("Another.");
        press();
        EXPECT_EQ(view().noteLabel().text(), QStringLiteral("Another."));
    }
}

TEST_F(OnboardingPages, ReturnIsThePrimaryButtonWhereverTheKeyboardIs)
{
    permissions.microphone = MicrophoneStatus::Denied;
    open({OnboardingStep::forPermission(kMicrophone), OnboardingStep::complete()});
    QApplication::setActiveWindow(controller->window());
    view().secondaryButton().setFocus(Qt::TabFocusReason);
    const auto pressKey = [this](int key, bool isRepeat = false) {
        QKeyEvent event(QEvent::ShortcutOverride, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(QApplication::focusWidget(), &event);
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, {}, isRepeat);
        QCoreApplication::sendEvent(controller->window()->windowHandle(), &down);
    };
    EXPECT_TRUE(view().primaryButton().isDefault());
    pressKey(Qt::Key_Return);
    EXPECT_EQ(permissions.requests, QStringList(QStringLiteral("open Privacy_Microphone")));
    pressKey(Qt::Key_Enter);
    EXPECT_EQ(permissions.requests.size(), 2);
    EXPECT_EQ(shown(), "microphone");
}

TEST_F(OnboardingPages, TabGoesFromThePrimaryButtonToSkip)
{
    permissions.microphone = MicrophoneStatus::Denied;
    open({OnboardingStep::forPermission(kMicrophone), OnboardingStep::complete()});
    QApplication::setActiveWindow(controller->window());
    ASSERT_TRUE(turnUntil([this] { return view().primaryButton().hasFocus(); }));
    EXPECT_TRUE(shownWidgets<FocusRing>().empty()) << "nobody has used the keyboard yet";
    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QCoreApplication::sendEvent(&view().primaryButton(), &tab);
    EXPECT_TRUE(view().secondaryButton().hasFocus());
    ASSERT_EQ(shownWidgets<FocusRing>().size(), 1U);
    EXPECT_EQ(shownWidgets<FocusRing>().front()->target(), &view().secondaryButton());
    skip();
    EXPECT_EQ(shown(), "complete");
    EXPECT_TRUE(view().primaryButton().hasFocus());
}

TEST_F(OnboardingPages, AreReadOutAsTextsAndButtons)
{
    permissions.microphone = MicrophoneStatus::Denied;
    open({OnboardingStep::forPermission(kMicrophone)});
    const auto describe = [](const QWidget& widget) {
        QAccessibleInterface* interface =
            QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&widget));
        return std::pair(interface->role(), interface->text(QAccessible::Name).toStdString());
    };
    EXPECT_EQ(describe(view().titleLabel()), std::pair(QAccessible::StaticText, title()));
    EXPECT_EQ(describe(view().descriptionLabel()),
              std::pair(QAccessible::StaticText, view().descriptionLabel().text().toStdString()));
    EXPECT_EQ(describe(view().primaryButton()),
              std::pair(QAccessible::Button, std::string("Open System Settings")));
    EXPECT_EQ(describe(view().secondaryButton()), std::pair(QAccessible::Button, std::string("Skip")));
}

TEST_F(OnboardingPages, FollowTheDesktopsScheme)
{
    const ApplicationPalette light(lightPalette());
    open({OnboardingStep::complete()});
    const auto picture = [this] { return view().grab().toImage(); };
    const auto shows = [&](const WindowTheme& theme) {
        const QImage image = picture();
        const QPoint fill = view().primaryButton().geometry().topLeft() + QPoint(12, 4);
        return image.pixelColor(4, 4) == theme.window && image.pixelColor(fill) == theme.accentFill &&
               view().iconView().tint() == theme.granted;
    };
    EXPECT_TRUE(turnUntil([&] { return shows(WindowTheme::light()); }));
    const ApplicationPalette dark(darkPalette());
    EXPECT_TRUE(turnUntil([&] { return shows(WindowTheme::dark()); }));
}

} // namespace
} // namespace velmo
