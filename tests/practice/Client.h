#pragma once

#include "support/practice/HttpTypes.h"

#include <QByteArrayList>
#include <QJsonObject>
#include <QStringList>

#include <chrono>
#include <ostream>

namespace velmo::practice {

/// What a client sees of one answer.
struct RawAnswer {
    int status = 0; ///< 0 when there was no head.
    QByteArray statusLine;
    HeaderList headers;
    QByteArray body;       ///< Without chunk framing.
    QByteArrayList chunks; ///< The chunks of a chunked body.
    QByteArray raw;        ///< Everything, framing included.
    int interim = 0;       ///< How many 1xx heads came before.
    bool isComplete = false;
    bool isBadlyFramed = false;
    bool isClosed = false; ///< The connection has ended.
    bool wasReset = false; ///< It has ended with a reset.

    [[nodiscard]] QByteArray header(const char* name) const { return headerValue(headers, name); }
};

/// A client that speaks raw HTTP and blocks. On a bare socket, because QTcpSocket reports a reset as a close.
class Client {
public:
    explicit Client(quint16 port);
    ~Client() { disconnect(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(const QByteArray& bytes);
    /// Reads one answer, until it is complete, the connection ends, or the time is over.
    [[nodiscard]] RawAnswer receive(std::chrono::milliseconds timeout = std::chrono::seconds(8));
    [[nodiscard]] RawAnswer exchange(const QByteArray& request);
    /// Whatever arrives until the connection ends.
    [[nodiscard]] QByteArray receiveAll();
    void disconnect();

private:
    enum class Outcome { Data, TimedOut, Closed, Reset };
    Outcome readSome(QByteArray& buffer, std::chrono::milliseconds timeout) const;

    int descriptor_;
};

/// Interprets bytes as an answer; `isClosed` says that no more will come.
[[nodiscard]] RawAnswer parseAnswer(const QByteArray& raw, bool isClosed);

/// The two language model formats, for tests that hold for both.
enum class Vendor { Messages, Chat };
void PrintTo(Vendor vendor, std::ostream* stream);

[[nodiscard]] QByteArray post(const QByteArray& path, const HeaderList& headers, const QByteArray& body);
[[nodiscard]] QByteArray pathOf(Vendor vendor);
[[nodiscard]] HeaderList headersOf(Vendor vendor, const QByteArray& key = "good-key");
/// A valid body with one question.
[[nodiscard]] QJsonObject bodyOf(Vendor vendor, const QString& question = QStringLiteral("What is this?"));
[[nodiscard]] QByteArray requestOf(Vendor vendor, const QJsonObject& body);
[[nodiscard]] QByteArray requestOf(Vendor vendor);

/// The texts that a careful reader finds in an event stream, empty ones included. Lines end at LF, a CR
/// before it is dropped; lines that are no JSON object or not UTF-8 are passed over.
[[nodiscard]] QStringList textsOf(const QByteArray& eventStream);

} // namespace velmo::practice
