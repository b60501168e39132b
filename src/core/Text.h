#pragma once

#include <QByteArrayView>
#include <QString>
#include <QUuid>
#include <optional>

namespace velmo {

/// "Characters" are what a reader counts: extended grapheme clusters. An emoji with modifiers is one, and so
/// is CR LF. Linear in the text.
[[nodiscard]] qsizetype characterCount(QStringView text);

/// The first count characters, or the whole text if it has no more.
[[nodiscard]] QStringView characterPrefix(QStringView text, qsizetype count);

/// Bytes that are not valid UTF-8 give nothing, rather than replacement characters.
[[nodiscard]] std::optional<QString> decodeUtf8(QByteArrayView bytes);

/// Identifiers are written in upper case, with hyphens and without braces.
[[nodiscard]] QString uuidText(const QUuid& id);

/// The text with "***" for every occurrence of the secret: a service may repeat a key in its complaint, which
/// must not reach the log or the transcript. Nothing is replaced for an empty secret.
[[nodiscard]] QString withoutSecret(QString text, const QString& secret);

/// What the system says of one of its error numbers, without a full stop.
[[nodiscard]] QString systemErrorText(int error);

[[nodiscard]] inline QString boolText(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace velmo
