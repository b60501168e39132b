#pragma once

#include "core/SettingsManager.h"
#include "settings/SettingsCollaborators.h"

#include <QScrollArea>
#include <memory>

namespace velmo {

class ActivationSection;
class APIKeySection;
class DrawingSection;
class PromptSection;

/// The "General" tab: a form that is bound to the settings both ways, each change stored at once. Main
/// thread.
class SettingsView final : public QScrollArea {
public:
    SettingsView(const std::shared_ptr<SettingsManager>& settings, const SettingsCollaborators& collaborators,
                 QWidget* parent = nullptr);

protected:
    void hideEvent(QHideEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    APIKeySection* keys_;
    PromptSection* prompt_;
    ActivationSection* activation_;
    DrawingSection* drawing_;
};

} // namespace velmo
