#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <functional>

namespace velmo {

/// Cuts a stream of bytes into lines, however the stream is cut into pieces.
///
/// A line feed ends a line, carriage returns are dropped wherever they stand, and a line that is not valid
/// UTF-8 or longer than the limit is skipped whole. One thread at a time.
class LineReader {
public:
    /// Nothing that a service sends comes near it; it bounds what a broken one can make us keep.
    static constexpr qsizetype kMaximumLineBytes = qsizetype(16) * 1024 * 1024;

    using Handler = std::function<void(QByteArrayView line)>;

    /// The view is valid during the call.
    explicit LineReader(Handler handler)
        : handler_(std::move(handler))
    {}

    void feed(QByteArrayView bytes);
    /// The stream has ended: a last line without a line feed counts.
    void finish();

private:
    void append(QByteArrayView bytes);
    void endLine(QByteArrayView bytes);
    void handOver(QByteArrayView line) const;

    Handler handler_;
    QByteArray partial_;
    bool tooLong_ = false;
};

} // namespace velmo
