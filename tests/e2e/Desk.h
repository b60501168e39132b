#pragma once

#include "support/x11/LoggedProgram.h"

#include <QRect>
#include <algorithm>

namespace velmo::test {

/// Somebody's application with the keyboard in its text field, as a process of its own.
class Desk {
public:
    Desk() { program_.start(QStringLiteral(VELMO_DESK_EXECUTABLE)); }

    [[nodiscard]] bool awaitReady()
    {
        return awaitCondition([this] { return program_.lines().contains(QStringLiteral("ready")); });
    }

    /// What is worth circling, in pixels of the screen.
    [[nodiscard]] QRect target()
    {
        for (const QString& line : program_.lines()) {
            const QStringList words = line.split(u' ');
            if (words.first() == QStringLiteral("target") && words.size() == 5)
                return {words[1].toInt(), words[2].toInt(), words[3].toInt(), words[4].toInt()};
        }
        return {};
    }

    /// The upper edge of its contents, in pixels of the screen; the title bar is above it.
    [[nodiscard]] int top()
    {
        for (const QString& line : program_.lines()) {
            if (line.startsWith(QStringLiteral("top ")))
                return line.section(u' ', 1).toInt();
        }
        return 0;
    }

    [[nodiscard]] bool awaitText(const QString& text)
    {
        return awaitCondition(
            [this, text] { return program_.lines().contains(QStringLiteral("text ") + text); });
    }

    /// How many letters its field got.
    [[nodiscard]] int letters()
    {
        const QStringList texts = program_.lines().filter(QStringLiteral("text "));
        return texts.isEmpty() ? 0 : static_cast<int>(texts.last().size()) - 5;
    }

    [[nodiscard]] bool receivedAnyText()
    {
        const QStringList all = program_.lines();
        return std::any_of(all.begin(), all.end(),
                           [](const QString& line) { return line.startsWith(QStringLiteral("text ")); });
    }

private:
    LoggedProgram program_;
};

} // namespace velmo::test
