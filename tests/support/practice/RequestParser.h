#pragma once

#include "support/practice/HttpTypes.h"

#include <QByteArray>

#include <optional>

namespace velmo::practice {

/// Reads HTTP/1.x requests off one connection, incrementally and in linear time. One thread, no sockets.
///
/// Feed what arrives, then call next() until it returns nothing. Bytes of a following request wait in the
/// parser.
class RequestParser {
public:
    void feed(const QByteArray& bytes);

    /// The next complete request (without connection, order and time), or nothing while more bytes are
    /// needed.
    [[nodiscard]] std::optional<RecordedRequest> next();

    /// True once for each request that waits for `100 Continue` and whose head has been read.
    [[nodiscard]] bool takeContinueWish();

    /// Set when the bytes are not an acceptable request: nothing more can be read from this connection.
    [[nodiscard]] bool isBroken() const { return broken_; }

private:
    enum class State { Head, SizedBody, ChunkSize, ChunkData, ChunkEnd, Trailer, Complete };

    bool step();
    bool readHead();
    bool readBodyPart(State after);
    bool readChunkSize();
    [[nodiscard]] std::optional<QByteArray> takeLine();
    bool startBody();
    bool breakOff();

    QByteArray buffer_;
    qsizetype position_ = 0;
    State state_ = State::Head;
    RecordedRequest request_;
    qsizetype remaining_ = 0;
    bool continueWish_ = false;
    bool broken_ = false;
};

} // namespace velmo::practice
