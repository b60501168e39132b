#include "support/practice/Dialect.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace velmo::practice {

std::optional<Rejection> checkRequest(const Dialect& dialect, const RecordedRequest& request,
                                      const QJsonObject& body)
{
    const QByteArray key = dialect.receivedKey(request);
    if (key.isEmpty()) {
        return Rejection{401, QStringLiteral("no API key was sent")};
    }
    if (key == "bad-key") {
        return Rejection{401, QStringLiteral("invalid API key")};
    }
    const QByteArray type = request.header("Content-Type").toLower().split(';').first().trimmed();
    if (type != "application/json") {
        return Rejection{400, QStringLiteral("Content-Type must be application/json")};
    }
    if (body.isEmpty()) {
        return Rejection{400, QStringLiteral("the body is not a JSON object")};
    }
    if (body.value(QStringLiteral("model")).toString().isEmpty()) {
        return Rejection{400, QStringLiteral("model: field required")};
    }
    if (!body.value(QStringLiteral("stream")).toBool()) {
        return Rejection{400, QStringLiteral("stream: must be true, only streams are answered")};
    }
    const QJsonArray messages = body.value(QStringLiteral("messages")).toArray();
    if (messages.isEmpty()) {
        return Rejection{400, QStringLiteral("messages: at least one message is required")};
    }
    return dialect.checkFormat(request, body);
}

QByteArray compactJson(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

qsizetype codePoints(const QString& text)
{
    return text.toUcs4().size();
}

} // namespace velmo::practice
