#include "support/practice/TranscriptPrinter.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmo::practice {

namespace {

QString readContent(const QJsonValue& content)
{
    if (content.isString())
        return content.toString();
    QStringList parts;
    for (const QJsonValue& block : content.toArray()) {
        const bool isText = block[QStringLiteral("type")] == QStringLiteral("text");
        parts.append(isText ? block[QStringLiteral("text")].toString() : QStringLiteral("[Screenshot]"));
    }
    return parts.join(u' ');
}

} // namespace

std::optional<QString> readTranscript(const QString& recordedRequest)
{
    QFile file(recordedRequest);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QJsonObject request = QJsonDocument::fromJson(file.readAll()).object();
    const QJsonArray messages = request[QStringLiteral("body")][QStringLiteral("messages")].toArray();
    if (messages.isEmpty())
        return std::nullopt;
    QString text;
    for (const QJsonValue& message : messages) {
        const bool user = message[QStringLiteral("role")] == QStringLiteral("user");
        text += (user ? QStringLiteral("You:   ") : QStringLiteral("Velmo: ")) +
                readContent(message[QStringLiteral("content")]) + QStringLiteral("\n\n");
    }
    return text;
}

} // namespace velmo::practice
