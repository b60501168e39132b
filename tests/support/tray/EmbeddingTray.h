#pragma once

#include "platform/x11/X11Connection.h"

#include <QByteArray>
#include <array>
#include <optional>

namespace velmo::test {

/// A bar that takes the windows of status items into its own, on an X server. It ends with this object.
class EmbeddingTray {
public:
    /// The colour is what it announces for symbols, in three channels of 16 bits.
    explicit EmbeddingTray(std::optional<std::array<uint32_t, 3>> symbolColor = std::nullopt);
    EmbeddingTray(const EmbeddingTray&) = delete;
    EmbeddingTray& operator=(const EmbeddingTray&) = delete;

    void announceColor(std::array<uint32_t, 3> symbolColor);

    /// Reads what has arrived, and takes in whoever asks for it. The number of requests so far: a toolkit may
    /// ask again when it hears of a tray that it has found already.
    [[nodiscard]] int takeIn();

    /// Where the symbols are, on the screen.
    static constexpr int kLeft = 400;
    static constexpr int kTop = 0;
    static constexpr int kSide = 24;

private:
    std::unique_ptr<X11Connection> connection_;
    xcb_window_t window_ = XCB_NONE;
    int count_ = 0;
};

} // namespace velmo::test
