#pragma once

#include "core/SettingsManager.h"
#include "widgets/FormSection.h"

#include <memory>

namespace velmo {

class PlainTextEditor;

/// The guidance that goes along with each question. Main thread.
class PromptSection final : public FormSection {
public:
    explicit PromptSection(std::shared_ptr<SettingsManager> settings);

    void refresh();

private:
    std::shared_ptr<SettingsManager> settings_;
    PlainTextEditor* editor_;
    std::optional<QString> shown_; ///< What the editor stands for.
    LaterRefresh refresh_{this, [this] { refresh(); }};
    Subscription changes_;
};

} // namespace velmo
