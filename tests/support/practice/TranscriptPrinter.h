#pragma once

#include <QString>
#include <optional>

namespace velmo::practice {

/// The conversation in a recorded request, for people to read; nothing if the file holds none.
[[nodiscard]] std::optional<QString> readTranscript(const QString& recordedRequest);

} // namespace velmo::practice
