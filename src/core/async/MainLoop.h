#pragma once

#include <functional>

namespace velmo::async {

/// Runs the function on a later turn of the main thread's event loop, in the order of the calls from one
/// thread. Any thread. Dropped when the application object is gone.
void postToMainLoop(std::function<void()> function);

} // namespace velmo::async
