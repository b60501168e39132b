#pragma once

#include "support/accessibility/PrivateBuses.h"

namespace velmo::test {

/// The buses that the test's own application is on.
[[nodiscard]] PrivateBuses& buses();

} // namespace velmo::test
