#pragma once

#include <QByteArrayView>
#include <QJsonValue>
#include <QString>
#include <optional>

namespace velmo {

/// The text in a prediction's output, in whichever of the shapes that deployments of the model return.
/// Nothing if it has none of them.
[[nodiscard]] std::optional<QString> extractOutputText(const QJsonValue& from);

/// A response's body for the log and for error texts: without the key, should the service repeat it, and with
/// no more than its first 4000 characters. Never meant for parsing.
[[nodiscard]] QString stringBody(QByteArrayView from, const QString& apiKey);

} // namespace velmo
