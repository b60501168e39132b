#pragma once

#include "core/SettingsManager.h"

namespace velmo {

/// What people call a model; an unknown identifier is shown as it is.
[[nodiscard]] QString modelDisplayName(const QString& model);

/// The title of the model pill: the model in use, or an invitation where no key is known at all.
[[nodiscard]] QString modelPillTitle(const SettingsManager& settings);

} // namespace velmo
