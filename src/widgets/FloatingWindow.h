#pragma once

#include <QWidget>

namespace velmo {

/// A window of ours above everything else that never takes the input focus: no window manager handles it, and
/// it is translucent where a compositor runs. Main thread.
class FloatingWindow : public QWidget {
public:
    enum class Mouse {
        Takes,
        PassesThrough ///< Presses go to whatever is below.
    };

    explicit FloatingWindow(Mouse mouse);

    /// Cuts the corners off, for desktops where a translucent window would show black there.
    void cutCorners(double radius);
};

} // namespace velmo
