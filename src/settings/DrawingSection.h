#pragma once

#include "core/SettingsManager.h"
#include "widgets/FormSection.h"

#include <memory>

namespace velmo {

class RadioButton;

/// When a drawing hands over to the question. Main thread.
class DrawingSection final : public FormSection {
public:
    explicit DrawingSection(std::shared_ptr<SettingsManager> settings);

    void refresh();

private:
    void choose(SubmitMode mode);

    std::shared_ptr<SettingsManager> settings_;
    RadioButton* singleStroke_;
    RadioButton* manualSubmit_;
    LaterRefresh refresh_{this, [this] { refresh(); }};
    Subscription changes_;
};

} // namespace velmo
