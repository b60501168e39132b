#include "markdown/IncrementalRenderer.h"

#include <algorithm>

namespace velmo::markdown {

namespace {

bool isWithinPair(std::u16string_view text, std::size_t index)
{
    return index > 0 && index < text.size() && (text[index - 1] & 0xfc00) == 0xd800 &&
           (text[index] & 0xfc00) == 0xdc00;
}

/// The first unit that two texts do not share; `from` is a unit of one, `other` all of the other behind that
/// unit.
std::size_t firstDifference(const StyledText& text, std::size_t from, const StyledText& other)
{
    const std::size_t shared = std::min(text.text.size() - from, other.text.size());
    std::size_t count = 0;
    while (count < shared && text.text[from + count] == other.text[count] &&
           text.styles[from + count] == other.styles[count])
        ++count;
    return from + count;
}

} // namespace

std::size_t IncrementalRenderer::append(std::u16string_view piece)
{
    tail_ += piece;
    const Continuation tail = renderFrom(place_, tail_);

    std::size_t changed = firstDifference(rendering_, settled_, tail.shown);
    const bool splitBefore = isWithinPair(rendering_.text, changed);
    const auto same = static_cast<std::ptrdiff_t>(changed - settled_);
    rendering_.text.resize(changed);
    rendering_.text.append(tail.shown.text.begin() + same, tail.shown.text.end());
    rendering_.styles.resize(changed);
    rendering_.styles.insert(rendering_.styles.end(), tail.shown.styles.begin() + same,
                             tail.shown.styles.end());
    if (splitBefore || isWithinPair(rendering_.text, changed))
        --changed;

    settled_ += tail.settledShown;
    place_ = tail.settledPlace;
    tail_.erase(0, tail.settledSource);
    return changed;
}

void IncrementalRenderer::clear()
{
    *this = IncrementalRenderer();
}

} // namespace velmo::markdown
