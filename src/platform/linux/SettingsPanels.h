#pragma once

#include "platform/linux/MicrophoneFinding.h"

namespace velmo::SettingsPanels {

/// Opens the panel of the running desktop's settings, by whichever of its programs is installed. It goes on
/// without us. What there is to do instead of the microphone's panel depends on what is known of it. Any
/// thread.
PanelOpening open(const QString& anchor, MicrophoneFinding microphone);

} // namespace velmo::SettingsPanels
