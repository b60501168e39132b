#include "app/doctor/Checks.h"
#include "app/doctor/Report.h"
#include "support/core/Environment.h"
#include "support/core/Printing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gmock/gmock.h>

namespace velmo {

namespace {

using State = Finding::State;
using testing::Each;
using testing::Field;
using testing::SizeIs;

const Findings kFindings{
    {.area = QStringLiteral("Session"), .text = QStringLiteral("X11")},
    {.area = QStringLiteral("Keys"),
     .state = State::Broken,
     .text = QStringLiteral("Anthropic: none"),
     .advice = QStringLiteral("Set one."),
     .details = {{QStringLiteral("source"), QStringLiteral("none")}}},
    {.area = QStringLiteral("Keys"), .state = State::Limited, .text = QStringLiteral("OpenAI: none")},
};

EventTap::StartReport tapWith(const QStringList& problems)
{
    return {true, problems};
}

} // namespace

TEST(DoctorReport, LinesUpWhatItFound)
{
    EXPECT_EQ(reportAsText(kFindings), QStringLiteral("ok   Session  X11\n"
                                                      "FAIL Keys     Anthropic: none\n"
                                                      "              -> Set one.\n"
                                                      "note          OpenAI: none\n"
                                                      "\n"
                                                      "Velmo cannot do its main job here: 1 thing is in the "
                                                      "way.\n"));
}

TEST(DoctorReport, SaysWhatItComesTo)
{
    EXPECT_FALSE(canWork(kFindings));
    const Findings good{kFindings.at(0), kFindings.at(2)};
    EXPECT_TRUE(canWork(good)) << "what is limited still works";
    EXPECT_TRUE(reportAsText(good).endsWith(QStringLiteral("\n\nVelmo can do its main job here.\n")));
    const Findings bad{kFindings.at(1), kFindings.at(1)};
    EXPECT_TRUE(reportAsText(bad).endsWith(QStringLiteral(": 2 things are in the way.\n")));
}

TEST(DoctorReport, TellsToolsTheSame)
{
    const QJsonObject report =
        QJsonDocument::fromJson(reportAsJson(kFindings, QStringLiteral("1.2.3")).toUtf8()).object();
    EXPECT_EQ(report[QStringLiteral("velmo")].toString(), QStringLiteral("1.2.3"));
    EXPECT_FALSE(report[QStringLiteral("works")].toBool(true));
    const QJsonArray findings = report[QStringLiteral("findings")].toArray();
    ASSERT_EQ(findings.size(), 3);
    EXPECT_EQ(findings[0].toObject(), (QJsonObject{{QStringLiteral("area"), QStringLiteral("Session")},
                                                   {QStringLiteral("state"), QStringLiteral("fine")},
                                                   {QStringLiteral("text"), QStringLiteral("X11")}}));
    EXPECT_EQ(findings[1][QStringLiteral("state")].toString(), QStringLiteral("broken"));
    EXPECT_EQ(findings[1][QStringLiteral("advice")].toString(), QStringLiteral("Set one."));
    EXPECT_EQ(findings[1][QStringLiteral("details")][QStringLiteral("source")].toString(),
              QStringLiteral("none"));
    EXPECT_EQ(findings[2][QStringLiteral("state")].toString(), QStringLiteral("limited"));
}

TEST(DoctorChecks, EachRefusedGestureIsALineWithAdvice)
{
    const QStringList refused{QStringLiteral("Ctrl+Alt+Space is held by another program."),
                              QStringLiteral("Middle button is held by another program.")};
    const Findings findings = Doctor::gestures({}, EventTap::StartReport{true, refused, {refused[0]}}, false);
    ASSERT_THAT(findings, SizeIs(2));
    EXPECT_THAT(findings, Each(Field(&Finding::state, State::Limited)));
    EXPECT_EQ(findings[0].text, refused[0]);
    EXPECT_EQ(findings[1].text, refused[1]);
    EXPECT_TRUE(findings[0].advice.contains(QStringLiteral("another hotkey")));
    EXPECT_TRUE(findings[1].advice.contains(QStringLiteral("switch the middle button off")));
    EXPECT_FALSE(findings[1].advice.contains(QStringLiteral("hotkey")));
}

TEST(DoctorChecks, WithoutATapThereIsNoMainJob)
{
    EXPECT_EQ(Doctor::gestures({}, tapWith({}), false).at(0).state, State::Fine);
    EXPECT_EQ(Doctor::gestures({}, EventTap::StartReport{}, false).at(0).state, State::Broken);
    EXPECT_EQ(Doctor::gestures({}, std::nullopt, false).at(0).state, State::Broken);
    const Findings missing = Doctor::gestures(QStringLiteral("No XTEST."), tapWith({}), false);
    EXPECT_EQ(missing.at(0).state, State::Broken);
    EXPECT_EQ(missing.at(0).text, QStringLiteral("No XTEST."));
}

TEST(DoctorChecks, TheRunningOnesTapIsTakenFromItsWord)
{
    const EventTap::StartReport told{
        true, {QStringLiteral("One."), QStringLiteral("Two.")}, {QStringLiteral("One.")}};
    const Doctor::RunningProgram running{{.kind = RemoteOutcome::Kind::Answered,
                                          .reply = {true, ProgramStatus{.tap = told}.toJson()},
                                          .processID = 5}};
    EXPECT_EQ(running.status().tap, told);
    const Doctor::RunningProgram strange{{.kind = RemoteOutcome::Kind::Answered, .reply = {}}};
    EXPECT_FALSE(strange.status().tap.started);
}

TEST(DoctorChecks, OneThatStartsIsAskedAgain)
{
    const auto answer = [](bool isAccepted, const char* text) {
        return RemoteOutcome{.kind = RemoteOutcome::Kind::Answered,
                             .reply = {isAccepted, QString::fromUtf8(text)}};
    };
    const std::vector<RemoteOutcome> answers{answer(false, "Velmo is ending."),
                                             answer(true, R"({"tapStarted": false, "tapProblems": []})"),
                                             answer(true, R"({"tapStarted": true, "tapProblems": []})")};
    size_t asked = 0;
    const auto running = Doctor::RunningProgram::ask([&] { return answers.at(asked++); },
                                                     Clock::now() + std::chrono::seconds(30));
    EXPECT_EQ(asked, 3U);
    EXPECT_TRUE(running.status().tap.started);

    asked = 1;
    const auto late = Doctor::RunningProgram::ask([&] { return answers.at(asked++); }, Clock::now());
    EXPECT_EQ(asked, 2U) << "there was no time left";
    const Finding finding = Doctor::gestures({}, late.status().tap, true).at(0);
    EXPECT_EQ(finding.state, State::Limited);
    EXPECT_EQ(finding.text, QStringLiteral("the Velmo that runs does not watch them yet"));
}

TEST(DoctorChecks, OneWhoseGesturesFailedIsNotAskedAgain)
{
    int asked = 0;
    const auto running = Doctor::RunningProgram::ask(
        [&] {
            ++asked;
            return RemoteOutcome{
                .kind = RemoteOutcome::Kind::Answered,
                .reply = {true, QStringLiteral(R"({"tapStarted": false, "tapProblems": ["No."]})")}};
        },
        Clock::now() + std::chrono::seconds(30));
    EXPECT_EQ(asked, 1);
    const Finding finding = Doctor::gestures({}, running.status().tap, true).at(0);
    EXPECT_EQ(finding.state, State::Broken);
    EXPECT_EQ(finding.text, QStringLiteral("No."));
}

TEST(DoctorChecks, OneThatHangsIsInTheWay)
{
    const Findings findings = Doctor::program(
        Doctor::RunningProgram{{.kind = RemoteOutcome::Kind::Silent, .processID = 5}}, QStringLiteral("1"));
    EXPECT_EQ(findings.at(0).state, State::Broken);
    EXPECT_TRUE(findings.at(0).advice.contains(QStringLiteral("kill -9 5")));
}

TEST(DoctorChecks, ADisplayThatHangsIsToldFromOneThatIsNotThere)
{
    const Findings silent = Doctor::display(QStringLiteral(":3"), std::nullopt, {}, std::nullopt);
    EXPECT_EQ(silent.at(0).text, QStringLiteral(":3 does not answer in time"));
    const Findings absent = Doctor::display(QStringLiteral(":3"), X11Survey{}, {}, std::nullopt);
    EXPECT_EQ(absent.at(0).text, QStringLiteral(":3 cannot be reached"));
    EXPECT_EQ(silent.at(0).state, State::Broken);
    EXPECT_EQ(absent.at(0).state, State::Broken);
}

TEST(DoctorChecks, ADisplayThatFallsSilentKeepsWhatWasSeenOfIt)
{
    X11Survey survey;
    survey.isReachable = true;
    survey.windowManager = QStringLiteral("Openbox");
    const Findings findings = Doctor::display(QStringLiteral(":3"), survey, std::nullopt, std::nullopt);
    ASSERT_THAT(findings, SizeIs(3));
    EXPECT_EQ(findings[0].text, QStringLiteral("Openbox"));
    EXPECT_EQ(findings[2].state, State::Broken);
    EXPECT_EQ(findings[2].text, QStringLiteral(":3 does not answer in time"));
}

TEST(DoctorChecks, PicturesThatLackSomethingAreALimitAndNoneAtAllIsNot)
{
    EXPECT_EQ(Doctor::capture(std::nullopt).at(0).state, State::Broken);
    EXPECT_EQ(Doctor::capture(std::nullopt).at(0).text,
              QStringLiteral("the screen could not be read in time"));
    X11CaptureSurvey survey;
    EXPECT_EQ(Doctor::capture(survey).at(0).state, State::Broken);
    survey.isCaptured = true;
    EXPECT_EQ(Doctor::capture(survey).at(0).state, State::Fine);
    survey.problems.append(QStringLiteral("No Composite."));
    EXPECT_EQ(Doctor::capture(survey).at(0).state, State::Limited);
    EXPECT_EQ(Doctor::capture(survey).at(0).text, QStringLiteral("No Composite."));
}

TEST(DoctorChecks, TheTrayIsWhicheverThereIs)
{
    const auto kindOf = [](bool onDisplay, BusSurvey::Presence onBus) {
        X11Survey display;
        display.hasTray = onDisplay;
        BusSurvey bus;
        bus.tray = onBus;
        return Doctor::tray(display, bus).at(0).details[QStringLiteral("kind")].toString();
    };
    using Presence = BusSurvey::Presence;
    EXPECT_EQ(kindOf(false, Presence::Present), QStringLiteral("statusNotifier"));
    EXPECT_EQ(kindOf(true, Presence::Present), QStringLiteral("statusNotifier"));
    EXPECT_EQ(kindOf(true, Presence::Absent), QStringLiteral("embedding"));
    EXPECT_EQ(kindOf(true, Presence::Silent), QStringLiteral("none")) << "the toolkit would wait for it";
    EXPECT_EQ(kindOf(false, Presence::Absent), QStringLiteral("none"));
}

TEST(DoctorChecks, TheSessionIsTheEnvironments)
{
    const EnvironmentVariable display("DISPLAY");
    const EnvironmentVariable wayland("WAYLAND_DISPLAY");
    const EnvironmentVariable desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    const auto first = [] { return Doctor::session(Doctor::SessionKind::fromEnvironment()).at(0); };
    EXPECT_EQ(first().state, State::Broken);
    wayland.assign("wayland-0");
    EXPECT_EQ(first().state, State::Broken);
    display.assign(":0");
    EXPECT_EQ(first().state, State::Limited);
    wayland.assign(std::nullopt);
    EXPECT_EQ(first().state, State::Fine);
    EXPECT_EQ(Doctor::session(Doctor::SessionKind::fromEnvironment()).at(1).text,
              QStringLiteral("ubuntu, GNOME"));
}

} // namespace velmo
