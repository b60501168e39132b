#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <chrono>

namespace velmo::practice {

/// Header fields in the order they were sent, names in the case they were sent.
using HeaderList = QList<QPair<QByteArray, QByteArray>>;

/// The value of the first field with that name, names compared without case; a null array when there is none.
[[nodiscard]] QByteArray headerValue(const HeaderList& headers, const QByteArray& name);

/// One request as it arrived, with its whole body (chunked bodies are joined). Plain value, any thread.
struct RecordedRequest {
    QByteArray method;
    QByteArray path; ///< The request target, with the query if there was one.
    HeaderList headers;
    QByteArray body;
    int minorVersion = 1; ///< 0 for HTTP/1.0.
    int connection = 0;   ///< The number of the connection that carried it; the first connection is 1.
    int order = 0;        ///< 1 for the first request since start(); clearRequests() does not reset it.
    std::chrono::steady_clock::time_point arrivedAt; ///< When its last byte was read.

    [[nodiscard]] QByteArray header(const char* name) const { return headerValue(headers, QByteArray(name)); }
    /// The target without its query.
    [[nodiscard]] QByteArray plainPath() const;
    /// Whether the client lets the connection be used again.
    [[nodiscard]] bool keepsAlive() const;
};

/// The key after `Authorization: Bearer `, or nothing.
[[nodiscard]] QByteArray bearerKey(const RecordedRequest& request);

/// The reason phrase of a status code.
[[nodiscard]] QByteArray reasonPhrase(int status);

} // namespace velmo::practice
