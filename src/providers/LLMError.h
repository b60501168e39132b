#pragma once

#include "platform/HttpClient.h"

#include <QString>
#include <optional>
#include <variant>

namespace velmo {

/// The failures that a provider itself reports. The description is what users see and what the log says.
class LLMError {
public:
    struct HttpStatus {
        int status = -1;
        std::optional<QString> body;
    };
    struct ImageEncoding {
        QString message;
    };

    [[nodiscard]] static LLMError httpError(int status, std::optional<QString> body)
    {
        return LLMError(HttpStatus{status, std::move(body)});
    }
    [[nodiscard]] static LLMError imageEncodingFailed(QString message)
    {
        return LLMError(ImageEncoding{std::move(message)});
    }

    [[nodiscard]] const std::variant<HttpStatus, ImageEncoding>& detail() const { return detail_; }
    [[nodiscard]] QString localizedDescription() const;

private:
    explicit LLMError(std::variant<HttpStatus, ImageEncoding> detail)
        : detail_(std::move(detail))
    {}
    std::variant<HttpStatus, ImageEncoding> detail_;
};

/// Why a stream ended early: the provider's own error, or the transport's, which passes through as it is.
using StreamFailure = std::variant<LLMError, HttpError>;

[[nodiscard]] QString localizedDescription(const StreamFailure& failure);

} // namespace velmo
