#include "platform/linux/InstanceMessages.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <array>

namespace velmo {
namespace {

struct Word {
    RemoteVerb verb;
    QString text;
};

const std::array<Word, 6>& words()
{
    static const std::array<Word, 6> all{
        Word{RemoteVerb::Ping, QStringLiteral("ping")},
        Word{RemoteVerb::Annotate, QStringLiteral("annotate")},
        Word{RemoteVerb::Settings, QStringLiteral("settings")},
        Word{RemoteVerb::Cancel, QStringLiteral("cancel")},
        Word{RemoteVerb::Quit, QStringLiteral("quit")},
        Word{RemoteVerb::Status, QStringLiteral("status")},
    };
    return all;
}

const QString kVerb = QStringLiteral("verb");
const QString kDisplay = QStringLiteral("display");
const QString kAccepted = QStringLiteral("accepted");
const QString kText = QStringLiteral("text");
const QString kEnding = QStringLiteral("ending");
const QString kOtherDisplay = QStringLiteral("otherDisplay");

} // namespace

QByteArray encoded(const InstanceMessage& message)
{
    const auto word = std::ranges::find(words(), message.verb, &Word::verb);
    return QJsonDocument(QJsonObject{{kVerb, word->text}, {kDisplay, message.display}})
        .toJson(QJsonDocument::Compact);
}

QByteArray encoded(const InstanceAnswer& answer)
{
    return QJsonDocument(QJsonObject{{kAccepted, answer.reply.isAccepted},
                                     {kText, answer.reply.text},
                                     {kEnding, answer.reply.isEnding},
                                     {kOtherDisplay, answer.isOtherDisplay}})
        .toJson(QJsonDocument::Compact);
}

std::optional<InstanceMessage> decodedMessage(const QByteArray& bytes)
{
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    const auto word = std::ranges::find(words(), object[kVerb].toString(), &Word::text);
    if (word == words().end())
        return std::nullopt;
    return InstanceMessage{word->verb, object[kDisplay].toString()};
}

std::optional<InstanceAnswer> decodedAnswer(const QByteArray& bytes)
{
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    if (!object[kAccepted].isBool())
        return std::nullopt;
    return InstanceAnswer{{object[kAccepted].toBool(), object[kText].toString(), object[kEnding].toBool()},
                          object[kOtherDisplay].toBool()};
}

QByteArray answerTo(const QByteArray& bytes, const QString& ownDisplay,
                    const ApplicationInstance::Handler& handler)
{
    const auto message = decodedMessage(bytes);
    if (!message)
        return encoded(InstanceAnswer{
            {false, QStringLiteral("The Velmo that runs is of another version and does not know that.")}});
    if (!message->display.isEmpty() && message->display != ownDisplay)
        return encoded(
            InstanceAnswer{{false, QStringLiteral("Velmo runs on the display ") + ownDisplay + u'.'}, true});
    return encoded(InstanceAnswer{handler(message->verb)});
}

QString displayIdentity(const QString& name)
{
    const auto colon = name.lastIndexOf(u':');
    if (colon < 0)
        return name;
    const QString host = name.first(colon);
    const QString number = name.sliced(colon).section(u'.', 0, 0);
    return (host == QStringLiteral("unix") ? QString() : host) + number;
}

} // namespace velmo
