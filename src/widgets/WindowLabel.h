#pragma once

#include <QLabel>

namespace velmo {

/// A text of an ordinary window in one of its few looks; plain, whatever is in it. Its colour follows the
/// window's palette (see WindowPalette.h). Main thread.
class WindowLabel final : public QLabel {
public:
    enum class Kind {
        Body,
        Value,   ///< What somebody has chosen.
        Header,  ///< Above a section.
        Caption, ///< Explains in as many lines as it takes.
        Warning, ///< The same, where something does not work.
    };

    WindowLabel(Kind kind, const QString& text, QWidget* parent = nullptr);
};

} // namespace velmo
