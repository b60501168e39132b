#pragma once

class QWidget;

namespace velmo {

/// Opens the context menu of a text or the field where its text cursor is, as the menu key does. That of a
/// text has all its links, since no pointer says which one is meant.
void openMenuByKeyboard(QWidget& widget);

} // namespace velmo
