#pragma once

#include "app/CommandLine.h"

namespace velmo {

/// Runs the program until it is told to quit; where it runs already on this display, has that one do what is
/// wanted.
[[nodiscard]] ExitCode runVelmoApp(int argc, char** argv, const StartArguments& start);

} // namespace velmo
