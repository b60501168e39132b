#include "permissions/PermissionChecker.h"

#include "fakes/FakePermissions.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto kAccessibility = MissingPermission::Accessibility;
constexpr auto kScreen = MissingPermission::ScreenRecording;
constexpr auto kMicrophone = MissingPermission::Microphone;

TEST(MissingPermissionTest, HasNamesAndAnOrder)
{
    QStringList names;
    for (const MissingPermission permission : kAllPermissions)
        names.append(rawValue(permission));
    EXPECT_THAT(names, ElementsAre(QStringLiteral("accessibility"), QStringLiteral("screenRecording"),
                                   QStringLiteral("microphone")));
    EXPECT_TRUE(isRequired(kAccessibility));
    EXPECT_TRUE(isRequired(kScreen));
    EXPECT_FALSE(isRequired(kMicrophone));
}

TEST(PermissionCheckerTest, ListsWhatIsMissingInOrder)
{
    struct Case {
        bool accessibility;
        bool screenRecording;
        QList<MissingPermission> required;
    };
    const std::vector<Case> cases{
        {false, false, {kAccessibility, kScreen}},
        {false, true, {kAccessibility}},
        {true, false, {kScreen}},
        {true, true, {}},
    };
    for (const Case& one : cases) {
        FakePermissions permissions;
        permissions.accessibility = one.accessibility;
        permissions.screenRecording = one.screenRecording;
        EXPECT_EQ(PermissionChecker::checkRequired(permissions), one.required);
        EXPECT_EQ(permissions.microphoneQuestions, 0) << "the sound server is not asked in vain";
        for (const auto status : {MicrophoneStatus::NotDetermined, MicrophoneStatus::Restricted,
                                  MicrophoneStatus::Denied, MicrophoneStatus::Authorized}) {
            permissions.microphone = status;
            QList<MissingPermission> all = one.required;
            if (status != MicrophoneStatus::Authorized)
                all.append(kMicrophone);
            EXPECT_EQ(PermissionChecker::checkAll(permissions), all);
            EXPECT_EQ(PermissionChecker::withMicrophone(permissions, one.required), all);
        }
        EXPECT_THAT(permissions.requests, IsEmpty());
    }
}

TEST(PermissionCheckerTest, AsksForEachPermissionInItsWay)
{
    FakePermissions permissions;
    int answers = 0;
    const auto request = [&](MissingPermission permission) {
        permissions.requests.clear();
        return PermissionChecker::request(permissions, permission, [&answers] { ++answers; }).hasOpened();
    };
    EXPECT_TRUE(request(kAccessibility));
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("open Privacy_Accessibility")));
    EXPECT_TRUE(request(kScreen));
    EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("request screen recording"),
                                                  QStringLiteral("open Privacy_ScreenCapture")));
    for (const auto status : {MicrophoneStatus::NotDetermined, MicrophoneStatus::Authorized}) {
        permissions.microphone = status;
        EXPECT_TRUE(request(kMicrophone));
        EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("request microphone")));
    }
    for (const auto status : {MicrophoneStatus::Denied, MicrophoneStatus::Restricted}) {
        permissions.microphone = status;
        EXPECT_TRUE(request(kMicrophone));
        EXPECT_THAT(permissions.requests, ElementsAre(QStringLiteral("open Privacy_Microphone")));
    }
    EXPECT_EQ(answers, 0);
    permissions.answerMicrophone(MicrophoneStatus::Denied);
    EXPECT_EQ(answers, 0);
    settle();
    EXPECT_EQ(answers, 2);
}

TEST(PermissionCheckerTest, HandsOnWhyNoPanelOpened)
{
    FakePermissions permissions;
    permissions.explanation = QStringLiteral("There is none.");
    const PanelOpening opening = PermissionChecker::request(permissions, kAccessibility, [] {});
    EXPECT_FALSE(opening.hasOpened());
    EXPECT_EQ(opening.explanation(), QStringLiteral("There is none."));
}

} // namespace
} // namespace velmo
