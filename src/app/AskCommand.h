#pragma once

#include "app/CommandLine.h"

namespace velmo {

/// "velmo ask": one question, the answer to standard output as it arrives and nothing else there. Needs no
/// display. Log lines and failures go to standard error.
[[nodiscard]] ExitCode runAskCommand(int argc, char** argv, const AskArguments& arguments);

} // namespace velmo
