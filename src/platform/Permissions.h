#pragma once

namespace velmo {

/// What the desktop lets this program do. Cheap enough to ask every second; never prompts. Main thread.
class Permissions {
public:
    virtual ~Permissions() = default;

    /// Input can be watched from the whole desktop.
    [[nodiscard]] virtual bool accessibilityGranted() = 0;

    /// The screen can be read.
    [[nodiscard]] virtual bool screenRecordingGranted() = 0;
};

} // namespace velmo
