// However an answer is cut into pieces, its rendering is at each of them that of the whole, tells truly what
// changed, and is what the expressions give when they are applied as they are written.

#include "markdown/IncrementalRenderer.h"
#include "markdown/LiteralRules.h"

#include <algorithm>
#include <cstdlib>

namespace {

using velmo::markdown::StyledText;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isWithinPair(const std::u16string& text, std::size_t index)
{
    return index > 0 && index < text.size() && text[index - 1] >= 0xd800 && text[index - 1] < 0xdc00 &&
           text[index] >= 0xdc00 && text[index] < 0xe000;
}

void requireSameUpTo(const StyledText& one, const StyledText& other, std::size_t count)
{
    require(count <= one.text.size() && count <= other.text.size());
    const auto end = static_cast<std::ptrdiff_t>(count);
    require(std::equal(one.text.begin(), one.text.begin() + end, other.text.begin()));
    require(std::equal(one.styles.begin(), one.styles.begin() + end, other.styles.begin()));
    require(!isWithinPair(one.text, count) && !isWithinPair(other.text, count));
}

/// Mostly units that the rules know, so that few mutations are wasted.
char16_t unitOf(uint8_t byte)
{
    constexpr char16_t kUnits[] = u"**__``## \n\r\t\v\f\u0085\u00a0\u2028\u2029\u3000\u200bab";
    constexpr std::size_t kCount = std::size(kUnits) - 1;
    if (byte < 2 * kCount)
        return kUnits[byte % kCount];
    if (byte >= 0xf0)
        return static_cast<char16_t>((byte % 2 == 0 ? 0xd83d : 0xde00) + byte % 8 / 2);
    return byte;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const velmo::test::LiteralRules literalRules;
    // A byte decides how long the piece behind it is, then come its units.
    velmo::markdown::IncrementalRenderer renderer;
    std::u16string source;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(data[at] % 16, size - at - 1);
        ++at;
        std::u16string piece;
        for (const std::size_t end = at + length; at < end; ++at)
            piece += unitOf(data[at]);
        source += piece;
        const StyledText before = renderer.rendering();
        const std::size_t changed = renderer.append(piece);
        requireSameUpTo(before, renderer.rendering(), changed);
        require(renderer.rendering() == velmo::markdown::render(source));
    }
    require(renderer.rendering() == literalRules.render(source));
    return 0;
}
