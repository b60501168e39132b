#include "providers/LLMError.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {

TEST(LLMErrorTest, AStatusWithABodyShowsBoth)
{
    EXPECT_EQ(LLMError::httpError(401, QStringLiteral("{\"error\": \"%1\"}")).localizedDescription(),
              QStringLiteral("HTTP error 401: {\"error\": \"%1\"}"));
}

TEST(LLMErrorTest, AnEmptyOrMissingBodyLeavesNoColon)
{
    EXPECT_EQ(LLMError::httpError(429, QString()).localizedDescription(), QStringLiteral("HTTP error 429"));
    EXPECT_EQ(LLMError::httpError(500, QStringLiteral("")).localizedDescription(),
              QStringLiteral("HTTP error 500"));
    EXPECT_EQ(LLMError::httpError(500, std::nullopt).localizedDescription(),
              QStringLiteral("HTTP error 500"));
}

TEST(LLMErrorTest, ABodyOfBlanksIsABody)
{
    EXPECT_EQ(LLMError::httpError(500, QStringLiteral(" ")).localizedDescription(),
              QStringLiteral("HTTP error 500:  "));
}

TEST(LLMErrorTest, AnAnswerThatIsNotHttpHasTheStatusMinusOne)
{
    EXPECT_EQ(LLMError::httpError(-1, std::nullopt).localizedDescription(), QStringLiteral("HTTP error -1"));
}

TEST(LLMErrorTest, AnImageErrorIsItsMessage)
{
    EXPECT_EQ(LLMError::imageEncodingFailed(QStringLiteral("a sentence")).localizedDescription(),
              QStringLiteral("a sentence"));
}

TEST(LLMErrorTest, ATransportErrorPassesThroughAsItIs)
{
    EXPECT_EQ(
        localizedDescription(HttpError{HttpErrorKind::TimedOut, QStringLiteral("The request timed out.")}),
        QStringLiteral("The request timed out."));
    EXPECT_EQ(localizedDescription(LLMError::httpError(500, QStringLiteral("b"))),
              QStringLiteral("HTTP error 500: b"));
}

} // namespace velmo
