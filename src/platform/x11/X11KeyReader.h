#pragma once

#include "platform/KeyReader.h"
#include "platform/x11/X11Connection.h"

namespace velmo {

/// Reads keys with the keyboard map that is in force at each press, the very one that the tap goes by. Its
/// connection is opened at the first press; without one, no key can be named.
class X11KeyReader final : public KeyReader {
public:
    [[nodiscard]] PressedKey read(const NativeKey& press) override;

private:
    std::unique_ptr<X11Connection> connection_;
};

} // namespace velmo
