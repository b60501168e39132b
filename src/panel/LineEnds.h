#pragma once

#include <QChar>

namespace velmo {

/// Whether a paragraph ends here. A line separator (U+2028) only breaks the line.
[[nodiscard]] inline bool endsParagraph(QChar unit)
{
    return (unit >= u'\n' && unit <= u'\r') || unit == QChar(0x85) || unit == QChar::ParagraphSeparator;
}

} // namespace velmo
