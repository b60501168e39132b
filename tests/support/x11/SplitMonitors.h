#pragma once

#include "platform/x11/X11Connection.h"

#include <QRect>
#include <QStringList>
#include <vector>

namespace velmo::test {

/// Divides the virtual display into two monitors, "west" and the lower "east", until it goes. With
/// an application it waits until the toolkit has noticed.
class SplitMonitors {
public:
    static constexpr QRect kWest{0, 0, 1000, 1080};
    static constexpr QRect kEast{1000, 200, 920, 800};

    enum class Primary { West, East };

    explicit SplitMonitors(Primary primary = Primary::West);
    ~SplitMonitors();

    /// Waits until the toolkit shows these screens and no others.
    [[nodiscard]] bool awaitToolkit() const;

    [[nodiscard]] xcb_atom_t west() const { return names_[0]; }
    [[nodiscard]] xcb_atom_t east() const { return names_[1]; }

private:
    void add(const char* name, const QRect& area, bool isPrimary, const std::vector<quint32>& outputs);

    std::unique_ptr<X11Connection> connection_ = X11Connection::open();
    std::vector<xcb_atom_t> names_;
    QStringList screensBefore_;
};

} // namespace velmo::test
