#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <functional>
#include <optional>

namespace velmo {

/// Reads the text pieces in the lines of one stream, faster than parsing each of them.
///
/// The events of an answer differ in nothing but their text. So the bytes before and after the text of one
/// event are kept, and a line that has both, with an ordinary JSON string between them, is the same event
/// with that string as its text. Every other line is parsed. The result is always that of parsing. One thread
/// at a time.
class EventShape {
public:
    /// Finds the piece in a line by parsing it. It must take the piece from a place in the event that does
    /// not depend on what the piece says.
    using ProcessLine = std::function<std::optional<QString>(QByteArrayView line)>;

    explicit EventShape(ProcessLine processLine)
        : processLine_(std::move(processLine))
    {}

    [[nodiscard]] std::optional<QString> pieceIn(QByteArrayView line);

private:
    [[nodiscard]] bool fits(QByteArrayView line) const;
    void learn(QByteArrayView line);
    [[nodiscard]] bool holdsThePiece(QByteArrayView before, QByteArrayView after) const;

    ProcessLine processLine_;
    QByteArray before_; ///< Up to the quotation mark that begins the text; empty until one was found.
    QByteArray after_;  ///< From the quotation mark that ends it.
    int uselessShapes_ = 0;
};

} // namespace velmo
