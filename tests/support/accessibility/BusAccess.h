#pragma once

#include "platform/linux/BusConnection.h"

#include <functional>
#include <string>

namespace velmo::test {

/// Calls a method and waits for the answer, for as long as a test has patience. The handler reads it; false
/// when there was none, or an error.
bool askBus(const std::string& address, const BusRequest& request,
            const std::function<void(BusMessage&)>& handler);

} // namespace velmo::test
