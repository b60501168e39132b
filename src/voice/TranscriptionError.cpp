#include "voice/TranscriptionError.h"

namespace velmo {

namespace {

struct Describe {
    QString operator()(const TranscriptionError::HttpStatus& error) const
    {
        return QStringLiteral("HTTP ") + QString::number(error.status) +
               QStringLiteral(" from Replicate API: ") + error.body;
    }
    QString operator()(const TranscriptionError::Prediction& error) const
    {
        return QStringLiteral("Transcription failed: ") + error.message;
    }
    QString operator()(const TranscriptionError::NoAudioFile&) const
    {
        return QStringLiteral("No audio file to transcribe");
    }
    QString operator()(const TranscriptionError::InvalidResponse&) const
    {
        return QStringLiteral("Unexpected response from Replicate API");
    }
    QString operator()(const TranscriptionError::Timeout&) const
    {
        return QStringLiteral("Transcription timed out");
    }

    QString operator()(const TranscriptionError& error) const { return error.localizedDescription(); }
    QString operator()(const PlatformError& error) const { return error.description; }
    QString operator()(const HttpError& error) const { return error.description; }
};

} // namespace

QString TranscriptionError::localizedDescription() const
{
    return std::visit(Describe{}, detail_);
}

QString localizedDescription(const TranscriptionFailure& failure)
{
    return std::visit(Describe{}, failure);
}

} // namespace velmo
