#pragma once

#include <QByteArray>
#include <memory>
#include <span>

struct isal_zstream;

namespace velmo {

/// Compresses what it is given, piece by piece, into a zlib stream: fast rather than small. Any thread.
class Deflater {
public:
    enum class Piece { Middle, Last };

    /// The stream is appended to that array, which outlives this.
    explicit Deflater(QByteArray& output);
    ~Deflater();
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// False when the library refuses, which only bytes after the last piece can bring about.
    [[nodiscard]] bool add(std::span<const uchar> bytes, Piece piece);

private:
    QByteArray& output_;
    std::unique_ptr<isal_zstream> stream_;
    std::unique_ptr<uchar[]> workspace_;
};

} // namespace velmo
