#pragma once

namespace velmo {

/// From now on assistive technology reads and selects text in AutoSizingTextView. More calls do nothing.
void installTextViewAccessibility();

} // namespace velmo
