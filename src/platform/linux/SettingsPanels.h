#pragma once

#include "platform/Permissions.h"

namespace velmo::SettingsPanels {

/// Opens the panel of the running desktop's settings, by whichever of its programs is installed. It goes on
/// without us. Any thread.
PanelOpening open(const QString& anchor);

} // namespace velmo::SettingsPanels
