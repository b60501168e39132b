#pragma once

#include <QColor>
#include <functional>
#include <optional>

namespace velmo {

/// Whether the desktop has a place for status items, of one of the kinds that there are. It may come late,
/// go, and come back. Main thread.
class TrayPresence {
public:
    enum class State {
        Unknown, ///< The desktop has not answered yet.
        Absent,
        Present,
    };

    enum class Kind {
        Bus,       ///< Items are announced to it, and it draws them.
        Embedding, ///< It takes in windows that items draw themselves.
    };

    virtual ~TrayPresence() = default;
    [[nodiscard]] virtual Kind kind() const = 0;
    [[nodiscard]] virtual State state() const = 0;

    /// Whether one may yet come while it is absent.
    [[nodiscard]] virtual bool mayCome() const { return true; }

    /// The colour that stands out there, where the desktop tells it.
    [[nodiscard]] virtual std::optional<QColor> symbolColor() const { return std::nullopt; }

    /// Called after each change of the two, from the event loop.
    virtual void setChangeHandler(std::function<void()> handler) = 0;
};

} // namespace velmo
