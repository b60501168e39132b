#pragma once

#include "support/sound/SoundPlayer.h"

#include <QString>

namespace velmo::test {

/// Somebody who says the sentence over and over; silence if the speech synthesizer cannot be run.
[[nodiscard]] SoundPlayer::Wave speech(const QString& sentence);

} // namespace velmo::test
