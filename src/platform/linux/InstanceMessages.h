#pragma once

#include "platform/ApplicationInstance.h"

#include <QByteArray>

namespace velmo {

/// What one start of the program says to another: a JSON object each way, the same over a socket and over a
/// bus.

/// A request as it travels.
struct InstanceMessage {
    RemoteVerb verb = RemoteVerb::Ping;
    QString display; ///< That it was made on; empty for none.
};

/// A reply as it travels.
struct InstanceAnswer {
    RemoteReply reply;
    bool isOtherDisplay = false; ///< Whoever answered runs on another display, and did nothing.
};

/// What became of a message that was sent, however it travels.
struct InstanceExchange {
    enum class Kind {
        Answered,
        Nobody, ///< Nobody is there, or whoever was ended without an answer.
        Silent, ///< No answer in time.
    };
    Kind kind = Kind::Nobody;
    QByteArray answer{};
    qint32 processID = 0; ///< Of whoever is there; 0 if unknown.
};

[[nodiscard]] QByteArray encoded(const InstanceMessage& message);
[[nodiscard]] QByteArray encoded(const InstanceAnswer& answer);
/// Nothing if it is none, or asks for what this version does not know.
[[nodiscard]] std::optional<InstanceMessage> decodedMessage(const QByteArray& bytes);
[[nodiscard]] std::optional<InstanceAnswer> decodedAnswer(const QByteArray& bytes);

/// What the one that runs answers to bytes that have come.
[[nodiscard]] QByteArray answerTo(const QByteArray& bytes, const QString& ownDisplay,
                                  const ApplicationInstance::Handler& handler);

/// The name of a display without what does not matter: ":0.1" and "unix:0" are screens of ":0".
[[nodiscard]] QString displayIdentity(const QString& name);

} // namespace velmo
