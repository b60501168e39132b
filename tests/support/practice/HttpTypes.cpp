#include "support/practice/HttpTypes.h"

namespace velmo::practice {

QByteArray headerValue(const HeaderList& headers, const QByteArray& name)
{
    for (const auto& [field, value] : headers) {
        if (field.compare(name, Qt::CaseInsensitive) == 0) {
            return value;
        }
    }
    return {};
}

QByteArray RecordedRequest::plainPath() const
{
    const qsizetype query = path.indexOf('?');
    return query < 0 ? path : path.left(query);
}

bool RecordedRequest::keepsAlive() const
{
    const QByteArray connectionField = header("Connection").toLower();
    return minorVersion == 0 ? connectionField.contains("keep-alive") : !connectionField.contains("close");
}

QByteArray bearerKey(const RecordedRequest& request)
{
    const QByteArray field = request.header("Authorization").trimmed();
    const QByteArray scheme("bearer ");
    return field.left(scheme.size()).toLower() == scheme ? field.mid(scheme.size()).trimmed() : QByteArray();
}

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 302:
        return "Found";
    case 307:
        return "Temporary Redirect";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 413:
        return "Payload Too Large";
    case 422:
        return "Unprocessable Content";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    case 529:
        return "Site Is Overloaded";
    default:
        return "Status";
    }
}

} // namespace velmo::practice
