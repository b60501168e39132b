#pragma once

#include <QCursor>

namespace velmo {

/// The pencil that draws: 24 x 24 points with the tip, its hot spot, at (4, 20). Dark with a white casing, so
/// that it can be seen on any picture. scale: native pixels per point of the screen that it is shown on. Main
/// thread, with an application.
[[nodiscard]] const QCursor& penCursor(double scale);

} // namespace velmo
