#include "platform/x11/X11ButtonGrabs.h"

#include <numeric>

namespace velmo {
namespace {

constexpr quint32 kLeftButton = 1;
constexpr quint32 kMiddleButtonOfServer = 2;

/// Every state of the server's eight modifiers.
constexpr std::size_t kModifierStates = 256;

/// What a chord may consist of here; Fn is none that a server reports, and Shift is never compared.
constexpr quint64 kChordFlags = ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

} // namespace

X11ButtonGrabs::X11ButtonGrabs(X11Connection& connection, const TapInterest& interest)
    : interest_(interest)
    , chord_(connection, X11PassiveGrab::Kind::FrozenButton)
    , middle_(connection, X11PassiveGrab::Kind::Button)
{}

QStringList X11ButtonGrabs::install(const X11KeyboardLayout& layout)
{
    if (interest_.quickDrawModifiers != 0)
        installChord(layout);
    if (interest_.middleButton && !isMiddleInstalled_)
        installMiddle(layout);
    return chordProblems_ + middleProblems_;
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
    const QString button = QStringLiteral("left button");
    if (sets.empty()) {
        chord_.release();
        chordSets_.clear();
        chordProblems_ =
            QStringList{QStringLiteral("This keyboard layout lacks a modifier of the quick-draw gesture ") +
                        combinationLabel(flags, button) + u'.'};
        return;
    }
    if (sets == chordSets_)
        return;
    chordSets_ = sets;
    chordProblems_ = layout.describeRefusals(sets, chord_.take(kLeftButton, sets), button);
}

void X11ButtonGrabs::installMiddle(const X11KeyboardLayout& layout)
{
    isMiddleInstalled_ = true;
    if (middle_.take(kMiddleButtonOfServer, {X11PassiveGrab::kAnyModifiers}).empty())
        return;
    // Somebody has the button under some modifiers. Those stay theirs, the others are ours.
    std::vector<quint32> sets(kModifierStates);
    std::iota(sets.begin(), sets.end(), 0U);
    const auto refused = middle_.take(kMiddleButtonOfServer, sets);
    middleProblems_ = refused.size() == sets.size()
                          ? QStringList{QStringLiteral("Middle button") + kHeldByAnother}
                          : layout.describeRefusals(sets, refused, QStringLiteral("middle button"));
}

void X11ButtonGrabs::remove()
{
    chord_.release();
    middle_.release();
    chordSets_.clear();
    isMiddleInstalled_ = false;
}

} // namespace velmo
