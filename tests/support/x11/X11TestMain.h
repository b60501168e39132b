#pragma once

namespace velmo::test {

/// Runs the tests of an executable on a virtual display with a QApplication on the xcb platform. Listing the
/// tests starts nothing.
int runX11Tests(int argc, char** argv);

} // namespace velmo::test
