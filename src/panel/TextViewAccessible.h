#pragma once

#include <QStringView>

class QAccessibleInterface;

namespace velmo {

class AutoSizingTextView;

/// How assistive technology reads and selects the view's text, and opens its links.
[[nodiscard]] QAccessibleInterface* makeTextViewAccessible(AutoSizingTextView* view);

/// Tells assistive technology that from the position on a text has become another one. What stays the same is
/// not told again, also where a short marker before it goes.
void announceTextChange(AutoSizingTextView& view, qsizetype position, QStringView before, QStringView after);
/// Tells where the text cursor is now, and what is selected.
void announceTextSelection(AutoSizingTextView& view);
/// Tells that the text has begun or ceased to grow.
void announceBusy(AutoSizingTextView& view);

} // namespace velmo
