#pragma once

#include "core/CoordinateSpace.h"

#include <QGuiApplication>
#include <QScreen>

namespace velmo {

/// Between screen coordinates and the toolkit's, as the screens are now. Main thread.
[[nodiscard]] inline CoordinateSpace toolkitSpace()
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return CoordinateSpace(primary ? QRectF(primary->geometry()) : QRectF());
}

} // namespace velmo
