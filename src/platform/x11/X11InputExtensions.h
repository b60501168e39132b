#pragma once

#include "platform/x11/X11Connection.h"

#include <QString>

namespace velmo {

/// What watching the desktop's input takes from an X server. Plain value.
struct X11InputExtensions {
    quint8 inputOpcode = 0;   ///< Marks the input extension's events.
    quint8 keyboardEvent = 0; ///< The type of the keyboard extension's events.
    QString missing;          ///< A sentence about the first that is missing; empty when all are there.

    /// Announces the versions that we speak, so it also enables the extensions on the connection.
    [[nodiscard]] static X11InputExtensions probe(const X11Connection& connection);
};

} // namespace velmo
