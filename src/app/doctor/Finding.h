#pragma once

#include <QJsonObject>
#include <QString>
#include <vector>

namespace velmo {

/// One thing that "velmo doctor" has looked at. Plain value.
struct Finding {
    enum class State {
        Fine,
        Limited, ///< Something does not work, or not as well as it could; the main job does.
        Broken,  ///< The main job cannot work.
    };

    QString area; ///< A word or two, the same wherever the same thing is meant.
    State state = State::Fine;
    QString text{};        ///< A line.
    QString advice{};      ///< What to do, in sentences; empty where nothing has to be done.
    QJsonObject details{}; ///< For tools: what the line says, as values.
};

using Findings = std::vector<Finding>;

} // namespace velmo
