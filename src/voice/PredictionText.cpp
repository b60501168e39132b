#include "voice/PredictionText.h"

#include "core/Text.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <algorithm>

namespace velmo {

namespace {

constexpr qsizetype kLongestBody = 4000;

std::optional<QString> textOf(const QJsonObject& object)
{
    for (const auto& key : {QStringLiteral("text"), QStringLiteral("transcription")}) {
        if (const QJsonValue value = object.value(key); value.isString())
            return value.toString();
    }
    return std::nullopt;
}

std::optional<QString> textOf(const QJsonArray& list)
{
    const auto all = [&list](auto predicate) { return std::all_of(list.begin(), list.end(), predicate); };
    QStringList texts;
    // An empty list is one of strings, and its text is empty.
    if (all([](const QJsonValue& value) { return value.isString(); })) {
        for (const QJsonValue& value : list)
            texts.append(value.toString());
        return texts.join(u' ');
    }
    if (!all([](const QJsonValue& value) { return value.isObject(); }))
        return std::nullopt;
    for (const QJsonValue& value : list) {
        if (const auto text = textOf(value.toObject()))
            texts.append(*text);
    }
    if (texts.isEmpty())
        return std::nullopt;
    return texts.join(u' ');
}

} // namespace

std::optional<QString> extractOutputText(const QJsonValue& from)
{
    if (from.isString())
        return from.toString();
    if (from.isObject())
        return textOf(from.toObject());
    if (from.isArray())
        return textOf(from.toArray());
    return std::nullopt;
}

QString stringBody(QByteArrayView from, const QString& apiKey)
{
    const auto decoded = decodeUtf8(from);
    if (!decoded)
        return QStringLiteral("<non-utf8 body ") + QString::number(from.size()) + QStringLiteral(" bytes>");
    // The key goes first: a cut through it would leave half of it.
    const QString text = withoutSecret(*decoded, apiKey);
    const QStringView start = characterPrefix(text, kLongestBody);
    return start.size() == text.size() ? text : start.toString() + u'…';
}

} // namespace velmo
