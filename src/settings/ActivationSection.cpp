#include "settings/ActivationSection.h"

#include "platform/EventTap.h"
#include "settings/HotkeyTexts.h"
#include "widgets/CaptionRow.h"
#include "widgets/CheckBox.h"
#include "widgets/FormRow.h"
#include "widgets/FormTexts.h"
#include "widgets/PushButton.h"

#include <utility>

namespace velmo {

namespace {

constexpr int kButtonGap = 12;
constexpr int kToggleGap = 16;

void showProblem(TextLabel& label, const QString& problem)
{
    label.setText(problem);
    label.setVisible(!problem.isEmpty());
}

} // namespace

ActivationSection::ActivationSection(std::shared_ptr<SettingsManager> settings,
                                     const SettingsCollaborators& collaborators)
    : FormSection(QStringLiteral("Activation"))
    , settings_(std::move(settings))
    , collaborators_(collaborators)
    , hotkey_(new TextLabel(FormTexts::kValue))
    , hotkeyProblem_(new TextLabel(FormTexts::kWarning))
    , chordProblem_(new TextLabel(FormTexts::kWarning))
    , middleButtonProblem_(new TextLabel(FormTexts::kWarning))
    , change_(new PushButton(PushButton::Kind::Normal, QStringLiteral("Change…")))
    , modifiers_{{{ModifierFlag::Command, new CheckBox(QStringLiteral("Command"))},
                  {ModifierFlag::Option, new CheckBox(QStringLiteral("Option"))},
                  {ModifierFlag::Control, new CheckBox(QStringLiteral("Control"))}}}
    , middleButton_(new CheckBox({}))
    , caption_(new CaptionRow({}))
    // By then the settings have their new values.
    , restart_(this, [this] {
        if (collaborators_.restartHotkeyMonitor)
            collaborators_.restartHotkeyMonitor();
    })
{
    addRow(makeHotkeyRow());
    addRow(makeModifiersRow());
    addRow(makeMiddleButtonRow());
    addRow(caption_);
    subscribe();
    refresh();
}

QWidget* ActivationSection::makeHotkeyRow()
{
    auto* row = new FormRow(QStringLiteral("Hotkey"));
    connect(change_, &QAbstractButton::clicked, this, [this] {
        if (collaborators_.presentHotkeySheet)
            collaborators_.presentHotkeySheet();
    });
    // A long problem wraps, the hotkey does not.
    hotkey_->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    row->addNote(hotkeyProblem_);
    row->addControl(hotkey_, kButtonGap);
    row->addControl(change_, kButtonGap);
    return row;
}

QWidget* ActivationSection::makeModifiersRow()
{
    auto* row = new FormRow(QStringLiteral("Quick Draw Modifiers"));
    row->addNote(chordProblem_);
    for (const ModifierToggle& toggle : modifiers_) {
        toggle.box->onChange = [this, flag = toggle.flag](bool isOn) { setModifier(flag, isOn); };
        row->addControl(toggle.box, kToggleGap);
    }
    return row;
}

QWidget* ActivationSection::makeMiddleButtonRow()
{
    auto* row = new FormRow(QStringLiteral("Middle Mouse Button"));
    row->addNote(middleButtonProblem_);
    middleButton_->onChange = [this](bool isOn) { settings_->quickDrawMiddleMouseEnabled.set(isOn); };
    row->addTitledControl(middleButton_);
    return row;
}

/// The other bits stay as they are.
void ActivationSection::setModifier(quint64 flag, bool isOn)
{
    const auto modifiers = static_cast<quint64>(settings_->quickDrawModifiers.value());
    if (isOn)
        settings_->quickDrawModifiers.set(static_cast<qint64>(modifiers | flag));
    else if ((modifiers & flag) != 0)
        settings_->quickDrawModifiers.set(static_cast<qint64>(modifiers & ~flag));
}

void ActivationSection::subscribe()
{
    const auto follow = [this](const auto& source) {
        subscriptions_.push_back(source.subscribe([this](const auto&) { refresh_.request(); }));
    };
    // Whoever changes them, here or elsewhere; an assignment of what they are already changes nothing.
    const auto restartWith = [this](const auto& trigger) {
        subscriptions_.push_back(trigger.subscribe([this, &trigger](const auto& next) {
            if (next != trigger.value())
                restart_.request();
        }));
    };
    follow(settings_->hotkeyKeyCode);
    follow(settings_->hotkeyModifiers);
    follow(settings_->quickDrawModifiers);
    follow(settings_->quickDrawMiddleMouseEnabled);
    if (collaborators_.gestureProblems != nullptr)
        follow(*collaborators_.gestureProblems);
    restartWith(settings_->quickDrawModifiers);
    restartWith(settings_->quickDrawMiddleMouseEnabled);
}

void ActivationSection::refresh()
{
    const auto quickDraw = static_cast<quint64>(settings_->quickDrawModifiers.value());
    const bool middleButton = settings_->quickDrawMiddleMouseEnabled.value();
    const auto hotkeyModifiers = static_cast<quint64>(settings_->hotkeyModifiers.value());
    const qint64 hotkeyKeyCode = settings_->hotkeyKeyCode.value();
    hotkey_->setText(hotkeyDescription(hotkeyModifiers, hotkeyKeyCode));
    const GestureProblems problems = collaborators_.gestureProblems != nullptr
                                         ? collaborators_.gestureProblems->value()
                                         : GestureProblems();
    showProblem(*hotkeyProblem_, problems.hotkey);
    showProblem(*chordProblem_, problems.chord);
    showProblem(*middleButtonProblem_, problems.middleButton);
    // Symbols are hard to listen to.
    const QString spoken = QStringLiteral("Hotkey: ") + hotkeyInWords(hotkeyModifiers, hotkeyKeyCode);
    change_->setAccessibleDescription(
        problems.hotkey.isEmpty() ? spoken : spoken + QStringLiteral(". ") + problems.hotkey);
    for (const ModifierToggle& toggle : modifiers_) {
        toggle.box->setChecked((quickDraw & toggle.flag) != 0);
        toggle.box->setAccessibleDescription(problems.chord);
    }
    middleButton_->setChecked(middleButton);
    middleButton_->setAccessibleDescription(problems.middleButton);
    caption_->setText(quickDrawDescription(quickDraw, middleButton));
}

} // namespace velmo
