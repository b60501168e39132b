#include "platform/x11/X11ButtonGrabs.h"

#include <numeric>

namespace velmo {
namespace {

constexpr quint32 kLeftButton = 1;
constexpr quint32 kMiddleButtonOfServer = 2;
const QString kChordButton = QStringLiteral("left button");

/// Every state of the server's eight modifiers.
constexpr std::size_t kModifierStates = 256;

std::vector<quint32> everyModifierState()
{
    std::vector<quint32> sets(kModifierStates);
    std::iota(sets.begin(), sets.end(), 0U);
    return sets;
}

/// What a chord may consist of here; Fn is none that a server reports, and Shift is never compared.
constexpr quint64 kChordFlags = ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

} // namespace

X11ButtonGrabs::X11ButtonGrabs(X11Connection& connection, const TapInterest& interest)
    : interest_(interest)
    , chord_(connection, X11PassiveGrab::Kind::FrozenButton)
    , middle_(connection, X11PassiveGrab::Kind::Button)
{}

void X11ButtonGrabs::install(const X11KeyboardLayout& layout)
{
    if (interest_.quickDrawModifiers != 0)
        installChord(layout);
    if (interest_.middleButton && !isMiddleInstalled_)
        installMiddle(layout);
}

void X11ButtonGrabs::installChord(const X11KeyboardLayout& layout)
{
    const quint64 flags = interest_.quickDrawModifiers;
    if ((flags & ModifierFlag::Function) != 0) {
        chordProblems_ = QStringList{
            QStringLiteral("The quick-draw modifiers contain Fn, which X keyboards do not report.")};
        return;
    }
    if ((flags & ~kChordFlags) != 0) {
        chordProblems_ =
            QStringList{QStringLiteral("The quick-draw modifiers contain one that cannot be part of them.")};
        return;
    }
    std::vector<quint32> sets = layout.modifierSets(flags);
    const std::size_t count = sets.size();
    for (std::size_t i = 0; i < count; ++i)
        sets.push_back(sets[i] | XCB_MOD_MASK_SHIFT);
    sets = layout.withOthers(std::move(sets));
    if (sets.empty()) {
        chord_.release();
        chordSets_.clear();
        chordProblems_ =
            QStringList{QStringLiteral("This keyboard layout lacks a modifier of the quick-draw gesture ") +
                        combinationLabel(flags, kChordButton) + u'.'};
        return;
    }
    if (sets == chordSets_)
        return;
    chordSets_ = sets;
    chord_.take(kLeftButton, sets);
    describeChord(layout);
}

void X11ButtonGrabs::describeChord(const X11KeyboardLayout& layout)
{
    chordProblems_ = layout.describeRefusals(chordSets_, chord_.refused(), kChordButton);
}

void X11ButtonGrabs::installMiddle(const X11KeyboardLayout& layout)
{
    isMiddleInstalled_ = true;
    if (middle_.take(kMiddleButtonOfServer, {X11PassiveGrab::kAnyModifiers}).empty())
        return;
    // Somebody has the button under some modifiers. Those stay theirs, the others are ours.
    middle_.take(kMiddleButtonOfServer, everyModifierState());
    describeMiddle(layout);
}

void X11ButtonGrabs::describeMiddle(const X11KeyboardLayout& layout)
{
    const auto refused = middle_.refused();
    middleProblems_ =
        refused.size() == kModifierStates
            ? QStringList{QStringLiteral("Middle button") + kHeldByAnother}
            : layout.describeRefusals(everyModifierState(), refused, QStringLiteral("middle button"));
}

void X11ButtonGrabs::retry(const X11KeyboardLayout& layout)
{
    const auto chordBefore = chord_.refused();
    if (!chordBefore.empty() && chord_.takeRefused() != chordBefore)
        describeChord(layout);
    const auto middleBefore = middle_.refused();
    if (!middleBefore.empty() && middle_.takeRefused() != middleBefore)
        describeMiddle(layout);
}

void X11ButtonGrabs::remove()
{
    chord_.release();
    middle_.release();
    chordSets_.clear();
    isMiddleInstalled_ = false;
}

} // namespace velmo
