#pragma once

#include <QtGlobal>
#include <memory>

namespace velmo {

/// An element of another application that had the keyboard. Which one it is may still be being looked up when
/// this is handed out; once found it never changes. Dropping the last reference ends the lookup. May outlive
/// whoever made it, and then names nothing any more.
class FocusedElement {
public:
    FocusedElement() = default;
    FocusedElement(const FocusedElement&) = delete;
    FocusedElement& operator=(const FocusedElement&) = delete;
    virtual ~FocusedElement() = default;
};

/// The elements inside the windows of applications that let themselves be read by assistive technologies.
/// Main thread; no call waits. Nothing but whether elements have the focus is ever read of them.
class AccessibleFocus {
public:
    virtual ~AccessibleFocus() = default;

    /// The element of this process that has the keyboard now. Null for this program itself and where no
    /// process is named; an application that cannot be read gets an element that is never found.
    [[nodiscard]] virtual std::shared_ptr<FocusedElement> focusedElement(qint32 processID) = 0;

    /// Gives the keyboard to an element of focusedElement(). Nothing happens if it was not found, vanished,
    /// or its application does not answer.
    virtual void focus(const std::shared_ptr<FocusedElement>& element) = 0;
};

} // namespace velmo
