// A question, from submission to the end of its answer.

#include "core/AnnotationSession.h"
#include "core/SessionLog.h"
#include "core/Text.h"

namespace velmo {

/// Everything that one submission needs, as it was when the question was sent: what the user changes in the
/// settings meanwhile is for the next one.
struct AnnotationSession::Submission {
    QString query;
    std::optional<QUuid> existingUserMessageID;
    QString provider;
    QString openAIModel;
    QString anthropicModel;
    QString systemPrompt;
    std::optional<QString> openAIKey;
    std::optional<QString> anthropicKey;
    QUuid revision;

    [[nodiscard]] bool usesOpenAI() const { return provider == ProviderID::OpenAI; }
    [[nodiscard]] const QString& model() const { return usesOpenAI() ? openAIModel : anthropicModel; }
    [[nodiscard]] QString key() const
    {
        return (usesOpenAI() ? openAIKey : anthropicKey).value_or(QString());
    }
};

void AnnotationSession::submit(const QString& query, const std::optional<QUuid>& existingUserMessageID)
{
    const auto store = settings();
    if (state_.value() != SessionState::Querying || !store)
        return;
    state_.set(SessionState::Streaming);
    closeOverlay();
    Submission submission{query,
                          existingUserMessageID,
                          store->selectedProvider.value(),
                          store->effectiveModel(ProviderID::OpenAI),
                          store->effectiveModel(ProviderID::Anthropic),
                          store->effectiveSystemPrompt(),
                          store->effectiveKey(KeychainAccount::OpenAI),
                          store->effectiveKey(KeychainAccount::Anthropic),
                          sessionRevision_};
    streamingTask_.cancel();
    streamingTask_ = tasks_.start(performSubmit(std::move(submission)));
}

async::Task<std::optional<QByteArray>> AnnotationSession::awaitCapturedImage()
{
    if (capturedImage_)
        co_return capturedImage_;
    if (!captureTask_.isValid())
        co_return std::nullopt;
    const auto outcome = co_await captureTask_.outcome();
    co_return outcome.value.value_or(std::nullopt);
}

async::Task<> AnnotationSession::performSubmit(Submission submission)
{
    const auto image = co_await awaitCapturedImage();
    if (!isCurrent(submission.revision))
        co_return;
    logSession(QStringLiteral("Submitting query provider=") + submission.provider +
               QStringLiteral(" model=") + submission.model() + QStringLiteral(" queryLength=") +
               QString::number(characterCount(submission.query)) + QStringLiteral(" systemPromptLength=") +
               QString::number(characterCount(submission.systemPrompt)) +
               QStringLiteral(" screenshotBytes=") + QString::number(image ? image->size() : 0));

    if (submission.key().isEmpty()) {
        const QString vendor =
            submission.usesOpenAI() ? QStringLiteral("OpenAI") : QStringLiteral("Anthropic");
        finishSubmissionWithError(QStringLiteral("Error: No ") + vendor +
                                  QStringLiteral(" API key configured. Add it in Settings."));
        logSession(vendor + QStringLiteral(" API key missing"));
    } else {
        const ProviderFactory& makeProvider = submission.usesOpenAI() ? collaborators_.makeOpenAIProvider
                                                                      : collaborators_.makeAnthropicProvider;
        auto provider = makeProvider(submission.key(), submission.model());
        co_await streamAnswer(submission, std::move(provider), image);
    }
    if (isCurrent(submission.revision))
        streamingTask_ = {};
}

void AnnotationSession::finishSubmissionWithError(const QString& text)
{
    streamedResponse_.set(text);
    chatMessages_.append(ChatMessage::assistant(text));
    state_.set(SessionState::Querying);
}

async::Task<> AnnotationSession::streamAnswer(Submission submission, std::unique_ptr<LLMProvider> provider,
                                              std::optional<QByteArray> image)
{
    QUuid userMessageID;
    if (submission.existingUserMessageID) {
        userMessageID = *submission.existingUserMessageID;
        chatMessages_.replace(userMessageID, submission.query, false);
    } else {
        userMessageID = chatMessages_.append(ChatMessage::user(submission.query));
    }
    const QUuid assistantMessageID = chatMessages_.append(ChatMessage::streamingAssistant());
    streamedResponse_.set(QString());
    logSession(QStringLiteral("Created chat transcript userMessageID=") + uuidText(userMessageID) +
               QStringLiteral(" assistantMessageID=") + uuidText(assistantMessageID));

    const auto additionalImage = std::exchange(pendingAdditionalImageData_, std::nullopt);
    pendingAdditionalMessageID_.reset();

    QList<LLMMessage> messages;
    std::optional<LLMMessage> followUp;
    const bool isFirstTurn = llmConversationPrefix_.isEmpty();
    if (isFirstTurn) {
        initialCaptureMessageID_.reset();
        llmConversationPrefix_ = {LLMMessage{LLMMessage::Role::User, submission.query, image}};
        messages = llmConversationPrefix_;
    } else {
        followUp = LLMMessage{LLMMessage::Role::User, submission.query, additionalImage};
        messages = llmConversationPrefix_ + llmConversationHistory_;
        messages.append(*followUp);
    }
    logSession(QStringLiteral("Streaming task started provider=") + submission.provider +
               QStringLiteral(" prefixMessages=") + QString::number(llmConversationPrefix_.size()) +
               QStringLiteral(" historyMessages=") + QString::number(llmConversationHistory_.size()) +
               QStringLiteral(" messages=") + QString::number(messages.size()) +
               QStringLiteral(" isFirstTurn=") + boolText(isFirstTurn));

    const auto pieces = provider->stream(messages, submission.systemPrompt);
    try {
        while (true) {
            const auto batch = co_await pieces.nextBatch();
            if (batch.empty())
                break;
            for (const QString& piece : batch) {
                if (!isCurrent(submission.revision))
                    co_return;
                streamedResponse_.extend(piece);
                chatMessages_.extend(assistantMessageID, piece);
            }
        }
    } catch (const async::Cancelled&) {
        logSession(QStringLiteral("Streaming task cancelled"));
        co_return;
    }
    if (!isCurrent(submission.revision))
        co_return;
    if (const auto failure = pieces.error())
        failAnswer(assistantMessageID, localizedDescription(*failure));
    else
        completeAnswer(assistantMessageID, followUp);
}

void AnnotationSession::completeAnswer(const QUuid& assistantMessageID,
                                       const std::optional<LLMMessage>& followUp)
{
    const QString answer = streamedResponse_.value();
    chatMessages_.replace(assistantMessageID, answer, false);
    if (followUp)
        llmConversationHistory_.append(*followUp);
    llmConversationHistory_.append(LLMMessage{LLMMessage::Role::Assistant, answer, std::nullopt});
    state_.set(SessionState::Querying);
    logSession(QStringLiteral("Streaming task completed responseLength=") +
               QString::number(characterCount(answer)));
}

void AnnotationSession::failAnswer(const QUuid& assistantMessageID, const QString& description)
{
    QString text = streamedResponse_.value();
    if (!text.isEmpty())
        text += QStringLiteral("\n\n");
    text += QStringLiteral("[Error: ") + description + u']';
    streamedResponse_.set(text);
    chatMessages_.replace(assistantMessageID, text, false);
    state_.set(SessionState::Querying);
    logSession(QStringLiteral("Streaming task failed error=") + description);
}

} // namespace velmo
