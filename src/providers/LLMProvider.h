#pragma once

#include "core/async/Channel.h"
#include "providers/LLMError.h"
#include "providers/LLMMessage.h"

#include <QStringList>

namespace velmo {

/// The pieces of an answer, in the order of arrival; the consumer concatenates them.
using AnswerChannel = async::Channel<QString, StreamFailure>;

/// A hosted language model. Immutable after construction.
class LLMProvider {
public:
    virtual ~LLMProvider() = default;

    /// The stable key under which the settings know it.
    [[nodiscard]] virtual QString id() const = 0;
    [[nodiscard]] virtual QString displayName() const = 0;
    /// Model identifiers, in the order offered to the user.
    [[nodiscard]] virtual QStringList availableModels() const = 0;

    /// Asks the model. Returns at once; the work begins on a later turn and needs neither this object nor the
    /// reader: a stream that nobody reads runs to its natural end. Messages oldest first. Main thread.
    [[nodiscard]] virtual AnswerChannel::Reader stream(const QList<LLMMessage>& messages,
                                                       const QString& systemPrompt) = 0;
};

} // namespace velmo
