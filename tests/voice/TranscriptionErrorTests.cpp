#include "support/core/Printing.h"
#include "voice/TranscriptionError.h"

#include <gmock/gmock.h>

namespace velmo {

TEST(TranscriptionErrorTest, DescribesEveryCase)
{
    EXPECT_EQ(TranscriptionError::httpError(429, QStringLiteral("slow %1 down")).localizedDescription(),
              u"HTTP 429 from Replicate API: slow %1 down");
    EXPECT_EQ(TranscriptionError::httpError(500, QString()).localizedDescription(),
              u"HTTP 500 from Replicate API: ");
    EXPECT_EQ(TranscriptionError::predictionFailed(QStringLiteral("no %2 voice")).localizedDescription(),
              u"Transcription failed: no %2 voice");
    EXPECT_EQ(TranscriptionError::noAudioFile().localizedDescription(), u"No audio file to transcribe");
    EXPECT_EQ(TranscriptionError::invalidResponse().localizedDescription(),
              u"Unexpected response from Replicate API");
    EXPECT_EQ(TranscriptionError::timeout().localizedDescription(), u"Transcription timed out");
}

TEST(TranscriptionErrorTest, OtherFailuresPassThroughAsTheyAre)
{
    const PlatformError platform{PlatformError::Kind::Denied, QStringLiteral("No microphone was found.")};
    EXPECT_EQ(localizedDescription(TranscriptionFailure(platform)), u"No microphone was found.");
    const HttpError http{HttpErrorKind::TimedOut, QStringLiteral("The request timed out.")};
    EXPECT_EQ(localizedDescription(TranscriptionFailure(http)), u"The request timed out.");
    EXPECT_EQ(localizedDescription(TranscriptionFailure(TranscriptionError::timeout())),
              u"Transcription timed out");
}

} // namespace velmo
