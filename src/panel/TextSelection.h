#pragma once

#include <QStringView>
#include <algorithm>

namespace velmo {

/// A range of a text that grows by the unit that the user began with. Positions are units of UTF-16.
class TextSelection {
public:
    enum class Unit { Character, Word, Paragraph };

    [[nodiscard]] qsizetype anchor() const { return anchor_; }
    /// Where the text cursor is.
    [[nodiscard]] qsizetype cursor() const { return cursor_; }
    [[nodiscard]] qsizetype begin() const { return std::min(anchor_, cursor_); }
    [[nodiscard]] qsizetype end() const { return std::max(anchor_, cursor_); }
    [[nodiscard]] bool isEmpty() const { return anchor_ == cursor_; }

    /// A range that a later extension goes on from by characters, from its anchor.
    void set(qsizetype anchor, qsizetype cursor);
    /// The text behind the position is another one now.
    void trimTo(qsizetype position);
    /// The unit at the position.
    void beginWith(QStringView text, qsizetype position, Unit unit);
    /// From the unit that it began with to the one at the position.
    void extendTo(QStringView text, qsizetype position);

    /// The next place for the cursor in that direction, -1 or 1: by characters or by words.
    [[nodiscard]] static qsizetype stepFrom(QStringView text, qsizetype position, int direction, Unit unit);

private:
    struct Range {
        qsizetype begin = 0;
        qsizetype end = 0;
    };
    void cover(qsizetype anchor, qsizetype cursor);
    [[nodiscard]] static Range unitAround(QStringView text, qsizetype position, Unit unit);

    qsizetype anchor_ = 0;
    qsizetype cursor_ = 0;
    Unit unit_ = Unit::Character;
    Range first_; ///< The unit that it began with.
};

} // namespace velmo
