#pragma once

#include "core/SettingsManager.h"
#include "settings/SettingsCollaborators.h"
#include "widgets/FormSection.h"

#include <array>
#include <memory>
#include <vector>

namespace velmo {

class CaptionRow;
class CheckBox;
class PushButton;
class TextLabel;

/// What starts an annotation: the hotkey, and the triggers of quick drawing. Main thread.
class ActivationSection final : public FormSection {
public:
    ActivationSection(std::shared_ptr<SettingsManager> settings, const SettingsCollaborators& collaborators);

    void refresh();

private:
    struct ModifierToggle {
        quint64 flag = 0;
        CheckBox* box = nullptr;
    };

    [[nodiscard]] QWidget* makeHotkeyRow();
    [[nodiscard]] QWidget* makeModifiersRow();
    [[nodiscard]] QWidget* makeMiddleButtonRow();
    void setModifier(quint64 flag, bool isOn);
    void subscribe();

    std::shared_ptr<SettingsManager> settings_;
    const SettingsCollaborators& collaborators_;
    TextLabel* hotkey_;
    TextLabel* hotkeyProblem_;
    TextLabel* chordProblem_;
    TextLabel* middleButtonProblem_;
    PushButton* change_;
    std::array<ModifierToggle, 3> modifiers_;
    CheckBox* middleButton_;
    CaptionRow* caption_;
    LaterRefresh refresh_{this, [this] { refresh(); }};
    LaterRefresh restart_;
    std::vector<Subscription> subscriptions_;
};

} // namespace velmo
