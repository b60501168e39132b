#pragma once

#include "app/CommandLine.h"

namespace velmo {

/// "velmo doctor": looks at everything that Velmo needs or can use on this desktop, says what it found, and
/// what to do about it. Changes nothing, shows no key, works without a display, and takes a few seconds at
/// most, whatever hangs. Done if the main job can work.
[[nodiscard]] ExitCode runDoctorCommand(int argc, char** argv, DoctorFormat format);

} // namespace velmo
