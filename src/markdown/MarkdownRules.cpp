#include "markdown/MarkdownRules.h"

#include <algorithm>
#include <limits>

// Why one pass a rule is enough, and where a rendering is settled.
//
// Each rule below reads the text once, from left to right. What it has passed, it changes later only from its
// opener on: from the markers that wait for others to close them, or from the hashes whose white space has
// not ended.
//
// A place behind a unit is settled for a rule when no opener waits there and no run of markers ends there (a
// run could grow), and when the units before it alone decide that. The rule then never changes anything
// before it again, and goes on as it would at the start of a text; rule 4 also has to know what the line is.
// The next rule reads what the rule before it has put out, so a place is settled when it is settled for each
// rule in turn. That is what a unit's standing says: a rule may take a place's being settled away and never
// gives it back.

namespace velmo::markdown {

namespace {

enum class Standing : std::uint8_t {
    Settled, ///< The place behind the unit is settled for every rule so far.
    Open,    ///< It is not.
    Dropped, ///< The rule at work has removed the unit.
};

struct Unit {
    char16_t character;
    Style style;
    Standing standing;
    std::uint32_t sourceEnd; ///< Where in the source the place behind it is.
};

using Units = std::vector<Unit>;

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

bool isLineTerminator(char16_t character)
{
    return (character >= u'\n' && character <= u'\r') || character == u'\u0085' || character == u'\u2028' ||
           character == u'\u2029';
}

/// White_Space of the Unicode standard; all of it is in the basic plane.
bool isWhiteSpace(char16_t character)
{
    return (character >= u'\t' && character <= u'\r') || character == u' ' || character == u'\u0085' ||
           character == u'\u00a0' || character == u'\u1680' ||
           (character >= u'\u2000' && character <= u'\u200a') || character == u'\u2028' ||
           character == u'\u2029' || character == u'\u202f' || character == u'\u205f' ||
           character == u'\u3000';
}

Units unitsOf(std::u16string_view source)
{
    Units units;
    units.reserve(source.size());
    for (const char16_t character : source) {
        const auto end = static_cast<std::uint32_t>(units.size() + 1);
        units.push_back({character, Style::Base, Standing::Settled, end});
    }
    return units;
}

void setStyle(Units& units, std::size_t begin, std::size_t end, Style style)
{
    for (std::size_t index = begin; index < end; ++index)
        units[index].style = style;
}

void setStanding(Units& units, std::size_t begin, std::size_t end, Standing standing)
{
    for (std::size_t index = begin; index < end; ++index)
        units[index].standing = standing;
}

void removeDropped(Units& units)
{
    std::erase_if(units, [](const Unit& unit) { return unit.standing == Standing::Dropped; });
}

/// Rules 1 and 2.
class BoldRule {
public:
    BoldRule(Units& units, char16_t marker)
        : units_(units)
        , marker_(marker)
    {}

    void apply()
    {
        std::size_t index = 0;
        while (index < units_.size()) {
            if (isMarker(index)) {
                std::size_t end = index + 1;
                while (end < units_.size() && isMarker(end))
                    ++end;
                setStanding(units_, index, end, Standing::Open);
                applyToRun(index, end);
                index = end;
                continue;
            }
            // The content may be anything but a line terminator, so an opener does not outlive its line.
            if (isLineTerminator(units_[index].character))
                opener_ = kNone;
            else if (opener_ != kNone)
                units_[index].standing = Standing::Open;
            ++index;
        }
        removeDropped(units_);
    }

private:
    bool isMarker(std::size_t index) const { return units_[index].character == marker_; }

    /// A run is all the markers between two other units. Behind an opener other units follow before the next
    /// run, so its content is never empty, and none of its content is a closing pair.
    void applyToRun(std::size_t begin, std::size_t end)
    {
        while (opener_ != kNone && end - begin >= 2) {
            close(begin);
            begin += 2;
        }
        if (opener_ == kNone)
            open(begin, end);
    }

    void close(std::size_t closer)
    {
        setStanding(units_, opener_, opener_ + 2, Standing::Dropped);
        setStanding(units_, closer, closer + 2, Standing::Dropped);
        setStyle(units_, opener_ + 2, closer, Style::Bold);
        // The search begins anew at the start, so content that begins with a pair itself is open again,
        // before anything behind it: ****a**** becomes **a** and then a. An opening run is at most four long,
        // so no content is gone over more than twice.
        const bool opensAgain = closer - opener_ >= 4 && isMarker(opener_ + 2) && isMarker(opener_ + 3);
        opener_ = opensAgain ? opener_ + 2 : kNone;
    }

    void open(std::size_t begin, std::size_t end)
    {
        // Five markers are a pair, a marker for content, and a pair. They leave the one in the middle, with
        // which what follows them in the run may make five again.
        if (end - begin >= 5) {
            const std::size_t kept = begin + (end - begin - 1) / 4 * 4;
            setStanding(units_, begin, kept, Standing::Dropped);
            units_[kept].style = Style::Bold;
            begin = kept;
        }
        if (end - begin >= 2)
            opener_ = begin;
    }

