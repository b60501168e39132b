#pragma once

#include "core/FocusRestorationTarget.h"
#include "platform/linux/AtSpiFocus.h"
#include "platform/x11/X11WindowFocus.h"
#include "support/accessibility/FieldsProgram.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/accessibility/ProcessTree.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace velmo::test {

/// What tests of both toolkits are called.
inline std::string toolkitName(const testing::TestParamInfo<FieldsProgram::Toolkit>& parameter)
{
    return parameter.param == FieldsProgram::Toolkit::Gtk ? "Gtk" : "Qt";
}

/// A desktop with a window manager, buses, and the focus under test.
class AtSpiFocusScene : public testing::Test {
protected:
    using Toolkit = FieldsProgram::Toolkit;

    AtSpiFocusScene() { EXPECT_TRUE(display().startWindowManager()); }
    ~AtSpiFocusScene() override
    {
        focus_.reset();
        display().stopWindowManager();
    }

    /// From now on events tell of the focus.
    void listen()
    {
        focus_.reset();
        focus_ = std::make_unique<X11WindowFocus>(
            std::make_unique<AtSpiFocus>(buses_.sessionAddress().toStdString()));
    }

    [[nodiscard]] std::unique_ptr<FieldsProgram> start(Toolkit toolkit)
    {
        auto program = std::make_unique<FieldsProgram>(toolkit, buses_.sessionAddress());
        EXPECT_TRUE(program->isShown());
        EXPECT_TRUE(awaitCondition([&] { return !program->focused().isEmpty(); }));
        return program;
    }

    [[nodiscard]] static bool giveFocus(FieldsProgram& program, const char* field)
    {
        return program.order(QByteArray("focus ") + field) &&
               awaitCondition([&] { return program.focused() == field; });
    }

    [[nodiscard]] bool awaitFrontmost(qint32 processID) const
    {
        return awaitCondition([&] {
            const auto application = focus_->frontmostApplication();
            return application && application->processID == processID;
        });
    }

    /// The place that has the keyboard now.
    [[nodiscard]] FocusRestorationTarget capture() const
    {
        const auto application = focus_->frontmostApplication();
        if (!application)
            return {};
        return FocusRestorationTarget::capture(*application, *focus_).value_or(FocusRestorationTarget{});
    }

    /// What became of looking the target's element up.
    [[nodiscard]] static FocusFinding awaitFinding(const FocusRestorationTarget& target)
    {
        if (!target.focusedElement)
            return FocusFinding::Nothing;
        const auto& element = *target.focusedElement->element;
        static_cast<void>(
            awaitCondition([&] { return AtSpiFocus::finding(element) != FocusFinding::Pending; }));
        return AtSpiFocus::finding(element);
    }

    /// Gives the focus to a field until an event has told of it, and captures that place. A program that has
    /// just started may not know yet that somebody listens.
    [[nodiscard]] bool captureTold(FieldsProgram& program, const char* field, FocusRestorationTarget& target)
    {
        const char* another = std::string_view(field) == "one" ? "two" : "one";
        return awaitCondition([&] {
            if (!giveFocus(program, another) || !giveFocus(program, field))
                return false;
            target = capture();
            return awaitFinding(target) == FocusFinding::Told;
        });
    }

    /// Captures a place by a listener that begins only now and has been told nothing. Should an event come
    /// all the same, another one begins.
    [[nodiscard]] bool captureSought(const FieldsProgram& program, FocusRestorationTarget& target)
    {
        return awaitCondition([&] {
            listen();
            FocusFinding finding = FocusFinding::Nothing;
            // The first lookup may come before the bus is found.
            const bool isFound = awaitFrontmost(program.processID()) && awaitCondition([&] {
                                     target = capture();
                                     finding = awaitFinding(target);
                                     return finding != FocusFinding::Nothing;
                                 });
            return isFound && finding == FocusFinding::Sought;
        });
    }

    /// A lookup of what is not there takes all the time there is, and so ends after every request before it.
    void awaitEndOfRequests() const
    {
        const auto nothing = focus_->focusedElement({kNobody, 0});
        ASSERT_TRUE(nothing);
        EXPECT_TRUE(
            awaitCondition([&] { return AtSpiFocus::finding(*nothing->element) == FocusFinding::Nothing; }));
    }

    /// Another application takes the keyboard. Window managers allow it as long as nobody has typed.
    [[nodiscard]] std::unique_ptr<PlainClient> distract() const
    {
        PlainClient::Options options;
        options.title = "other";
        options.processID = kOther;
        options.area = QRect(900, 300, 400, 300);
        auto other = std::make_unique<PlainClient>(options);
        EXPECT_TRUE(awaitFrontmost(kOther));
        EXPECT_TRUE(awaitCondition([&] { return other->hasFocus(); }));
        return other;
    }

    /// Real keys reach this field of the program.
    static void expectTypingInto(FieldsProgram& program, const char* field)
    {
        EXPECT_TRUE(awaitCondition([&] { return program.focused() == field; }))
            << program.focused().toStdString();
        const QByteArray before = program.text(field);
        InputDriver input;
        input.tap("a");
        input.tap("b");
        EXPECT_TRUE(awaitCondition([&] { return program.text(field) == before + "ab"; }))
            << "one=" << program.text("one").toStdString() << " two=" << program.text("two").toStdString();
    }

    static constexpr qint32 kOther = 4002;
    static constexpr qint32 kNobody = 4003;

    PrivateBuses buses_;
    std::unique_ptr<X11WindowFocus> focus_;
};

} // namespace velmo::test
