#include "providers/LLMError.h"

namespace velmo {

QString LLMError::localizedDescription() const
{
    if (const auto* encoding = std::get_if<ImageEncoding>(&detail_))
        return encoding->message;
    const auto& http = std::get<HttpStatus>(detail_);
    QString text = QStringLiteral("HTTP error ") + QString::number(http.status);
    if (http.body && !http.body->isEmpty())
        text += QStringLiteral(": ") + *http.body;
    return text;
}

QString localizedDescription(const StreamFailure& failure)
{
    if (const auto* error = std::get_if<LLMError>(&failure))
        return error->localizedDescription();
    return std::get<HttpError>(failure).description;
}

} // namespace velmo
