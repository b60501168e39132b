#include "permissions/PermissionsView.h"

#include "OnboardingTest.h"
#include "support/widgets/Paints.h"
#include "support/widgets/Palettes.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>

namespace velmo {
namespace {

using testing::ElementsAre;

class PermissionsViewTest : public testing::Test {
protected:
    void show()
    {
        view.resize(520, 400);
        view.show();
        settle();
    }
    [[nodiscard]] PermissionRow& row(MissingPermission permission) const { return view.row(permission); }
    [[nodiscard]] std::array<bool, 3> granted() const
    {
        return {view.accessibilityGranted(), view.screenRecordingGranted(), view.microphoneGranted()};
    }
    void passSecond() { seconds.pass(timer()); }
    [[nodiscard]] QTimer& timer() const { return *view.findChild<QTimer*>(QStringLiteral("refreshTimer")); }

    FakeSeconds seconds;
    FakePermissions permissions;
    PermissionsView view{permissions};
};

constexpr auto kAccessibility = MissingPermission::Accessibility;
constexpr auto kScreen = MissingPermission::ScreenRecording;
constexpr auto kMicrophone = MissingPermission::Microphone;

TEST_F(PermissionsViewTest, SaysWhatEachIsFor)
{
    show();
    struct Texts {
        const char* symbol;
        const char* title;
        const char* subtitle;
    };
    const std::array<Texts, 3> texts{
        {{"keyboard", "Accessibility",
          "Required for the global hotkey to work while other apps are in focus."},
         {"rectangle.inset.filled.on.rectangle", "Screen Recording",
          "Required to capture an annotated screenshot to send to the AI."},
         {"mic.circle", "Microphone", "Optional. Enables voice input transcription."}}};
    int top = 0;
    for (const MissingPermission permission : kAllPermissions) {
        const Texts& expected = texts.at(static_cast<size_t>(permission));
        EXPECT_EQ(row(permission).icon().symbol(), QString::fromLatin1(expected.symbol));
        EXPECT_EQ(row(permission).title().text(), QString::fromLatin1(expected.title));
        EXPECT_EQ(row(permission).subtitle().text(), QString::fromLatin1(expected.subtitle));
        EXPECT_EQ(row(permission).button().text(), QStringLiteral("Grant Access"));
        int tags = 0;
        for (const auto* label : row(permission).findChildren<QLabel*>())
            tags += label->text() == QStringLiteral("Optional") && label->isVisible() ? 1 : 0;
        EXPECT_EQ(tags, permission == kMicrophone ? 1 : 0);
        EXPECT_GE(row(permission).geometry().top(), top);
        top = row(permission).geometry().bottom();
    }
}

TEST_F(PermissionsViewTest, ShowsWhatIsGranted)
{
    show();
    for (int bits = 0; bits < 8; ++bits) {
        permissions.accessibility = (bits & 1) != 0;
        permissions.screenRecording = (bits & 2) != 0;
        permissions.microphone = (bits & 4) != 0 ? MicrophoneStatus::Authorized : MicrophoneStatus::Denied;
        passSecond();
        const std::array<bool, 3> expected{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
        EXPECT_EQ(granted(), expected);
        for (const MissingPermission permission : kAllPermissions) {
            const bool isGranted = expected.at(static_cast<size_t>(permission));
            int marks = 0;
            for (const auto* label : row(permission).findChildren<QLabel*>())
                marks += label->text() == QStringLiteral("Granted") && label->isVisible() ? 1 : 0;
            for (const auto* child : row(permission).findChildren<QWidget*>()) {
                const auto* symbol = dynamic_cast<const SymbolView*>(child);
                if (symbol != nullptr && symbol->isVisible() &&
                    symbol->symbol() == QStringLiteral("checkmark.circle.fill")) {
                    ++marks;
                    EXPECT_EQ(symbol->tint(), WindowTheme::current().granted);
                }
            }
            EXPECT_EQ(marks, isGranted ? 2 : 0);
            EXPECT_EQ(row(permission).button().isVisible(), !isGranted);
        }
        const PermissionNotice& notice = view.notice();
        if (!expected[0] || !expected[1]) {
            EXPECT_TRUE(notice.isVisible());
            EXPECT_EQ(notice.icon().symbol(), QStringLiteral("exclamationmark.triangle.fill"));
            EXPECT_EQ(notice.icon().tint(), WindowTheme::current().warning);
            EXPECT_EQ(notice.label().text(),
                      QStringLiteral("Velmo can't work without the required permissions below."));
        } else if (expected[2]) {
            EXPECT_TRUE(notice.isVisible());
            EXPECT_EQ(notice.icon().symbol(), QStringLiteral("checkmark.seal.fill"));
            EXPECT_EQ(notice.icon().tint(), WindowTheme::current().granted);
            EXPECT_EQ(notice.label().text(), QStringLiteral("All permissions granted"));
        } else {
            EXPECT_FALSE(notice.isVisible());
        }
    }
}

TEST_F(PermissionsViewTest, LooksWhenItIsShownAndEverySecondMeanwhile)
{
    permissions.accessibility = true;
    EXPECT_EQ(permissions.microphoneQuestions, 0);
    EXPECT_FALSE(timer().isActive());
    show();
    EXPECT_EQ(granted(), (std::array{true, false, false}));
    EXPECT_TRUE(timer().isActive());
    EXPECT_FALSE(timer().isSingleShot());
    EXPECT_EQ(timer().intervalAsDuration(), std::chrono::seconds(1));
    permissions.screenRecording = true;
    EXPECT_EQ(granted(), (std::array{true, false, false}));
    passSecond();
    EXPECT_EQ(granted(), (std::array{true, true, false}));

    view.hide();
    EXPECT_FALSE(timer().isActive());
    permissions.accessibility = false;
    view.show();
    EXPECT_EQ(granted(), (std::array{false, true, false}));
}

TEST_F(PermissionsViewTest, PaintsTheAdviceOnlyWhenItChanges)
{
    show();
    QWidget& notice = *const_cast<PermissionNotice*>(&view.notice());
    const Paints paints(notice);
    passSecond();
    settle();
    EXPECT_TRUE(paints.isNothing());
    permissions.accessibility = permissions.screenRecording = true;
    permissions.microphone = MicrophoneStatus::Authorized;
    passSecond();
    EXPECT_TRUE(turnUntil([&] { return paints.isAll(); }));
}

TEST_F(PermissionsViewTest, ShowsTheMicrophoneAsSoonAsItIsKnownToBeThere)
{
    permissions.becomeMicrophone(MicrophoneStatus::Authorized);
    EXPECT_EQ(permissions.microphoneQuestions, 0) << "nobody looks";
    permissions.microphone = MicrophoneStatus::NotDetermined;
    show();
    EXPECT_FALSE(view.microphoneGranted());
    permissions.becomeMicrophone(MicrophoneStatus::Authorized);
    EXPECT_TRUE(view.microphoneGranted());
}

TEST_F(PermissionsViewTest, GrantsEachInItsWay)
{
    show();
    const auto pressed = [this](MissingPermission permission) {
        permissions.requests.clear();
        row(permission).button().click();
        return permissions.requests;
    };
    EXPECT_THAT(pressed(kAccessibility), ElementsAre(QStringLiteral("open Privacy_Accessibility")));
    EXPECT_THAT(pressed(kScreen), ElementsAre(QStringLiteral("request screen recording"),
                                              QStringLiteral("open Privacy_ScreenCapture")));
    EXPECT_THAT(pressed(kMicrophone), ElementsAre(QStringLiteral("request microphone")));
    permissions.answerMicrophone(MicrophoneStatus::Authorized);
    settle();
    EXPECT_TRUE(view.microphoneGranted());
    for (const auto status : {MicrophoneStatus::Denied, MicrophoneStatus::Restricted}) {
        permissions.microphone = status;
        passSecond();
        EXPECT_THAT(pressed(kMicrophone), ElementsAre(QStringLiteral("open Privacy_Microphone")));
    }
}

TEST_F(PermissionsViewTest, AnAnswerMayComeAfterItIsGone)
{
    auto other = std::make_unique<PermissionsView>(permissions);
    other->show();
    other->row(kMicrophone).button().click();
    other.reset();
    permissions.answerMicrophone(MicrophoneStatus::Authorized);
    permissions.becomeMicrophone(MicrophoneStatus::Denied);
    settle();
    EXPECT_FALSE(view.microphoneGranted());
}

TEST_F(PermissionsViewTest, ExplainsInTheRowWhereThereIsNoPanel)
{
    show();
    const int before = row(kAccessibility).height();
    EXPECT_EQ(before, 76);
    EXPECT_EQ(row(kMicrophone).height(), 60);
    permissions.explanation = QStringLiteral("This desktop has no setting for it.");
    row(kAccessibility).button().click();
    settle();
    EXPECT_TRUE(row(kAccessibility).note().isVisible());
    EXPECT_EQ(row(kAccessibility).note().text(), permissions.explanation);
    EXPECT_EQ(row(kAccessibility).height(), before + 4 + 15);
    EXPECT_LT(row(kAccessibility).note().geometry().bottom(), row(kAccessibility).height() - 12);
    EXPECT_EQ(row(kScreen).geometry().top(), row(kAccessibility).geometry().bottom() + 2);
    passSecond();
    EXPECT_TRUE(row(kAccessibility).note().isVisible());
    permissions.accessibility = true;
    passSecond();
    settle();
    EXPECT_FALSE(row(kAccessibility).note().isVisible());
    EXPECT_EQ(row(kAccessibility).height(), before);
}

TEST_F(PermissionsViewTest, HasThePlacesOfItsDesign)
{
    show();
    EXPECT_EQ(view.notice().geometry(), QRect(20, 16, 480, 40));
    const QWidget& card = *row(kAccessibility).parentWidget();
    EXPECT_EQ(card.geometry(), QRect(20, 70, 480, 214));
    const PermissionRow& first = row(kAccessibility);
    EXPECT_EQ(first.icon().geometry(), QRect(14, 26, 24, 24));
    EXPECT_EQ(first.title().geometry().topLeft(), QPoint(50, 13));
    EXPECT_EQ(first.subtitle().geometry(), QRect(50, 31, 300, 32));
    EXPECT_EQ(first.button().geometry().right() + 1, 480 - 14);
    EXPECT_EQ(first.button().height(), 26);
    EXPECT_EQ(first.subtitle().font().pixelSize(), 12);
    EXPECT_EQ(first.title().font().pixelSize(), 13);
    EXPECT_EQ(first.title().font().weight(), QFont::DemiBold);
    EXPECT_LE(first.subtitle().geometry().right(), first.button().geometry().left());
}

TEST_F(PermissionsViewTest, TabGoesFromButtonToButton)
{
    permissions.screenRecording = true;
    show();
    QApplication::setActiveWindow(&view);
    row(kAccessibility).button().setFocus(Qt::TabFocusReason);
    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QCoreApplication::sendEvent(&row(kAccessibility).button(), &tab);
    EXPECT_TRUE(row(kMicrophone).button().hasFocus());
    QKeyEvent down(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
    QKeyEvent up(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier);
    QCoreApplication::sendEvent(&row(kMicrophone).button(), &down);
    QCoreApplication::sendEvent(&row(kMicrophone).button(), &up);
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("request microphone")));
}

TEST_F(PermissionsViewTest, ItsButtonsSayWhatTheyAreFor)
{
    show();
    QAccessibleInterface* button = QAccessible::queryAccessibleInterface(&row(kScreen).button());
    EXPECT_EQ(button->role(), QAccessible::Button);
    EXPECT_EQ(button->text(QAccessible::Name), QStringLiteral("Grant Access"));
    EXPECT_EQ(button->text(QAccessible::Description), QStringLiteral("Screen Recording"));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&row(kScreen))->text(QAccessible::Name),
              QStringLiteral("Screen Recording"));
}

TEST_F(PermissionsViewTest, FollowsTheDesktopsScheme)
{
    const ApplicationPalette light(lightPalette());
    show();
    const auto card = [this] {
        const QWidget& parent = *row(kAccessibility).parentWidget();
        return view.grab().toImage().pixelColor(parent.geometry().topLeft() + QPoint(20, 6));
    };
    EXPECT_TRUE(turnUntil([&] { return card() == WindowTheme::light().card; }));
    const ApplicationPalette dark(darkPalette());
    EXPECT_TRUE(turnUntil([&] { return card() == WindowTheme::dark().card; }));
}

} // namespace
} // namespace velmo
