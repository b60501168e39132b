#pragma once

#include "core/Result.h"
#include "core/async/Task.h"
#include "platform/HttpClient.h"
#include "voice/TranscriptionError.h"

#include <QJsonObject>
#include <chrono>
#include <functional>
#include <optional>

namespace velmo {

/// The service that turns sound into text, over HTTP. No step is tried twice. Main thread; it outlives its
/// tasks, and the client outlives both.
///
/// The service names the address to ask for the result itself. Since the key goes there too, only the scheme,
/// host and port count that the sound was sent to; any other is an unexpected response.
class PredictionClient {
public:
    /// Waits between two polls.
    using Pause = std::function<async::Task<>(std::chrono::milliseconds)>;
    template <typename T>
    using Outcome = Result<T, TranscriptionFailure>;

    PredictionClient(QString apiKey, QString modelVersion, HttpClient& http, Pause pause);

    /// Sends the sound, a data URI, and gives the address to ask for its text.
    [[nodiscard]] async::Task<Outcome<QUrl>> createPrediction(QByteArray audioDataURI) const;
    /// Asks once a second, sixty times at most, until there is a text, which may be empty.
    [[nodiscard]] async::Task<Outcome<QString>> pollForResult(QUrl url) const;

private:
    struct Reply {
        int status = -1;
        QString body; ///< As the log and error texts have it.
        std::optional<QJsonObject> object;
    };

    [[nodiscard]] async::Task<Result<Reply, HttpError>> exchange(HttpRequest request) const;
    [[nodiscard]] HttpRequest request(const QByteArray& method, const QUrl& url,
                                      std::chrono::milliseconds timeOut) const;
    [[nodiscard]] Outcome<QString> resultOf(const QString& status, const Reply& reply) const;
    void log(const QString& message) const;

    QString apiKey_;
    QString modelVersion_;
    HttpClient* http_;
    Pause pause_;
};

} // namespace velmo
