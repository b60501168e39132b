#include "core/Transcript.h"

namespace velmo {

namespace {

ChatMessage makeMessage(ChatMessageRole role, const QString& text, bool isStreaming)
{
    return {QUuid::createUuid(), role, text, std::nullopt, isStreaming};
}

} // namespace

QString describe(SessionState state)
{
    switch (state) {
    case SessionState::Idle:
        return QStringLiteral("idle");
    case SessionState::Drawing:
        return QStringLiteral("drawing");
    case SessionState::Querying:
        return QStringLiteral("querying");
    case SessionState::Streaming:
        return QStringLiteral("streaming");
    }
    return {};
}

ChatMessage ChatMessage::capture(const QByteArray& imageData)
{
    ChatMessage message = makeMessage(ChatMessageRole::User, QString(), false);
    message.attachment = ChatAttachment{QUuid::createUuid(), imageData, QStringLiteral("Screenshot")};
    return message;
}

ChatMessage ChatMessage::pendingUser(const QString& placeholder)
{
    return makeMessage(ChatMessageRole::User, placeholder, true);
}

ChatMessage ChatMessage::user(const QString& question)
{
    return makeMessage(ChatMessageRole::User, question, false);
}

ChatMessage ChatMessage::streamingAssistant()
{
    return makeMessage(ChatMessageRole::Assistant, QString(), true);
}

ChatMessage ChatMessage::assistant(const QString& text)
{
    return makeMessage(ChatMessageRole::Assistant, text, false);
}

const ChatMessage* Transcript::find(const QUuid& id) const
{
    const auto position = positions_.constFind(id);
    return position == positions_.cend() ? nullptr : &messages_.at(*position);
}

QUuid Transcript::append(ChatMessage message)
{
    const QUuid id = message.id;
    observers_.notify({TranscriptChange::Kind::Appended, id, message.text, message.isStreaming, &message});
    positions_.insert(id, messages_.size());
    messages_.append(std::move(message));
    return id;
}

bool Transcript::remove(const QUuid& id)
{
    if (!find(id))
        return false;
    observers_.notify({TranscriptChange::Kind::Removed, id, {}});
    const qsizetype position = positions_.take(id);
    messages_.removeAt(position);
    for (qsizetype later = position; later < messages_.size(); ++later)
        positions_[messages_.at(later).id] = later;
    return true;
}

void Transcript::extend(const QUuid& id, const QString& piece)
{
    if (!find(id))
        return;
    observers_.notify({TranscriptChange::Kind::Extended, id, piece});
    messages_[positions_.value(id)].text += piece;
}

void Transcript::replace(const QUuid& id, const QString& text, bool isStreaming)
{
    if (!find(id))
        return;
    observers_.notify({TranscriptChange::Kind::Replaced, id, text, isStreaming});
    ChatMessage& message = messages_[positions_.value(id)];
    message.text = text;
    message.isStreaming = isStreaming;
}

void Transcript::clear()
{
    observers_.notify({TranscriptChange::Kind::Cleared, {}, {}});
    messages_.clear();
    positions_.clear();
}

void PublishedText::set(const QString& text)
{
    observers_.notify({TextChange::Kind::Replaced, text});
    value_ = text;
}

void PublishedText::extend(const QString& piece)
{
    observers_.notify({TextChange::Kind::Extended, piece});
    value_ += piece;
}

} // namespace velmo
