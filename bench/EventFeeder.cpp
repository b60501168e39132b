#include "EventFeeder.h"

#include <QByteArrayList>
#include <QList>
#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmo::bench {

namespace {

/// As long as a chunk from a service's edge; long enough that the words vary.
constexpr qsizetype kBlockBytes = qsizetype(64) * 1024;

const QByteArrayList& words()
{
    static const QByteArrayList list{
        " The",   " circled", " area", " shows",      " a",          " **button**",   ",",   " which",
        " opens", " the",     ".\\n",  " \\\"OK\\\"", " f\xC3\xBCr", " \xE2\x80\x94", " 42", " settings"};
    return list;
}

QByteArray eventOf(Shape shape, const QByteArray& text)
{
    if (shape == Shape::OpenAI)
        return R"(data: {"id":"chatcmpl-9aBcDeFgHiJkLmNoPqRsTuVw","object":"chat.completion.chunk","created":1767000000,)"
               R"("model":"gpt-5.4-mini","system_fingerprint":"fp_0123456789","choices":[{"index":0,"delta":{"content":")" +
               text + R"("},"logprobs":null,"finish_reason":null}]})" + "\n\n";
    return R"(event: content_block_delta)"
           "\n"
           R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":")" +
           text + R"("}})" + "\n\n";
}

void sendAll(int socket, const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            send(socket, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (count <= 0)
            return;
        sent += count;
    }
}

/// Reads one request, body and all; its first line, or nothing when the client has left.
QByteArray readRequest(int socket)
{
    QByteArray request;
    qsizetype whole = -1;
    while (whole < 0 || request.size() < whole) {
        char buffer[16 * 1024];
        const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
        if (count <= 0)
            return {};
        request.append(buffer, count);
        const qsizetype headEnd = request.indexOf("\r\n\r\n");
        if (whole >= 0 || headEnd < 0)
            continue;
        const QByteArray name = "\r\ncontent-length: ";
        const qsizetype length = request.toLower().indexOf(name);
        whole = headEnd + 4;
        if (length >= 0 && length < headEnd)
            whole += request.mid(length + name.size()).split('\r').first().toLongLong();
    }
    return request.split('\r').first();
}

void serve(int socket)
{
    while (true) {
        // "POST /SHAPE/BYTES/v1/messages HTTP/1.1"
        const QByteArrayList parts = readRequest(socket).split('/');
        if (parts.size() < 3)
            return;
        const auto shape = static_cast<Shape>(parts.at(1).toInt());
        const QByteArray block = EventFeeder::block(shape);
        const qint64 bytes = EventFeeder::streamBytes(shape, parts.at(2).split(' ').first().toLongLong());
        sendAll(socket, "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nContent-Length: " +
                            QByteArray::number(bytes) + "\r\n\r\n");
        for (qint64 sent = 0; sent < bytes; sent += block.size())
            sendAll(socket, block);
    }
}

[[noreturn]] void acceptForever(int listener)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (true) {
        const int socket = accept(listener, nullptr, nullptr);
        if (socket < 0)
            continue;
        const int one = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(socket);
            _exit(0);
        }
        close(socket);
    }
}

} // namespace

QByteArray EventFeeder::block(Shape shape)
{
    QByteArray result;
    for (qsizetype index = 0; result.size() < kBlockBytes; ++index) {
        // One word or two, as services cut their answers, in an order that does not repeat at once.
        const QByteArrayList& all = words();
        const QByteArray two =
            all.at(index * 7 % all.size()) + (index % 3 == 0 ? all.at(index * 5 % all.size()) : "");
        result += eventOf(shape, shape == Shape::AnthropicLong ? two.repeated(30) : two);
    }
    return result;
}

qint64 EventFeeder::streamBytes(Shape shape, qint64 wanted)
{
    const qint64 one = block(shape).size();
    return (wanted + one - 1) / one * one;
}

qint64 EventFeeder::textCharacters(Shape shape, qint64 wanted)
{
    const QByteArray all = block(shape);
    qint64 characters = 0;
    const QByteArray name = shape == Shape::OpenAI ? R"("content":")" : R"("text":")";
    for (qsizetype at = all.indexOf(name); at >= 0; at = all.indexOf(name, at + 1)) {
        const qsizetype start = at + name.size();
        const QByteArray text = all.mid(start, all.indexOf("\"}", start) - start);
        // Every backslash belongs to an escape of two bytes that stands for one character.
        characters += QString::fromUtf8(text).size() - text.count('\\');
    }
    return characters * (streamBytes(shape, wanted) / all.size());
}

const EventFeeder& EventFeeder::shared()
{
    static const EventFeeder feeder;
    return feeder;
}

EventFeeder::EventFeeder()
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 || listen(listener, 16) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return;
    std::signal(SIGCHLD, SIG_IGN);
    child_ = fork();
    if (child_ == 0)
        acceptForever(listener);
    close(listener);
    port_ = ntohs(address.sin_port);
}

EventFeeder::~EventFeeder()
{
    if (child_ > 0)
        kill(child_, SIGKILL);
}

QString EventFeeder::baseUrl(Shape shape, qint64 bytes) const
{
    return QStringLiteral("http://127.0.0.1:") + QString::number(port_) + u'/' +
           QString::number(static_cast<int>(shape)) + u'/' + QString::number(bytes);
}

} // namespace velmo::bench
