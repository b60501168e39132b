#pragma once

#include "platform/EventTap.h"
#include "platform/x11/X11KeyboardLayout.h"
#include "platform/x11/X11PassiveGrab.h"

#include <QStringList>
#include <vector>

namespace velmo {

/// The buttons that gestures begin with: the left one under the quick-draw chord, with or without Shift,
/// whatever locks are on; and the middle one under any modifiers. On the tap's thread.
class X11ButtonGrabs {
public:
    X11ButtonGrabs(X11Connection& connection, const TapInterest& interest);

    /// Takes what the layout asks for; what is the same as before is not touched.
    void install(const X11KeyboardLayout& layout);
    /// Asks again for what other programs have.
    void retry(const X11KeyboardLayout& layout);
    /// Readable sentences about what of the chord is not reserved, as it was when it was last asked for.
    [[nodiscard]] const QStringList& chordProblems() const { return chordProblems_; }
    /// The same of the middle button.
    [[nodiscard]] const QStringList& middleButtonProblems() const { return middleProblems_; }
    /// Whether another program has any of it.
    [[nodiscard]] bool isRefused() const { return chord_.isRefused() || middle_.isRefused(); }
    void remove();

    /// For the time between these two, middle clicks reach applications.
    void suspendMiddle() const { middle_.suspend(); }
    void resumeMiddle() const { middle_.resume(); }

private:
    void installChord(const X11KeyboardLayout& layout);
    void installMiddle(const X11KeyboardLayout& layout);
    void describeChord(const X11KeyboardLayout& layout);
    void describeMiddle(const X11KeyboardLayout& layout);

    TapInterest interest_;
    X11PassiveGrab chord_;
    X11PassiveGrab middle_;
    std::vector<quint32> chordSets_;
    bool isMiddleInstalled_ = false;
    QStringList chordProblems_;
    QStringList middleProblems_;
};

} // namespace velmo
