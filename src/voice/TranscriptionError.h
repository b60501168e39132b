#pragma once

#include "platform/HttpClient.h"
#include "platform/PlatformError.h"

#include <QString>
#include <variant>

namespace velmo {

/// The failures that the transcription itself reports. The description is what users see and what the log
/// says.
class TranscriptionError {
public:
    struct HttpStatus {
        int status = -1;
        QString body;
    };
    struct Prediction {
        QString message;
    };
    struct NoAudioFile {};
    struct InvalidResponse {};
    struct Timeout {};
    using Detail = std::variant<HttpStatus, Prediction, NoAudioFile, InvalidResponse, Timeout>;

    [[nodiscard]] static TranscriptionError httpError(int status, QString body)
    {
        return TranscriptionError(HttpStatus{status, std::move(body)});
    }
    [[nodiscard]] static TranscriptionError predictionFailed(QString message)
    {
        return TranscriptionError(Prediction{std::move(message)});
    }
    [[nodiscard]] static TranscriptionError noAudioFile() { return TranscriptionError(NoAudioFile{}); }
    [[nodiscard]] static TranscriptionError invalidResponse()
    {
        return TranscriptionError(InvalidResponse{});
    }
    [[nodiscard]] static TranscriptionError timeout() { return TranscriptionError(Timeout{}); }

    [[nodiscard]] const Detail& detail() const { return detail_; }
    [[nodiscard]] QString localizedDescription() const;

private:
    explicit TranscriptionError(Detail detail)
        : detail_(std::move(detail))
    {}
    Detail detail_;
};

/// Why there is no transcript: the transcription's own error, or one of recording, reading or the network,
/// which passes through as it is.
using TranscriptionFailure = std::variant<TranscriptionError, PlatformError, HttpError>;

[[nodiscard]] QString localizedDescription(const TranscriptionFailure& failure);

} // namespace velmo
