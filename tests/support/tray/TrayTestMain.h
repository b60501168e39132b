#pragma once

#include "support/accessibility/PrivateBuses.h"

namespace velmo::test {

/// The session bus of runTrayTests().
[[nodiscard]] PrivateBuses& buses();

/// Runs tests on a virtual display and a session bus of their own, which the toolkit uses, too.
int runTrayTests(int argc, char** argv);

} // namespace velmo::test
