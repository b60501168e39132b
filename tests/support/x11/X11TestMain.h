#pragma once

#include "support/x11/VirtualDisplay.h"

namespace velmo::test {

/// Runs the tests of an executable on a virtual display with a QApplication on the xcb platform. Listing the
/// tests starts nothing.
int runX11Tests(int argc, char** argv, const VirtualDisplay::Options& options = {});

} // namespace velmo::test
