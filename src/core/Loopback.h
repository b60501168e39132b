#pragma once

#include <QString>

namespace velmo {

/// Whether a host name or address can only be this computer: the loopback networks and names below
/// "localhost".
[[nodiscard]] bool isLoopbackHost(const QString& host);

} // namespace velmo
