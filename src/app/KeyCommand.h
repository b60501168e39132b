#pragma once

#include "app/CommandLine.h"

namespace velmo {

/// "velmo key": puts a key from standard input into the keyring, tells where each key comes from, or empties
/// one in the keyring. Keys are never shown. Needs no display; waits for the user where the keyring is
/// locked.
[[nodiscard]] ExitCode runKeyCommand(int argc, char** argv, const KeyArguments& arguments);

} // namespace velmo
