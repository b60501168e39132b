#include "support/practice/Speech.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmo::practice {

namespace {

constexpr const char* kCollection = "/v1/predictions";

QJsonValue outputOf(const SpeechOptions& options, qsizetype audioBytes)
{
    const QString text = options.text.isEmpty()
                             ? QStringLiteral("practice transcript of %1 audio bytes").arg(audioBytes)
                             : options.text;
    QStringList words = text.split(QLatin1Char(' '));
    for (qsizetype index = 1; index < words.size(); ++index) {
        words[index].prepend(QLatin1Char(' '));
    }
    QJsonArray objects;
    for (const QString& word : words) {
        objects.append(QJsonObject{{QStringLiteral("text"), word}});
    }
    switch (options.shape) {
    case SpeechOptions::Shape::ObjectText:
        return QJsonObject{{QStringLiteral("text"), text}};
    case SpeechOptions::Shape::ObjectTranscription:
        return QJsonObject{{QStringLiteral("transcription"), text}};
    case SpeechOptions::Shape::String:
        return text;
    case SpeechOptions::Shape::StringList:
        return QJsonArray::fromStringList(words);
    case SpeechOptions::Shape::ObjectList:
        return objects;
    case SpeechOptions::Shape::Nothing:
        break;
    }
    return QJsonValue::Null;
}

void addEnd(QJsonObject& prediction, const SpeechOptions& options, qsizetype audioBytes)
{
    switch (options.end) {
    case SpeechOptions::End::Succeeded:
        prediction.insert(QStringLiteral("status"), QStringLiteral("succeeded"));
        prediction.insert(QStringLiteral("output"), outputOf(options, audioBytes));
        break;
    case SpeechOptions::End::Failed:
        prediction.insert(QStringLiteral("status"), QStringLiteral("failed"));
        prediction.insert(QStringLiteral("error"),
                          options.error.isEmpty() ? QStringLiteral("practice failure") : options.error);
        break;
    case SpeechOptions::End::Canceled:
        prediction.insert(QStringLiteral("status"), QStringLiteral("canceled"));
        prediction.insert(QStringLiteral("error"), options.error.isEmpty() ? QJsonValue() : options.error);
        break;
    case SpeechOptions::End::NeverFinishes:
        break;
    }
}

/// The audio inside `input.audio`, null when it is not a data URL of audio.
QByteArray audioOf(const QJsonObject& input)
{
    const QString url = input.value(QStringLiteral("audio")).toString();
    const qsizetype comma = url.indexOf(QLatin1Char(','));
    const QString head = url.left(comma);
    if (!head.startsWith(QLatin1String("data:audio/")) || !head.endsWith(QLatin1String(";base64"))) {
        return {};
    }
    const auto decoded = QByteArray::fromBase64Encoding(url.mid(comma + 1).toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    return decoded ? decoded.decoded : QByteArray();
}

/// The id in `PREFIX/v1/predictions/ID`, empty for the collection itself.
QByteArray idOf(const QByteArray& plainPath)
{
    return plainPath.mid(plainPath.lastIndexOf(kCollection) + qstrlen(kCollection)).mid(1);
}

QString messageOf(const SpeechOptions& options, int status, const QByteArray& key)
{
    return options.echoKey ? QStringLiteral("the key '%1' was refused").arg(QString::fromUtf8(key))
                           : QStringLiteral("practice failure with status %1").arg(status);
}

} // namespace

bool SpeechDesk::serves(const QByteArray& plainPath)
{
    const qsizetype start = plainPath.lastIndexOf(kCollection);
    const QByteArray rest = plainPath.mid(start + static_cast<qsizetype>(qstrlen(kCollection)));
    return start >= 0 &&
           (rest.isEmpty() || (rest.startsWith('/') && rest.size() > 1 && rest.count('/') == 1));
}

ResponsePlan SpeechDesk::answer(const RecordedRequest& request, const SpeechOptions& options,
                                const QByteArray& origin)
{
    const QByteArray key = bearerKey(request);
    if (key.isEmpty() || key == "bad-key") {
        return planJson(401, errorBody(401, QStringLiteral("You did not pass a valid authentication token")));
    }
    const QByteArray id = idOf(request.plainPath());
    const bool isPoll = !id.isEmpty();
    if (request.method != (isPoll ? "GET" : "POST")) {
        return planJson(405, errorBody(405, QStringLiteral("method not allowed")));
    }
    const int status = isPoll ? options.pollStatus : options.createStatus;
    if (status >= 300) {
        return planJson(status, errorBody(status, messageOf(options, status, key)));
    }
    if (isPoll ? options.invalidJsonAtPoll : options.invalidJsonAtCreation) {
        return planJson(status, "{\"id\": \"practice\", \"status\": ");
    }
    return isPoll ? poll(id, options) : create(request, options, origin);
}

ResponsePlan SpeechDesk::create(const RecordedRequest& request, const SpeechOptions& options,
                                const QByteArray& origin)
{
    const QJsonObject body = QJsonDocument::fromJson(request.body).object();
    const QByteArray audio = audioOf(body.value(QStringLiteral("input")).toObject());
    if (body.value(QStringLiteral("version")).toString().isEmpty()) {
        return planJson(422, errorBody(422, QStringLiteral("version is required")));
    }
    if (audio.isEmpty()) {
        return planJson(422, errorBody(422, QStringLiteral("input.audio is not a data URL of audio")));
    }
    const QByteArray id = "practice" + QByteArray::number(predictions_.size() + 1);
    predictions_.insert(id, Prediction{.audioBytes = audio.size()});

    const QByteArray base = options.pollOrigin.isEmpty() ? origin : options.pollOrigin.toUtf8();
    QJsonObject prediction{{QStringLiteral("id"), QString::fromLatin1(id)},
                           {QStringLiteral("status"), QStringLiteral("starting")},
                           {QStringLiteral("error"), QJsonValue::Null}};
    if (!options.omitPollUrl) {
        const QString url = QString::fromUtf8(base + request.plainPath() + '/' + id);
        prediction.insert(QStringLiteral("urls"), QJsonObject{{QStringLiteral("get"), url}});
    }
    if (options.endsAtCreation) {
        addEnd(prediction, options, audio.size());
    }
    return planJson(options.createStatus, compactJson(prediction));
}

ResponsePlan SpeechDesk::poll(const QByteArray& id, const SpeechOptions& options)
{
    const auto found = predictions_.find(id);
    if (found == predictions_.end()) {
        return planJson(404, errorBody(404, QStringLiteral("there is no such prediction")));
    }
    QJsonObject prediction{{QStringLiteral("id"), QString::fromLatin1(id)},
                           {QStringLiteral("status"), QStringLiteral("processing")},
                           {QStringLiteral("output"), QJsonValue::Null},
                           {QStringLiteral("error"), QJsonValue::Null}};
    if (++found->polls > options.pollsBeforeEnd) {
        addEnd(prediction, options, found->audioBytes);
    }
    return planJson(options.pollStatus, compactJson(prediction));
}

QByteArray SpeechDesk::errorBody(int status, const QString& message)
{
    return compactJson({{QStringLiteral("title"), QString::fromLatin1(reasonPhrase(status))},
                        {QStringLiteral("detail"), message},
                        {QStringLiteral("status"), status}});
}

} // namespace velmo::practice
