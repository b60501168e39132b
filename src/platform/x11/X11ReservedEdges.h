#pragma once

#include "platform/x11/XcbSupport.h"

#include <QRect>
#include <optional>
#include <vector>

namespace velmo {

/// What panels have reserved along the edges of the desktop. Main thread.
class X11ReservedEdges {
public:
    /// In native pixels of the root, from the desktop's edge to as far as the claim reaches.
    struct Stripe {
        Qt::Edge edge;
        QRect area;
    };
    struct Answer {
        /// Whether the window manager that runs says what is left of the desktop. What a former one has said
        /// does not count: nobody keeps it up to date.
        bool isAreaPublished = false;
        std::vector<Stripe> stripes;
    };
    /// The panels' own claims are only read where they are needed: with several monitors, for which the
    /// published area is one rectangle that says nothing about each, or where none is published.
    [[nodiscard]] Answer read(xcb_connection_t* connection, bool hasSeveralMonitors);

private:
    /// Made once, and never gone.
    struct Atoms {
        xcb_atom_t manager;
        xcb_atom_t supported;
        xcb_atom_t area;
        xcb_atom_t clients;
        xcb_atom_t partialStrut;
        xcb_atom_t strut;
    };
    [[nodiscard]] static Atoms readAtoms(xcb_connection_t* connection);

    std::optional<Atoms> atoms_;
};

} // namespace velmo
