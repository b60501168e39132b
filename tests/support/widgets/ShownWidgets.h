#pragma once

#include <QApplication>
#include <QWidget>
#include <vector>

namespace velmo {

/// Every widget of that type that people could see.
template <typename Widget>
[[nodiscard]] std::vector<Widget*> shownWidgets()
{
    std::vector<Widget*> result;
    const auto widgets = QApplication::allWidgets();
    for (QWidget* widget : widgets) {
        if (auto* match = dynamic_cast<Widget*>(widget); match && match->isVisible())
            result.push_back(match);
    }
    return result;
}

} // namespace velmo
