#pragma once

#include "app/CommandLine.h"
#include "platform/ApplicationInstance.h"

namespace velmo {

/// "velmo cancel" and "velmo quit", which only the program that runs can do, and which need no display.
[[nodiscard]] ExitCode runRemoteCommand(RemoteVerb verb);

/// Says on standard error why a request was not done, if it was not.
[[nodiscard]] ExitCode explain(const RemoteOutcome& outcome);

} // namespace velmo
