#include "practice/Client.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringDecoder>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace velmo::practice {

namespace {

/// Takes chunks off; complete with the last one.
void readChunks(RawAnswer& answer, const QByteArray& bytes)
{
    qsizetype position = 0;
    while (true) {
        const qsizetype end = bytes.indexOf("\r\n", position);
        if (end < 0) {
            return;
        }
        bool isNumber = false;
        const qsizetype size = bytes.mid(position, end - position).toLongLong(&isNumber, 16);
        if (!isNumber) {
            answer.isBadlyFramed = true;
            return;
        }
        if (end + 2 + size + 2 > bytes.size()) {
            return;
        }
        if (size == 0) {
            answer.isComplete = true;
            return;
        }
        answer.chunks.append(bytes.mid(end + 2, size));
        answer.body += answer.chunks.last();
        position = end + 2 + size + 2;
    }
}

void readHead(RawAnswer& answer, const QByteArray& head)
{
    const QByteArrayList lines = head.split('\n');
    answer.statusLine = lines.first().trimmed();
    answer.status = answer.statusLine.mid(9, 3).toInt();
    for (const QByteArray& line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        answer.headers.emplaceBack(line.left(colon), line.mid(colon + 1).trimmed());
    }
}

} // namespace

RawAnswer parseAnswer(const QByteArray& raw, bool isClosed)
{
    RawAnswer answer;
    answer.raw = raw;
    answer.isClosed = isClosed;
    QByteArray rest = raw;
    while (rest.startsWith("HTTP/1.1 1") && rest.contains("\r\n\r\n")) {
        rest = rest.mid(rest.indexOf("\r\n\r\n") + 4);
        ++answer.interim;
    }
    const qsizetype end = rest.indexOf("\r\n\r\n");
    if (!rest.startsWith("HTTP/1.") || end < 0) {
        return answer;
    }
    readHead(answer, rest.left(end));
    const QByteArray bytes = rest.mid(end + 4);
    if (answer.header("Transfer-Encoding") == "chunked") {
        readChunks(answer, bytes);
    } else if (!answer.header("Content-Length").isNull()) {
        const qsizetype length = answer.header("Content-Length").toLongLong();
        answer.body = bytes.left(length);
        answer.isComplete = bytes.size() >= length;
    } else {
        answer.body = bytes;
        answer.isComplete = isClosed;
    }
    return answer;
}

Client::Client(quint16 port)
    : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        disconnect();
    }
}

void Client::disconnect()
{
    if (descriptor_ >= 0) {
        close(std::exchange(descriptor_, -1));
    }
}

void Client::send(const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const auto part = ::send(descriptor_, bytes.constData() + sent,
                                 static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (part <= 0) {
            return; // The server has left; reading says how.
        }
        sent += part;
    }
}

Client::Outcome Client::readSome(QByteArray& buffer, std::chrono::milliseconds timeout) const
{
    pollfd readable{.fd = descriptor_, .events = POLLIN, .revents = 0};
    if (descriptor_ < 0) {
        return Outcome::Closed;
    }
    if (poll(&readable, 1, static_cast<int>(timeout.count())) <= 0) {
        return Outcome::TimedOut;
    }
    std::array<char, 65536> part{};
    const auto count = recv(descriptor_, part.data(), part.size(), 0);
    if (count > 0) {
        buffer.append(part.data(), static_cast<qsizetype>(count));
        return Outcome::Data;
    }
    return count < 0 && errno == ECONNRESET ? Outcome::Reset : Outcome::Closed;
}

QByteArray Client::receiveAll()
{
    QByteArray raw;
    while (readSome(raw, std::chrono::seconds(8)) == Outcome::Data) {
    }
    return raw;
}

RawAnswer Client::receive(std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    QByteArray raw;
    RawAnswer answer;
    while (!answer.isComplete && !answer.isBadlyFramed) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const Outcome outcome = readSome(raw, std::max(left, std::chrono::milliseconds(0)));
        const bool isClosed = outcome == Outcome::Closed || outcome == Outcome::Reset;
        answer = parseAnswer(raw, isClosed);
        answer.wasReset = outcome == Outcome::Reset;
        if (outcome != Outcome::Data) {
            break;
        }
    }
    return answer;
}

RawAnswer Client::exchange(const QByteArray& request)
{
    send(request);
    return receive();
}

void PrintTo(Vendor vendor, std::ostream* stream)
{
    *stream << (vendor == Vendor::Messages ? "Messages" : "Chat");
}

QByteArray post(const QByteArray& path, const HeaderList& headers, const QByteArray& body)
{
    QByteArray request = "POST " + path + " HTTP/1.1\r\nHost: practice.example\r\n";
    for (const auto& [name, value] : headers) {
        request += name + ": " + value + "\r\n";
    }
    return request + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray pathOf(Vendor vendor)
{
    return vendor == Vendor::Messages ? "/v1/messages" : "/v1/chat/completions";
}

HeaderList headersOf(Vendor vendor, const QByteArray& key)
{
    if (vendor == Vendor::Messages) {
        return {
            {"x-api-key", key}, {"anthropic-version", "2023-06-01"}, {"Content-Type", "application/json"}};
    }
    return {{"Authorization", "Bearer " + key}, {"Content-Type", "application/json"}};
}

QJsonObject bodyOf(Vendor vendor, const QString& question)
{
    const QJsonObject part{{QStringLiteral("type"), QStringLiteral("text")},
                           {QStringLiteral("text"), question}};
    const QJsonObject message{{QStringLiteral("role"), QStringLiteral("user")},
                              {QStringLiteral("content"), QJsonArray{part}}};
    QJsonObject body{{QStringLiteral("model"), QStringLiteral("practice-model")},
                     {QStringLiteral("stream"), true},
                     {QStringLiteral("messages"), QJsonArray{message}}};
    if (vendor == Vendor::Messages) {
        body.insert(QStringLiteral("max_tokens"), 100);
    }
    return body;
}

QByteArray requestOf(Vendor vendor, const QJsonObject& body)
{
    return post(pathOf(vendor), headersOf(vendor), QJsonDocument(body).toJson(QJsonDocument::Compact));
}

QByteArray requestOf(Vendor vendor)
{
    return requestOf(vendor, bodyOf(vendor));
}

QStringList textsOf(const QByteArray& eventStream)
{
    QStringList texts;
    for (QByteArray line : eventStream.split('\n')) {
        if (line.endsWith('\r')) {
            line.chop(1);
        }
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QString text = decoder(line);
        if (!line.startsWith("data:") || decoder.hasError() || text.isEmpty()) {
            continue;
        }
        const QJsonObject object = QJsonDocument::fromJson(line.mid(5)).object();
        QJsonValue content = object[QStringLiteral("delta")][QStringLiteral("text")];
        if (!content.isString()) {
            content =
                object[QStringLiteral("choices")][0][QStringLiteral("delta")][QStringLiteral("content")];
        }
        if (content.isString()) {
            texts.append(content.toString());
        }
    }
    return texts;
}

} // namespace velmo::practice
