#pragma once

#include "platform/KeyReader.h"

#include <QList>
#include <utility>

namespace velmo {

/// A keyboard whose every press is the one that a test has set.
class FakeKeyReader final : public KeyReader {
public:
    [[nodiscard]] PressedKey read(const NativeKey& press) override
    {
        asked.append({press.keyCode, press.modifiers});
        return key;
    }

    PressedKey key;
    QList<std::pair<quint32, quint32>> asked;
};

} // namespace velmo
