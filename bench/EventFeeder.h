#pragma once

#include <QByteArray>
#include <QString>
#include <sys/types.h>

namespace velmo::bench {

/// The shapes of stream that the feeder sends.
enum class Shape {
    Anthropic,     ///< Events with a word or two each, as the service sends them.
    OpenAI,        ///< The same.
    AnthropicLong, ///< Events with a paragraph each, for much text in little time.
};

/// A web server on this computer, in a process of its own, so that what it costs is not counted here. It
/// answers every request with an event stream that it repeats until the wanted length is reached.
class EventFeeder {
public:
    /// The process's only one. The first call must come before any thread was started; the port is 0 if it
    /// failed.
    [[nodiscard]] static const EventFeeder& shared();

    EventFeeder(const EventFeeder&) = delete;
    EventFeeder& operator=(const EventFeeder&) = delete;
    ~EventFeeder();

    [[nodiscard]] int port() const { return port_; }
    /// The address below which everything is answered with such a stream of at least so many bytes.
    [[nodiscard]] QString baseUrl(Shape shape, qint64 bytes) const;

    /// What is sent over and over.
    [[nodiscard]] static QByteArray block(Shape shape);
    /// How long the stream is, and how many characters of text are in it.
    [[nodiscard]] static qint64 streamBytes(Shape shape, qint64 wanted);
    [[nodiscard]] static qint64 textCharacters(Shape shape, qint64 wanted);

private:
    EventFeeder();

    pid_t child_ = -1;
    int port_ = 0;
};

} // namespace velmo::bench
