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
    /// Nothing is selected on it afterwards.
    [[nodiscard]] static X11InputExtensions probe(const X11Connection& connection);
};

/// Has the connection told the input extension's events of the screen, in place of those that it was told of
/// the same devices before. Waits for the server; false when that refuses.
[[nodiscard]] bool selectInput(const X11Connection& connection, quint16 devices, quint32 events);

} // namespace velmo
