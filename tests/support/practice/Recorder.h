#pragma once

#include "support/practice/HttpTypes.h"

#include <QString>

namespace velmo::practice {

/// Writes requests to a directory, for people to look at:
///
///   001.json            {"method", "path", "connection", "headers": [[name, value], ...], "body"}
///   001-image-1.png     the first image of that request, with the bytes it was sent with (.png, .webp, .jpg)
///
/// The number is the order of the request. The values of `x-api-key` and `Authorization` are written as
/// `***`. The body is JSON when it parses as an object, else a string, else (not UTF-8) base64 under
/// `bodyBase64`. Used by one thread.
class Recorder {
public:
    /// Without a directory nothing is written.
    explicit Recorder(const QString& directory);

    /// Creates the directory. False when that is not possible.
    [[nodiscard]] bool prepare() const;

    /// A file that cannot be written is reported as a warning in the log; the service goes on.
    void write(const RecordedRequest& request) const;

private:
    void writeFile(const QString& name, const QByteArray& content) const;

    QString directory_;
};

} // namespace velmo::practice
