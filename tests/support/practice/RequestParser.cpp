#include "support/practice/RequestParser.h"

#include <algorithm>
#include <utility>

namespace velmo::practice {

namespace {

constexpr qsizetype kLongestHead = qsizetype{1024} * 1024;
constexpr qsizetype kLongestBody = qsizetype{512} * 1024 * 1024;
/// Reserving no more than this on the word of a header keeps a lying client from taking the memory of a test.
constexpr qsizetype kLargestReservation = qsizetype{96} * 1024 * 1024;

} // namespace

void RequestParser::feed(const QByteArray& bytes)
{
    if (position_ == buffer_.size()) {
        buffer_ = bytes;
    } else {
        buffer_.remove(0, position_);
        buffer_.append(bytes);
    }
    position_ = 0;
}

std::optional<RecordedRequest> RequestParser::next()
{
    while (!broken_ && state_ != State::Complete && step()) {
    }
    if (broken_ || state_ != State::Complete) {
        return std::nullopt;
    }
    state_ = State::Head;
    continueWish_ = false;
    return std::exchange(request_, RecordedRequest{});
}

bool RequestParser::takeContinueWish()
{
    return std::exchange(continueWish_, false);
}

bool RequestParser::step()
{
    switch (state_) {
    case State::Head:
        return readHead();
    case State::SizedBody:
        return readBodyPart(State::Complete);
    case State::ChunkSize:
        return readChunkSize();
    case State::ChunkData:
        return readBodyPart(State::ChunkEnd);
    case State::ChunkEnd: {
        const auto line = takeLine();
        if (!line) {
            return false;
        }
        state_ = State::ChunkSize;
        return line->isEmpty() || breakOff();
    }
    case State::Trailer: {
        const auto line = takeLine();
        if (!line) {
            return false;
        }
        if (line->isEmpty()) {
            state_ = State::Complete;
        }
        return true;
    }
    case State::Complete:
        return false;
    }
    return false;
}

std::optional<QByteArray> RequestParser::takeLine()
{
    const qsizetype end = buffer_.indexOf('\n', position_);
    if (end < 0) {
        if (buffer_.size() - position_ > kLongestHead) {
            breakOff();
        }
        return std::nullopt;
    }
    QByteArray line = buffer_.mid(position_, end - position_);
    position_ = end + 1;
    if (line.endsWith('\r')) {
        line.chop(1);
    }
    return line;
}

bool RequestParser::readHead()
{
    auto line = takeLine();
    if (!line) {
        return false;
    }
    if (request_.method.isEmpty()) {
        if (line->isEmpty()) {
            return true; // A client may send an empty line after a body.
        }
        const QList<QByteArray> words = line->split(' ');
        if (words.size() != 3 || !words[2].startsWith("HTTP/1.")) {
            return breakOff();
        }
        request_.method = words[0];
        request_.path = words[1];
        request_.minorVersion = words[2].endsWith('0') ? 0 : 1;
        return true;
    }
    if (line->isEmpty()) {
        return startBody();
    }
    const qsizetype colon = line->indexOf(':');
    if (colon <= 0) {
        return breakOff();
    }
    request_.headers.append({line->left(colon), line->mid(colon + 1).trimmed()});
    return true;
}

bool RequestParser::startBody()
{
    continueWish_ = request_.minorVersion == 1 && request_.header("Expect").toLower() == "100-continue";
    if (request_.header("Transfer-Encoding").toLower().contains("chunked")) {
        state_ = State::ChunkSize;
        return true;
    }
    const QByteArray length = request_.header("Content-Length");
    bool isNumber = true;
    remaining_ = length.isEmpty() ? 0 : static_cast<qsizetype>(length.toLongLong(&isNumber));
    if (!isNumber || remaining_ < 0 || remaining_ > kLongestBody) {
        return breakOff();
    }
    request_.body.reserve(std::min(remaining_, kLargestReservation));
    state_ = State::SizedBody;
    return true;
}

bool RequestParser::readBodyPart(State after)
{
    const qsizetype part = std::min(remaining_, buffer_.size() - position_);
    request_.body.append(buffer_.constData() + position_, part);
    position_ += part;
    remaining_ -= part;
    if (remaining_ > 0) {
        return false;
    }
    state_ = after;
    return true;
}

bool RequestParser::readChunkSize()
{
    const auto line = takeLine();
    if (!line) {
        return false;
    }
    const qsizetype extension = line->indexOf(';');
    bool isNumber = false;
    remaining_ = (extension < 0 ? *line : line->left(extension)).trimmed().toLongLong(&isNumber, 16);
    if (!isNumber || remaining_ < 0 || request_.body.size() + remaining_ > kLongestBody) {
        return breakOff();
    }
    state_ = remaining_ == 0 ? State::Trailer : State::ChunkData;
    return true;
}

bool RequestParser::breakOff()
{
    broken_ = true;
    return false;
}

} // namespace velmo::practice