    Units& units_;
    char16_t marker_;
    std::size_t opener_ = kNone; ///< The first of the two markers that wait for a closing pair.
};

/// Rule 3. The content holds no backtick, so the innermost pair matches first and each further backtick
/// closes the one before it: a run of them opens as many times, and what is between it and the last that
/// closes ends as code. The content may hold any line terminator but a line feed.
void applyCode(Units& units)
{
    std::size_t index = 0;
    while (index < units.size()) {
        if (units[index].character != u'`') {
            ++index;
            continue;
        }
        const std::size_t begin = index;
        while (index < units.size() && units[index].character == u'`')
            ++index;
        const std::size_t contentBegin = index;
        std::size_t contentEnd = index; // Up to the last backtick that closes.
        std::size_t stillOpen = contentBegin - begin;
        for (; index < units.size() && stillOpen > 0 && units[index].character != u'\n'; ++index) {
            const bool closes = units[index].character == u'`';
            units[index].standing = closes ? Standing::Dropped : Standing::Open;
            if (closes) {
                contentEnd = index;
                --stillOpen;
            }
        }
        setStyle(units, contentBegin, contentEnd, Style::Code);
        setStanding(units, begin, begin + stillOpen, Standing::Open);
        setStanding(units, begin + stillOpen, contentBegin, Standing::Dropped);
    }
    removeDropped(units);
}

/// Rule 4.
class HeadingRule {
public:
    explicit HeadingRule(Units& units)
        : units_(units)
    {}

    void apply(LinePlace place)
    {
        std::size_t index = 0;
        while (index < units_.size()) {
            if (place == LinePlace::Start) {
                place = LinePlace::Plain;
                // The content is at the start of the line now, and may be a heading itself: # # a becomes a.
                while (const std::size_t length = markersAt(index)) {
                    setStanding(units_, index, index + length, Standing::Dropped);
                    index += length;
                    place = LinePlace::Heading;
                }
            }
            for (; index < units_.size() && !isLineTerminator(units_[index].character); ++index) {
                if (place == LinePlace::Heading)
                    units_[index].style = Style::Heading;
            }
            if (index <
                units_.size()) { // The place behind a CR that a LF follows counts too: no hash can be there.
                ++index;
                place = LinePlace::Start;
            }
        }
        removeDropped(units_);
    }

private:
    /// How long the hashes and the white space are that the rule removes at the start of a line; 0: no
    /// heading.
    std::size_t markersAt(std::size_t begin)
    {
        constexpr std::size_t kMostHashes = 3;
        const std::size_t size = units_.size();
        std::size_t hashesEnd = begin;
        while (hashesEnd < size && hashesEnd - begin <= kMostHashes && units_[hashesEnd].character == u'#')
            ++hashesEnd;
        // What is behind the hashes decides about them.
        setStanding(units_, begin, hashesEnd, Standing::Open);
        if (hashesEnd == begin || hashesEnd - begin > kMostHashes || hashesEnd == size ||
            !isWhiteSpace(units_[hashesEnd].character))
            return 0;
        // "\s+" takes line terminators too, so the content may be on a later line.
        std::size_t content = hashesEnd;
        while (content < size && isWhiteSpace(units_[content].character))
            ++content;
        if (content < size)
            return content - begin;
        // Nothing but white space follows; anything may still come. "\s+" gives back, from the end, as much
        // of it as it can spare, until "." takes some: the last unit that is no line terminator.
        setStanding(units_, begin, size, Standing::Open);
        while (content > hashesEnd + 1 && isLineTerminator(units_[content - 1].character))
            --content;
        return content > hashesEnd + 1 ? content - 1 - begin : 0;
    }

    Units& units_;
};

} // namespace

StyledText render(std::u16string_view source)
{
    return renderFrom(LinePlace::Start, source).shown;
}

Continuation renderFrom(LinePlace place, std::u16string_view source)
{
    Units units = unitsOf(source);
    BoldRule(units, u'*').apply();
    BoldRule(units, u'_').apply();
    applyCode(units);
    HeadingRule(units).apply(place);

    Continuation result;
    result.settledPlace = place;
    result.shown.text.reserve(units.size());
    result.shown.styles.reserve(units.size());
    for (const Unit& unit : units) {
        result.shown.text.push_back(unit.character);
        result.shown.styles.push_back(unit.style);
    }
    // Places are counted in 32 bits, to halve what is moved about; a longer source just settles nothing.
    if (source.size() > std::numeric_limits<std::uint32_t>::max())
        return result;
    const auto last = std::find_if(units.rbegin(), units.rend(),
                                   [](const Unit& unit) { return unit.standing == Standing::Settled; });
    if (last == units.rend())
        return result;
    result.settledSource = last->sourceEnd;
    result.settledShown = static_cast<std::size_t>(units.rend() - last);
    if (isLineTerminator(last->character))
        result.settledPlace = LinePlace::Start;
    else
        result.settledPlace = last->style == Style::Heading ? LinePlace::Heading : LinePlace::Plain;
    return result;
}

} // namespace velmo::markdown
