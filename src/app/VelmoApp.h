#pragma once

#include "app/CommandLine.h"

namespace velmo {

/// Runs the program until it is told to quit.
[[nodiscard]] ExitCode runVelmoApp(int argc, char** argv, StartMode mode);

} // namespace velmo
